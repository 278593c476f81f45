// The password prompt on a terminal of the test's own.
#include "collector/Password.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

using testing::HasSubstr;
using testing::Not;

namespace {

struct Answer {
    int exitCode = -1; // the child's: 0 the password was the expected one, 1 another, 2 none
    std::string shown; // everything that the terminal showed
};

// Types keys at the prompt and has the child compare what it got.
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

TEST(PasswordTest, IsTypedUnseenAndMayBeCorrected)
{
    const Answer answer = Type("secrex\x7ft \r", "secret ");
    EXPECT_EQ(answer.exitCode, 0);
    EXPECT_THAT(answer.shown, HasSubstr("Password: "));
    EXPECT_THAT(answer.shown, Not(HasSubstr("ecre")));
}

TEST(PasswordTest, UserMayGiveUp)
{
    EXPECT_EQ(Type("secret\x03", "").exitCode, 2);
    EXPECT_EQ(Type("\x04", "").exitCode, 2);
    EXPECT_EQ(Type("\r", "").exitCode, 0) << "an empty password is one";
}

TEST(PasswordTest, FileGivesItsFirstLine)
{
    const TemporaryDirectory directory;
    EXPECT_EQ(ReadPassword(directory.Write("dos", "se:cr@t/\r\nmore")), "se:cr@t/");
    EXPECT_EQ(ReadPassword(directory.Write("bare", "pw")), "pw");
    EXPECT_EQ(ReadPassword(directory.Write("empty", "")), std::nullopt);
    EXPECT_EQ(ReadPassword(directory / "missing"), std::nullopt);
}

} // namespace
