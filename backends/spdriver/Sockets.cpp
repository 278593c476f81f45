#include "backends/spdriver/Sockets.h"

#include "backends/spdriver/SocketSystem.h"

#include <memory>

namespace {

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

Addresses Resolve(const std::string& host, const std::string& port)
{
    addrinfo wanted{};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), port.c_str(), &wanted, &found) != 0)
        found = nullptr;
    return Addresses(found, ::freeaddrinfo);
}

NativeSocket Native(const Socket& socket)
{
    return static_cast<NativeSocket>(socket.get());
}

std::string ConnectFault(int error)
{
    if (error == kConnectionRefused)
        return "connection refused";
    return "error " + std::to_string(error);
}

// The error of a connection attempt that has ended; 0 when it stands.
int Outcome(const Socket& socket)
{
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(Native(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error),
                     &size) != 0)
        return LastSocketError();
    return error;
}

Socket Connect(const addrinfo& to, Deadline deadline, std::string& fault)
{
    Socket socket(
        static_cast<SocketTraits::Handle>(::socket(to.ai_family, to.ai_socktype, to.ai_protocol)));
    if (!socket || !MakeNonBlocking(Native(socket))) {
        fault = ConnectFault(LastSocketError());
        return {};
    }
    int error = 0;
    if (::connect(Native(socket), to.ai_addr, static_cast<socklen_t>(to.ai_addrlen)) != 0) {
        error = LastSocketError();
        if (MustWait(error)) {
            if (!Wait(Native(socket), WaitUntil::kWritable, deadline)) {
                fault = "no connection in time";
                return {};
            }
            error = Outcome(socket);
        }
    }
    if (error != 0) {
        fault = ConnectFault(error);
        return {};
    }
    return socket;
}

} // namespace

Socket ConnectTo(const std::string& host, const std::string& port, Deadline deadline,
                 std::string& fault)
{
    if (!StartSockets()) {
        fault = "no sockets";
        return {};
    }
    const Addresses addresses = Resolve(host, port);
    fault = "unknown address";
    for (const addrinfo* to = addresses.get(); to != nullptr; to = to->ai_next)
        if (Socket socket = Connect(*to, deadline, fault))
            return socket;
    return {};
}

bool SendAll(const Socket& socket, const std::string& bytes, Deadline deadline)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const auto count = ::send(Native(socket), bytes.data() + sent,
                                  static_cast<int>(bytes.size() - sent), kNoSignal);
        if (count > 0)
            sent += static_cast<std::size_t>(count);
        else if (!MustWait(LastSocketError()) ||
                 !Wait(Native(socket), WaitUntil::kWritable, deadline))
            return false;
    }
    return true;
}

int ReceiveSome(const Socket& socket, unsigned char* bytes, std::size_t size, Deadline deadline)
{
    for (;;) {
        const auto count =
            ::recv(Native(socket), reinterpret_cast<char*>(bytes), static_cast<int>(size), 0);
        if (count >= 0)
            return static_cast<int>(count);
        if (!MustWait(LastSocketError()))
            return kClosed;
        if (!Wait(Native(socket), WaitUntil::kReadable, deadline))
            return kTooLate;
    }
}
