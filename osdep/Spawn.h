#pragma once

#include <string>
#include <vector>

// The steps of VXAOSDep::SpawnProcess that are the same on every system.
namespace NORXVXA20 {

std::string JoinCommandLine(const std::string& program, const std::vector<std::string>& arguments);
// Logs what failed and throws TVXAException with code 3.
[[noreturn]] void FailSpawnSetUp(const std::string& what);
void LogSpawnOutput(const std::string& output);
void LogSpawnLimit();

} // namespace NORXVXA20
