#include "platform/vxacore/TOSSpecific.h"

#include <conio.h>
#include <windows.h>

namespace NORXVXA20 {

namespace {

// Some consoles report no key until their input has been looked at once.
bool PeekConsole()
{
    INPUT_RECORD record{};
    DWORD count = 0;
    return ::PeekConsoleInputA(::GetStdHandle(STD_INPUT_HANDLE), &record, 1, &count) != 0;
}

bool IsConsole()
{
    DWORD mode = 0;
    static const bool peeked = PeekConsole();
    return peeked && ::GetConsoleMode(::GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

} // namespace

bool TOSSpecific::IsKeyWaiting()
{
    return IsConsole() && ::_kbhit() != 0;
}

int TOSSpecific::GetKeyboardChar()
{
    return IsKeyWaiting() ? ::_getch() : -1;
}

} // namespace NORXVXA20
