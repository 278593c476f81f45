#include "collector/ChildProcess.h"

#include "collector/Event.h"
#include "common/Wipe.h"
#include "osdep/FileDescriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kEventDescriptor = 3;
constexpr std::size_t kPipeBytes = 65536;
// A write of so much never blocks once the descriptor is said to be writable.
constexpr std::size_t kPieceBytes = 512;
// For the last output after a request to stop, to somebody who does not read.
constexpr std::chrono::milliseconds kFarewell{1000};

struct Pipe {
    FileDescriptor read;
    FileDescriptor write;
};

// Signals as the program found them, and where they are read since then.
sigset_t gOriginalMask;
int gSignals = -1;

std::optional<Pipe> MakePipe()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return std::nullopt;
    return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

bool WriteAll(int descriptor, const std::string& bytes)
{
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR)
            return false;
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

// Starts this program in a process group of its own. The error code is 0, or why it did not start.
int Spawn(const std::vector<std::string>& arguments, const Pipe& input, const Pipe& output,
          const Pipe& events, pid_t& child)
{
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input.read.get(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output.write.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, events.write.get(), kEventDescriptor);

    sigset_t defaults;
    ::sigemptyset(&defaults);
    ::sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                                POSIX_SPAWN_SETSIGDEF);
    ::posix_spawnattr_setpgroup(&attributes, 0);
    ::posix_spawnattr_setsigmask(&attributes, &gOriginalMask);
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);

    const int error =
        ::posix_spawn(&child, "/proc/self/exe", &actions, &attributes, argv.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return error;
}

// Watches one child from its start to its end.
class Watch {
public:
    Watch(pid_t child, FileDescriptor output, FileDescriptor events,
          std::chrono::milliseconds silence, const std::function<void(const std::string&)>& onEvent)
        : m_child(child), m_output(std::move(output)), m_events(std::move(events)),
          m_silence(silence), m_onEvent(onEvent), m_lastByte(Clock::now())
    {
        ::fcntl(m_output.get(), F_SETFL, O_NONBLOCK);
        ::fcntl(m_events.get(), F_SETFL, O_NONBLOCK);
    }

    ChildEnd Run()
    {
        ChildEnd end{ChildEnd::Cause::kExited, 0};
        while (!HasEnded() && end.cause == ChildEnd::Cause::kExited) {
            Wait();
            Receive();
            if (const int signal = StopSignal())
                end = {ChildEnd::Cause::kSignalled, signal};
            else if (Clock::now() - m_lastByte >= m_silence)
                end = {ChildEnd::Cause::kSilent, 0};
        }
        const ChildEnd own = EndGroup();
        EndOrphans();
        TakeTheRest(end.cause == ChildEnd::Cause::kSignalled);
        return end.cause == ChildEnd::Cause::kExited ? own : end;
    }

private:
    // Sleeps until something may have happened.
    void Wait()
    {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            m_silence - (Clock::now() - m_lastByte));
        pollfd waits[] = {
            // A reader of ours that does not read holds the child up in the end, not us.
            {m_backlog.size() < kPipeBytes ? m_output.get() : -1, POLLIN, 0},
            {m_events.get(), POLLIN, 0},
            {gSignals, POLLIN, 0},
            {m_backlog.empty() ? -1 : STDOUT_FILENO, POLLOUT, 0},
        };
        ::poll(waits, std::size(waits), static_cast<int>(std::max<long long>(left.count() + 1, 1)));
    }

    // Takes what is there; false when there was nothing. The output is left where it is while as
    // much of it waits here.
    bool Receive()
    {
        const bool isFull = m_backlog.size() >= kPipeBytes;
        const std::string output = isFull ? std::string() : Read(m_output);
        m_backlog += output;
        const std::string events = Read(m_events);
        m_lines.Take(events.data(), events.size(), m_onEvent);
        PassOn();
        // Time in which nobody takes the output is not the child's.
        if (!m_backlog.empty())
            m_lastByte = Clock::now();
        return isFull || !output.empty() || !events.empty();
    }

    // What is there, at most a pipe full; the descriptor is let go at the end of the pipe.
    std::string Read(FileDescriptor& pipe)
    {
        std::string bytes;
        if (!pipe)
            return bytes;
        bytes.resize(kPipeBytes);
        const ssize_t count = ::read(pipe.get(), bytes.data(), bytes.size());
        const int error = errno;
        if (count == 0 || (count < 0 && error != EAGAIN && error != EINTR))
            pipe.reset();
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        if (count > 0)
            m_lastByte = Clock::now();
        return bytes;
    }

    // Writes to standard output as much as it takes at once. Where it is gone the rest is dropped:
    // what has been collected is worth more than the console lines.
    void PassOn()
    {
        while (!m_backlog.empty()) {
            pollfd writable{STDOUT_FILENO, POLLOUT, 0};
            if (::poll(&writable, 1, 0) <= 0)
                return;
            const std::size_t wanted = std::min(m_backlog.size(), kPieceBytes);
            const ssize_t count = ::write(STDOUT_FILENO, m_backlog.data(), wanted);
            const int error = errno;
            if (count >= 0)
                m_backlog.erase(0, static_cast<std::size_t>(count));
            else if (error == EAGAIN)
                return;
            else if (error != EINTR)
                m_backlog.clear();
        }
    }

    // The first request to stop, 0 if there is none.
    static int StopSignal()
    {
        signalfd_siginfo info{};
        while (::read(gSignals, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
            if (info.ssi_signo != SIGCHLD)
                return static_cast<int>(info.ssi_signo);
        }
        return 0;
    }

    bool HasEnded() const
    {
        siginfo_t info{};
        return ::waitid(P_PID, static_cast<id_t>(m_child), &info, WEXITED | WNOHANG | WNOWAIT) ==
                   0 &&
               info.si_pid == m_child;
    }

    // Ends whatever is left of the child's group, and says how the child itself ended.
    ChildEnd EndGroup() const
    {
        // The child is not yet waited for, so the group's number is still its own.
        ::kill(-m_child, SIGKILL);
        int status = 0;
        while (::waitpid(m_child, &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFSIGNALED(status))
            return {ChildEnd::Cause::kCrashed, WTERMSIG(status)};
        return {ChildEnd::Cause::kExited, WEXITSTATUS(status)};
    }

    // Ends the programs that the child has started, which have groups of their own, and theirs in
    // turn. This process has adopted them when their parent ended, see RunChild.
    static void EndOrphans()
    {
        for (bool found = true; found;) {
            found = false;
            std::ifstream children("/proc/thread-self/children");
            for (pid_t child = 0; children >> child; found = true) {
                ::kill(child, SIGKILL);
                while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
                }
            }
        }
    }

    // Takes and passes on what the child has said last. Somebody who does not read is waited for,
    // but not when asked to stop.
    void TakeTheRest(bool isStopping)
    {
        const auto limit = Clock::now() + kFarewell;
        while (Receive() || !m_backlog.empty()) {
            if (m_backlog.empty())
                continue;
            pollfd waits[] = {{STDOUT_FILENO, POLLOUT, 0}, {gSignals, POLLIN, 0}};
            ::poll(waits, std::size(waits), 100);
            isStopping = StopSignal() != 0 || isStopping;
            if (isStopping && Clock::now() >= limit)
                return;
        }
    }

    const pid_t m_child;
    FileDescriptor m_output;
    FileDescriptor m_events;
    const std::chrono::milliseconds m_silence;
    const std::function<void(const std::string&)>& m_onEvent;
    Clock::time_point m_lastByte;
    std::string m_backlog; // received, not yet passed on
    LineCutter m_lines;
};

} // namespace

void OpenStandardStreams()
{
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = ::open("/dev/null", O_RDWR);
    if (descriptor >= 0)
        ::close(descriptor);
}

void CatchStopRequests()
{
    sigset_t caught;
    ::sigemptyset(&caught);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN)
            ::sigaddset(&caught, signal);
    }
    ::signal(SIGCHLD, SIG_DFL);
    ::sigaddset(&caught, SIGCHLD);
    ::signal(SIGPIPE, SIG_IGN);
    ::sigprocmask(SIG_BLOCK, &caught, &gOriginalMask);
    gSignals = ::signalfd(-1, &caught, SFD_CLOEXEC | SFD_NONBLOCK);
}

ChildEnd RunChild(ChildCommand command, const std::function<void(const std::string&)>& onEvent)
{
    const ScopedWipe wipeInput(command.input);
    std::optional<Pipe> input = MakePipe();
    std::optional<Pipe> output = MakePipe();
    std::optional<Pipe> events = MakePipe();
    if (!input || !output || !events)
        return {ChildEnd::Cause::kNotStarted, errno};
    // Shorter than the pipe, so it fits before anybody reads.
    WriteAll(input->write.get(), command.input);
    input->write.reset();

    std::vector<std::string> arguments = {"ffdc-collect"};
    arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
    arguments.push_back("--events=" + std::to_string(kEventDescriptor));
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    pid_t child = 0;
    const int error = Spawn(arguments, *input, *output, *events, child);
    if (error != 0)
        return {ChildEnd::Cause::kNotStarted, error};
    input->read.reset();
    output->write.reset();
    events->write.reset();
    return Watch(child, std::move(output->read), std::move(events->read), command.silence, onEvent)
        .Run();
}

std::string DescribeCrash(int number)
{
    return "signal " + std::to_string(number) + ", " + ::strsignal(number);
}

std::string DescribeError(int number)
{
    return ::strerror(number);
}

EventChannel::EventChannel(const std::string& name) : m_handle(std::atoi(name.c_str()))
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // In a group of its own it is in the background of its terminal, but may write there.
    ::signal(SIGTTOU, SIG_IGN);
    ::fcntl(static_cast<int>(m_handle), F_SETFD, FD_CLOEXEC);
}

EventChannel::~EventChannel()
{
    ::close(static_cast<int>(m_handle));
}

void EventChannel::Write(const std::string& line)
{
    if (!WriteAll(static_cast<int>(m_handle), line))
        std::_Exit(EXIT_FAILURE);
}
