#pragma once

#include "UtilsExport.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

// HTTP for the backends that have no libcurl of their own: the core library's client.
namespace NORXVXA20 {

// Whom to ask, and what is known of him.
struct HttpServer {
    std::string url;       // scheme, host, port and path, without credentials
    std::string user;      // Basic authentication, sent with every request
    std::string password;  // kept by libcurl only
    bool verify = true;    // https: the certificate's chain and host name
    std::string caFile;    // https: the authorities to trust; empty: the system's
    std::string pinnedKey; // https: the server's key, as libcurl takes it; empty: any
};

// What came of a request.
struct HttpAnswer {
    long status = 0; // 0: none arrived
    std::string
        failure; // why there is no whole answer; empty when there is one. No secret is in it
    bool isLost = false; // the connection broke off before the first byte of an answer
    std::vector<std::pair<std::string, std::string>> headers; // names in lower case; trailers too
    std::string body;                                         // empty for a status from 400
};

// One server, whose connection stays open between requests. Follows no redirect, uses no proxy,
// takes no compression. An answer of more than 64 MiB, or with more than 256 KiB of headers, is
// refused while it arrives. For one thread at a time.
class VXACORE_API HttpClient {
public:
    // Connects to nothing yet. Throws TVXAException 35 when there is no usable libcurl.
    explicit HttpClient(const HttpServer& server);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    // Sends one request and waits for the answer, at most totalSeconds and 10 s for the connection.
    // On a kept connection that the server has closed libcurl itself repeats the request;
    // isFresh connects anew, and the request leaves once at most.
    HttpAnswer Post(const std::vector<std::string>& headers, const std::string& body,
                    long totalSeconds, bool isFresh);

private:
    class Transfer;
    std::unique_ptr<Transfer> m_transfer;
};

} // namespace NORXVXA20
