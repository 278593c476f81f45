#include "backends/spdriver/SocketSystem.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>

void SocketTraits::Close(Handle handle)
{
    ::close(static_cast<int>(handle));
}

bool StartSockets()
{
    return true;
}

bool MakeNonBlocking(NativeSocket socket)
{
    return ::fcntl(socket, F_SETFD, FD_CLOEXEC) == 0 && ::fcntl(socket, F_SETFL, O_NONBLOCK) == 0;
}

int LastSocketError()
{
    return errno;
}

bool MustWait(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINPROGRESS || error == EINTR;
}

bool Wait(NativeSocket socket, WaitUntil state, Deadline deadline)
{
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd entry{socket, static_cast<short>(state == WaitUntil::kReadable ? POLLIN : POLLOUT),
                     0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::max<long long>(left.count(), 0)));
        if (ready >= 0 || errno != EINTR)
            return ready > 0;
    }
}
