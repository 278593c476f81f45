#pragma once

#include <map>
#include <string>
#include <vector>

// The loader of run-time libraries: knows the libraries that a test installs and keeps a record.
struct FakeLoader {
    using Exports = std::map<std::string, void*>;

    void Reset() { *this = FakeLoader(); }

    std::map<std::string, Exports> libraries; // by the name under which they are asked for
    std::vector<std::string> calls;           // "load X", "find X", "unload"
};

inline FakeLoader gLoader;
