#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

// A program of the host that a test runs, in a process group of its own, with both outputs in new
// files in scratch. Whatever is left of it when the object goes is ended, on Windows the program
// itself.
class Program {
public:
    // The first word is the program's path. The environment is this process's with changes.
    Program(const std::vector<std::string>& words,
            const std::map<std::string, std::string>& changes, std::string scratch);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    void Signal(int signal) const; // not on Windows
    // Its exit code, or -signal when a signal ended it, or kStillRunning after the limit.
    int Wait(std::chrono::milliseconds limit = std::chrono::seconds(60));
    static constexpr int kStillRunning = -1000;

    pid_t Pid() const { return m_pid; }
    const std::string& Scratch() const { return m_scratch; }
    // What it has written so far.
    std::string Output() const { return ContentsOf(m_scratch + "/stdout"); }
    std::string Errors() const { return ContentsOf(m_scratch + "/stderr"); }

private:
    std::string m_scratch;
    pid_t m_pid = -1;
    bool m_waited = false;
    int m_status = 0;
};

// False when there is no such process any more, or nothing but its entry. Not on Windows.
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
