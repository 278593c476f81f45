#pragma once

#include <string>
#include <vector>

class RunningProcess;

// The steps of VXAOSDep::SpawnProcess that are the same on every system.
namespace NORXVXA20 {

std::string JoinCommandLine(const std::string& program, const std::vector<std::string>& arguments);
// Logs what failed and throws TVXAException with code 3.
[[noreturn]] void FailSpawnSetUp(const std::string& what);
void LogSpawnOutput(const std::string& output);
// What a started program writes until it ends, or until it is ended at the limit in seconds.
std::string ReadWithinLimit(RunningProcess& process, int limit);

} // namespace NORXVXA20
