#include "backends/qmmusblan/Settings.h"

#include "BuildValues.h"
#include "common/Trim.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

constexpr unsigned kUsualPrefixLength = 24;
constexpr unsigned kLongestPrefixLength = 30; // leaves room for the service processor and a node

// Empty when there is none, and in a program that runs with other rights than its caller's.
std::string Variable(const char* name)
{
    const char* const value = ::secure_getenv(name);
    return value != nullptr ? value : "";
}

// The service processor's end of the link.
std::uint32_t ProcessorAddress()
{
    return ntohl(::inet_addr(UTILS_INBAND_ADDRESS));
}

// The bits of an address that tell the hosts of its network apart.
std::uint32_t HostBits(const NetworkAddress& address)
{
    return address.prefixLength == 0 ? ~0U : (1U << (32 - address.prefixLength)) - 1;
}

// The next address of the network that a host can have, and that is not the service processor's.
NetworkAddress Next(NetworkAddress address)
{
    const std::uint32_t bits = HostBits(address);
    do {
        const std::uint32_t host = (address.address & bits) + 1;
        address.address = (address.address & ~bits) | (host >= bits ? 1 : host);
    } while (address.address == ProcessorAddress());
    return address;
}

// Reads "169.254.70.50/24" or "169.254.70.50".
std::optional<NetworkAddress> ParseAddress(const std::string& text)
{
    const std::size_t slash = text.find('/');
    in_addr host{};
    if (::inet_pton(AF_INET, text.substr(0, slash).c_str(), &host) != 1)
        return std::nullopt;
    NetworkAddress address{ntohl(host.s_addr), kUsualPrefixLength};
    if (slash == std::string::npos)
        return address;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data() + slash + 1, end, address.prefixLength);
    if (read.ec != std::errc() || read.ptr != end)
        return std::nullopt;
    return address;
}

// One that this end of the link can have.
bool Serves(const NetworkAddress& address)
{
    if (address.prefixLength == 0 || address.prefixLength > kLongestPrefixLength)
        return false;
    const std::uint32_t host = address.address & HostBits(address);
    return ReachesProcessor(address) && host != 0 && host != HostBits(address);
}

} // namespace

std::vector<std::string> NamedNodes()
{
    std::vector<std::string> names;
    std::istringstream list(Variable("VXA_USBLAN_INTERFACES"));
    for (std::string item; std::getline(list, item, ',');) {
        if (const std::string name = Trimmed(item); !name.empty())
            names.push_back(name);
    }
    return names;
}

std::filesystem::path SystemRoot()
{
    const std::string root = Variable("VXA_USBLAN_ROOT");
    return root.empty() ? "/" : root;
}

std::string FirstLineOf(const std::filesystem::path& path)
{
    std::string line;
    std::ifstream file(path);
    std::getline(file, line);
    return line;
}

bool ReachesProcessor(const NetworkAddress& address)
{
    return address.address != ProcessorAddress() && address.NetworkHolds(ProcessorAddress());
}

std::optional<NetworkAddress> OwnAddressOf(std::int32_t node)
{
    const std::string named = Trimmed(Variable("VXA_USBLAN_ADDRESS"));
    std::optional<NetworkAddress> address = Next({ProcessorAddress(), kUsualPrefixLength});
    if (!named.empty())
        address = ParseAddress(named);
    if (!address || !Serves(*address)) {
        std::cerr << "VXA_USBLAN_ADDRESS: " << named << " is no address that reaches "
                  << UTILS_INBAND_ADDRESS << std::endl;
        return std::nullopt;
    }
    for (std::int32_t other = 0; other < node; ++other)
        address = Next(*address);
    return address;
}
