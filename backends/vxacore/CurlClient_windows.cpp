#include "backends/vxacore/CurlClient.h"

#include <winsock2.h>

namespace NORXVXA20 {

bool IsNoRoute(long osError)
{
    return osError == WSAENETUNREACH || osError == WSAEHOSTUNREACH || osError == WSAENETDOWN;
}

} // namespace NORXVXA20
