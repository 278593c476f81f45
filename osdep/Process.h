#pragma once

#include "osdep/UniqueHandle.h"

#include <chrono>
#include <functional>
#include <string>

#if defined(_WIN32)
// Handles of the kernel (pipes, processes, jobs): null is none.
struct KernelHandleTraits {
    using Handle = void*;
    static Handle None() { return nullptr; }
    static void Close(Handle handle);
};
using KernelHandle = UniqueHandle<KernelHandleTraits>;
#else
#include "osdep/FileDescriptor.h"

#include <sys/types.h>
#endif

// The one runner of programs whose combined standard output and standard error are captured. It
// logs nothing and throws nothing of its own.
//
// A command line is one text. Windows gets it as it is; elsewhere it is split at blanks and tabs
// outside double quotes, the quotes are dropped, and the program is searched on the path. There is
// no shell, and standard input is empty.

// When a running program is ended, and what is called meanwhile. Zero or less is no limit.
struct ProcessLimits {
    std::chrono::milliseconds total{0};   // since the start of the program
    std::chrono::milliseconds silence{0}; // since its start or its last output
    std::function<void()> tick;           // called at least once a second; may be empty
};

enum class EProcessEnd {
    eOwn,        // its output came to its end, and so did the program
    eLimit,      // a limit was reached: the program, and what it started, was ended
    eNotStarted, // there is no such program, or it is none
};

struct ProcessResult {
    EProcessEnd end;
    std::string output; // zero bytes included; after eLimit what was read until then
};

// Runs a program to its end or to the first limit. The output ends when every process that holds it
// has closed it, so a process that the program leaves behind delays the result.
// What tick throws passes through, after the program was ended.
ProcessResult RunProcess(const std::string& commandLine, const ProcessLimits& limits);

// A started program, for callers that have their own way to start or to read. Destroying it ends
// what has not ended yet, and what that started.
class RunningProcess {
public:
    RunningProcess() = default;
    RunningProcess(RunningProcess&& other) noexcept = default;
    RunningProcess& operator=(RunningProcess&& other) = delete;
    ~RunningProcess() { End(); }

#if defined(_WIN32)
    // job is null, or the process is in it.
    RunningProcess(KernelHandle process, KernelHandle output, KernelHandle job) noexcept;
    KernelHandle& Output() noexcept
    {
        return m_output;
    }
#else
    RunningProcess(pid_t process, FileDescriptor output, bool ownGroup) noexcept;
    FileDescriptor& Output() noexcept
    {
        return m_output;
    }
#endif

    explicit operator bool() const noexcept
    {
        return static_cast<bool>(m_process);
    }

    // Appends the output up to its end, then waits for the program. False when a limit was reached:
    // the program is still running then.
    bool ReadToEnd(const ProcessLimits& limits, std::string& output);
    // Waits for the program without a limit. Its output must have been read or closed.
    void Wait() noexcept;
    // Ends the program, in a group of its own also what it started, at once.
    void End() noexcept;

private:
    enum class ERead { eData, eNothing, eEnd };
    // Waits for output, not longer than wait, and appends what there is.
    ERead ReadSome(std::chrono::milliseconds wait, std::string& output);
    // Waits for the program's end, not longer than wait; true when it has ended.
    bool WaitFor(std::chrono::milliseconds wait);

#if defined(_WIN32)
    KernelHandle m_process;
    KernelHandle m_output;
    KernelHandle m_job;
#else
    // A child that has not been waited for yet; it is never "closed", only waited for.
    struct ChildTraits {
        using Handle = pid_t;
        static Handle None() { return 0; }
        static void Close(Handle) {}
    };
    UniqueHandle<ChildTraits> m_process;
    FileDescriptor m_output;
    bool m_ownGroup = false;
#endif
};

// Starts a program; none when that fails, but with its output all the same when only the program
// could not be started. ownGroup puts it into a process group (Windows:
// a job) of its own, so that End reaches what it starts too; without, it stays in the caller's.
RunningProcess StartProcess(const std::string& commandLine, bool ownGroup);

#if defined(_WIN32)
// Puts a process that was created suspended into a job of its own and resumes its thread. None when
// that fails; the process has been ended then.
KernelHandle ResumeInJob(const KernelHandle& process, const KernelHandle& thread);
#endif
