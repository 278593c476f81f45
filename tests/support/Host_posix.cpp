#include "tests/support/Host.h"

#include <sys/wait.h>

#include <cstdio>

HostAnswer RunOnHost(const std::string& command)
{
    HostAnswer answer;
    std::FILE* const pipe = ::popen(("{ " + command + "\n} 2>&1").c_str(), "r");
    char buffer[4096];
    while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe))
        answer.output.append(buffer, count);
    answer.status = WEXITSTATUS(::pclose(pipe));
    return answer;
}

std::string HostPath(const std::string& path)
{
    return path;
}
