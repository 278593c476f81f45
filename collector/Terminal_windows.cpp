#include "collector/Terminal.h"

#include <windows.h>

const int kEndOfInputKey = 26; // Ctrl-Z

bool HasTerminal()
{
    // Not what the C library says: it takes NUL for a terminal.
    DWORD mode = 0;
    return ::GetConsoleMode(::GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

// The console's line input would show the keys, and take Ctrl-C for itself.
struct HiddenKeys::State {
    HANDLE input;
    DWORD modeBefore;
};

HiddenKeys::HiddenKeys()
{
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (::GetConsoleMode(input, &mode) && ::SetConsoleMode(input, 0))
        m_state.reset(new State{input, mode});
}

HiddenKeys::~HiddenKeys()
{
    if (m_state)
        ::SetConsoleMode(m_state->input, m_state->modeBefore);
}

// As a byte of the encoding that the library's texts have.
int HiddenKeys::Next()
{
    wchar_t key = 0;
    DWORD count = 0;
    if (!m_state || !::ReadConsoleW(m_state->input, &key, 1, &count, nullptr) || count == 0)
        return -1;
    char byte = 0;
    ::WideCharToMultiByte(CP_ACP, 0, &key, 1, &byte, 1, nullptr, nullptr);
    return static_cast<unsigned char>(byte);
}
