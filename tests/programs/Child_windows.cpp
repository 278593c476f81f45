#include "tests/programs/Child.h"

#include <windows.h>

const char* const kTestChild = "test_child";

std::string TemporaryPath(const std::string& name)
{
    char folder[MAX_PATH + 1] = "";
    ::GetTempPathA(sizeof folder, folder);
    return folder + ("utils-test-" + std::to_string(::GetCurrentProcessId())) + "-" + name;
}

void MakeExecutable(const std::string&) {}

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
