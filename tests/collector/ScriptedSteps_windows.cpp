#include "tests/collector/ScriptedSteps.h"

#include <windows.h>

#include <cstdlib>

std::string OwnProgram()
{
    char program[MAX_PATH];
    ::GetModuleFileNameA(nullptr, program, sizeof program);
    return program;
}

void IgnoreRequestsToEnd() {}

void Crash()
{
    ::RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), EXCEPTION_NONCONTINUABLE, 0,
                     nullptr);
    std::abort();
}
