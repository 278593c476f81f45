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
    // The words that start it; before them may stand a program that changes what it inherits.
    static std::vector<std::string> Words(const std::string& name,
                                          const std::vector<std::string>& arguments,
                                          std::vector<std::string> before = {});

    // In what it has written, paths that begin with directory have slashes and a line ends with
    // one character, whatever the system.
    TestedProgram(const std::vector<std::string>& words,
                  const std::map<std::string, std::string>& changes, const std::string& scratch,
                  std::string directory);

    std::string Output() const { return Portable(Program::Output()); }
    std::string Errors() const { return Portable(Program::Errors()); }

private:
    std::string Portable(std::string text) const;

    std::string m_directory;
};

// The command lines of all running processes that hold text.
std::vector<std::string> CommandLinesWith(const std::string& text);
