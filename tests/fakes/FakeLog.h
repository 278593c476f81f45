#pragma once

#include <string>
#include <utility>
#include <vector>

// The core library's logger, recording. A test that touches it begins with Reset().
struct FakeLog {
    void Reset() { *this = FakeLog(); }
    // The messages in order, whatever their level.
    std::vector<std::string> Messages() const;
    bool Holds(const std::string& message) const;

    bool installed = true; // false: the core library has no logger
    int removeAfter = -1;  // the logger is gone after so many requests for it
    std::vector<std::pair<int, std::string>> records; // level and message
};

inline FakeLog gLog;
