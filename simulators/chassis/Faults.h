#pragma once

#include <map>
#include <string>
#include <vector>

namespace chassis {

// What goes wrong with an answer. Written as KIND[:ARGUMENT][@N], for example "status:500@1".
struct Fault {
    enum Kind {
        kNone,
        kError,    // error:CODE      a CIM error
        kStatus,   // status:CODE     an HTTP status
        kDelay,    // delay:MS        answers late
        kDrop,     // drop            closes the connection before the answer
        kCut,      // cut             closes it in the middle
        kHuge,     // huge            an answer of 1 GiB, in chunks
        kChunked,  // chunked         the right answer, in chunks
        kNoOutput, // no-output       without output parameters
        kReplace,  // replace:FILE    the file's text instead, "@ID@" in it being the message's
    };
    Kind kind = kNone;
    std::string argument;
    int at = 0; // the only call of the operation that it befalls, from 1; 0: every one
};

// The faults by the operation that they befall; "*" stands for every operation.
class Faults {
public:
    // definition is NAME=FAULT; throws std::invalid_argument for what is none.
    void Add(const std::string& definition);
    // The fault that befalls this call of the operation.
    Fault Next(const std::string& operation);

private:
    std::map<std::string, Fault> m_faults;
    std::map<std::string, int> m_calls; // so far, by operation
};

} // namespace chassis
