#pragma once

#include <cstdint>

// The control library of the LAN-over-USB interfaces, loaded by name at run time: one interface a
// node, nodes count from 0. It exports, with C linkage, "GetNodes", "QueryQmmLanState",
// "BringupQmmLan" and "DisableQmmLan".
namespace qmmusblan {

// The file that is loaded.
#if defined(_WIN32)
constexpr const char* kLibraryName = "qmmusblan.dll";
#else
constexpr const char* kLibraryName = "libqmmusblan.so";
#endif

// What "QueryQmmLanState" answers.
enum State : std::int32_t {
    kEnabled = 1,
    kDisabled = 2,
    kEnabledUnacceptable = 3, // up, but with an IP configuration that does not serve
    kDriverNotLoaded = 4,
    kError = 5,
};

// What "BringupQmmLan" and "DisableQmmLan" answer.
enum Result : std::int32_t {
    kOk = 0,
    kNoHardware = 171,
    kDriverNotInstalled = 172, // bringing up only
    kNoSuchNode = 176,
    kNotChanged = 177,
};

// "GetNodes": how many nodes there are; 0 or less for none.
using GetNodes = std::int32_t (*)();
// The three others, each about one node: a State or a Result.
using NodeFunction = std::int32_t (*)(std::int32_t node);

} // namespace qmmusblan
