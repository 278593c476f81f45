#include "tests/backends/ftp/MuteServer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

MuteServer::MuteServer() : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    const int socket = static_cast<int>(m_socket);
    if (::bind(socket, generic, length) == 0 && ::getsockname(socket, generic, &length) == 0)
        m_port = std::to_string(ntohs(address.sin_port));
}

MuteServer::~MuteServer()
{
    ::close(static_cast<int>(m_socket));
}

void MuteServer::Listen() const
{
    ::listen(static_cast<int>(m_socket), 4);
}
