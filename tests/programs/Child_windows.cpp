#include "tests/programs/Child.h"

#include <windows.h>

const char* const kTestChild = "test_child";

bool BecomesFree(const std::string& path)
{
    for (int tries = 0; tries < 600; ++tries) {
        const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            ::CloseHandle(file);
            return true;
        }
        ::Sleep(50);
    }
    return false;
}
