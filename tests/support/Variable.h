#pragma once

#include <cstdlib>
#include <string>

// Sets a variable of this process's environment, or takes it out.
#ifdef _WIN32
inline void SetVariable(const char* name, const std::string& value)
{
    ::_putenv((name + ("=" + value)).c_str());
}
inline void ClearVariable(const char* name)
{
    SetVariable(name, "");
}
#else
inline void SetVariable(const char* name, const std::string& value)
{
    ::setenv(name, value.c_str(), 1);
}
inline void ClearVariable(const char* name)
{
    ::unsetenv(name);
}
#endif
