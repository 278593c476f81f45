#pragma once

// The few differences between the two systems' sockets.

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
using NativeSocket = SOCKET;
constexpr int kConnectionRefused = WSAECONNREFUSED;
constexpr int kNoSignal = 0;
#else
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
using NativeSocket = int;
constexpr int kConnectionRefused = ECONNREFUSED;
constexpr int kNoSignal = MSG_NOSIGNAL; // a lost peer is an error and not the program's end
#endif

#include "backends/spdriver/Sockets.h"

// Makes the system's sockets usable; they stay so for the rest of the process.
bool StartSockets();
// No child of this process inherits the socket, and no call on it waits.
bool MakeNonBlocking(NativeSocket socket);
int LastSocketError();
// Is the error only that the call would have to wait?
bool MustWait(int error);

enum class WaitUntil { kReadable, kWritable };
// Also returns true when the connection broke, which the next call on the socket tells.
bool Wait(NativeSocket socket, WaitUntil state, Deadline deadline);
