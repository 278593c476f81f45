#include "net/Resolve.h"

#include <winsock2.h>

bool Resolves(const char* host)
{
    WSADATA data{};
    if (::WSAStartup(MAKEWORD(2, 2), &data) != 0)
        return false;
    const bool found = ::gethostbyname(host) != nullptr;
    ::WSACleanup();
    return found;
}
