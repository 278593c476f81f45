#pragma once

#include "tests/support/Program.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

// The virtual server in which these tests run as root, and the host around it.

// Asks the host, in the words of simulators/virtual_server/host.sh; its answer without the last
// line. A refusal is a failure of the test.
std::string AskHost(const std::string& words);
// service_processor/control.sh and QEMU's monitor on the host.
std::string Control(const std::string& words);
std::string Monitor(const std::string& words);

// A shell command in the server; its output. A status other than 0 is a failure of the test.
std::string Shell(const std::string& command);

// One exchange with the service processor through the driver: completion code and data; empty when
// the command could not be sent or there is no driver.
std::vector<unsigned char> Exchange(unsigned char command);
constexpr unsigned char kCollect = 0x49;
constexpr unsigned char kIsFinished = 0x4d;
constexpr unsigned char kGetCredential = 0x79;

// Name of the network interface of the USB device at a port ("1-1"); empty when it has none.
std::string InterfaceAt(const std::string& port);
bool IsUp(const std::string& interface);
// Flags and addresses, for comparison.
std::string Settings(const std::string& interface);

// Plugs in the service processor's device (node 0, port 1-1) or another one of its kind (node 1,
// port 1-2), and waits for its interface, which is down and has no address.
void Plug(int node);
// Returns when the device is gone.
void Unplug(int node);

// Each test finds: device 0 plugged in as usb0, bound to cdc_ether, down, without an address; no
// device 1; drivers and their files in place; /dev/ipmi0 for root; the service processor's servers
// as after their start, its collection finished at the first look, and no file served.
class Guest : public testing::Test {
protected:
    static void SetUpTestSuite();
    void SetUp() override;

    // Starts the collector on the service processor, with device 0 as its node.
    std::unique_ptr<Program> Collect(std::vector<std::string> options = {},
                                     std::map<std::string, std::string> environment = {});

    const TemporaryDirectory m_scratch;
    std::string m_out = m_scratch / "out";
};
