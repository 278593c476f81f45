// Programs of the host, started through its shell.
#include "tests/support/Host.h"
#include "tests/support/Program.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstdlib>

Program::Program(const std::vector<std::string>& words,
                 const std::map<std::string, std::string>& changes, std::string scratch)
    : m_scratch(std::move(scratch))
{
    std::string command = "cd " + ShellWord(HostPath(m_scratch)) + "; rm -f pid exit; ";
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

void Program::Signal(int signal) const
{
    RunOnHost("kill -" + std::to_string(signal) + " " + std::to_string(m_pid));
}

int Program::Wait(std::chrono::milliseconds limit)
{
    std::string code;
    m_waited = WaitUntil([&] { return !(code = ContentsOf(m_scratch + "/exit")).empty(); }, limit);
    if (m_waited)
        m_status = std::atoi(code.c_str());
    if (!m_waited)
        return kStillRunning;
    return m_status > 128 ? 128 - m_status : m_status;
}

std::string Program::Output() const
{
    return ContentsOf(m_scratch + "/stdout");
}

std::string Program::Errors() const
{
    return ContentsOf(m_scratch + "/stderr");
}

bool IsRunning(pid_t pid)
{
    return RunOnHost("kill -0 " + std::to_string(pid)).status == 0;
}
