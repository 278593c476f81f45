#pragma once

#include <functional>
#include <string>
#include <vector>

// The core library's clock, directories and programs: the directories are real ones, the time
// stands still, and programs are a function of the test.
struct FakeFiles {
    void Reset() { *this = FakeFiles(); }

    std::function<void(const std::string& call)> onCall; // "DirExists", "CreateDir"; may throw
    std::function<std::string(const std::string& commandLine)> run; // none: silence
    std::vector<std::string> created;
    std::vector<std::string> programs; // "limit: command line"
};

inline FakeFiles gFiles;
