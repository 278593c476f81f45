#pragma once

#include <string>

// The system that the tests run on, of which a Windows test under Wine sees little.

struct HostAnswer {
    int status = 0;     // the command's
    std::string output; // both of its outputs
};

// Has the host's shell run a command to its end. On Windows its environment is that of the test's
// start.
HostAnswer RunOnHost(const std::string& command);

// A path as the host names it, or a text as one word for its shell.
std::string HostPath(const std::string& path);
std::string ShellWord(const std::string& text);
