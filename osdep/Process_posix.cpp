#include "osdep/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>
#include <vector>

extern char** environ;

namespace {

using std::chrono::milliseconds;

// The words of a command line: split at blanks and tabs outside double quotes, which are dropped.
std::vector<std::string> SplitWords(const std::string& commandLine)
{
    std::vector<std::string> words;
    bool quoted = false;
    bool inWord = false;
    for (const char c : commandLine) {
        if (!quoted && (c == ' ' || c == '\t')) {
            inWord = false;
            continue;
        }
        if (!inWord)
            words.emplace_back();
        inWord = true;
        if (c == '"')
            quoted = !quoted;
        else
            words.back() += c;
    }
    return words;
}

// What the child does before it becomes the program.
class ChildSetUp {
public:
    explicit ChildSetUp(bool ownGroup)
    {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawnattr_init(&m_attributes);
        // A handler that the caller ignores or a signal that it blocks would stay so in the
        // program.
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&m_attributes, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&m_attributes, &signals);
        short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
        if (ownGroup)
            flags |= POSIX_SPAWN_SETPGROUP;
        ::posix_spawnattr_setflags(&m_attributes, flags);
    }
    ChildSetUp(const ChildSetUp&) = delete;
    ChildSetUp& operator=(const ChildSetUp&) = delete;
    ~ChildSetUp()
    {
        ::posix_spawnattr_destroy(&m_attributes);
        ::posix_spawn_file_actions_destroy(&m_actions);
    }

    // Standard input comes last: writer may be any descriptor, also 0 of a caller that closed its
    // own.
    bool UseOutput(int writer)
    {
        return ::posix_spawn_file_actions_adddup2(&m_actions, writer, STDOUT_FILENO) == 0 &&
               ::posix_spawn_file_actions_adddup2(&m_actions, writer, STDERR_FILENO) == 0 &&
               ::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY,
                                                  0) == 0;
    }

    const posix_spawn_file_actions_t* Actions() const { return &m_actions; }
    const posix_spawnattr_t* Attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
};

// True when child is no more: waited for here, or by somebody else.
bool Reap(pid_t child, int options)
{
    for (;;) {
        const pid_t waited = ::waitpid(child, nullptr, options);
        if (waited < 0 && errno == EINTR)
            continue;
        return waited != 0;
    }
}

} // namespace

RunningProcess::RunningProcess(pid_t process, FileDescriptor output, bool ownGroup) noexcept
    : m_process(process), m_output(std::move(output)), m_ownGroup(ownGroup)
{}

RunningProcess StartProcess(const std::string& commandLine, bool ownGroup)
{
    std::vector<std::string> words = SplitWords(commandLine);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return RunningProcess();
    FileDescriptor reader(ends[0]);
    const FileDescriptor writer(ends[1]);
    ChildSetUp setUp(ownGroup);
    pid_t child = 0;
    if (words.empty() || !setUp.UseOutput(writer.get()) ||
        ::posix_spawnp(&child, arguments[0], setUp.Actions(), setUp.Attributes(), arguments.data(),
                       environ) != 0)
        child = 0;
    return RunningProcess(child, std::move(reader), ownGroup);
}

RunningProcess::ERead RunningProcess::ReadSome(milliseconds wait, std::string& output)
{
    pollfd waiting{m_output.get(), POLLIN, 0};
    const int ready = ::poll(&waiting, 1, static_cast<int>(wait.count()));
    if (ready == 0 || (ready < 0 && errno == EINTR))
        return ERead::eNothing;
    char buffer[65536];
    const ssize_t count = ::read(m_output.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR)
        return ERead::eNothing;
    if (count <= 0)
        return ERead::eEnd;
    output.append(buffer, static_cast<std::size_t>(count));
    return ERead::eData;
}

bool RunningProcess::WaitFor(milliseconds wait)
{
    const auto end = std::chrono::steady_clock::now() + wait;
    // The output has ended, so the program nearly always has too: look again very soon at first.
    std::chrono::microseconds pause(50);
    while (!Reap(m_process.get(), WNOHANG)) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(pause);
        pause = std::min(2 * pause, std::chrono::microseconds(50000));
    }
    m_process.release();
    return true;
}

void RunningProcess::Wait() noexcept
{
    if (m_process)
        Reap(m_process.release(), 0);
}

void RunningProcess::End() noexcept
{
    if (!m_process)
        return;
    // Not yet waited for, the program still holds its number, and so the number of its group.
    ::kill(m_ownGroup ? -m_process.get() : m_process.get(), SIGKILL);
    Wait();
}
