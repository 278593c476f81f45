// The console that CMake gives this program.
#include "collector/Password.h"
#include "tests/collector/PasswordTest.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <thread>

namespace {

DWORD Mode()
{
    DWORD mode = 0;
    ::GetConsoleMode(::GetStdHandle(STD_INPUT_HANDLE), &mode);
    return mode;
}

// As soon as somebody reads keys, when Ctrl-C has no meaning of its own. What the console shows of
// them is added to shown.
void TypeWhenAwaited(const std::string& keys, std::string& shown)
{
    for (int tries = 0; tries < 3000 && (Mode() & ENABLE_PROCESSED_INPUT) != 0; ++tries)
        ::Sleep(10);
    if ((Mode() & ENABLE_ECHO_INPUT) != 0)
        shown = keys;
    for (const char key : keys) {
        INPUT_RECORD record{};
        record.EventType = KEY_EVENT;
        record.Event.KeyEvent.bKeyDown = TRUE;
        record.Event.KeyEvent.wRepeatCount = 1;
        record.Event.KeyEvent.uChar.AsciiChar = key;
        DWORD written = 0;
        ::WriteConsoleInputA(::GetStdHandle(STD_INPUT_HANDLE), &record, 1, &written);
    }
}

} // namespace

Answer Type(const std::string& keys, const std::string& expected)
{
    const DWORD before = Mode();
    Answer answer;
    std::string echo;
    std::thread person(TypeWhenAwaited, keys, std::ref(echo));
    testing::internal::CaptureStderr();
    const auto password = ReadPassword("-");
    answer.shown = testing::internal::GetCapturedStderr();
    person.join();
    answer.shown += echo;
    answer.exitCode = !password ? 2 : *password == expected ? 0 : 1;
    EXPECT_EQ(Mode(), before);
    return answer;
}
