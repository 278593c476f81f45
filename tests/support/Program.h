#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// A program that a test runs, in a process group of its own, with both outputs in files. Whatever
// is left of it when the object goes is ended. POSIX.
class Program {
public:
    // The first word is the program's path. The environment is this process's with changes.
    Program(const std::vector<std::string>& words,
            const std::map<std::string, std::string>& changes, std::string scratch);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    void Signal(int signal) const;
    // Its exit code, or -signal when a signal ended it, or kStillRunning after the limit.
    int Wait(std::chrono::milliseconds limit = std::chrono::seconds(60));
    static constexpr int kStillRunning = -1000;

    pid_t Pid() const { return m_pid; }
    // What it has written so far.
    std::string Output() const;
    std::string Errors() const;

private:
    std::string m_scratch;
    pid_t m_pid = -1;
    bool m_waited = false;
    int m_status = 0;
};

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

// False when there is no such process any more, or nothing but its entry.
bool IsRunning(pid_t pid);

// Waits until condition() holds; false after the limit.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(30))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
