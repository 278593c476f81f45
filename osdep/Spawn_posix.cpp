#include "osdep/Process.h"
#include "osdep/Spawn.h"
#include "osdep/VXAOSDep.h"

namespace NORXVXA20 {

namespace {

RunningProcess Start(const std::string& program, const std::vector<std::string>& arguments,
                     bool ownGroup)
{
    RunningProcess process = StartProcess(JoinCommandLine(program, arguments), ownGroup);
    if (!process)
        FailSpawnSetUp(process.Output() ? "CreateProcess Failed" : "Stdout pipe creation failed");
    return process;
}

} // namespace

std::string VXAOSDep::SpawnProcess(const std::string& program,
                                   const std::vector<std::string>& arguments)
{
    RunningProcess process = Start(program, arguments, false);
    std::string output = GetFileContents(process.Output().get(), std::string());
    LogSpawnOutput(output);
    process.Output().reset();
    process.Wait();
    return output;
}

std::string VXAOSDep::SpawnProcess(const std::string& program,
                                   const std::vector<std::string>& arguments, int limit)
{
    RunningProcess process = Start(program, arguments, true);
    return ReadWithinLimit(process, limit);
}

} // namespace NORXVXA20
