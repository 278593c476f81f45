#include "tests/support/Program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

Program::Program(const std::vector<std::string>& words,
                 const std::map<std::string, std::string>& changes, std::string scratch)
    : m_scratch(std::move(scratch))
{
    std::remove((m_scratch + "/stdout").c_str());
    std::remove((m_scratch + "/stderr").c_str());
    m_pid = ::fork();
    if (m_pid < 0)
        throw std::runtime_error("cannot start " + words.front());
    if (m_pid > 0) {
        ::setpgid(m_pid, m_pid); // also here, whoever comes first
        return;
    }
    ::setpgid(0, 0);
    for (const int signal : {SIGINT, SIGHUP, SIGTERM, SIGPIPE})
        ::signal(signal, SIG_DFL);
    for (const auto& [name, value] : changes)
        ::setenv(name.c_str(), value.c_str(), 1);
    const int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC;
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    ::dup2(::open((m_scratch + "/stdout").c_str(), flags, 0600), STDOUT_FILENO);
    ::dup2(::open((m_scratch + "/stderr").c_str(), flags, 0600), STDERR_FILENO);
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    ::execv(pointers.front(), pointers.data());
    ::perror(pointers.front());
    ::_exit(127);
}

Program::~Program()
{
    if (!m_waited) {
        ::kill(-m_pid, SIGKILL);
        ::waitpid(m_pid, &m_status, 0);
    }
}

void Program::Signal(int signal) const
{
    ::kill(m_pid, signal);
}

int Program::Wait(std::chrono::milliseconds limit)
{
    if (!m_waited)
        m_waited = WaitUntil([&] { return ::waitpid(m_pid, &m_status, WNOHANG) == m_pid; }, limit);
    if (!m_waited)
        return kStillRunning;
    return WIFSIGNALED(m_status) ? -WTERMSIG(m_status) : WEXITSTATUS(m_status);
}

bool IsRunning(pid_t pid)
{
    // The state stands behind the name, which is in brackets.
    const std::string entry = ContentsOf("/proc/" + std::to_string(pid) + "/stat");
    const std::size_t name = entry.rfind(')');
    return name != std::string::npos && name + 2 < entry.size() && entry[name + 2] != 'Z' &&
           entry[name + 2] != 'X';
}
