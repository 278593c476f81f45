#include "backends/vxacore/CurlClient.h"

#include <cerrno>

namespace NORXVXA20 {

bool IsNoRoute(long osError)
{
    return osError == ENETUNREACH || osError == EHOSTUNREACH || osError == ENETDOWN;
}

} // namespace NORXVXA20
