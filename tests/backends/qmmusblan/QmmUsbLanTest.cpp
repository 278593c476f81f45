#include "platform/qmmusblan/QmmUsbLan.h"
#include "BuildValues.h"
#include "osdep/DynamicLibrary.h"

#include <gmock/gmock.h>

#include <net/if.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

using testing::HasSubstr;
using testing::Not;

namespace {

namespace fs = std::filesystem;

// Addresses relative to the service processor's, which is chosen when the library is configured.
std::string Neighbour(int last)
{
    const std::string processor = UTILS_INBAND_ADDRESS;
    return processor.substr(0, processor.rfind('.') + 1) + std::to_string(last);
}

std::string OutputOf(const std::string& command)
{
    std::string output;
    FILE* const pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr)
        return output;
    char block[4096];
    while (const std::size_t count = std::fread(block, 1, sizeof block, pipe))
        output.append(block, count);
    ::pclose(pipe);
    return output;
}

bool Shell(const std::string& command)
{
    return std::system(command.c_str()) == 0;
}

void WriteFile(const fs::path& path, const std::string& text)
{
    if (path.has_parent_path())
        fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

std::string ReadFile(const fs::path& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What a CDC Ethernet device shows, and how the kernel's table of aliases leads to its driver.
constexpr char kAlias[] = "usb:v0525pA4A2d0000dc02dsc00dp00ic02isc06ip00in00";
constexpr char kAliasLine[] = "alias usb:v*p*d*dc*dsc*dp*ic02isc06ip00in* cdc_ether\n";

// Puts this process into a network namespace of its own; an ordinary user needs one for users, too.
bool EnterNetworkNamespace()
{
    if (::unshare(CLONE_NEWNET) == 0)
        return true;
    const std::string user = std::to_string(::getuid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return false;
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", "0 " + user + " 1");
    return true;
}

// Two interfaces as the kernel shows those of a USB network device, and a foreign network card, in
// a namespace that ends with the process. Their drivers and their USB ports, the kernel's modprobe
// and its table of aliases stand in a tree of the test's own.
class QmmUsbLanTest : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        sEntered = EnterNetworkNamespace();
        sHasLinks = sEntered && Shell("ip link add usb0 type veth peer name far0 2> /dev/null");
        Shell("ip link del usb0 2> /dev/null");
    }

    void SetUp() override
    {
        if (!sEntered)
            GTEST_SKIP() << "network namespaces are refused here";
        if (!sHasLinks)
            GTEST_SKIP() << "this kernel makes no virtual links here";
        char folder[] = "/tmp/qmmusblan-test-XXXXXX";
        ASSERT_NE(::mkdtemp(folder), nullptr);
        m_root = folder;
        m_sysfs = m_root / "sys";
        m_device = m_sysfs / "bus/usb/devices/1-1";
        m_interface = m_device / "1-1:1.0";
        ::setenv("VXA_USBLAN_ROOT", folder, 1);
        ::unsetenv("VXA_USBLAN_ADDRESS");
        Name("usb0,usb1");
        for (const char* number : {"0", "1"})
            ASSERT_TRUE(Shell(std::string("ip link add usb") + number + " type veth peer name far" +
                              number));
        ASSERT_TRUE(Shell("ip link add eth0 type veth peer name switch0 && ip link set eth0 up && "
                          "ip addr add 192.0.2.7/24 dev eth0"));
        SetDriver("usb0", "cdc_ether");
        SetDriver("usb1", "rndis_host");
        SetDriver("eth0", "e1000e");
        Plug("1-1", "usb0", "cdc_ether");
        Plug("1-2", "usb1", "rndis_host");
        WriteFile(m_sysfs / "bus/usb/drivers_probe", "");
        m_library = LoadDynamicLibrary(qmmusblan::kLibraryName);
        ASSERT_NE(m_library, nullptr);
    }

    void TearDown() override
    {
        if (m_library != nullptr)
            UnloadDynamicLibrary(m_library);
        if (!m_root.empty())
            fs::remove_all(m_root);
        for (const char* link : {"usb0", "usb1", "eth0"})
            Shell(std::string("ip link del ") + link + " 2> /dev/null");
    }

    static void Name(const char* interfaces) { ::setenv("VXA_USBLAN_INTERFACES", interfaces, 1); }

    // How the interface's own folder shows it.
    void SetDriver(const std::string& link, const std::string& driver)
    {
        const fs::path folder = m_sysfs / "class/net" / link;
        WriteFile(folder / "ifindex", IndexOf(link));
        Bind(folder / "device", driver);
    }

    // How the device at a port shows it.
    void Plug(const std::string& port, const std::string& link, const std::string& driver)
    {
        const fs::path device = m_sysfs / "bus/usb/devices" / port;
        const fs::path interface = device / (port + ":1.0");
        WriteFile(device / "authorized", "1\n");
        WriteFile(interface / "modalias", std::string(kAlias) + "\n");
        fs::remove_all(interface / "net");
        WriteFile(interface / "net" / link / "ifindex", IndexOf(link));
        Bind(interface, driver);
    }

    static void Bind(const fs::path& device, const std::string& driver)
    {
        fs::create_directories(device);
        fs::remove(device / "driver");
        fs::create_symlink("../../../../bus/usb/drivers/" + driver, device / "driver");
    }

    static std::string IndexOf(const std::string& link)
    {
        return std::to_string(::if_nametoindex(link.c_str())) + "\n";
    }

    // Takes the driver from the device at port 1-1, and with it the interface usb0.
    void Unbind()
    {
        fs::remove_all(m_interface / "net");
        fs::remove(m_interface / "driver");
        Ip("link del usb0");
    }

    // What the kernel's program is and does, after it has kept its arguments, and the aliases.
    void SetModprobe(const std::string& does, const std::string& aliases = kAliasLine)
    {
        const fs::path program = m_root / "mod probe";
        WriteFile(program,
                  "#!/bin/sh\necho \"$@\" >> '" + (m_root / "ran").string() + "'\n" + does + "\n");
        fs::permissions(program, fs::perms::owner_all);
        WriteFile(m_root / "proc/sys/kernel/modprobe", program.string() + "\n");
        utsname kernel{};
        ::uname(&kernel);
        WriteFile(m_root / "lib/modules" / kernel.release / "modules.alias",
                  "# Aliases\nalias usb:v0525pA4A3* elsewhere\n" + aliases);
    }

    static void Ip(const std::string& arguments) { ASSERT_TRUE(Shell("ip " + arguments)); }

    // Everything of an interface that can be changed; the queue's name changes by itself.
    static std::string Look(const std::string& link)
    {
        return OutputOf("ip -o addr show dev " + link + "; ip -o link show dev " + link +
                        " | sed 's/ qdisc [a-z_]*//'");
    }

    int Nodes() { return FindLibraryFunction<qmmusblan::GetNodes>(m_library, "GetNodes")(); }
    int Call(const char* name, int node)
    {
        return FindLibraryFunction<qmmusblan::NodeFunction>(m_library, name)(node);
    }
    int State(int node) { return Call("QueryQmmLanState", node); }
    int BringUp(int node) { return Call("BringupQmmLan", node); }
    int TakeDown(int node) { return Call("DisableQmmLan", node); }

    static bool sEntered;
    static bool sHasLinks;
    fs::path m_root;
    fs::path m_sysfs;
    fs::path m_device;    // the one at port 1-1
    fs::path m_interface; // and its USB interface
    void* m_library = nullptr;
};

bool QmmUsbLanTest::sEntered = false;
bool QmmUsbLanTest::sHasLinks = false;

TEST_F(QmmUsbLanTest, OnlyNamedInterfacesAreNodes)
{
    EXPECT_EQ(Nodes(), 2);
    Name(" usb1 , ,usb0,gone,");
    EXPECT_EQ(Nodes(), 3);
    Ip("link set usb1 up");
    EXPECT_EQ(State(0), 3);
    EXPECT_EQ(State(1), 2);
    EXPECT_EQ(State(2), 4);
    for (const char* none : {"", " , "}) {
        Name(none);
        EXPECT_EQ(Nodes(), 0);
        EXPECT_EQ(BringUp(0), 176);
    }
    ::unsetenv("VXA_USBLAN_INTERFACES");
    EXPECT_EQ(Nodes(), 0);
    EXPECT_EQ(TakeDown(0), 176);
    EXPECT_EQ(State(0), 5);
}

TEST_F(QmmUsbLanTest, StateIsTheFlagAndTheAddress)
{
    EXPECT_EQ(State(0), 2);
    Ip("addr add " + Neighbour(9) + "/24 dev usb0");
    EXPECT_EQ(State(0), 2);
    Ip("link set usb0 up");
    EXPECT_EQ(State(0), 1);
    struct Case {
        std::string address;
        int state;
    };
    const Case cases[] = {
        {"192.0.2.5/24", 3},
        {Neighbour(9) + "/16", 1},
        {Neighbour(9) + "/32", 3},
        {Neighbour(200) + "/25", 3}, // the other half of the network
        {UTILS_INBAND_ADDRESS "/24", 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.address);
        Ip("addr flush dev usb0");
        EXPECT_EQ(State(0), 3);
        Ip("addr add " + c.address + " dev usb0");
        EXPECT_EQ(State(0), c.state);
    }
}

TEST_F(QmmUsbLanTest, BringUpAddsAnAddressWhereNoneServes)
{
    EXPECT_EQ(BringUp(0), 0);
    EXPECT_EQ(State(0), 1);
    EXPECT_THAT(Look("usb0"), HasSubstr("inet " + Neighbour(2) + "/24 "));
    Ip("addr add 192.0.2.5/24 dev usb1");
    EXPECT_EQ(BringUp(1), 0);
    EXPECT_EQ(State(1), 1);
    EXPECT_THAT(Look("usb1"), HasSubstr("inet 192.0.2.5/24 "));
    EXPECT_THAT(Look("usb1"), HasSubstr("inet " + Neighbour(3) + "/24 "));
}

TEST_F(QmmUsbLanTest, TakeDownRemovesOnlyWhatBringUpAdded)
{
    Ip("addr add 192.0.2.5/24 dev usb0");
    Ip("addr add " + Neighbour(9) + "/24 dev usb1");
    const std::string before[] = {Look("usb0"), Look("usb1")};
    for (const int node : {0, 1}) {
        EXPECT_EQ(BringUp(node), 0);
        EXPECT_EQ(BringUp(node), 0) << "what is up already stays so";
        EXPECT_EQ(State(node), 1);
        EXPECT_EQ(TakeDown(node), 0);
        EXPECT_EQ(State(node), 2);
    }
    EXPECT_THAT(Look("usb1"), Not(HasSubstr(Neighbour(3) + "/")));
    EXPECT_EQ(Look("usb0"), before[0]);
    EXPECT_EQ(Look("usb1"), before[1]);
}

TEST_F(QmmUsbLanTest, InterfaceOfAnotherKindIsNeverTouched)
{
    Name("eth0,usb0");
    const std::string before = Look("eth0");
    EXPECT_EQ(State(0), 5);
    EXPECT_EQ(BringUp(0), 177);
    EXPECT_EQ(TakeDown(0), 177);
    EXPECT_EQ(Look("eth0"), before);
    Ip("link set eth0 down");
    const std::string down = Look("eth0");
    EXPECT_EQ(BringUp(0), 177);
    EXPECT_EQ(Look("eth0"), down);
    // Nor one that has only taken over the name.
    WriteFile(m_sysfs / "class/net/usb0/ifindex", IndexOf("usb1"));
    EXPECT_EQ(State(1), 5);
    // Nor one that has no driver at all.
    fs::remove_all(m_sysfs / "class/net/usb0");
    EXPECT_EQ(State(1), 5);
    EXPECT_EQ(BringUp(1), 177);
    EXPECT_EQ(TakeDown(1), 177);
}

TEST_F(QmmUsbLanTest, MissingInterfacesAndRefusalsHaveTheirCodes)
{
    for (const int node : {-1, 2}) {
        EXPECT_EQ(BringUp(node), 176);
        EXPECT_EQ(TakeDown(node), 176);
        EXPECT_EQ(State(node), 5);
    }
    EXPECT_EQ(BringUp(0), 0);
    Ip("link del usb0"); // unplugged
    EXPECT_EQ(State(0), 4);
    EXPECT_EQ(BringUp(0), 171);
    EXPECT_EQ(TakeDown(0), 171);
    Name("../usb1,a-name-that-no-interface-can-have,usb:../1-2,usb:1-2:1.0,usb:,00:11:22");
    for (int node = 0; node < Nodes(); ++node) {
        EXPECT_EQ(State(node), 4);
        EXPECT_EQ(BringUp(node), 171);
        EXPECT_EQ(TakeDown(node), 171);
    }
}

TEST_F(QmmUsbLanTest, AnAddressOfTwoInterfacesIsNobodys)
{
    const std::string shared = "02:aa:00:00:00:01";
    Ip("link set usb0 address " + shared);
    // A network card's, or that of something stacked upon the node: the node is still known.
    Ip("link set eth0 address " + shared);
    Name(shared.c_str());
    const std::string before = Look("eth0");
    EXPECT_EQ(BringUp(0), 0);
    EXPECT_EQ(State(0), 1);
    EXPECT_EQ(TakeDown(0), 0);
    EXPECT_EQ(Look("eth0"), before);
    Ip("link set usb1 address " + shared);
    EXPECT_EQ(State(0), 5);
    EXPECT_EQ(BringUp(0), 177);
    EXPECT_EQ(TakeDown(0), 177);
    EXPECT_EQ(Look("usb1").find("inet "), std::string::npos);
}

TEST_F(QmmUsbLanTest, PortSaysWhetherADeviceIsThere)
{
    Name("usb:1-1,usb:1-2,usb:1-3");
    struct Case {
        int node;
        int state;
        int result;
    };
    WriteFile(m_device / "authorized", "0\n");
    Bind(m_sysfs / "bus/usb/devices/1-2/1-2:1.0", "cdc_mbim");
    const std::string before[] = {Look("usb0"), Look("usb1")};
    for (const Case& c : {Case{0, 4, 171}, Case{1, 5, 177}, Case{2, 4, 171}}) {
        SCOPED_TRACE(c.node);
        EXPECT_EQ(State(c.node), c.state);
        EXPECT_EQ(BringUp(c.node), c.result);
        EXPECT_EQ(TakeDown(c.node), c.result);
    }
    // The interface of this name is another one than the device's.
    Plug("1-1", "usb0", "cdc_ether");
    WriteFile(m_interface / "net/usb0/ifindex", IndexOf("usb1"));
    EXPECT_EQ(State(0), 5);
    EXPECT_EQ(BringUp(0), 177);
    EXPECT_EQ(Look("usb0"), before[0]);
    EXPECT_EQ(Look("usb1"), before[1]);
}

TEST_F(QmmUsbLanTest, BringUpLoadsTheDriverThatADeviceLacks)
{
    Name("usb:1-1");
    Unbind();
    // The second interface belongs to the first one's driver, once that is there.
    WriteFile(m_device / "1-1:1.1/modalias", std::string(kAlias) + "\n");
    const std::string net = (m_interface / "net/usb0").string();
    SetModprobe("ip link add usb0 type veth peer name far0; mkdir -p '" + net +
                "'; ip -o link show dev usb0 | cut -d: -f1 > '" + net +
                "/ifindex'; ln -s ../../drivers/cdc_ether '" + m_interface.string() + "/driver'");
    EXPECT_EQ(State(0), 4);
    EXPECT_EQ(TakeDown(0), 0) << "nothing is up";
    EXPECT_EQ(State(0), 4);
    EXPECT_EQ(BringUp(0), 0);
    EXPECT_EQ(State(0), 1);
    EXPECT_EQ(ReadFile(m_root / "ran"), std::string("-q -- ") + kAlias + "\n");
    EXPECT_EQ(ReadFile(m_sysfs / "bus/usb/drivers_probe"), "1-1:1.0");
    EXPECT_EQ(TakeDown(0), 0);
    EXPECT_EQ(State(0), 2);
    EXPECT_THAT(Look("usb0"), Not(HasSubstr("inet ")));
}

TEST_F(QmmUsbLanTest, OnlyKnownDriversAreLoaded)
{
    Name("usb:1-1");
    Unbind();
    const std::string cases[] = {
        "",
        "alias usb:v*p*d*dc*dsc*dp*ic02isc06ip00in* usb_storage\n",
        std::string(kAliasLine) + "alias usb:v0525pA4A2d* elsewhere\n",
    };
    for (const std::string& aliases : cases) {
        SCOPED_TRACE(aliases);
        SetModprobe("", aliases);
        EXPECT_EQ(BringUp(0), 172);
    }
    // Nor with a program that the kernel does not have.
    SetModprobe("");
    for (const char* program : {"", "modprobe", "/nowhere/modprobe"}) {
        SCOPED_TRACE(program);
        WriteFile(m_root / "proc/sys/kernel/modprobe", program);
        EXPECT_EQ(BringUp(0), 172);
    }
    EXPECT_FALSE(fs::exists(m_root / "ran"));
    EXPECT_EQ(ReadFile(m_sysfs / "bus/usb/drivers_probe"), "");
    EXPECT_EQ(State(0), 4);
}

TEST_F(QmmUsbLanTest, DriverThatMakesNoInterfaceIsSaid)
{
    Name("usb:1-1");
    Unbind();
    SetModprobe("echo cannot insert");
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(BringUp(0), 172);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "cannot insert\n");
    // Unplugged meanwhile.
    SetModprobe("rm -r '" + m_device.string() + "'");
    EXPECT_EQ(BringUp(0), 171);
    EXPECT_EQ(BringUp(0), 171);
}

TEST_F(QmmUsbLanTest, AddressToAddCanBeNamed)
{
    struct Case {
        std::string named;
        std::string added[2]; // empty: none serves
    };
    const Case cases[] = {
        {Neighbour(50) + "/24", {Neighbour(50) + "/24", Neighbour(51) + "/24"}},
        {" " + Neighbour(254) + " ", {Neighbour(254) + "/24", Neighbour(2) + "/24"}},
        {Neighbour(6) + "/29", {Neighbour(6) + "/29", Neighbour(2) + "/29"}},
        {UTILS_INBAND_ADDRESS "/24", {}},
        {Neighbour(255) + "/24", {}},
        {Neighbour(0) + "/24", {}},
        {Neighbour(2) + "/32", {}},
        {Neighbour(2) + "/0", {}},
        {Neighbour(2) + "/24x", {}},
        {"192.0.2.5/24", {}},
        {"usb0", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.named);
        ::setenv("VXA_USBLAN_ADDRESS", c.named.c_str(), 1);
        for (const int node : {0, 1}) {
            const std::string link = "usb" + std::to_string(node);
            const std::string before = Look(link);
            testing::internal::CaptureStderr();
            EXPECT_EQ(BringUp(node), c.added[node].empty() ? 177 : 0);
            const std::string said = testing::internal::GetCapturedStderr();
            if (c.added[node].empty()) {
                EXPECT_THAT(said, HasSubstr("VXA_USBLAN_ADDRESS: " + c.named + " "));
                EXPECT_EQ(Look(link), before);
            } else {
                EXPECT_THAT(Look(link), HasSubstr("inet " + c.added[node] + " "));
                EXPECT_EQ(TakeDown(node), 0);
            }
        }
    }
}

TEST_F(QmmUsbLanTest, WhatWasAddedIsKnownAsLongAsTheProcessLives)
{
    const std::string before = Look("usb0");
    EXPECT_EQ(BringUp(0), 0);
    UnloadDynamicLibrary(m_library);
    m_library = LoadDynamicLibrary(qmmusblan::kLibraryName);
    ASSERT_NE(m_library, nullptr);
    EXPECT_EQ(TakeDown(0), 0);
    EXPECT_EQ(Look("usb0"), before);
}

} // namespace
