#include "osdep/Spawn.h"

#include "osdep/Process.h"
#include "osdep/VXAOSDep.h"

#include <windows.h>

namespace NORXVXA20 {

namespace {

struct Pipe {
    KernelHandle read;
    KernelHandle write;
};

// A program as the steps below leave it: running, or suspended.
struct Spawned {
    Pipe input;
    Pipe output;
    KernelHandle process;
    KernelHandle thread;
};

// Both ends inheritable; name is that of the standard stream.
Pipe MakePipe(const std::string& name)
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    if (!::CreatePipe(&read, &write, &inheritable, 0))
        FailSpawnSetUp(name + " pipe creation failed");
    return Pipe{KernelHandle(read), KernelHandle(write)};
}

// Replaces our end of a pipe by one that the program does not inherit.
void KeepFromChild(KernelHandle& end, const std::string& name)
{
    HANDLE own = nullptr;
    const HANDLE current = ::GetCurrentProcess();
    if (!::DuplicateHandle(current, end.get(), current, &own, 0, FALSE, DUPLICATE_SAME_ACCESS))
        FailSpawnSetUp(name + " DuplicateHandle failed");
    end.reset(own);
}

void Create(std::string commandLine, DWORD flags, Spawned& spawned)
{
    STARTUPINFOA startUp{};
    startUp.cb = sizeof startUp;
    startUp.dwFlags = STARTF_USESTDHANDLES;
    startUp.hStdOutput = spawned.output.write.get();
    startUp.hStdError = spawned.output.write.get();
    startUp.hStdInput = spawned.input.read.get();
    PROCESS_INFORMATION created{};
    if (!::CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, flags, nullptr,
                          nullptr, &startUp, &created))
        FailSpawnSetUp("CreateProcess Failed");
    spawned.process.reset(created.hProcess);
    spawned.thread.reset(created.hThread);
}

Spawned Start(const std::string& commandLine, DWORD flags)
{
    Spawned spawned;
    spawned.output = MakePipe("Stdout");
    KeepFromChild(spawned.output.read, "Stdout");
    spawned.input = MakePipe("Stdin");
    KeepFromChild(spawned.input.write, "Stdin");
    Create(commandLine, flags, spawned);
    // The program must hold the only writer, or the end of its output never arrives.
    if (!::CloseHandle(spawned.output.write.release()))
        FailSpawnSetUp("CloseHandle failed");
    return spawned;
}

std::int32_t ToInteger(const KernelHandle& handle)
{
    return static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(handle.get()));
}

} // namespace

std::string VXAOSDep::SpawnProcess(const std::string& program,
                                   const std::vector<std::string>& arguments)
{
    Spawned spawned = Start(JoinCommandLine(program, arguments), 0);
    std::string output = GetFileContents(ToInteger(spawned.output.read), std::string());
    LogSpawnOutput(output);
    spawned.output.read.reset();
    // The program's input stays open and silent until it has ended.
    ::WaitForSingleObject(spawned.process.get(), INFINITE);
    return output;
}

std::string VXAOSDep::SpawnProcess(const std::string& program,
                                   const std::vector<std::string>& arguments, int limit)
{
    Spawned spawned = Start(JoinCommandLine(program, arguments), CREATE_SUSPENDED);
    KernelHandle job = ResumeInJob(spawned.process, spawned.thread);
    if (!job)
        FailSpawnSetUp("CreateProcess Failed");
    RunningProcess process(std::move(spawned.process), std::move(spawned.output.read),
                           std::move(job));
    return ReadWithinLimit(process, limit);
}

} // namespace NORXVXA20
