#pragma once

#include "platform/vxacore/TCIMReference.h"

#include <map>
#include <string>

namespace NORXVXA20 {

// One CIM operation as it goes over the wire. Texts that XML cannot hold throw CimFailure.
struct CimRequest {
    std::string method; // operation or method name
    std::string object; // the namespace or the object path, for the header
    std::string call;   // the call element of the body
    bool isMethodCall = false;
};

CimRequest MakeClassNamesRequest(const std::string& namespaceName, const std::string& className,
                                 bool deep);
// ownOnly: without what the class inherits, the smallest answer.
CimRequest MakeClassRequest(const std::string& namespaceName, const std::string& className,
                            bool ownOnly);
CimRequest MakeInstancesRequest(const std::string& namespaceName, const std::string& className,
                                bool deep);
CimRequest MakeMethodRequest(const TCIMReference& path, const std::string& method,
                             const std::map<std::string, TCIMValue>& parameters);

// The body of the message that carries the call.
std::string MessageBody(const CimRequest& request, const std::string& id);

// text as a header value: everything but plain path characters percent-encoded.
std::string PercentEncode(const std::string& text);
std::string PercentDecode(const std::string& text);

} // namespace NORXVXA20
