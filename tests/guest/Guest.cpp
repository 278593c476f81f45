#include "tests/guest/Guest.h"

#include "platform/spdriver/SPLibrary.h"

#include <net/if.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>

namespace fs = std::filesystem;

namespace {

const std::string kUsbDevices = "/sys/bus/usb/devices/";

std::string Port(int node)
{
    return "1-" + std::to_string(node + 1);
}

void RestoreModules()
{
    Shell("for file in $(find /lib/modules -name *.ko.away); do mv $file ${file%.away}; done");
    Shell("modprobe ipmi_devintf; modprobe cdc_ether");
    if (!fs::exists("/sys/class/ipmi/ipmi0")) {
        // A node that the kernel has not made would keep it from making its own.
        ::unlink("/dev/ipmi0");
        // The driver looks for a BMC when it is loaded, and QEMU every second for a new one.
        ASSERT_TRUE(WaitUntil([] {
            Shell("rmmod ipmi_si; modprobe ipmi_si");
            return fs::exists("/dev/ipmi0");
        }));
    }
    ::chmod("/dev/ipmi0", 0600);
}

void RestoreDevices()
{
    if (fs::exists(kUsbDevices + "1-2"))
        Unplug(1);
    if (!fs::exists(kUsbDevices + "1-1"))
        Plug(0);
    Monitor("set_link lan0 on");
    const std::string device = kUsbDevices + "1-1/";
    if (ContentsOf(device + "authorized") != "1\n")
        Shell("echo 1 > " + device + "authorized");
    if (ContentsOf(device + "bConfigurationValue") != "1\n")
        Shell("echo 1 > " + device + "bConfigurationValue");
    if (InterfaceAt("1-1").empty())
        Shell("echo 1-1:1.0 > /sys/bus/usb/drivers_probe");
    ASSERT_TRUE(WaitUntil([] { return !InterfaceAt("1-1").empty(); }));
    const std::string name = InterfaceAt("1-1");
    Shell("ip link set " + name + " down; ip addr flush dev " + name);
    if (name != "usb0")
        Shell("ip link set " + name + " name usb0");
}

} // namespace

std::string AskHost(const std::string& words)
{
    const std::string answer = Shell("echo '" + words + "' | nc 10.0.2.100 19005");
    const std::size_t status = answer.rfind("status ");
    if (status == std::string::npos || answer.substr(status) != "status 0\n")
        ADD_FAILURE() << "the host to \"" << words << "\": " << answer;
    return answer.substr(0, std::min(status, answer.size()));
}

std::string Control(const std::string& words)
{
    return AskHost("control " + words);
}

std::string Monitor(const std::string& words)
{
    return AskHost("monitor " + words);
}

std::string Shell(const std::string& command)
{
    std::string output;
    std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "re");
    std::array<char, 1024> buffer;
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), count);
    const int status = ::pclose(pipe);
    EXPECT_EQ(status, 0) << command << ": " << output;
    return output;
}

std::vector<unsigned char> Exchange(unsigned char command)
{
    NORXVXA20::SPLibrary* const driver = NORXVXA20::SPLibrary::GetSplibraryInstance(0);
    std::array<unsigned char, 256> frame = {0x01, 0x20, 0x3a, 0, command, 1, 0, 0, 0, 0x01};
    int length = 10;
    if (driver == nullptr || !driver->sendIPMICommand(frame.data(), &length, frame.size(), true))
        return {};
    std::vector<unsigned char> answer = {frame[4]};
    answer.insert(answer.end(), frame.begin() + 9, frame.begin() + length);
    return answer;
}

std::string InterfaceAt(const std::string& port)
{
    std::error_code error;
    for (const fs::directory_entry& entry :
         fs::directory_iterator(kUsbDevices + port + ":1.0/net", error))
        return entry.path().filename();
    return {};
}

bool IsUp(const std::string& interface)
{
    const std::string flags = ContentsOf("/sys/class/net/" + interface + "/flags");
    return (std::strtoul(flags.c_str(), nullptr, 16) & IFF_UP) != 0;
}

std::string Settings(const std::string& interface)
{
    return ContentsOf("/sys/class/net/" + interface + "/flags") +
           Shell("ip -4 addr show dev " + interface + " | grep inet || true");
}

void Plug(int node)
{
    const std::string number = std::to_string(node);
    Monitor("device_add usb-net,id=node" + number + ",netdev=lan" + number +
            ",bus=usb.0,port=" + std::to_string(node + 1) + ",mac=52:54:00:70:00:0" + number);
    EXPECT_TRUE(WaitUntil([&] { return !InterfaceAt(Port(node)).empty(); })) << "node " << node;
}

void Unplug(int node)
{
    Monitor("device_del node" + std::to_string(node));
    EXPECT_TRUE(WaitUntil([&] { return !fs::exists(kUsbDevices + Port(node)); }))
        << "node " << node;
}

void Guest::SetUpTestSuite()
{
    if (!fs::exists("/etc/command")) {
        std::cerr << "this test needs simulators/virtual_server/guest.sh around it\n";
        std::exit(EXIT_FAILURE);
    }
}

void Guest::SetUp()
{
    AskHost("restore");
    ASSERT_NO_FATAL_FAILURE(RestoreModules());
    ASSERT_NO_FATAL_FAILURE(RestoreDevices());
    // Also after the BMC was away.
    ASSERT_TRUE(WaitUntil([] {
        const std::vector<unsigned char> answer = Exchange(kIsFinished);
        return !answer.empty() && answer[0] == 0;
    }));
    Control("ffdc reset");
}

std::unique_ptr<Program> Guest::Collect(std::vector<std::string> options,
                                        std::map<std::string, std::string> environment)
{
    std::vector<std::string> words = {"/bin/ffdc-collect", "service-processor", "--verbose",
                                      "--out", m_out};
    words.insert(words.end(), options.begin(), options.end());
    environment.emplace("VXA_USBLAN_INTERFACES", "usb:1-1");
    for (const char* name : {"stdout", "stderr"})
        fs::remove(m_scratch / name);
    return std::make_unique<Program>(words, environment, m_scratch.Path());
}
