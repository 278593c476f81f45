#include "backends/vxacore/SftpCopy.h"

#include "backends/vxacore/TransferReports.h"

#include "common/TVXAException.h"
#include "platform/vxacore/TOSSpecific.h"

#include <algorithm>
#include <array>

namespace NORXVXA20 {

namespace {

constexpr std::array<unsigned int, 4> kPauses = {500, 1000, 2000, 4000}; // milliseconds
// The nearer the limit, the shorter: a server that comes back just before it has to be seen.
constexpr double kMostOfTimeLeft = 0.25;
constexpr unsigned int kShortestPause = 100;
constexpr std::chrono::milliseconds kBetweenReports{250};

// A try that the server broke off costs patience, more when it brought nothing; a good one restores
// it.
constexpr int kFullPatience = 4;
constexpr int kCostOfBarrenTry = 2;
constexpr int kCostOfPoorTry = 1;
constexpr std::int64_t kGoodTry = std::int64_t{1024} * 1024; // bytes
constexpr int kMostChanges = 3;

} // namespace

SftpCopy::SftpCopy(SftpConnection& connection, StallClock& clock, PartFile& part,
                   TransferredFile& file)
    : m_connection(connection), m_clock(clock), m_part(part), m_file(file),
      m_patience(kFullPatience)
{}

bool SftpCopy::Run()
{
    for (;;) {
        switch (Try()) {
        case Verdict::eComplete:
            return true;
        case Verdict::eFailed:
            return false;
        case Verdict::eBeginAnew:
            if (!BeginAnew())
                return false;
            break;
        case Verdict::eTryInPlace:
            break;
        case Verdict::eTryAnew:
            PauseBeforeNextTry();
            m_connection.Drop();
            break;
        }
    }
}

SftpCopy::Verdict SftpCopy::Try()
{
    ++m_file.tries;
    m_offset = m_part.Size();
    m_file.startByte = m_offset;
    m_compared = false;
    m_changed = false;
    const curl::Code code = m_connection.Fetch(m_file.name, m_offset, m_clock, *this);
    const std::int64_t gained = m_part.Size() - m_offset;
    m_file.receivedBytes = m_part.Size();
    if (gained > 0)
        m_pauses = 0;
    return Judge(code, gained);
}

SftpCopy::Verdict SftpCopy::Judge(curl::Code code, std::int64_t gained)
{
    if (m_localFault) {
        Fail(m_part.Error());
        return Verdict::eFailed;
    }
    if (code == curl::kOk && !m_compared)
        m_changed = !IsSameFile();
    if (m_changed || code == curl::kBadDownloadResume)
        return Verdict::eBeginAnew;
    if (code == curl::kOk)
        return Verdict::eComplete;
    if (code == curl::kRemoteFileNotFound || code == curl::kRemoteAccessDenied) {
        Fail("the server refuses it: " + m_connection.Explain(code));
        return Verdict::eFailed;
    }
    return JudgeBreak(code, gained);
}

SftpCopy::Verdict SftpCopy::JudgeBreak(curl::Code code, std::int64_t gained)
{
    const std::string reason = m_connection.Explain(code);
    if (const auto status = m_connection.LossBy(code))
        Lose(*status, reason);
    // A server that has been there may come back.
    m_lossStatus = m_connection.StatusBy(code);
    if (m_clock.HasRunOut())
        Lose(m_lossStatus, "the server is silent");
    // Ended by the clock, or nobody there: nothing that speaks against this file.
    if (code == curl::kAbortedByCallback || !m_connection.WasLoggedIn())
        return Verdict::eTryAnew;

    const int before = m_patience;
    if (gained >= kGoodTry)
        m_patience = kFullPatience;
    else
        m_patience -= gained == 0 ? kCostOfBarrenTry : kCostOfPoorTry;
    if (m_patience <= 0) {
        Fail("the server breaks it off: " + reason);
        return Verdict::eFailed;
    }
    // The answer to an open that failed; the connection may well be whole.
    return gained == 0 && before == kFullPatience ? Verdict::eTryInPlace : Verdict::eTryAnew;
}

bool SftpCopy::OnBlock(const char* bytes, std::size_t count)
{
    if (!m_compared)
        m_changed = !IsSameFile();
    m_compared = true;
    if (m_changed)
        return false;
    m_localFault = !m_part.Append(bytes, count);
    if (m_localFault)
        return false;
    m_clock.Restart();
    return true;
}

void SftpCopy::OnProgress()
{
    const auto now = std::chrono::steady_clock::now();
    if (m_part.Size() == m_file.receivedBytes || now - m_lastReport < kBetweenReports)
        return;
    m_lastReport = now;
    m_file.receivedBytes = m_part.Size();
    TransferListener().OnBytes(m_file.name, m_file.receivedBytes, m_file.expectedBytes);
}

// Takes down the remote file's size and time in the first try, and compares them in every later
// one.
bool SftpCopy::IsSameFile()
{
    const std::int64_t remaining = m_connection.RemainingBytes();
    const std::int64_t size = remaining >= 0 ? m_offset + remaining : -1;
    const std::int64_t time = m_connection.FileTime();
    if (m_offset > 0)
        return size == m_file.expectedBytes && time == m_fileTime;
    m_file.expectedBytes = size;
    m_fileTime = time;
    return true;
}

bool SftpCopy::BeginAnew()
{
    if (++m_changes > kMostChanges)
        return Fail("it changes while it is copied");
    m_file.receivedBytes = 0;
    return m_part.Begin() || Fail(m_part.Error());
}

void SftpCopy::PauseBeforeNextTry()
{
    using Milliseconds = std::chrono::duration<double, std::milli>;
    const double left = Milliseconds(m_clock.Limit() - m_clock.Silence()).count();
    const double usual = kPauses[std::min(m_pauses++, kPauses.size() - 1)];
    const double pause = std::max<double>(std::min(usual, left * kMostOfTimeLeft), kShortestPause);
    TOSSpecific::USleep(static_cast<unsigned int>(std::clamp<double>(left, 0, pause)));
    if (m_clock.HasRunOut())
        Lose(m_lossStatus, "the server does not come back");
}

bool SftpCopy::Fail(const std::string& reason)
{
    m_file.reason = reason;
    return false;
}

void SftpCopy::Lose(EVXAStatusCode status, const std::string& reason)
{
    m_file.reason = reason;
    throw TVXAException(status);
}

} // namespace NORXVXA20
