#pragma once

#include "backends/vxacore/PartFile.h"
#include "backends/vxacore/SftpConnection.h"
#include "backends/vxacore/TransferRecord.h"

#include <chrono>
#include <string>

namespace NORXVXA20 {

// The copying of one file over a connection that may break: it is made anew, and the copy goes on
// where it was, for as long as the clock allows. A copy is run once.
class SftpCopy : private SftpConnection::IReceiver {
public:
    // file names what is copied, and takes down how it went.
    SftpCopy(SftpConnection& connection, StallClock& clock, PartFile& part, TransferredFile& file);

    // True when the part holds the whole file; false, with the reason in the record, when this file
    // cannot be had. Throws TVXAException when the server is lost.
    bool Run();

private:
    enum class Verdict { eComplete, eFailed, eBeginAnew, eTryInPlace, eTryAnew };

    bool OnBlock(const char* bytes, std::size_t count) override;
    void OnProgress() override;

    Verdict Try();
    Verdict Judge(curl::Code code, std::int64_t gained);
    Verdict JudgeBreak(curl::Code code, std::int64_t gained);
    bool IsSameFile();
    bool BeginAnew();
    void PauseBeforeNextTry();
    bool Fail(const std::string& reason);
    [[noreturn]] void Lose(EVXAStatusCode status, const std::string& reason);

    SftpConnection& m_connection;
    StallClock& m_clock;
    PartFile& m_part;
    TransferredFile& m_file;

    std::int64_t m_offset = 0; // where the running try began
    bool m_compared = false;   // whether the running try has looked at size and time
    bool m_changed = false;    // the remote file is not the one that was begun
    bool m_localFault = false;
    std::int64_t m_fileTime = -1; // of the remote file when it was begun
    int m_patience;               // for a server that is there but does not give the file
    int m_changes = 0;
    std::size_t m_pauses = 0; // since the last new byte
    EVXAStatusCode m_lossStatus = TVXAStatusCode::eCannotConnect;
    std::chrono::steady_clock::time_point m_lastReport{};
};

} // namespace NORXVXA20
