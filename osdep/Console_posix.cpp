#include "osdep/VXAOSDep.h"

#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>

namespace NORXVXA20 {

namespace {

// Sets the terminal's mode, also when a signal interrupts.
bool SetMode(const termios& mode)
{
    int result = 0;
    do {
        result = ::tcsetattr(STDIN_FILENO, TCSANOW, &mode);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// Hands out keys one by one, without echo and without a meaning of their own, while it lives.
// False where standard input is no terminal.
class KeyMode {
public:
    KeyMode()
    {
        if (::tcgetattr(STDIN_FILENO, &m_before) != 0)
            return;
        termios keys = m_before;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
        m_active = SetMode(keys);
    }
    ~KeyMode()
    {
        if (m_active)
            SetMode(m_before);
    }
    KeyMode(const KeyMode&) = delete;
    KeyMode& operator=(const KeyMode&) = delete;
    explicit operator bool() const { return m_active; }

private:
    termios m_before{};
    bool m_active = false;
};

int ReadKey()
{
    unsigned char key = 0;
    ssize_t count = 0;
    do {
        count = ::read(STDIN_FILENO, &key, 1);
    } while (count < 0 && errno == EINTR);
    return count == 1 ? key : EOF;
}

// Through the stream, which may already hold what follows the lines read before.
int ReadByte()
{
    for (;;) {
        std::cin.clear();
        std::clearerr(stdin);
        errno = 0;
        const int byte = std::cin.get();
        if (byte != EOF || errno != EINTR)
            return byte;
    }
}

} // namespace

int VXAOSDep::GetCharWithNoEcho()
{
    const KeyMode mode;
    return mode ? ReadKey() : ReadByte();
}

} // namespace NORXVXA20
