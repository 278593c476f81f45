#include "tests/support/Program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace {

std::vector<std::string> EnvironmentWith(std::map<std::string, std::string> changes)
{
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (changes.count(text.substr(0, text.find('='))) == 0)
            all.push_back(text);
    }
    for (const auto& [name, value] : changes)
        all.push_back(name + "=" + value);
    return all;
}

std::vector<char*> Pointers(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

Program::Program(const std::vector<std::string>& words,
                 const std::map<std::string, std::string>& changes, std::string scratch)
    : m_scratch(std::move(scratch))
{
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND;
    ::posix_spawn_file_actions_addopen(&actions, 1, (m_scratch + "/stdout").c_str(), flags, 0600);
    ::posix_spawn_file_actions_addopen(&actions, 2, (m_scratch + "/stderr").c_str(), flags, 0600);
    sigset_t defaults;
    ::sigemptyset(&defaults);
    for (const int signal : {SIGINT, SIGHUP, SIGTERM, SIGPIPE})
        ::sigaddset(&defaults, signal);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    ::posix_spawnattr_setpgroup(&attributes, 0);
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    const std::vector<std::string> environment = EnvironmentWith(changes);
    const int error = ::posix_spawn(&m_pid, words.front().c_str(), &actions, &attributes,
                                    Pointers(words).data(), Pointers(environment).data());
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("cannot start " + words.front());
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
