#include "backends/vxacore/PartFile.h"

namespace NORXVXA20 {

std::FILE* CreateNewFile(const std::string& path)
{
    // x: never through a link that somebody put there; e: not for child processes.
    return std::fopen(path.c_str(), "wbxe");
}

bool RenameOver(const std::string& from, const std::string& to)
{
    return std::rename(from.c_str(), to.c_str()) == 0;
}

bool IsSpecialFileName(const std::string&)
{
    return false;
}

} // namespace NORXVXA20
