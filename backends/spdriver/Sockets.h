#pragma once

#include "osdep/UniqueHandle.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

// TCP connections with a deadline on every step.

struct SocketTraits {
    using Handle = std::uintptr_t; // holds either system's type
    static Handle None() { return ~Handle{0}; }
    static void Close(Handle handle);
};
using Socket = UniqueHandle<SocketTraits>;
using Deadline = std::chrono::steady_clock::time_point;

// Connects; none, and why in fault, when that fails or takes too long.
Socket ConnectTo(const std::string& host, const std::string& port, Deadline deadline,
                 std::string& fault);

// Returns false when the connection broke or the deadline passed; a part may have been sent then.
bool SendAll(const Socket& socket, const std::string& bytes, Deadline deadline);

constexpr int kClosed = 0; // by the peer, in order or not
constexpr int kTooLate = -1;
// Receives what is there, at most size bytes: their number, kClosed or kTooLate.
int ReceiveSome(const Socket& socket, unsigned char* bytes, std::size_t size, Deadline deadline);
