#include "simulators/chassis/Faults.h"

#include <stdexcept>

namespace chassis {

namespace {

struct KindName {
    const char* name;
    Fault::Kind kind;
    bool hasArgument;
};
constexpr KindName kKinds[] = {
    {"error", Fault::kError, true},      {"status", Fault::kStatus, true},
    {"delay", Fault::kDelay, true},      {"drop", Fault::kDrop, false},
    {"cut", Fault::kCut, false},         {"huge", Fault::kHuge, false},
    {"chunked", Fault::kChunked, false}, {"no-output", Fault::kNoOutput, false},
    {"replace", Fault::kReplace, true},
};

} // namespace

void Faults::Add(const std::string& definition)
{
    const std::size_t equals = definition.find('=');
    if (equals == std::string::npos)
        throw std::invalid_argument("a fault is NAME=KIND: " + definition);
    std::string rest = definition.substr(equals + 1);
    Fault fault;
    if (const std::size_t at = rest.rfind('@'); at != std::string::npos) {
        fault.at = std::stoi(rest.substr(at + 1));
        rest.erase(at);
    }
    const std::size_t colon = rest.find(':');
    for (const KindName& known : kKinds) {
        if (rest.substr(0, colon) == known.name &&
            known.hasArgument == (colon != std::string::npos))
            fault.kind = known.kind;
    }
    if (fault.kind == Fault::kNone)
        throw std::invalid_argument("there is no such fault: " + definition);
    if (colon != std::string::npos)
        fault.argument = rest.substr(colon + 1);
    m_faults[definition.substr(0, equals)] = fault;
}

Fault Faults::Next(const std::string& operation)
{
    const int call = ++m_calls[operation];
    for (const std::string& name : {operation, std::string("*")}) {
        const auto found = m_faults.find(name);
        if (found != m_faults.end() && (found->second.at == 0 || found->second.at == call))
            return found->second;
    }
    return Fault();
}

} // namespace chassis
