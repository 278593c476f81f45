// TOSSpecific::FTPFile: one file over passive FTP.
#include "backends/vxacore/Alive.h"
#include "backends/vxacore/CoreLog.h"
#include "backends/vxacore/CurlClient.h"
#include "backends/vxacore/HostKey.h"
#include "backends/vxacore/SftpLocation.h"
#include "backends/vxacore/StallClock.h"
#include "common/TVXAException.h"
#include "common/Wipe.h"
#include "platform/vxacore/TOSSpecific.h"

#include <algorithm>
#include <fstream>
#include <optional>

namespace NORXVXA20 {

namespace {

constexpr long kConnectLimit = 10; // seconds, log-in included
constexpr long kBufferSize = 512L * 1024;
constexpr long kNoSpace = 552;

// The file to be sent, as large as it was when it was opened.
class LocalFile {
public:
    explicit LocalFile(const std::string& path) : m_file(path, std::ios::binary)
    {
        m_file.seekg(0, std::ios::end);
        m_size = m_file.tellg();
        m_file.seekg(0);
        // A directory can be opened on some systems, but not read.
        if (m_size > 0)
            m_file.peek();
    }

    bool IsReadable() const { return m_file.good() && m_size >= 0; }
    std::int64_t Size() const { return m_size; }

    // The next bytes; fewer than asked for only at the end, nothing in place of an error.
    std::optional<std::size_t> Read(char* data, std::size_t count)
    {
        const std::int64_t wanted = std::min(static_cast<std::int64_t>(count), m_size - m_sent);
        m_file.read(data, wanted);
        if (m_file.gcount() != wanted)
            return std::nullopt;
        m_sent += wanted;
        return static_cast<std::size_t>(wanted);
    }

private:
    std::ifstream m_file;
    std::int64_t m_size = -1;
    std::int64_t m_sent = 0;
};

// One upload over one connection, which ends with the object.
class FtpUpload {
public:
    FtpUpload(const SftpLocation& target, const std::string& remoteName, LocalFile& file)
        : m_file(file), m_clock(StallClock::DefaultLimit())
    {
        m_easy.SetText(curl::kUrl, "ftp://" + target.server + "/" + PercentEncode(remoteName));
        // Not what the environment names: the channel is announced as a plain one to this server.
        m_easy.SetText(curl::kProxy, "");
        if (!target.user.empty()) {
            m_easy.SetText(curl::kUserName, target.user);
            m_easy.SetText(curl::kPassword, target.password);
        }
        m_easy.SetNumber(curl::kConnectTimeout, kConnectLimit);
        m_easy.SetNumber(curl::kUploadBufferSize, kBufferSize);
        // The remote name as it is: an absolute one stays absolute, and no folder is made.
        m_easy.SetNumber(curl::kFtpFileMethod, curl::kFtpNoCwd);
        m_easy.SetNumber(curl::kPathAsIs, 1);
        m_easy.SetReader(&FtpUpload::Read, this);
        m_easy.SetWriter(&FtpUpload::Discard, nullptr);
        m_easy.SetProgress(&FtpUpload::Progress, this);
    }

    // False, with the reason kept, when this file alone failed. Throws when the server is not
    // there, refuses us or refuses the file.
    bool Run()
    {
        m_easy.SetNumber(curl::kUpload, 1);
        m_easy.SetOffset(curl::kUploadSize, m_file.Size());
        const curl::Code code = m_easy.Perform();
        if (code == curl::kOk)
            return IsWholeThere();
        m_reason = m_isSilent       ? "the server is silent"
                   : m_isUnreadable ? "it can no longer be read"
                                    : m_easy.Explain(code);
        if (const auto status = StatusFor(code))
            throw TVXAException(*status);
        return false;
    }

    const std::string& Reason() const { return m_reason; }

private:
    std::optional<EVXAStatusCode> StatusFor(curl::Code code) const
    {
        if (code == curl::kUploadFailed) {
            const long answer = m_easy.Number(curl::kInfoResponseCode);
            const bool isRefused = answer >= 500 && answer != kNoSpace;
            return isRefused ? std::optional(TVXAStatusCode::ePermissionDenied) : std::nullopt;
        }
        // The only limit of libcurl's own that is set here is that for the log-in.
        if (code == curl::kOperationTimedOut && !m_hasBegun)
            return m_easy.Seconds(curl::kInfoNameLookupTime) > 0 ? TVXAStatusCode::eCannotConnect
                                                                 : TVXAStatusCode::eNoRoute;
        return StatusOf(code, m_easy.Number(curl::kInfoOsErrno));
    }

    // Compares the remote size, on the same connection. A server that does not tell it, as a drop
    // where nothing can be read, is believed: it has confirmed the file.
    bool IsWholeThere()
    {
        m_clock.Restart();
        m_easy.SetNumber(curl::kUpload, 0);
        m_easy.SetNumber(curl::kNoBody, 1);
        const curl::Code code = m_easy.Perform();
        const bool isTold = code != curl::kRemoteFileNotFound;
        if (isTold && code != curl::kOk) {
            m_reason = "its size could not be asked for: " + m_easy.Explain(code);
            return false;
        }
        const std::int64_t size = isTold ? m_easy.LongNumber(curl::kInfoContentLengthDownload) : -1;
        if (size >= 0 && size != m_file.Size())
            m_reason = "the server has " + std::to_string(size) + " of " +
                       std::to_string(m_file.Size()) + " bytes";
        return size < 0 || size == m_file.Size();
    }

    static std::size_t Read(char* data, std::size_t size, std::size_t count, void* user)
    {
        FtpUpload& upload = *static_cast<FtpUpload*>(user);
        if (!upload.m_hasBegun)
            upload.m_clock.Restart();
        upload.m_hasBegun = true;
        const std::optional<std::size_t> read = upload.m_file.Read(data, size * count);
        upload.m_isUnreadable = !read;
        return read.value_or(curl::kReadAborted);
    }

    static std::size_t Discard(char*, std::size_t size, std::size_t count, void*)
    {
        return size * count;
    }

    static int Progress(void* user, curl::Offset, curl::Offset, curl::Offset, curl::Offset sent)
    {
        FtpUpload& upload = *static_cast<FtpUpload*>(user);
        NotifyAlive();
        if (sent != upload.m_sent)
            upload.m_clock.Restart();
        upload.m_sent = sent;
        // The log-in comes on top; libcurl ends it by itself when it takes too long.
        const StallClock::Seconds logIn(upload.m_hasBegun ? 0 : kConnectLimit);
        upload.m_isSilent = upload.m_clock.Silence() >= upload.m_clock.Limit() + logIn;
        return upload.m_isSilent ? 1 : 0;
    }

    CurlEasy m_easy;
    LocalFile& m_file;
    StallClock m_clock;
    std::int64_t m_sent = 0;
    bool m_hasBegun = false;
    bool m_isSilent = false;
    bool m_isUnreadable = false;
    std::string m_reason;
};

} // namespace

bool TOSSpecific::FTPFile(std::string server, std::string localFile, std::string remoteName)
{
    const ScopedWipe wipeServer(server);
    const SftpLocation target(server);
    RegisterSecret(target.password);
    const auto fail = [&](const std::string& reason) {
        LogLine("TOSSpecific::FTPFile - '" + Printable(localFile) + "' was not sent, " +
                Printable(reason));
        return false;
    };
    LocalFile file(localFile);
    if (!file.IsReadable())
        return fail("it cannot be read");
    if (remoteName.empty() || Printable(remoteName) != remoteName)
        return fail("its remote name is not safe");
    if (!target.HasServer() || !target.directory.empty())
        return fail("the server's name is not one");
    FtpUpload upload(target, remoteName, file);
    try {
        return upload.Run() || fail(upload.Reason());
    } catch (const TVXAException&) {
        fail(upload.Reason());
        throw;
    }
}

} // namespace NORXVXA20
