#pragma once

#include "tests/support/Program.h"

#include <utility>

// A program under test, by its name in the folder where the tests run. In a Windows build's tests
// it is a Windows program, and runs under Wine, in whose environment the test was started.
class TestedProgram : public Program {
public:
    static bool IsForWindows();
    // The environment's variable that has it look first in folder for libraries that it loads.
    static std::pair<std::string, std::string> LibrariesFrom(const std::string& folder);

    // Before it may stand the words of a program that changes what it inherits. Its outputs go to
    // files in scratch.
    TestedProgram(const std::string& name, const std::vector<std::string>& arguments,
                  const std::map<std::string, std::string>& changes, const std::string& scratch,
                  std::vector<std::string> before = {});

    // Paths that begin with scratch have slashes and a line ends with one character, whatever the
    // system.
    std::string Output() const { return Portable(Program::Output()); }
    std::string Errors() const { return Portable(Program::Errors()); }

private:
    std::string Portable(std::string text) const;
};

// The command lines of all running processes that hold text.
std::vector<std::string> CommandLinesWith(const std::string& text);
