#pragma once

#include <string>

// How a test calls the test child, from the folder of the programs, where ctest runs it.
extern const char* const kTestChild;

// True as soon as no process holds path ("hold" of the test child); false after a long wait.
bool BecomesFree(const std::string& path);
