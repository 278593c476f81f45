#include "backends/spdriver/SocketSystem.h"

#include <algorithm>

void SocketTraits::Close(Handle handle)
{
    ::closesocket(handle);
}

bool StartSockets()
{
    static const bool started = [] {
        WSADATA data;
        return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return started;
}

bool MakeNonBlocking(NativeSocket socket)
{
    u_long on = 1;
    return ::SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0) &&
           ::ioctlsocket(socket, FIONBIO, &on) == 0;
}

int LastSocketError()
{
    return ::WSAGetLastError();
}

bool MustWait(int error)
{
    return error == WSAEWOULDBLOCK;
}

bool Wait(NativeSocket socket, WaitUntil state, Deadline deadline)
{
    const auto left = std::max(
        std::chrono::ceil<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now()),
        std::chrono::microseconds(0));
    timeval limit{static_cast<long>(left.count() / 1000000),
                  static_cast<long>(left.count() % 1000000)};
    fd_set wanted;
    FD_ZERO(&wanted);
    FD_SET(socket, &wanted);
    // A connection attempt that failed is told here and nowhere else.
    fd_set failed = wanted;
    return ::select(0, state == WaitUntil::kReadable ? &wanted : nullptr,
                    state == WaitUntil::kWritable ? &wanted : nullptr, &failed, &limit) > 0;
}
