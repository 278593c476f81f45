#include "osdep/Process.h"

#include "osdep/InheritedHandles.h"

#include <windows.h>

#include <algorithm>

namespace {

using std::chrono::milliseconds;

// Large, because the reader sleeps between two looks at an empty pipe.
constexpr DWORD kPipeSize = 1 << 20;
constexpr DWORD kLongestPause = 20;

// A standard input that ends at once, inheritable.
KernelHandle OpenNothing()
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const HANDLE nothing = ::CreateFileA("NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                         &inheritable, OPEN_EXISTING, 0, nullptr);
    return KernelHandle(nothing != INVALID_HANDLE_VALUE ? nothing : nullptr);
}

// Creates the process with its first thread suspended.
bool CreateSuspended(std::string commandLine, HANDLE output, HANDLE input,
                     PROCESS_INFORMATION& created)
{
    InheritedHandles inherited({output, input});
    if (!inherited)
        return false;
    STARTUPINFOEXA startUp{};
    startUp.StartupInfo.cb = sizeof startUp;
    startUp.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startUp.StartupInfo.hStdInput = input;
    startUp.StartupInfo.hStdOutput = output;
    startUp.StartupInfo.hStdError = output;
    startUp.lpAttributeList = inherited.List();
    return ::CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE,
                            CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                            &startUp.StartupInfo, &created) != 0;
}

} // namespace

void KernelHandleTraits::Close(Handle handle)
{
    ::CloseHandle(handle);
}

RunningProcess::RunningProcess(KernelHandle process, KernelHandle output, KernelHandle job) noexcept
    : m_process(std::move(process)), m_output(std::move(output)), m_job(std::move(job))
{}

KernelHandle ResumeInJob(const KernelHandle& process, const KernelHandle& thread)
{
    KernelHandle job(::CreateJobObjectA(nullptr, nullptr));
    if (job && ::AssignProcessToJobObject(job.get(), process.get())) {
        ::ResumeThread(thread.get());
        return job;
    }
    ::TerminateProcess(process.get(), 1);
    return KernelHandle();
}

RunningProcess StartProcess(const std::string& commandLine, bool ownGroup)
{
    HANDLE reader = nullptr;
    HANDLE writer = nullptr;
    if (!::CreatePipe(&reader, &writer, nullptr, kPipeSize))
        return RunningProcess();
    KernelHandle output(reader);
    const KernelHandle childOutput(writer);
    const KernelHandle childInput = OpenNothing();
    PROCESS_INFORMATION created{};
    if (!childInput || !::SetHandleInformation(writer, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) ||
        !CreateSuspended(commandLine, writer, childInput.get(), created))
        return RunningProcess(KernelHandle(), std::move(output), KernelHandle());
    KernelHandle process(created.hProcess);
    const KernelHandle thread(created.hThread);
    KernelHandle job;
    if (!ownGroup)
        ::ResumeThread(thread.get());
    else if (!(job = ResumeInJob(process, thread)))
        process.reset();
    return RunningProcess(std::move(process), std::move(output), std::move(job));
}

RunningProcess::ERead RunningProcess::ReadSome(milliseconds wait, std::string& output)
{
    const ULONGLONG end = ::GetTickCount64() + static_cast<ULONGLONG>(wait.count());
    DWORD available = 0;
    for (DWORD pause = 0;; pause = std::min(2 * pause + 1, kLongestPause)) {
        if (!::PeekNamedPipe(m_output.get(), nullptr, 0, nullptr, &available, nullptr))
            return ERead::eEnd;
        if (available > 0)
            break;
        if (::GetTickCount64() >= end)
            return ERead::eNothing;
        ::Sleep(pause);
    }
    char buffer[65536];
    DWORD count = 0;
    available = std::min<DWORD>(available, sizeof buffer);
    if (!::ReadFile(m_output.get(), buffer, available, &count, nullptr))
        return ERead::eEnd;
    output.append(buffer, count);
    return ERead::eData;
}

bool RunningProcess::WaitFor(milliseconds wait)
{
    if (::WaitForSingleObject(m_process.get(), static_cast<DWORD>(wait.count())) == WAIT_TIMEOUT)
        return false;
    m_process.reset();
    return true;
}

void RunningProcess::Wait() noexcept
{
    if (m_process)
        ::WaitForSingleObject(m_process.get(), INFINITE);
    m_process.reset();
}

void RunningProcess::End() noexcept
{
    if (!m_process)
        return;
    if (m_job)
        ::TerminateJobObject(m_job.get(), 1);
    else
        ::TerminateProcess(m_process.get(), 1);
    Wait();
}
