#include "common/TVXAException.h"
#include "platform/vxacore/TOSSpecific.h"

#include <cstdlib>
#include <filesystem>

namespace NORXVXA20 {

bool TOSSpecific::DirExists(std::string path)
{
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored);
}

void TOSSpecific::CreateDir(std::string path)
{
    std::error_code ignored;
    if (!std::filesystem::create_directory(path, ignored))
        throw TVXAException(TVXAStatusCode::eFailed);
}

std::vector<std::string> TOSSpecific::ListDir(std::string path)
{
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error))
        names.push_back(entry->path().filename().string());
    return names;
}

std::string TOSSpecific::GetVXARootPath()
{
    if (const char* const root = std::getenv("VXA_ROOT_PATH"); root != nullptr && *root != '\0')
        return root;
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string(".") : program.parent_path().string();
}

} // namespace NORXVXA20
