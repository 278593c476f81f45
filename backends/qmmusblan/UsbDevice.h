#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The device at one USB port, as sysfs shows it at the moment of each call. It may be unplugged at
// any time: then there is nothing.
class UsbDevice {
public:
    // port as in "1-1" or "1-4.2"; at anything else there is nothing.
    explicit UsbDevice(const std::string& port);

    // Plugged in and authorised.
    bool IsThere() const;

    // One of its network interfaces.
    struct Network {
        int index;
        std::string name;
        bool hasUsbNetworkDriver;
    };
    // In the order of the device's own interfaces.
    std::vector<Network> Networks() const;

    // Loads and binds the drivers that its interfaces lack, as far as they are LAN-over-USB
    // drivers, and waits for a network interface; false when none appears.
    bool MakeNetwork() const;

private:
    std::vector<std::filesystem::path> Interfaces() const;

    std::string m_port;
    std::filesystem::path m_folder;
};
