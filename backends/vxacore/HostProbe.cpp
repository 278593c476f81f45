// TOSSpecific::DetectHostnameAvailable.
#include "backends/vxacore/Alive.h"
#include "backends/vxacore/CurlClient.h"
#include "backends/vxacore/SftpLocation.h"
#include "common/TVXAException.h"
#include "platform/vxacore/TOSSpecific.h"

namespace NORXVXA20 {

namespace {

constexpr long kConnectLimit = 10; // seconds, resolving included

int StayAlive(void*, curl::Offset, curl::Offset, curl::Offset, curl::Offset)
{
    NotifyAlive();
    return 0;
}

// Connects and hangs up; not a byte is sent.
int Probe(const std::string& server)
{
    CurlEasy easy;
    easy.SetText(curl::kUrl, "http://" + server + "/");
    easy.SetNumber(curl::kConnectOnly, 1);
    easy.SetNumber(curl::kConnectTimeout, kConnectLimit);
    easy.SetText(curl::kProxy, "");
    easy.SetProgress(&StayAlive, nullptr);
    try {
        // Else a resolver that hangs is waited for in the end.
        easy.SetNumber(curl::kQuickExit, 1);
    } catch (const TVXAException&) {
        // An older libcurl, which may take longer than the limit then.
    }
    const curl::Code code = easy.Perform();
    if (code == curl::kOk)
        return 0;
    if (code == curl::kOperationTimedOut)
        return easy.Seconds(curl::kInfoNameLookupTime) > 0 ? TVXAStatusCode::eCannotConnect
                                                           : TVXAStatusCode::eNoRoute;
    return StatusOf(code, easy.Number(curl::kInfoOsErrno)).value_or(TVXAStatusCode::eCannotConnect);
}

} // namespace

int TOSSpecific::DetectHostnameAvailable(std::string host, std::string port)
{
    // The colons of an IPv6 address need brackets.
    const bool isBare = host.find(':') != std::string::npos && host.front() != '[';
    const SftpLocation target((isBare ? "[" + host + "]" : host) + ":" + port);
    if (host.empty() || !target.HasServer() || !target.directory.empty() || !target.user.empty())
        return TVXAStatusCode::eNoRoute;
    try {
        return Probe(target.server);
    } catch (const TVXAException& failure) {
        return failure.GetStatusCode().GetStatusCode();
    }
}

} // namespace NORXVXA20
