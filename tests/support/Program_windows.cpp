// Programs of the host, started through its shell.
#include "tests/support/Host.h"
#include "tests/support/Program.h"

#include <cstdlib>

Program::Program(const std::vector<std::string>& words,
                 const std::map<std::string, std::string>& changes, std::string scratch)
    : m_scratch(std::move(scratch))
{
    std::string command =
        "cd " + ShellWord(HostPath(m_scratch)) + "; rm -f pid exit stdout stderr; ";
    for (const auto& [name, value] : changes)
        command += "export " + name + "=" + ShellWord(value) + "; ";
    command += "( ";
    for (const std::string& word : words)
        command += ShellWord(word) + " ";
    command += "< /dev/null >> stdout 2>> stderr & echo $! > pid; wait $!; echo $? > exit ) "
               "> /dev/null 2>&1 & while [ ! -s pid ]; do sleep 0.02; done; cat pid";
    m_pid = std::atoi(RunOnHost(command).output.c_str());
}

Program::~Program()
{
    if (!m_waited)
        RunOnHost("kill -KILL " + std::to_string(m_pid));
}

int Program::Wait(std::chrono::milliseconds limit)
{
    std::string code;
    m_waited = WaitUntil([&] { return !(code = ContentsOf(m_scratch + "/exit")).empty(); }, limit);
    if (!m_waited)
        return kStillRunning;
    m_status = std::atoi(code.c_str());
    return m_status > 128 ? 128 - m_status : m_status;
}
