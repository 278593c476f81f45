#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct mnl_socket;

// The kernel's network interfaces and their IPv4 addresses, over rtnetlink.

struct NetworkLink {
    int index = 0;
    std::string name;
    std::string hardwareAddress; // as in "aa:bb:cc:dd:ee:ff"; empty when it has none of this form
    bool isUp = false; // the administrative flag; the operational state stays "unknown" on USB
};

struct NetworkAddress {
    std::uint32_t address = 0; // host byte order
    unsigned prefixLength = 0;

    // Whether other lies in the network of this address.
    bool NetworkHolds(std::uint32_t other) const;
};

// A conversation with the kernel. Every operation returns false when the kernel refused or could
// not be asked, with the reason in errno; what it changes is looked up by index, never by name.
class Netlink {
public:
    Netlink();
    ~Netlink();
    Netlink(const Netlink&) = delete;
    Netlink& operator=(const Netlink&) = delete;

    bool ListLinks(std::vector<NetworkLink>& links);
    bool ListAddresses(int index, std::vector<NetworkAddress>& addresses);
    bool SetUp(int index, bool up);
    bool AddAddress(int index, const NetworkAddress& address);
    bool RemoveAddress(int index, const NetworkAddress& address);

private:
    struct Request;
    using Visitor = std::function<void(const void* message)>;
    using Socket = std::unique_ptr<mnl_socket, int (*)(mnl_socket*)>;
    static Socket Open();
    bool Exchange(Request& request, const Visitor& visit = {});
    bool List(int type, unsigned char family, const std::function<void()>& begin,
              const Visitor& visit);
    bool ChangeAddress(int index, const NetworkAddress& address, bool add);

    Socket m_socket;
    unsigned m_sequence = 0;
};
