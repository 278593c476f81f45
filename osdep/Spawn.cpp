#include "osdep/Spawn.h"

#include "common/Log.h"
#include "common/TVXAException.h"
#include "osdep/Process.h"
#include "platform/vxacore/TRootObject.h"

namespace NORXVXA20 {

std::string JoinCommandLine(const std::string& program, const std::vector<std::string>& arguments)
{
    // Deliberate: nothing is quoted, so an argument that holds blanks becomes several words.
    std::string commandLine = program;
    for (const std::string& argument : arguments)
        commandLine += " " + argument;
    return commandLine;
}

void FailSpawnSetUp(const std::string& what)
{
    DebugLog("VXAOSDep::SpawnProcess ERROR: " + what);
    throw TVXAException(TVXAStatusCode::eFailed);
}

void LogSpawnOutput(const std::string& output)
{
    // Much output is not copied when nobody reads it.
    if (TRootObject::GetCoreLogger() == nullptr)
        return;
    // Deliberate: the wording is the same on every system.
    DebugLog("VXAOSDep::SpawnProcess Debug (win toss): GetFileContents() Returned: " + output);
}

std::string ReadWithinLimit(RunningProcess& process, int limit)
{
    std::string output;
    if (!process.ReadToEnd({std::chrono::seconds(limit), {}, {}}, output)) {
        process.End();
        DebugLog("VXAOSDep::SpawnProcess ERROR: time limit reached");
    }
    LogSpawnOutput(output);
    return output;
}

} // namespace NORXVXA20
