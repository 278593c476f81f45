#pragma once

#include <map>
#include <string>
#include <vector>

// A chassis manager that lives in memory: a small model, methods with scripted answers, and a
// record of everything that was asked of it.
struct FakeChassis {
    enum Failure { kStatus, kOther }; // TVXAException, or another exception
    using Properties = std::map<std::string, std::string>;

    void Reset() { *this = FakeChassis(); }
    // Writes the call down and fails it if a test asked for that.
    void Note(const std::string& call);

    std::map<std::string, std::vector<std::string>> subclasses;
    std::map<std::string, std::vector<Properties>> instances; // of each class that exists
    std::vector<Properties> collections;     // output of each StartDataCollection; then none
    std::map<std::string, Failure> failures; // by the call as recorded, or its beginning
    std::vector<std::string> calls;
};

inline FakeChassis gChassis;
