#pragma once

#include <string>

// How a test calls the test child, from the folder of the programs, where ctest runs it.
extern const char* const kTestChild;

// A path of this process's own in the folder for temporary files, without blanks.
std::string TemporaryPath(const std::string& name);
void MakeExecutable(const std::string& path);
// True as soon as no process holds path ("hold" of the test child); false after a long wait.
bool BecomesFree(const std::string& path);
