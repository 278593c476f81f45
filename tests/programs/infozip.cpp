// The packer of the chassis collection on Windows: the host's.
//   infozip -v
//   infozip -m -r -j ARCHIVE FOLDER
#include "tests/support/Host.h"

#include <cstdio>

int main(int argc, char** argv)
{
    std::string command = "zip";
    for (int i = 1; i < argc; ++i)
        command += " " + ShellWord(*argv[i] == '-' ? argv[i] : HostPath(argv[i]));
    const HostAnswer answer = RunOnHost(command);
    std::fputs(answer.output.c_str(), stdout);
    return answer.status;
}
