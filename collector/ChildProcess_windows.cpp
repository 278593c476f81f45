#include "collector/ChildProcess.h"

#include "collector/Event.h"
#include "common/Strings.h"
#include "common/Wipe.h"
#include "osdep/InheritedHandles.h"
#include "osdep/Process.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPipeBytes = 65536;
constexpr std::size_t kPieceBytes = 4096;
constexpr DWORD kPause = 10; // between two looks at the pipes, in milliseconds
// For the last output after a request to stop, to somebody who does not read.
constexpr std::chrono::milliseconds kFarewell{1000};
// For the end of processes that have been told to end.
constexpr std::chrono::milliseconds kLastMoments{5000};

// Numbers of signals that mean the same elsewhere.
constexpr int kHangUp = 1;
constexpr int kInterrupt = 2;
constexpr int kTerminate = 15;

std::atomic<int> gStop{0}; // the signal of the first request to stop that waits for its turn
HANDLE gStopEvent = nullptr;

BOOL WINAPI OnConsoleEvent(DWORD event)
{
    const int signal = event == CTRL_C_EVENT       ? kInterrupt
                       : event == CTRL_BREAK_EVENT ? kTerminate
                                                   : kHangUp;
    int none = 0;
    gStop.compare_exchange_strong(none, signal);
    ::SetEvent(gStopEvent);
    // The console is about to go: the process is ended as soon as this returns.
    if (signal == kHangUp)
        ::Sleep(INFINITE);
    return TRUE;
}

// The child's: its parent gets the same event and ends it.
BOOL WINAPI LeaveToParent(DWORD event)
{
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        ::Sleep(INFINITE);
    return TRUE;
}

// The first request to stop, 0 if there is none.
int StopSignal()
{
    return gStop.exchange(0);
}

struct Pipe {
    KernelHandle read;
    KernelHandle write;
};

// False, with the error code, when that fails.
bool MakePipe(Pipe& pipe, KernelHandle Pipe::*childsEnd)
{
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    if (!::CreatePipe(&read, &write, nullptr, kPipeBytes))
        return false;
    pipe.read.reset(read);
    pipe.write.reset(write);
    return ::SetHandleInformation((pipe.*childsEnd).get(), HANDLE_FLAG_INHERIT,
                                  HANDLE_FLAG_INHERIT) != 0;
}

// An inheritable copy of standard error, or of nothing where there is none.
KernelHandle ErrorsForChild()
{
    const HANDLE self = ::GetCurrentProcess();
    HANDLE copy = nullptr;
    if (::DuplicateHandle(self, ::GetStdHandle(STD_ERROR_HANDLE), self, &copy, 0, TRUE,
                          DUPLICATE_SAME_ACCESS))
        return KernelHandle(copy);
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    copy = ::CreateFileA("NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                         OPEN_EXISTING, 0, nullptr);
    return KernelHandle(copy != INVALID_HANDLE_VALUE ? copy : nullptr);
}

// An argument as one word of a command line: in quotes, with backslashes doubled where a quote
// follows them.
std::string CommandWord(const std::string& argument)
{
    std::string word = "\"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"')
            word.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        word += c;
    }
    return word.append(backslashes, '\\') + '"';
}

std::string OwnPath()
{
    std::string path(32768, '\0');
    path.resize(::GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

// A process and the job that it and all that it starts belong to, and that ends them when it is
// closed, so also with this process.
struct Child {
    KernelHandle process;
    KernelHandle job;
};

// Puts a suspended process into a job and has it run.
bool ResumeInOwnJob(Child& child, const KernelHandle& thread)
{
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    child.job.reset(::CreateJobObjectA(nullptr, nullptr));
    return child.job &&
           ::SetInformationJobObject(child.job.get(), JobObjectExtendedLimitInformation, &limits,
                                     sizeof limits) &&
           ::AssignProcessToJobObject(child.job.get(), child.process.get()) &&
           ::ResumeThread(thread.get()) != static_cast<DWORD>(-1);
}

// Starts this program once more. The error code is 0, or why it did not start.
DWORD Spawn(const std::vector<std::string>& arguments, const Pipe& input, const Pipe& output,
            const Pipe& events, Child& child)
{
    const std::string program = OwnPath();
    std::string commandLine = CommandWord(program);
    for (const std::string& argument : arguments)
        commandLine += " " + CommandWord(argument);
    const KernelHandle errors = ErrorsForChild();
    InheritedHandles inherited(
        {input.read.get(), output.write.get(), errors.get(), events.write.get()});
    STARTUPINFOEXA startUp{};
    startUp.StartupInfo.cb = sizeof startUp;
    startUp.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startUp.StartupInfo.hStdInput = input.read.get();
    startUp.StartupInfo.hStdOutput = output.write.get();
    startUp.StartupInfo.hStdError = errors.get();
    startUp.lpAttributeList = inherited.List();
    PROCESS_INFORMATION created{};
    // In a group of its own Ctrl-C does not reach it.
    const DWORD flags = CREATE_SUSPENDED | CREATE_NEW_PROCESS_GROUP | EXTENDED_STARTUPINFO_PRESENT;
    if (!inherited || !::CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                                        flags, nullptr, nullptr, &startUp.StartupInfo, &created))
        return ::GetLastError();
    child.process.reset(created.hProcess);
    const KernelHandle thread(created.hThread);
    if (ResumeInOwnJob(child, thread))
        return ERROR_SUCCESS;
    const DWORD error = ::GetLastError();
    ::TerminateProcess(child.process.get(), EXIT_FAILURE);
    return error;
}

// Passes bytes on to standard output from a thread of its own: a write to somebody who does not
// read cannot be interrupted. Where standard output is gone the bytes are dropped: what has been
// collected is worth more than the console lines.
class Relay {
public:
    Relay() : m_state(std::make_shared<State>()) { std::thread(&Relay::Run, m_state).detach(); }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;
    ~Relay()
    {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->isClosed = true;
        m_state->changed.notify_one();
    }

    void Add(const std::string& bytes)
    {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->backlog += bytes;
        m_state->changed.notify_one();
    }
    // What has not been written yet.
    std::size_t Backlog() const
    {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        return m_state->backlog.size();
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::string backlog;
        bool isClosed = false;
    };

    static void Run(std::shared_ptr<State> state)
    {
        std::unique_lock<std::mutex> lock(state->mutex);
        for (;;) {
            state->changed.wait(lock, [&] { return state->isClosed || !state->backlog.empty(); });
            if (state->backlog.empty())
                return;
            const std::string piece = state->backlog.substr(0, kPieceBytes);
            lock.unlock();
            DWORD written = 0;
            const bool isGood =
                ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), piece.data(),
                            static_cast<DWORD>(piece.size()), &written, nullptr) != 0;
            lock.lock();
            state->backlog.erase(0, isGood ? written : std::string::npos);
        }
    }

    const std::shared_ptr<State> m_state;
};

// Watches one child from its start to its end.
class Watch {
public:
    Watch(Child child, KernelHandle output, KernelHandle events, std::chrono::milliseconds silence,
          const std::function<void(const std::string&)>& onEvent)
        : m_child(std::move(child)), m_output(std::move(output)), m_events(std::move(events)),
          m_silence(silence), m_onEvent(onEvent), m_lastByte(Clock::now())
    {}

    ChildEnd Run()
    {
        ChildEnd end{ChildEnd::Cause::kExited, 0};
        while (!HasEnded() && end.cause == ChildEnd::Cause::kExited) {
            const HANDLE waits[] = {gStopEvent, m_child.process.get()};
            ::WaitForMultipleObjects(std::size(waits), waits, FALSE, kPause);
            while (Receive()) {
            }
            if (const int signal = StopSignal())
                end = {ChildEnd::Cause::kSignalled, signal};
            else if (Clock::now() - m_lastByte >= m_silence)
                end = {ChildEnd::Cause::kSilent, 0};
        }
        const ChildEnd own = EndJob();
        TakeTheRest(end.cause == ChildEnd::Cause::kSignalled);
        return end.cause == ChildEnd::Cause::kExited ? own : end;
    }

private:
    // Takes what is there; false when there was nothing.
    bool Receive()
    {
        // A reader of ours that does not read holds the child up in the end, not us.
        const std::string output = m_relay.Backlog() < kPipeBytes ? Read(m_output) : std::string();
        if (!output.empty())
            m_relay.Add(output);
        const std::string events = Read(m_events);
        m_lines.Take(events.data(), events.size(), m_onEvent);
        // Time in which nobody takes the output is not the child's.
        if (!output.empty() || !events.empty() || m_relay.Backlog() > 0)
            m_lastByte = Clock::now();
        return !output.empty() || !events.empty();
    }

    // What is there, at most a pipe full.
    static std::string Read(const KernelHandle& pipe)
    {
        DWORD available = 0;
        if (!::PeekNamedPipe(pipe.get(), nullptr, 0, nullptr, &available, nullptr))
            return std::string();
        std::string bytes(std::min<std::size_t>(available, kPipeBytes), '\0');
        DWORD count = 0;
        if (!bytes.empty() && !::ReadFile(pipe.get(), bytes.data(),
                                          static_cast<DWORD>(bytes.size()), &count, nullptr))
            count = 0;
        bytes.resize(count);
        return bytes;
    }

    bool HasEnded() const
    {
        return ::WaitForSingleObject(m_child.process.get(), 0) == WAIT_OBJECT_0;
    }

    // Ends whatever is left of the child's job, and says how the child itself ended.
    ChildEnd EndJob() const
    {
        ::TerminateJobObject(m_child.job.get(), EXIT_FAILURE);
        ::WaitForSingleObject(m_child.process.get(), INFINITE);
        const auto limit = Clock::now() + kLastMoments;
        JOBOBJECT_BASIC_ACCOUNTING_INFORMATION left{};
        while (::QueryInformationJobObject(m_child.job.get(), JobObjectBasicAccountingInformation,
                                           &left, sizeof left, nullptr) &&
               left.ActiveProcesses > 0 && Clock::now() < limit)
            ::Sleep(kPause);
        DWORD code = 0;
        ::GetExitCodeProcess(m_child.process.get(), &code);
        // The codes of exceptions: warnings and errors of the system.
        const DWORD kind = code >> 28;
        const bool isCrash = kind == 0xC || kind == 0x8;
        return {isCrash ? ChildEnd::Cause::kCrashed : ChildEnd::Cause::kExited,
                static_cast<int>(code)};
    }

    // Takes and passes on what the child has said last. Somebody who does not read is waited for,
    // but not when asked to stop.
    void TakeTheRest(bool isStopping)
    {
        const auto limit = Clock::now() + kFarewell;
        for (;;) {
            // Asked first: what kept the rest in the pipe may be gone a moment later.
            const bool isHeldUp = m_relay.Backlog() > 0;
            if (!Receive() && !isHeldUp)
                return;
            isStopping = StopSignal() != 0 || isStopping;
            if (isStopping && Clock::now() >= limit)
                return;
            ::WaitForSingleObject(gStopEvent, 1);
        }
    }

    const Child m_child;
    const KernelHandle m_output;
    const KernelHandle m_events;
    const std::chrono::milliseconds m_silence;
    const std::function<void(const std::string&)>& m_onEvent;
    Clock::time_point m_lastByte;
    Relay m_relay;
    LineCutter m_lines;
};

struct CodeText {
    DWORD code;
    const char* text;
};
constexpr CodeText kExceptions[] = {
    {EXCEPTION_ACCESS_VIOLATION, "access violation"},
    {EXCEPTION_IN_PAGE_ERROR, "in-page error"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, "illegal instruction"},
    {EXCEPTION_PRIV_INSTRUCTION, "privileged instruction"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, "integer division by zero"},
    {EXCEPTION_STACK_OVERFLOW, "stack overflow"},
    {EXCEPTION_BREAKPOINT, "breakpoint"},
    {STATUS_CONTROL_C_EXIT, "ended by Ctrl-C"},
    {0xC0000374, "heap corruption"},
    {0xC0000409, "failed security check"},
    {0xC0000135, "a DLL was not found"},
    {0xC0000139, "an entry point was not found in a DLL"},
    {0xC0000142, "a DLL could not be initialised"},
};

} // namespace

void OpenStandardStreams()
{
    for (const DWORD stream : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        DWORD flags = 0;
        if (::GetHandleInformation(::GetStdHandle(stream), &flags))
            continue;
        const HANDLE nothing =
            ::CreateFileA("NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                          nullptr, OPEN_EXISTING, 0, nullptr);
        ::SetStdHandle(stream, nothing);
    }
}

void CatchStopRequests()
{
    gStopEvent = ::CreateEventA(nullptr, FALSE, FALSE, nullptr);
    ::SetConsoleCtrlHandler(&OnConsoleEvent, TRUE);
}

ChildEnd RunChild(ChildCommand command, const std::function<void(const std::string&)>& onEvent)
{
    const ScopedWipe wipeInput(command.input);
    Pipe input;
    Pipe output;
    Pipe events;
    DWORD count = 0;
    // The input is shorter than the pipe, so it fits before anybody reads.
    if (!MakePipe(input, &Pipe::read) || !MakePipe(output, &Pipe::write) ||
        !MakePipe(events, &Pipe::write) ||
        !::WriteFile(input.write.get(), command.input.data(),
                     static_cast<DWORD>(command.input.size()), &count, nullptr))
        return {ChildEnd::Cause::kNotStarted, static_cast<int>(::GetLastError())};
    input.write.reset();

    std::vector<std::string> arguments = std::move(command.arguments);
    const auto number = reinterpret_cast<std::intptr_t>(events.write.get());
    arguments.push_back("--events=" + std::to_string(number));
    Child child;
    const DWORD error = Spawn(arguments, input, output, events, child);
    if (error != ERROR_SUCCESS)
        return {ChildEnd::Cause::kNotStarted, static_cast<int>(error)};
    input.read.reset();
    output.write.reset();
    events.write.reset();
    return Watch(std::move(child), std::move(output.read), std::move(events.read), command.silence,
                 onEvent)
        .Run();
}

std::string DescribeCrash(int number)
{
    const auto code = static_cast<DWORD>(number);
    char text[32];
    std::snprintf(text, sizeof text, "exception 0x%08lX", code);
    for (const CodeText& exception : kExceptions) {
        if (exception.code == code)
            return std::string(text) + ", " + exception.text;
    }
    return text;
}

std::string DescribeError(int number)
{
    char text[512];
    const DWORD length = ::FormatMessageA(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(number), 0, text, static_cast<DWORD>(sizeof text), nullptr);
    std::string description(text, length);
    TrimString(description);
    return description.empty() ? "error " + std::to_string(number) : description;
}

EventChannel::EventChannel(const std::string& name) : m_handle(std::atoll(name.c_str()))
{
    ::SetHandleInformation(reinterpret_cast<HANDLE>(m_handle), HANDLE_FLAG_INHERIT, 0);
    ::SetConsoleCtrlHandler(&LeaveToParent, TRUE);
    // A crash ends the process at once, in place of a window that waits for an answer.
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    // A password comes as it is.
    ::_setmode(::_fileno(stdin), _O_BINARY);
}

EventChannel::~EventChannel()
{
    ::CloseHandle(reinterpret_cast<HANDLE>(m_handle));
}

void EventChannel::Write(const std::string& line)
{
    DWORD count = 0;
    if (!::WriteFile(reinterpret_cast<HANDLE>(m_handle), line.data(),
                     static_cast<DWORD>(line.size()), &count, nullptr) ||
        count != line.size())
        std::_Exit(EXIT_FAILURE);
}
