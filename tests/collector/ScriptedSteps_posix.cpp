#include "tests/collector/ScriptedSteps.h"

#include <signal.h>
#include <unistd.h>

std::string OwnProgram()
{
    return "/proc/self/exe";
}

void IgnoreRequestsToEnd()
{
    ::signal(SIGTERM, SIG_IGN);
}

void Crash()
{
    ::signal(SIGSEGV, SIG_DFL); // without the sanitizers' report
    ::raise(SIGSEGV);
    ::_exit(99);
}
