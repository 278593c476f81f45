#include "tests/programs/Child.h"

#include "tests/support/Program.h"

#include <windows.h>

const char* const kTestChild = "test_child";

bool BecomesFree(const std::string& path)
{
    return WaitUntil([&] {
        const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
        return file != INVALID_HANDLE_VALUE && ::CloseHandle(file) != FALSE;
    });
}
