#include "backends/qmmusblan/Node.h"

#include "backends/qmmusblan/Drivers.h"
#include "backends/qmmusblan/Settings.h"
#include "backends/qmmusblan/UsbDevice.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

using qmmusblan::kDisabled;
using qmmusblan::kDriverNotInstalled;
using qmmusblan::kDriverNotLoaded;
using qmmusblan::kEnabled;
using qmmusblan::kEnabledUnacceptable;
using qmmusblan::kError;
using qmmusblan::kNoHardware;
using qmmusblan::kNotChanged;
using qmmusblan::kOk;
using qmmusblan::Result;
using qmmusblan::State;

namespace {

constexpr char kPortPrefix[] = "usb:";
constexpr int kFindTries = 3;
constexpr std::chrono::milliseconds kFindPause(10);

// What bringing up has added in this process: by the interface's index, the address.
std::vector<std::pair<int, NetworkAddress>> gAddedAddresses;

bool IsPort(const std::string& name)
{
    return name.rfind(kPortPrefix, 0) == 0;
}

std::string PortOf(const std::string& name)
{
    return name.substr(sizeof kPortPrefix - 1);
}

std::string LowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

// True when the interface is one of a USB network device.
bool HasUsbNetworkDriver(const NetworkLink& link)
{
    const std::filesystem::path folder = SystemRoot() / "sys/class/net" / link.name;
    const std::string driver = DriverOf(folder / "device");
    // The name may have passed to another interface since the kernel was asked.
    return IsUsbNetworkDriver(driver) &&
           FirstLineOf(folder / "ifindex") == std::to_string(link.index);
}

} // namespace

Node::Node(std::int32_t number, std::string name) : m_number(number), m_name(std::move(name))
{
    Find();
}

// What does not fit together is looked at again: the kernel may be giving the interface its place,
// or its name, at this moment.
void Node::Find()
{
    for (int tries = 0; tries < kFindTries; ++tries) {
        if (tries > 0)
            std::this_thread::sleep_for(kFindPause);
        m_found = EFound::eFailed;
        if (IsPort(m_name))
            FindByPort(PortOf(m_name));
        else
            FindByName();
        if (m_found != EFound::eFailed)
            return;
    }
}

void Node::FindByPort(const std::string& port)
{
    const UsbDevice device(port);
    const std::vector<UsbDevice::Network> networks = device.Networks();
    std::vector<NetworkLink> links;
    if (networks.empty())
        m_found = device.IsThere() ? EFound::eNoNetwork : EFound::eNoHardware;
    else if (m_netlink.ListLinks(links)) {
        const auto usable =
            std::find_if(networks.begin(), networks.end(), [](const UsbDevice::Network& network) {
                return network.hasUsbNetworkDriver;
            });
        for (const NetworkLink& link : links) {
            // Both must fit, as sysfs may show the interfaces of another network namespace.
            if (usable != networks.end() && link.index == usable->index &&
                link.name == usable->name)
                Take(link);
        }
    }
}

void Node::FindByName()
{
    std::vector<NetworkLink> links;
    if (!m_netlink.ListLinks(links))
        return;
    const std::string address = LowerCase(m_name); // no interface's name has a colon
    const auto isAnother = [&](const NetworkLink& link) {
        return link.name != m_name && link.hardwareAddress != address;
    };
    links.erase(std::remove_if(links.begin(), links.end(), isAnother), links.end());
    // What is stacked upon an interface may have its MAC address as well.
    const auto end = std::stable_partition(links.begin(), links.end(), HasUsbNetworkDriver);
    if (links.empty())
        m_found = EFound::eNoHardware;
    else if (end - links.begin() == 1)
        Take(links.front());
}

void Node::Take(const NetworkLink& link)
{
    m_found = EFound::eNetwork;
    m_index = link.index;
    m_isUp = link.isUp;
}

State Node::GetState()
{
    switch (m_found) {
    case EFound::eNoHardware:
    case EFound::eNoNetwork:
        return kDriverNotLoaded;
    case EFound::eNetwork:
        return !m_isUp ? kDisabled : HasAddressThatServes() ? kEnabled : kEnabledUnacceptable;
    default:
        return kError;
    }
}

Result Node::BringUp()
{
    if (m_found == EFound::eNoNetwork) {
        const UsbDevice device(PortOf(m_name));
        if (!device.MakeNetwork() && device.IsThere())
            return kDriverNotInstalled;
        Find();
    }
    return m_found == EFound::eNetwork      ? Enable()
           : m_found == EFound::eNoHardware ? kNoHardware
           : m_found == EFound::eNoNetwork  ? kDriverNotInstalled
                                            : kNotChanged;
}

Result Node::Enable()
{
    if (HasAddressThatServes())
        return m_netlink.SetUp(m_index, true) ? kOk : Refused();
    const std::optional<NetworkAddress> address = OwnAddressOf(m_number);
    if (!address)
        return kNotChanged;
    // The address comes first: what fails before the interface is up leaves no trace.
    if (!m_netlink.AddAddress(m_index, *address))
        return Refused();
    if (!m_netlink.SetUp(m_index, true)) {
        const Result result = Refused();
        m_netlink.RemoveAddress(m_index, *address);
        return result;
    }
    gAddedAddresses.emplace_back(m_index, *address);
    return kOk;
}

Result Node::TakeDown()
{
    if (m_found == EFound::eNoNetwork)
        return kOk; // without an interface nothing is up
    if (m_found != EFound::eNetwork)
        return m_found == EFound::eNoHardware ? kNoHardware : kNotChanged;
    if (!m_netlink.SetUp(m_index, false))
        return Refused();
    const auto isOurs = [&](const std::pair<int, NetworkAddress>& added) {
        return added.first == m_index;
    };
    for (const auto& added : gAddedAddresses) {
        // Somebody else may have removed it already.
        if (isOurs(added))
            m_netlink.RemoveAddress(m_index, added.second);
    }
    gAddedAddresses.erase(std::remove_if(gAddedAddresses.begin(), gAddedAddresses.end(), isOurs),
                          gAddedAddresses.end());
    return kOk;
}

bool Node::HasAddressThatServes()
{
    std::vector<NetworkAddress> addresses;
    return m_netlink.ListAddresses(m_index, addresses) &&
           std::any_of(addresses.begin(), addresses.end(), ReachesProcessor);
}

// What the kernel's refusal of a change means, right after it.
Result Node::Refused() const
{
    return errno == ENODEV ? kNoHardware : kNotChanged;
}
