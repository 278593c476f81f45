// Keys and the untimed question on a real terminal, whose other end the test has.
#include "osdep/Console.h"
#include "osdep/FileDescriptor.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/osdep/SystemTest.h"
#include "tests/support/Program.h"

#include <pthread.h>
#include <pty.h>
#include <termios.h>

#include <atomic>
#include <csignal>

namespace {

std::atomic<bool> gInterrupted{false};

// Standard input is a terminal.
class TerminalTest : public SystemTest {
protected:
    TerminalTest()
    {
        gConsole.Reset();
        int person = -1;
        int terminal = -1;
        EXPECT_EQ(::openpty(&person, &terminal, nullptr, nullptr, nullptr), 0);
        m_person.reset(person);
        ::dup2(FileDescriptor(terminal).get(), STDIN_FILENO);
    }
    ~TerminalTest() override { ::dup2(m_before.get(), STDIN_FILENO); }

    void Type(const std::string& keys) const
    {
        EXPECT_EQ(::write(m_person.get(), keys.data(), keys.size()),
                  static_cast<ssize_t>(keys.size()));
    }
    static termios Mode()
    {
        termios mode{};
        ::tcgetattr(STDIN_FILENO, &mode);
        return mode;
    }
    // Keys come one by one, without echo and without a meaning.
    static bool IsInKeyMode() { return (Mode().c_lflag & (ICANON | ECHO | ISIG)) == 0; }
    // Types as soon as somebody reads keys; a whole line if nobody does.
    void TypeWhenAwaited(const std::string& keys) const
    {
        Type(WaitUntil(IsInKeyMode) ? keys : "\n");
    }

private:
    const FileDescriptor m_before{::dup(STDIN_FILENO)};
    FileDescriptor m_person;
};

TEST_F(TerminalTest, EveryKeyComesAtOnceAsItIsAndWithoutEcho)
{
    for (const char key : {'\xE4', '\x03', '\x04'}) {
        std::thread person([&] { TypeWhenAwaited(std::string(1, key)); });
        EXPECT_EQ(VXAOSDep::GetCharWithNoEcho(), static_cast<unsigned char>(key));
        person.join();
    }
}

TEST_F(TerminalTest, ModeIsRestoredAfterAnInterruptedReadAndWhatIsTypedAheadIsKept)
{
    struct sigaction handler {};
    handler.sa_handler = [](int) { gInterrupted = true; };
    ::sigaction(SIGUSR1, &handler, nullptr);
    const termios before = Mode();
    std::thread person([this, reader = ::pthread_self()] {
        EXPECT_TRUE(WaitUntil(IsInKeyMode));
        ::pthread_kill(reader, SIGUSR1);
        EXPECT_TRUE(WaitUntil([] { return gInterrupted.load(); }));
        TypeWhenAwaited("kl");
    });
    EXPECT_EQ(VXAOSDep::GetCharWithNoEcho(), 'k');
    person.join();
    const termios after = Mode();
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_cc[VMIN], before.c_cc[VMIN]);
    EXPECT_EQ(after.c_cc[VTIME], before.c_cc[VTIME]);
    EXPECT_EQ(VXAOSDep::GetCharWithNoEcho(), 'l');
}

TEST_F(TerminalTest, QuestionIsAskedAgainAfterTheEndKeyAndAPause)
{
    Type("\x04y\n");
    // The terminal, too, shows the questions, and takes only so many of them.
    const FileDescriptor output(::dup(STDOUT_FILENO));
    ::dup2(STDIN_FILENO, STDOUT_FILENO);
    EXPECT_TRUE(GetChoice("Go? "));
    ::dup2(output.get(), STDOUT_FILENO);
    EXPECT_THAT(gConsole.sleeps, ElementsAre(1000u));
}

// Standard input becomes a pipe; what the lines before left unread is not lost.
TEST_F(TerminalTest, WithoutATerminalTheNextByteIsTheKey)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::dup2(FileDescriptor(ends[0]).get(), STDIN_FILENO);
    EXPECT_EQ(::write(ends[1], "y\nx", 3), 3);
    ::close(ends[1]);
    EXPECT_TRUE(GetChoice(""));
    EXPECT_EQ(VXAOSDep::GetCharWithNoEcho(), 'x');
    EXPECT_EQ(VXAOSDep::GetCharWithNoEcho(), -1);
}

} // namespace
