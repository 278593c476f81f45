// Keys on a real console: CMake runs this program on a terminal where the system has a way to.
#include "tests/osdep/SystemTest.h"

#include <windows.h>

#include <thread>

namespace {

DWORD Mode()
{
    DWORD mode = 0;
    ::GetConsoleMode(::GetStdHandle(STD_INPUT_HANDLE), &mode);
    return mode;
}

// Presses a key as soon as somebody reads keys, when Ctrl-C has no meaning of its own.
void PressWhenAwaited(char key)
{
    for (int tries = 0; tries < 3000 && (Mode() & ENABLE_PROCESSED_INPUT) != 0; ++tries)
        ::Sleep(10);
    INPUT_RECORD record{};
    record.EventType = KEY_EVENT;
    record.Event.KeyEvent.bKeyDown = TRUE;
    record.Event.KeyEvent.wRepeatCount = 1;
    record.Event.KeyEvent.uChar.AsciiChar = key;
    DWORD written = 0;
    ::WriteConsoleInputA(::GetStdHandle(STD_INPUT_HANDLE), &record, 1, &written);
}

TEST(TerminalTest, KeysComeOneByOneWithTheirCodes)
{
    const DWORD before = Mode();
    if (before == 0)
        GTEST_SKIP() << "standard input is no console";
    for (const char key : {'a', '\x03'}) {
        std::thread person(PressWhenAwaited, key);
        EXPECT_EQ(VXAOSDep::GetCharWithNoEcho(), key);
        person.join();
        EXPECT_EQ(Mode(), before);
    }
}

} // namespace
