#include "backends/vxacore/PartFile.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace NORXVXA20 {

namespace {

int ErrnoOf(DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
        return EACCES;
    case ERROR_DISK_FULL:
        return ENOSPC;
    default:
        return EIO;
    }
}

// A device is meant whatever stands behind the first dot, and whatever blanks before it.
bool IsDeviceName(const std::string& name)
{
    std::string stem = name.substr(0, name.find('.'));
    stem.erase(stem.find_last_not_of(' ') + 1);
    std::transform(stem.begin(), stem.end(), stem.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    for (const char* device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$", "CLOCK$"}) {
        if (stem == device)
            return true;
    }
    // Ports are numbered by a digit; superscript one to three count as digits.
    const bool isPort = stem.compare(0, 3, "COM") == 0 || stem.compare(0, 3, "LPT") == 0;
    return isPort && stem.size() == 4 &&
           std::string("0123456789\xb9\xb2\xb3").find(stem[3]) != std::string::npos;
}

} // namespace

std::FILE* CreateNewFile(const std::string& path)
{
    const int descriptor =
        ::_open(path.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                _S_IREAD | _S_IWRITE);
    return descriptor >= 0 ? ::_fdopen(descriptor, "wb") : nullptr;
}

bool RenameOver(const std::string& from, const std::string& to)
{
    if (::MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING))
        return true;
    errno = ErrnoOf(::GetLastError());
    return false;
}

bool IsSpecialFileName(const std::string& name)
{
    // A colon names a drive or a stream of a file; dots and blanks at the end are dropped silently.
    return name.find(':') != std::string::npos || name.back() == '.' || name.back() == ' ' ||
           IsDeviceName(name);
}

} // namespace NORXVXA20
