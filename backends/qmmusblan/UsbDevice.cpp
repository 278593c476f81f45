#include "backends/qmmusblan/UsbDevice.h"

#include "backends/qmmusblan/Drivers.h"
#include "backends/qmmusblan/Settings.h"
#include "osdep/FileDescriptor.h"

#include <fcntl.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kNetworkLimit(5);
constexpr std::chrono::milliseconds kPause(20);

// The entries of a folder, sorted; none when it is not there, or goes while it is read.
std::vector<fs::path> EntriesOf(const fs::path& folder)
{
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        entries.push_back(entry->path());
    std::sort(entries.begin(), entries.end());
    return entries;
}

// Has the kernel look for a driver among those it has.
bool AskForDriver(const std::string& interface)
{
    const fs::path file = SystemRoot() / "sys/bus/usb/drivers_probe";
    const FileDescriptor probe(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    return probe && ::write(probe.get(), interface.data(), interface.size()) ==
                        static_cast<ssize_t>(interface.size());
}

} // namespace

UsbDevice::UsbDevice(const std::string& port) : m_port(port)
{
    // Nothing but a port: neither another folder nor one of a device's interfaces.
    constexpr char kDigits[] = "0123456789";
    const std::size_t bus = port.find_first_not_of(kDigits);
    if (bus != 0 && bus != std::string::npos && port[bus] == '-' &&
        port.find_first_not_of(std::string(kDigits) + '.', bus + 1) == std::string::npos)
        m_folder = SystemRoot() / "sys/bus/usb/devices" / port;
}

bool UsbDevice::IsThere() const
{
    std::error_code error;
    return !m_folder.empty() && fs::is_directory(m_folder, error) &&
           FirstLineOf(m_folder / "authorized") != "0";
}

std::vector<fs::path> UsbDevice::Interfaces() const
{
    std::vector<fs::path> interfaces;
    if (!IsThere())
        return interfaces;
    for (const fs::path& entry : EntriesOf(m_folder)) {
        if (entry.filename().string().rfind(m_port + ":", 0) == 0)
            interfaces.push_back(entry);
    }
    return interfaces;
}

std::vector<UsbDevice::Network> UsbDevice::Networks() const
{
    std::vector<Network> networks;
    for (const fs::path& interface : Interfaces()) {
        const bool isOurs = IsUsbNetworkDriver(DriverOf(interface));
        for (const fs::path& network : EntriesOf(interface / "net")) {
            if (const int index = std::atoi(FirstLineOf(network / "ifindex").c_str()); index > 0)
                networks.push_back({index, network.filename().string(), isOurs});
        }
    }
    return networks;
}

bool UsbDevice::MakeNetwork() const
{
    bool mayAppear = false;
    for (const fs::path& interface : Interfaces()) {
        const std::string driver = DriverOf(interface);
        // A driver that is at work already may not have come so far.
        if (IsUsbNetworkDriver(driver))
            mayAppear = true;
        if (driver.empty() && LoadUsbNetworkDriver(FirstLineOf(interface / "modalias")))
            mayAppear = AskForDriver(interface.filename().string()) || mayAppear;
        if (!Networks().empty())
            return true;
    }
    const auto end = Clock::now() + kNetworkLimit;
    while (mayAppear && Networks().empty() && IsThere() && Clock::now() < end)
        std::this_thread::sleep_for(kPause);
    return !Networks().empty();
}
