#pragma once

#include "backends/cmmnsp/CimAnswer.h"
#include "backends/cmmnsp/CimRequest.h"
#include "backends/vxacore/HttpClient.h"

#include <memory>
#include <string>

namespace NORXVXA20 {

// The connection to a chassis manager: CIM operations in XML over HTTP. Every failure throws
// CimFailure with the operation and the reason, and is logged as well.
class CimClient {
public:
    // Port 5989 selects https, any other one http; docs/environment.md lists the options that
    // change this and how an https server is verified. Throws CimFailure for a host, a user name or
    // a port that cannot be right.
    CimClient(const std::string& host, const std::string& user, const std::string& password,
              int port);

    // Sends the cheapest request: any CIM answer will do but "access denied" and "no such
    // namespace".
    void Probe(const std::string& namespaceName);

    // Sends the request and returns the answer, which is no error. What only reads is repeated
    // once when the connection is lost; a method call never is.
    CimAnswer Call(const CimRequest& request);

private:
    CimAnswer Exchange(const CimRequest& request);
    HttpAnswer Post(const CimRequest& request, const std::string& id);

    std::unique_ptr<HttpClient> m_http;
    unsigned int m_lastId = 0;
};

} // namespace NORXVXA20
