#include "tests/backends/ftp/MuteServer.h"

#include <winsock2.h>

MuteServer::MuteServer()
{
    WSADATA data{};
    ::WSAStartup(MAKEWORD(2, 2), &data);
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
    m_socket = static_cast<long long>(socket);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket, generic, length) == 0 && ::getsockname(socket, generic, &length) == 0)
        m_port = std::to_string(ntohs(address.sin_port));
}

MuteServer::~MuteServer()
{
    ::closesocket(static_cast<SOCKET>(m_socket));
    ::WSACleanup();
}

void MuteServer::Listen() const
{
    ::listen(static_cast<SOCKET>(m_socket), 4);
}
