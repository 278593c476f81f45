#pragma once

#include <string>

// One warning in the core library's log, if it has one: why a command failed, where the library's
// own record only says that it did.
void WarnOfDriver(const std::string& what);
