#include "common/TVXAException.h"
#include "osdep/UniqueHandle.h"
#include "platform/vxacore/TOSSpecific.h"

#include <windows.h>

#include <cstdlib>

namespace NORXVXA20 {

namespace {

struct FindTraits {
    using Handle = HANDLE;
    static Handle None() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { ::FindClose(handle); }
};

} // namespace

bool TOSSpecific::DirExists(std::string path)
{
    const DWORD attributes = ::GetFileAttributesA(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void TOSSpecific::CreateDir(std::string path)
{
    if (!::CreateDirectoryA(path.c_str(), nullptr))
        throw TVXAException(TVXAStatusCode::eFailed);
}

std::vector<std::string> TOSSpecific::ListDir(std::string path)
{
    std::vector<std::string> names;
    WIN32_FIND_DATAA entry{};
    const UniqueHandle<FindTraits> search(::FindFirstFileA((path + "\\*").c_str(), &entry));
    for (bool found = static_cast<bool>(search); found;
         found = ::FindNextFileA(search.get(), &entry) != 0) {
        const std::string name = entry.cFileName;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

std::string TOSSpecific::GetVXARootPath()
{
    if (const char* const root = std::getenv("VXA_ROOT_PATH"); root != nullptr && *root != '\0')
        return root;
    char program[MAX_PATH] = {};
    ::GetModuleFileNameA(nullptr, program, sizeof program - 1);
    const std::string path = program;
    const std::size_t separator = path.rfind('\\');
    return separator != std::string::npos ? path.substr(0, separator) : ".";
}

} // namespace NORXVXA20
