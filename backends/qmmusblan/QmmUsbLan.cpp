// The control library of the LAN-over-USB interfaces on Linux. It knows only the interfaces that
// VXA_USBLAN_INTERFACES names (comma-separated, node 0 first), because a dock or a tethered phone
// has the same kind of driver and must never be taken down. VXA_USBLAN_SYSFS names another root of
// the sysfs tree. Both are read, and the interface is looked up, at every call.
#include "platform/qmmusblan/QmmUsbLan.h"
#include "UtilsExport.h"
#include "backends/qmmusblan/Netlink.h"

#include "BuildValues.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <utility>

using namespace qmmusblan;

namespace {

constexpr const char* kUsbNetworkDrivers[] = {"cdc_ether", "cdc_eem", "cdc_subset", "cdc_ncm",
                                              "rndis_host"};
constexpr unsigned kOwnPrefixLength = 24;

// What bringing up has added in this process: by the interface's index, the address.
std::vector<std::pair<int, NetworkAddress>> gAddedAddresses;

std::string Variable(const char* name, const char* otherwise)
{
    const char* const value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

// The interfaces that the user has named, by node.
std::vector<std::string> NamedInterfaces()
{
    std::vector<std::string> names;
    std::istringstream list(Variable("VXA_USBLAN_INTERFACES", ""));
    for (std::string item; std::getline(list, item, ',');) {
        const std::size_t first = item.find_first_not_of(" \t");
        if (first != std::string::npos)
            names.push_back(item.substr(first, item.find_last_not_of(" \t") - first + 1));
    }
    return names;
}

std::optional<std::string> NameOf(std::int32_t node)
{
    const std::vector<std::string> names = NamedInterfaces();
    if (node < 0 || static_cast<std::size_t>(node) >= names.size())
        return std::nullopt;
    return names[static_cast<std::size_t>(node)];
}

// True when the interface is one of a USB network device.
bool HasUsbNetworkDriver(const NetworkLink& link)
{
    const std::filesystem::path device =
        std::filesystem::path(Variable("VXA_USBLAN_SYSFS", "/sys")) / "class/net" / link.name /
        "device/driver";
    std::error_code error;
    const std::string driver = std::filesystem::read_symlink(device, error).filename().string();
    return !error && std::find(std::begin(kUsbNetworkDrivers), std::end(kUsbNetworkDrivers),
                               driver) != std::end(kUsbNetworkDrivers);
}

// The service processor's end of the link.
std::uint32_t ProcessorAddress()
{
    return ntohl(::inet_addr(UTILS_INBAND_ADDRESS));
}

// An address that reaches the service processor: in one network with it, and not its own.
bool IsAcceptable(const NetworkAddress& address)
{
    return address.address != ProcessorAddress() && address.NetworkHolds(ProcessorAddress());
}

// The address that a node gets which has none: the ones behind the service processor's, in order.
NetworkAddress OwnAddress(std::int32_t node)
{
    const std::uint32_t processor = ProcessorAddress();
    const std::uint32_t host = ((processor & 0xFF) + static_cast<std::uint32_t>(node)) % 254 + 1;
    return {(processor & ~std::uint32_t{0xFF}) | host, kOwnPrefixLength};
}

// One node's interface as it is at this moment.
class Node {
public:
    explicit Node(const std::string& name)
    {
        std::vector<NetworkLink> links;
        if (!m_netlink.ListLinks(links)) {
            m_state = kError;
            return;
        }
        const auto found = std::find_if(links.begin(), links.end(),
                                        [&](const NetworkLink& link) { return link.name == name; });
        if (found == links.end()) {
            m_state = kDriverNotLoaded;
            return;
        }
        m_index = found->index;
        m_state = !HasUsbNetworkDriver(*found) ? kError
                  : !found->isUp               ? kDisabled
                  : HasAcceptableAddress()     ? kEnabled
                                               : kEnabledUnacceptable;
    }

    State GetState() const { return m_state; }

    bool BringUp(std::int32_t node)
    {
        if (!m_netlink.SetUp(m_index, true))
            return false;
        if (HasAcceptableAddress())
            return true;
        const NetworkAddress address = OwnAddress(node);
        if (!m_netlink.AddAddress(m_index, address))
            return false;
        gAddedAddresses.emplace_back(m_index, address);
        return true;
    }

    bool TakeDown()
    {
        if (!m_netlink.SetUp(m_index, false))
            return false;
        const auto isOurs = [&](const std::pair<int, NetworkAddress>& added) {
            return added.first == m_index;
        };
        for (const auto& added : gAddedAddresses) {
            // Somebody else may have removed it already.
            if (isOurs(added))
                m_netlink.RemoveAddress(m_index, added.second);
        }
        gAddedAddresses.erase(
            std::remove_if(gAddedAddresses.begin(), gAddedAddresses.end(), isOurs),
            gAddedAddresses.end());
        return true;
    }

private:
    bool HasAcceptableAddress()
    {
        std::vector<NetworkAddress> addresses;
        return m_netlink.ListAddresses(m_index, addresses) &&
               std::any_of(addresses.begin(), addresses.end(), IsAcceptable);
    }

    Netlink m_netlink;
    int m_index = 0;
    State m_state = kError;
};

// Runs a change of a node that is there and one of ours.
template <typename Action>
Result Change(std::int32_t node, Action action)
{
    const std::optional<std::string> name = NameOf(node);
    if (!name)
        return kNoSuchNode;
    Node target(*name);
    if (target.GetState() == kDriverNotLoaded)
        return kNoHardware;
    if (target.GetState() == kError)
        return kNotChanged;
    return action(target) ? kOk : kNotChanged;
}

} // namespace

extern "C" UTILS_DECL_EXPORT std::int32_t GetNodes()
{
    return static_cast<std::int32_t>(NamedInterfaces().size());
}

extern "C" UTILS_DECL_EXPORT std::int32_t QueryQmmLanState(std::int32_t node)
{
    const std::optional<std::string> name = NameOf(node);
    return name ? Node(*name).GetState() : kError;
}

extern "C" UTILS_DECL_EXPORT std::int32_t BringupQmmLan(std::int32_t node)
{
    return Change(node, [node](Node& target) { return target.BringUp(node); });
}

extern "C" UTILS_DECL_EXPORT std::int32_t DisableQmmLan(std::int32_t node)
{
    return Change(node, [](Node& target) { return target.TakeDown(); });
}
