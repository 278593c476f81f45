#include "backends/vxacore/CurlClient.h"

#include <winsock2.h>

namespace NORXVXA20 {

bool IsNoRoute(long osError)
{
    return osError == WSAENETUNREACH || osError == WSAEHOSTUNREACH || osError == WSAENETDOWN;
}

void ShutSocket(curl::Socket socket)
{
    ::shutdown(socket, SD_BOTH);
}

int CloseSocket(curl::Socket socket)
{
    return ::closesocket(socket);
}

} // namespace NORXVXA20
