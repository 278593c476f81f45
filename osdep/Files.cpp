#include "osdep/VXAOSDep.h"

namespace NORXVXA20 {

std::string VXAOSDep::GetFileNameFromPath(const std::string& path)
{
    const std::size_t separator = path.rfind(gFileSeparator);
    // Deliberate: a path without a separator has no name either.
    if (separator == std::string::npos)
        return std::string();
    return path.substr(separator + gFileSeparator.size());
}

} // namespace NORXVXA20
