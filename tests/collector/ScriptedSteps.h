#pragma once

#include <string>

// Steps of the scripted collector that are the system's own.

// What starts this program once more.
std::string OwnProgram();
// No signal but the one that cannot be ignored ends this process any more.
void IgnoreRequestsToEnd();
[[noreturn]] void Crash();
