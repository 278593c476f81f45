#pragma once

#include "common/TVXAException.h"

#include <exception>
#include <string>
#include <vector>

// The core library's clock, directories and programs: the directories are real ones, the time
// stands still, and programs only print.
struct FakeFiles {
    void Reset() { *this = FakeFiles(); }

    int failingCall = 0; // of DirExists, CreateDir and SpawnProcess, counted from 1; 0: none
    std::exception_ptr failure =
        std::make_exception_ptr(NORXVXA20::TVXAException(NORXVXA20::TVXAStatusCode::eFailed));
    std::string output; // of every program
    int calls = 0;
    std::vector<std::string> programs; // "limit: command line"
};

inline FakeFiles gFiles;
