// A terminal of the test's own.
#include "collector/Password.h"
#include "tests/collector/PasswordTest.h"

#include <gmock/gmock.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

Answer Type(const std::string& keys, const std::string& expected)
{
    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        const auto password = ReadPassword("-");
        ::_exit(!password ? 2 : *password == expected ? 0 : 1);
    }
    Answer answer;
    char buffer[256];
    bool typed = false;
    for (ssize_t count = 0; (count = ::read(terminal, buffer, sizeof buffer)) > 0;) {
        answer.shown.append(buffer, static_cast<std::size_t>(count));
        // Only a prompt that stands there has switched the echo off, or is about to.
        if (!typed && answer.shown.find("Password: ") != std::string::npos) {
            ::usleep(300000);
            EXPECT_EQ(::write(terminal, keys.data(), keys.size()),
                      static_cast<ssize_t>(keys.size()));
            typed = true;
        }
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::close(terminal);
    if (WIFEXITED(status))
        answer.exitCode = WEXITSTATUS(status);
    return answer;
}
