#pragma once

#include "backends/qmmusblan/Netlink.h"
#include "platform/qmmusblan/QmmUsbLan.h"

#include <cstdint>
#include <string>

// One node's interface as it was found when this was made, from then on worked on by its index: an
// interface that goes meanwhile is not mistaken for another one.
class Node {
public:
    // name is an interface's name, its MAC address, or "usb:" and a port.
    Node(std::int32_t number, std::string name);

    qmmusblan::State GetState();
    // Changes nothing when it fails; a driver that was loaded stays.
    qmmusblan::Result BringUp();
    // Removes the addresses, too, that bringing up has added in this process.
    qmmusblan::Result TakeDown();

private:
    enum class EFound {
        eFailed, // or an interface of another kind
        eNoHardware,
        eNoNetwork, // a device at the port, but no driver that makes an interface of it
        eNetwork,
    };
    void Find();
    void FindByPort(const std::string& port);
    void FindByName();
    void Take(const NetworkLink& link);
    bool HasAddressThatServes();
    qmmusblan::Result Enable();
    qmmusblan::Result Refused() const;

    const std::int32_t m_number;
    const std::string m_name;
    Netlink m_netlink;
    EFound m_found = EFound::eFailed;
    int m_index = 0;
    bool m_isUp = false;
};
