#include "backends/cmmnsp/CimClient.h"

#include "backends/cmmnsp/CimFailure.h"
#include "backends/vxacore/CoreLog.h"
#include "common/Wipe.h"
#include "platform/vxacore/TRootObject.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace NORXVXA20 {

namespace {

constexpr int kHttpsPort = 5989;
constexpr int kMaxPort = 65535;
constexpr int kWarning = 1; // log level
constexpr std::size_t kMaxReason = 300;
// A method returns when its work is done, so it may be silent for many minutes.
constexpr long kReadSeconds = 120;
constexpr long kMethodSeconds = 30L * 60;
constexpr int kAccessDenied = 2;
constexpr int kInvalidNamespace = 3;

void Warn(const std::string& message)
{
    if (ILogger* const logger = TRootObject::GetCoreLogger())
        logger->Log(kWarning, message);
}

// text from the network as it may stand in a log line: one short line without secrets.
std::string Printable(const std::string& text)
{
    std::string line = MaskSecrets(text).substr(0, kMaxReason);
    std::replace_if(
        line.begin(), line.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == '\x7F'; }, ' ');
    return line;
}

[[noreturn]] void Fail(const std::string& operation, const std::string& reason)
{
    const std::string message = operation + ": " + Printable(reason);
    Warn("Chassis manager: " + message);
    throw CimFailure(message);
}

std::string Option(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// The host as it stands in a URL.
std::string UrlHost(const std::string& host)
{
    const bool isPlain = std::all_of(host.begin(), host.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '-' || c == '_' || c == ':' || c == '[' || c == ']' || c == '%';
    });
    if (host.empty() || !isPlain)
        Fail("connect", "the host is no name and no address");
    const bool isBareIpv6 = host.find(':') != std::string::npos && host[0] != '[';
    return isBareIpv6 ? "[" + host + "]" : host;
}

HttpServer MakeServer(const std::string& host, const std::string& user, const std::string& password,
                      int port)
{
    if (port < 1 || port > kMaxPort)
        Fail("connect", "there is no port " + std::to_string(port));
    if (user.find(':') != std::string::npos)
        Fail("connect", "a user name cannot hold a colon");
    std::string scheme = Option("VXA_CIM_SCHEME");
    if (scheme.empty())
        scheme = port == kHttpsPort ? "https" : "http";
    if (scheme != "http" && scheme != "https")
        Fail("connect", "VXA_CIM_SCHEME is neither http nor https");

    HttpServer server;
    server.url = scheme + "://" + UrlHost(host) + ":" + std::to_string(port) + "/cimom";
    server.user = user;
    server.password = password;
    server.caFile = Option("VXA_CIM_CA_FILE");
    server.pinnedKey = Option("VXA_CIM_PINNED_KEY");
    server.verify = Option("VXA_CIM_VERIFY") != "off";
    if (scheme == "http")
        Warn("Chassis manager: user name and password go over the network in the clear");
    else if (!server.verify)
        Warn("Chassis manager: the server's certificate is not verified");
    return server;
}

std::string Header(const HttpAnswer& answer, const std::string& name)
{
    for (const auto& [known, value] : answer.headers) {
        if (known == name)
            return value;
    }
    return std::string();
}

// What the server says about a refused request, besides its status.
std::string RefusalText(const HttpAnswer& answer)
{
    const std::string cimError = Header(answer, "cimerror");
    return "HTTP status " + std::to_string(answer.status) +
           (cimError.empty() ? "" : ", " + PercentDecode(cimError));
}

bool IsXml(const std::string& contentType)
{
    const std::string type = ToLower(contentType.substr(0, contentType.find(';')));
    return type.find("application/xml") == 0 || type.find("text/xml") == 0;
}

// The CIM error that a server may put behind the body, which then looks like a success.
std::optional<int> TrailingError(const HttpAnswer& answer)
{
    const int code = std::atoi(Header(answer, "cimstatuscode").c_str());
    return code != 0 ? std::optional<int>(code) : std::nullopt;
}

} // namespace

CimClient::CimClient(const std::string& host, const std::string& user, const std::string& password,
                     int port)
{
    RegisterSecret(password);
    HttpServer server = MakeServer(host, user, password, port);
    m_http = std::make_unique<HttpClient>(server);
    WipeBytes(server.password);
}

void CimClient::Probe(const std::string& namespaceName)
{
    const CimRequest request = MakeClassRequest(namespaceName, "CIM_ManagedElement", true);
    const CimAnswer answer = Exchange(request);
    if (answer.errorCode == kAccessDenied || answer.errorCode == kInvalidNamespace)
        Fail("connect", CimErrorName(*answer.errorCode) + ", " + answer.errorText);
}

CimAnswer CimClient::Call(const CimRequest& request)
{
    CimAnswer answer = Exchange(request);
    if (answer.errorCode)
        Fail(request.method, CimErrorName(*answer.errorCode) + ", " + answer.errorText);
    return answer;
}

CimAnswer CimClient::Exchange(const CimRequest& request)
{
    const std::string id = std::to_string(++m_lastId);
    const HttpAnswer http = Post(request, id);
    if (!http.failure.empty())
        Fail(request.method, http.failure);
    if (http.status != 200)
        Fail(request.method, RefusalText(http));
    if (!IsXml(Header(http, "content-type")))
        Fail(request.method, "the answer is no XML");
    CimAnswer answer;
    try {
        answer = ReadCimAnswer(http.body, request, id);
    } catch (const CimFailure& e) {
        Fail(request.method, e.what());
    }
    if (const std::optional<int> error = TrailingError(http)) {
        answer.errorCode = error;
        answer.errorText = PercentDecode(Header(http, "cimstatuscodedescription"));
    }
    return answer;
}

HttpAnswer CimClient::Post(const CimRequest& request, const std::string& id)
{
    const std::vector<std::string> headers = {
        "Content-Type: application/xml; charset=\"utf-8\"",
        "CIMOperation: MethodCall",
        "CIMMethod: " + PercentEncode(request.method),
        "CIMObject: " + PercentEncode(request.object),
    };
    const std::string body = MessageBody(request, id);
    if (request.isMethodCall)
        return m_http->Post(headers, body, kMethodSeconds, true);
    HttpAnswer answer = m_http->Post(headers, body, kReadSeconds, false);
    return answer.isLost ? m_http->Post(headers, body, kReadSeconds, true) : answer;
}

} // namespace NORXVXA20
