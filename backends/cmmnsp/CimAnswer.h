#pragma once

#include "platform/vxacore/TCIMReference.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace NORXVXA20 {

struct CimRequest;

struct CimInstance {
    std::string className;
    std::map<std::string, TCIMValue> properties; // by name in lower case
};

// What a chassis manager answered; the member that fits the request is filled.
struct CimAnswer {
    std::optional<int> errorCode; // of CIM; then nothing else is filled
    std::string errorText;
    std::vector<std::string> classNames;
    std::vector<CimInstance> instances;
    TCIMValue returnValue;
    std::map<std::string, TCIMValue> outputs;
};

// Reads the body of an answer to request, sent under id. Throws CimFailure when it is no valid
// answer to that request; the body comes from the network and is trusted in nothing.
CimAnswer ReadCimAnswer(const std::string& body, const CimRequest& request, const std::string& id);

// For example "CIM_ERR_ACCESS_DENIED (2)"; other codes are named by their number alone.
std::string CimErrorName(int code);

std::string ToLower(std::string text);

} // namespace NORXVXA20
