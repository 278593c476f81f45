#include "backends/vxacore/HttpClient.h"

#include "backends/vxacore/Alive.h"
#include "backends/vxacore/CurlClient.h"
#include "common/Trim.h"

#include <algorithm>

namespace NORXVXA20 {

namespace {

constexpr long kConnectSeconds = 10;
constexpr std::size_t kMaxBody = std::size_t{64} * 1024 * 1024;
constexpr std::size_t kMaxHeaders = std::size_t{256} * 1024;

// An answer while it arrives.
struct Arrival {
    HttpAnswer answer;
    std::size_t headerBytes = 0;
    const char* refusal = nullptr;
};

// Ends the transfer, which libcurl takes from a count that differs.
std::size_t Refuse(Arrival& arrival, const char* why)
{
    arrival.refusal = why;
    return 0;
}

std::size_t TakeHeader(char* data, std::size_t size, std::size_t count, void* user)
{
    Arrival& arrival = *static_cast<Arrival*>(user);
    arrival.headerBytes += size * count;
    if (arrival.headerBytes > kMaxHeaders)
        return Refuse(arrival, "the headers are too long");
    const std::string line(data, size * count);
    // A status line begins the next answer, for example after an interim one.
    if (line.compare(0, 5, "HTTP/") == 0)
        arrival.answer.headers.clear();
    const std::size_t colon = line.find(':');
    if (colon != std::string::npos) {
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        arrival.answer.headers.emplace_back(name, Trimmed(line.substr(colon + 1)));
    }
    return size * count;
}

std::size_t TakeBody(char* data, std::size_t size, std::size_t count, void* user)
{
    Arrival& arrival = *static_cast<Arrival*>(user);
    if (arrival.answer.body.size() + size * count > kMaxBody)
        return Refuse(arrival, "the answer is too long");
    arrival.answer.body.append(data, size * count);
    return size * count;
}

int OnProgress(void*, curl::Offset, curl::Offset, curl::Offset, curl::Offset)
{
    NotifyAlive();
    return 0;
}

} // namespace

class HttpClient::Transfer {
public:
    explicit Transfer(const HttpServer& server)
    {
        m_easy.SetText(curl::kUrl, server.url);
        m_easy.SetText(curl::kProtocols, "http,https");
        m_easy.SetText(curl::kNoProxy, "*");
        m_easy.SetNumber(curl::kFollowLocation, 0);
        m_easy.SetNumber(curl::kFailOnError, 1);
        m_easy.SetNumber(curl::kHttpAuth, curl::kHttpAuthBasic);
        m_easy.SetText(curl::kUserName, server.user);
        m_easy.SetText(curl::kPassword, server.password);
        m_easy.SetNumber(curl::kConnectTimeout, kConnectSeconds);
        m_easy.SetNumber(curl::kTcpKeepAlive, 1);
        m_easy.SetNumber(curl::kVerifyPeer, server.verify ? 1 : 0);
        m_easy.SetNumber(curl::kVerifyHost, server.verify ? 2 : 0);
        if (!server.caFile.empty())
            m_easy.SetText(curl::kCaFile, server.caFile);
        if (!server.pinnedKey.empty())
            m_easy.SetText(curl::kPinnedPublicKey, server.pinnedKey);
        m_easy.SetProgress(&OnProgress, nullptr);
    }

    HttpAnswer Post(const std::vector<std::string>& headers, const std::string& body,
                    long totalSeconds, bool isFresh)
    {
        // libcurl only reads the list, during the transfer.
        std::vector<std::string> lines(headers);
        lines.emplace_back("Expect:"); // an empty value leaves the header out
        std::vector<curl::TextList> list(lines.size());
        for (std::size_t i = 0; i < lines.size(); ++i)
            list[i] = {lines[i].data(), i + 1 < lines.size() ? &list[i + 1] : nullptr};

        Arrival arrival;
        m_easy.SetPointer(curl::kHttpHeader, list.data());
        m_easy.SetPointer(curl::kPostFields, const_cast<char*>(body.data()));
        m_easy.SetOffset(curl::kPostFieldSize, static_cast<curl::Offset>(body.size()));
        m_easy.SetNumber(curl::kTimeout, totalSeconds);
        m_easy.SetNumber(curl::kFreshConnect, isFresh ? 1 : 0);
        m_easy.SetHeaderReader(&TakeHeader, &arrival);
        m_easy.SetWriter(&TakeBody, &arrival);
        const curl::Code code = m_easy.Perform();
        Conclude(code, arrival);
        return std::move(arrival.answer);
    }

private:
    void Conclude(curl::Code code, Arrival& arrival)
    {
        HttpAnswer& answer = arrival.answer;
        answer.status = m_easy.Number(curl::kInfoResponseCode);
        if (code == curl::kOk || code == curl::kHttpReturnedError)
            return;
        answer.failure = arrival.refusal != nullptr ? arrival.refusal : m_easy.Explain(code);
        answer.isLost =
            arrival.headerBytes == 0 &&
            (code == curl::kGotNothing || code == curl::kSendError || code == curl::kReceiveError);
    }

    CurlEasy m_easy;
};

HttpClient::HttpClient(const HttpServer& server) : m_transfer(std::make_unique<Transfer>(server)) {}

HttpClient::~HttpClient() = default;

HttpAnswer HttpClient::Post(const std::vector<std::string>& headers, const std::string& body,
                            long totalSeconds, bool isFresh)
{
    return m_transfer->Post(headers, body, totalSeconds, isFresh);
}

} // namespace NORXVXA20
