// Keys and echo on a real terminal: each case runs in a child whose terminal the test is.
#include "osdep/Console.h"
#include "osdep/FileDescriptor.h"
#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/support/Program.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>

#include <csignal>
#include <functional>

using NORXVXA20::VXAOSDep;

namespace {

// A child on a terminal of its own; the test is the person in front of it.
class OnTerminal {
public:
    // The child ends with what body returns.
    explicit OnTerminal(const std::function<int()>& body)
    {
        int master = -1;
        m_child = ::forkpty(&master, nullptr, nullptr, nullptr);
        if (m_child == 0)
            ::_exit(body());
        m_master.reset(master);
    }
    ~OnTerminal()
    {
        if (m_child <= 0)
            return;
        ::kill(m_child, SIGKILL);
        ::waitpid(m_child, nullptr, 0);
    }

    bool WaitForKeyMode() const
    {
        return WaitUntil([&] { return (Mode() & (ICANON | ECHO)) == 0; });
    }
    tcflag_t Mode() const
    {
        termios mode{};
        ::tcgetattr(m_master.get(), &mode);
        return mode.c_lflag;
    }
    void Type(const std::string& keys) const
    {
        ASSERT_EQ(::write(m_master.get(), keys.data(), keys.size()),
                  static_cast<ssize_t>(keys.size()));
    }
    void Interrupt() const { ::kill(m_child, SIGUSR1); }
    // True as soon as the terminal has shown text.
    bool Shows(const std::string& text)
    {
        return WaitUntil([&] {
            ReadScreen();
            return m_screen.find(text) != std::string::npos;
        });
    }
    std::string Screen()
    {
        ReadScreen();
        return m_screen;
    }
    // The child's result, -1 when a signal ended it.
    int Result()
    {
        int status = 0;
        const bool ended =
            WaitUntil([&] { return ::waitpid(m_child, &status, WNOHANG) == m_child; });
        if (ended)
            m_child = 0;
        return ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    void ReadScreen()
    {
        pollfd output{m_master.get(), POLLIN, 0};
        char buffer[1024];
        while (::poll(&output, 1, 0) == 1) {
            const ssize_t count = ::read(m_master.get(), buffer, sizeof buffer);
            if (count <= 0)
                return;
            m_screen.append(buffer, static_cast<std::size_t>(count));
        }
    }

    pid_t m_child = -1;
    FileDescriptor m_master;
    std::string m_screen;
};

TEST(TerminalTest, EveryKeyComesAtOnceAsItIsAndWithoutEcho)
{
    for (const char key : {'\xE4', '\x03', '\x04', '\x1a', '\x1c'}) {
        SCOPED_TRACE(static_cast<int>(key));
        OnTerminal terminal(&VXAOSDep::GetCharWithNoEcho);
        ASSERT_TRUE(terminal.WaitForKeyMode());
        terminal.Type(std::string(1, key));
        EXPECT_EQ(terminal.Result(), static_cast<unsigned char>(key));
        EXPECT_EQ(terminal.Screen(), "");
    }
}

TEST(TerminalTest, ModeIsRestoredAfterAnInterruptedReadAndWhatIsTypedAheadIsKept)
{
    OnTerminal terminal([] {
        struct sigaction handler {};
        handler.sa_handler = [](int) { [[maybe_unused]] const auto n = ::write(1, "signal ", 7); };
        ::sigaction(SIGUSR1, &handler, nullptr);
        termios before{};
        termios after{};
        ::tcgetattr(0, &before);
        const int key = VXAOSDep::GetCharWithNoEcho();
        ::tcgetattr(0, &after);
        const bool restored = before.c_lflag == after.c_lflag &&
                              before.c_cc[VMIN] == after.c_cc[VMIN] &&
                              before.c_cc[VTIME] == after.c_cc[VTIME];
        return restored && VXAOSDep::GetCharWithNoEcho() == 'l' ? key : 1;
    });
    ASSERT_TRUE(terminal.WaitForKeyMode());
    terminal.Interrupt();
    ASSERT_TRUE(terminal.Shows("signal ")) << "the handler has run";
    EXPECT_EQ(terminal.Mode() & (ICANON | ECHO | ISIG), 0u) << "the read goes on";
    terminal.Type("kl");
    EXPECT_EQ(terminal.Result(), 'k');
}

TEST(TerminalTest, QuestionIsAskedAgainAfterTheEndKeyAndAPause)
{
    OnTerminal terminal([] { return GetChoice("Go? ") && gConsole.slept == 1000 ? 7 : 8; });
    ASSERT_TRUE(terminal.Shows("Go? "));
    terminal.Type("\x04");
    ASSERT_TRUE(terminal.Shows("Invalid Input!\r\nGo? "));
    terminal.Type("y\n");
    EXPECT_EQ(terminal.Result(), 7);
}

// Standard input becomes a pipe; what the lines before left unread is not lost.
TEST(TerminalTest, WithoutATerminalTheNextByteIsTheKey)
{
    OnTerminal terminal([] {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0 || ::write(ends[1], "y\nx\n", 4) != 4)
            return 1;
        ::dup2(ends[0], 0);
        ::close(ends[1]);
        const bool good = GetChoice("") && VXAOSDep::GetCharWithNoEcho() == 'x' &&
                          VXAOSDep::GetCharWithNoEcho() == '\n' &&
                          VXAOSDep::GetCharWithNoEcho() == -1;
        return good ? 0 : 2;
    });
    EXPECT_EQ(terminal.Result(), 0);
}

} // namespace
