#include "backends/vxacore/SftpConnection.h"

#include "backends/vxacore/Alive.h"
#include "common/TVXAException.h"
#include "common/Wipe.h"

namespace NORXVXA20 {

namespace {

constexpr long kConnectLimit = 10; // seconds, log-in included
// Never reached. Deliberate: without any limit libcurl does not wait while it closes a remote file,
// it spins, and on two processors keeps the server from the one that it needs: a small file then
// takes three times as long.
constexpr long kTotalLimit = 20L * 24 * 60 * 60; // seconds
constexpr long kBufferSize = 512L * 1024;
constexpr std::chrono::seconds kKeptUnused{60};

} // namespace

struct SftpConnection::Transfer {
    IReceiver& receiver;
    const StallClock& clock;
    const bool beganLate;
    const CurlEasy& easy;

    // libcurl tells of progress only when nothing is there to be read, which may take 50 MB.
    void Tell() const
    {
        NotifyAlive();
        receiver.OnProgress();
    }

    static std::size_t Write(char* data, std::size_t size, std::size_t count, void* user)
    {
        const Transfer& transfer = *static_cast<Transfer*>(user);
        const std::size_t bytes = size * count;
        if (!transfer.receiver.OnBlock(data, bytes))
            return bytes + 1; // no number that was delivered: ends the transfer
        transfer.Tell();
        return bytes;
    }

    static int Progress(void* user, curl::Offset, curl::Offset, curl::Offset, curl::Offset)
    {
        const Transfer& transfer = *static_cast<Transfer*>(user);
        transfer.Tell();
        const bool isUp =
            transfer.beganLate ? transfer.clock.HasRunOut() : transfer.clock.IsHalfOver();
        if (isUp)
            transfer.easy.BreakConnection();
        return isUp ? 1 : 0;
    }
};

SftpConnection::SftpConnection(const std::string& remote)
    : m_remote(remote), m_location(remote), m_hostKeys(m_location)
{
    if (!m_location.HasServer())
        throw TVXAException(TVXAStatusCode::eCannotConnect);
    SetUp();
}

SftpConnection::~SftpConnection()
{
    WipeBytes(m_remote);
}

bool SftpConnection::IsStale() const
{
    return std::chrono::steady_clock::now() - m_lastUse >= kKeptUnused;
}

void SftpConnection::SetUp()
{
    m_easy.emplace();
    m_mayBeOpen = false;
    // The server is on the machine's own link; a proxy named by the environment is not for it.
    m_easy->SetText(curl::kProxy, "");
    m_easy->SetText(curl::kUserName, m_location.user);
    m_easy->SetText(curl::kPassword, m_location.password);
    // Not the keys and the agent of whoever runs this.
    m_easy->SetNumber(curl::kSshAuthTypes, curl::kSshAuthPassword | curl::kSshAuthKeyboard);
    m_easy->SetNumber(curl::kConnectTimeout, kConnectLimit);
    m_easy->SetNumber(curl::kTimeout, kTotalLimit);
    m_easy->SetNumber(curl::kBufferSize, kBufferSize);
    m_easy->SetNumber(curl::kPathAsIs, 1);
    m_easy->WatchSocket();
    m_hostKeys.ApplyTo(*m_easy);
}

void SftpConnection::Drop()
{
    SetUp();
}

curl::Code SftpConnection::Fetch(const std::string& name, std::int64_t offset,
                                 const StallClock& clock, IReceiver& receiver)
{
    Transfer transfer{receiver, clock, clock.IsHalfOver(), *m_easy};
    m_easy->SetText(curl::kUrl, m_location.Url(name));
    m_easy->SetNumber(curl::kDirListOnly, name.empty() ? 1 : 0);
    m_easy->SetNumber(curl::kFileTime, name.empty() ? 0 : 1);
    m_easy->SetOffset(curl::kResumeFrom, offset);
    m_easy->SetWriter(&Transfer::Write, &transfer);
    m_easy->SetProgress(&Transfer::Progress, &transfer);
    const curl::Code code = m_easy->Perform();
    m_lastUse = std::chrono::steady_clock::now();
    m_loggedIn = code == curl::kOk || m_easy->Seconds(curl::kInfoAppConnectTime) > 0 ||
                 (m_mayBeOpen && WasReused(code));
    m_mayBeOpen = m_mayBeOpen || m_loggedIn;
    m_beenThere = m_beenThere || m_loggedIn;
    return code;
}

std::string SftpConnection::Explain(curl::Code code) const
{
    if (code == curl::kPeerFailedVerification && !m_hostKeys.Refusal().empty())
        return m_hostKeys.Refusal();
    return m_easy->Explain(code);
}

// No connection is counted either when none could be made.
bool SftpConnection::WasReused(curl::Code code) const
{
    return m_easy->Number(curl::kInfoNumConnects) == 0 && code != curl::kCouldNotResolveHost &&
           code != curl::kCouldNotConnect && code != curl::kOperationTimedOut;
}

EVXAStatusCode SftpConnection::StatusBy(curl::Code code) const
{
    const auto status = StatusOf(code, m_easy->Number(curl::kInfoOsErrno));
    return status.value_or(TVXAStatusCode::eCannotConnect);
}

std::optional<EVXAStatusCode> SftpConnection::LossBy(curl::Code code) const
{
    const EVXAStatusCode status = StatusBy(code);
    const bool isFinal = code == curl::kPeerFailedVerification ||
                         status == TVXAStatusCode::ePermissionDenied ||
                         status == TVXAStatusCode::eNoTransferLibrary;
    if (isFinal || !m_beenThere)
        return status;
    return std::nullopt;
}

std::int64_t SftpConnection::RemainingBytes() const
{
    return m_easy->LongNumber(curl::kInfoContentLengthDownload);
}

} // namespace NORXVXA20
