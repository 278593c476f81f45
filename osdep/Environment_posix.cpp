#include "common/Log.h"
#include "osdep/VXAOSDep.h"

#include <cerrno>
#include <cstdlib>

namespace NORXVXA20 {

bool VXAOSDep::UnsetEnvironment(std::string name)
{
    if (::setenv(name.c_str(), "", 1) == 0)
        return true;
    const int error = errno;
    // Deliberate: one wording on every system.
    DebugLog("[ERROR]PutEnvironment-GetLastError():" + std::to_string(error));
    return false;
}

} // namespace NORXVXA20
