#include "backends/vxacore/CurlClient.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace NORXVXA20 {

bool IsNoRoute(long osError)
{
    return osError == ENETUNREACH || osError == EHOSTUNREACH || osError == ENETDOWN;
}

void ShutSocket(curl::Socket socket)
{
    ::shutdown(socket, SHUT_RDWR);
}

int CloseSocket(curl::Socket socket)
{
    return ::close(socket);
}

} // namespace NORXVXA20
