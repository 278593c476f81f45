#pragma once

#include <cstddef>

// What the library uses of libcurl, which is loaded by name at run time: its fixed binary
// interface.
namespace curl {

enum Code : int { kOk = 0 };

constexpr long kGlobalAll = 3; // CURL_GLOBAL_ALL

enum Option : int {
    kWriteData = 10001,
    kUrl = 10002,
    kWriteFunction = 20011,
    kDirListOnly = 48,
};

using GlobalInit = int (*)(long flags);
using GlobalCleanup = void (*)();
using EasyInit = void* (*)();
using EasySetopt = int (*)(void* easy, int option, ...);
using EasyPerform = int (*)(void* easy);
using EasyCleanup = void (*)(void* easy);
using WriteCallback = std::size_t (*)(char* data, std::size_t size, std::size_t count, void* user);

} // namespace curl
