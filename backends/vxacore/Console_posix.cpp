#include "platform/vxacore/TOSSpecific.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace NORXVXA20 {

namespace {

// Lets single keys through without echo while it lives; interrupt keys keep their meaning.
// Does nothing where standard input is no terminal, or another process group's.
class KeyMode {
public:
    KeyMode()
    {
        if (::tcgetpgrp(STDIN_FILENO) != ::getpgrp() || ::tcgetattr(STDIN_FILENO, &m_before) != 0)
            return;
        termios keys = m_before;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        keys.c_cc[VMIN] = 0;
        keys.c_cc[VTIME] = 0;
        m_active = ::tcsetattr(STDIN_FILENO, TCSANOW, &keys) == 0;
    }
    ~KeyMode()
    {
        if (m_active)
            ::tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
    }
    KeyMode(const KeyMode&) = delete;
    KeyMode& operator=(const KeyMode&) = delete;
    explicit operator bool() const { return m_active; }

private:
    termios m_before{};
    bool m_active = false;
};

} // namespace

bool TOSSpecific::IsKeyWaiting()
{
    const KeyMode mode;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return mode && ::poll(&input, 1, 0) == 1 && (input.revents & POLLHUP) == 0;
}

int TOSSpecific::GetKeyboardChar()
{
    const KeyMode mode;
    unsigned char key = 0;
    return mode && ::read(STDIN_FILENO, &key, 1) == 1 ? key : -1;
}

} // namespace NORXVXA20
