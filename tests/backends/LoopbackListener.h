#pragma once

#include "backends/spdriver/SocketSystem.h"

#include <stdexcept>
#include <string>

// A listening TCP socket on loopback, which by itself accepts and answers nothing.
class LoopbackListener {
public:
    LoopbackListener()
    {
        StartSockets();
        m_socket.reset(static_cast<SocketTraits::Handle>(::socket(AF_INET, SOCK_STREAM, 0)));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (!MakeNonBlocking(Native()) || ::bind(Native(), generic, size) != 0 ||
            ::listen(Native(), 5) != 0 || ::getsockname(Native(), generic, &size) != 0)
            throw std::runtime_error("no listening socket");
        m_port = std::to_string(ntohs(address.sin_port));
    }

    NativeSocket Native() const { return static_cast<NativeSocket>(m_socket.get()); }
    const std::string& Port() const { return m_port; }

private:
    Socket m_socket;
    std::string m_port;
};
