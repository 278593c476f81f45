#include "collector/Terminal.h"

#include <windows.h>

const int kEndOfInputKey = 26; // Ctrl-Z

namespace {

// Has the console hand over each key as it is, Ctrl-C among them, and shows none of it.
class RawConsole {
public:
    explicit RawConsole(HANDLE input) : m_input(input)
    {
        m_active = ::GetConsoleMode(m_input, &m_before) != 0 && ::SetConsoleMode(m_input, 0) != 0;
    }
    ~RawConsole()
    {
        if (m_active)
            ::SetConsoleMode(m_input, m_before);
    }
    RawConsole(const RawConsole&) = delete;
    RawConsole& operator=(const RawConsole&) = delete;
    explicit operator bool() const { return m_active; }

private:
    const HANDLE m_input;
    DWORD m_before = 0;
    bool m_active = false;
};

} // namespace

bool HasTerminal()
{
    // Not what the C library says: it takes NUL for a terminal.
    DWORD mode = 0;
    return ::GetConsoleMode(::GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

// As a byte of the encoding that the library's texts have.
int ReadHiddenKey()
{
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    const RawConsole console(input);
    wchar_t key = 0;
    DWORD count = 0;
    if (!console || !::ReadConsoleW(input, &key, 1, &count, nullptr) || count == 0)
        return -1;
    char byte = 0;
    ::WideCharToMultiByte(CP_ACP, 0, &key, 1, &byte, 1, nullptr, nullptr);
    return static_cast<unsigned char>(byte);
}
