#pragma once

#include "backends/qmmusblan/Netlink.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// What the environment says and the library was built with. Everything is read at every call.

// What the user has named, by node: an interface's name, its MAC address or "usb:" and a port.
std::vector<std::string> NamedNodes();

// The root of the file system in which sys, proc and lib/modules are looked up.
std::filesystem::path SystemRoot();

// The first line of a file of that system; empty when there is none.
std::string FirstLineOf(const std::filesystem::path& path);

// An address that reaches the service processor: in one network with it, and not its own.
bool ReachesProcessor(const NetworkAddress& address);

// The address that a node gets which has none that serves: node 0 the one named, or else the one
// behind the service processor's, each further node the next. None when that would not serve
// either, which is said on standard error.
std::optional<NetworkAddress> OwnAddressOf(std::int32_t node);
