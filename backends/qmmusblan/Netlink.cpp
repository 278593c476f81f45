#include "backends/qmmusblan/Netlink.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <array>
#include <cerrno>
#include <cstdio>

// One message to the kernel, built in place.
struct Netlink::Request {
    Request(int type, int flags) : header(mnl_nlmsg_put_header(buffer.data()))
    {
        header->nlmsg_type = static_cast<std::uint16_t>(type);
        header->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    }

    template <typename Payload>
    Payload* Put()
    {
        return static_cast<Payload*>(mnl_nlmsg_put_extra_header(header, sizeof(Payload)));
    }

    alignas(nlmsghdr) std::array<char, 512> buffer;
    nlmsghdr* header;
};

namespace {

// A list that changed while it was read is read again, so often.
constexpr int kListTries = 5;

using Attributes = std::array<const nlattr*, 64>;

// The attributes behind the payload of a message, by type; null where there is none.
template <typename Payload>
Attributes AttributesOf(const nlmsghdr* message)
{
    Attributes attributes{};
    mnl_attr_parse(
        message, sizeof(Payload),
        [](const nlattr* attribute, void* user) {
            const std::size_t type = mnl_attr_get_type(attribute);
            Attributes& all = *static_cast<Attributes*>(user);
            if (type < all.size())
                all[type] = attribute;
            return MNL_CB_OK;
        },
        &attributes);
    return attributes;
}

// The address that an interface's device has of itself, or else the one that it was given.
std::string HardwareAddress(const Attributes& link)
{
    const nlattr* const attribute =
        link[IFLA_PERM_ADDRESS] != nullptr ? link[IFLA_PERM_ADDRESS] : link[IFLA_ADDRESS];
    if (attribute == nullptr || mnl_attr_get_payload_len(attribute) != 6)
        return {};
    const auto* bytes = static_cast<const unsigned char*>(mnl_attr_get_payload(attribute));
    char text[sizeof "aa:bb:cc:dd:ee:ff"];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                  bytes[3], bytes[4], bytes[5]);
    return text;
}

} // namespace

bool NetworkAddress::NetworkHolds(std::uint32_t other) const
{
    return prefixLength == 0 || (address ^ other) >> (32 - prefixLength) == 0;
}

Netlink::Netlink() : m_socket(Open()) {}

Netlink::~Netlink() = default;

Netlink::Socket Netlink::Open()
{
    Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC), &mnl_socket_close);
    if (socket != nullptr && mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) != 0)
        socket.reset();
    return socket;
}

// Sends a request and hands every message of the answer to visit.
bool Netlink::Exchange(Request& request, const Visitor& visit)
{
    if (m_socket == nullptr)
        return false;
    request.header->nlmsg_seq = ++m_sequence;
    if (mnl_socket_sendto(m_socket.get(), request.header, request.header->nlmsg_len) < 0)
        return false;
    const unsigned port = mnl_socket_get_portid(m_socket.get());
    std::vector<char> answer(32768); // what the kernel puts into one block of a list at most
    for (;;) {
        const ssize_t count = mnl_socket_recvfrom(m_socket.get(), answer.data(), answer.size());
        if (count < 0)
            return false;
        const int state = mnl_cb_run(
            answer.data(), static_cast<std::size_t>(count), m_sequence, port,
            [](const nlmsghdr* message, void* user) {
                const Visitor& call = *static_cast<const Visitor*>(user);
                if (call)
                    call(message);
                return MNL_CB_OK;
            },
            const_cast<Visitor*>(&visit));
        if (state <= MNL_CB_STOP)
            return state == MNL_CB_STOP;
    }
}

// Hands every entry of one of the kernel's lists to visit; begin is called before each try.
bool Netlink::List(int type, unsigned char family, const std::function<void()>& begin,
                   const Visitor& visit)
{
    for (int tries = 0; tries < kListTries; ++tries) {
        begin();
        Request request(type, NLM_F_DUMP);
        request.Put<rtgenmsg>()->rtgen_family = family;
        if (Exchange(request, visit))
            return true;
        if (errno != EINTR)
            return false;
        m_socket = Open(); // the rest of the old answer goes with the old socket
    }
    return false;
}

bool Netlink::ListLinks(std::vector<NetworkLink>& links)
{
    const auto add = [&](const void* message) {
        const auto* header = static_cast<const nlmsghdr*>(message);
        const auto* info = static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(header));
        const Attributes attributes = AttributesOf<ifinfomsg>(header);
        if (attributes[IFLA_IFNAME] != nullptr)
            links.push_back({info->ifi_index, mnl_attr_get_str(attributes[IFLA_IFNAME]),
                             HardwareAddress(attributes), (info->ifi_flags & IFF_UP) != 0});
    };
    return List(
        RTM_GETLINK, AF_UNSPEC, [&] { links.clear(); }, add);
}

bool Netlink::ListAddresses(int index, std::vector<NetworkAddress>& addresses)
{
    const auto add = [&](const void* message) {
        const auto* header = static_cast<const nlmsghdr*>(message);
        const auto* info = static_cast<const ifaddrmsg*>(mnl_nlmsg_get_payload(header));
        const Attributes attributes = AttributesOf<ifaddrmsg>(header);
        if (static_cast<int>(info->ifa_index) == index && attributes[IFA_LOCAL] != nullptr)
            addresses.push_back(
                {ntohl(mnl_attr_get_u32(attributes[IFA_LOCAL])), info->ifa_prefixlen});
    };
    return List(
        RTM_GETADDR, AF_INET, [&] { addresses.clear(); }, add);
}

bool Netlink::SetUp(int index, bool up)
{
    Request request(RTM_NEWLINK, NLM_F_ACK);
    auto* info = request.Put<ifinfomsg>();
    info->ifi_family = AF_UNSPEC;
    info->ifi_index = index;
    info->ifi_change = IFF_UP;
    info->ifi_flags = up ? IFF_UP : 0;
    return Exchange(request);
}

bool Netlink::AddAddress(int index, const NetworkAddress& address)
{
    return ChangeAddress(index, address, true);
}

bool Netlink::RemoveAddress(int index, const NetworkAddress& address)
{
    return ChangeAddress(index, address, false);
}

bool Netlink::ChangeAddress(int index, const NetworkAddress& address, bool add)
{
    Request request(add ? RTM_NEWADDR : RTM_DELADDR,
                    NLM_F_ACK | (add ? NLM_F_CREATE | NLM_F_EXCL : 0));
    auto* info = request.Put<ifaddrmsg>();
    info->ifa_family = AF_INET;
    info->ifa_prefixlen = static_cast<std::uint8_t>(address.prefixLength);
    info->ifa_scope = RT_SCOPE_LINK; // never a source address towards other networks
    info->ifa_index = static_cast<unsigned>(index);
    mnl_attr_put_u32(request.header, IFA_LOCAL, htonl(address.address));
    mnl_attr_put_u32(request.header, IFA_ADDRESS, htonl(address.address));
    return Exchange(request);
}
