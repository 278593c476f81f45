#pragma once

#include <cstdlib>
#include <string>

// Sets a variable of this process's environment.
#ifdef _WIN32
inline void SetVariable(const char* name, const std::string& value)
{
    ::_putenv((name + ("=" + value)).c_str());
}
#else
inline void SetVariable(const char* name, const std::string& value)
{
    ::setenv(name, value.c_str(), 1);
}
#endif
