#include "platform/qmmusblan/QmmUsbLan.h"
#include "BuildValues.h"
#include "osdep/DynamicLibrary.h"
#include "tests/support/Host.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Variable.h"

#include <gmock/gmock.h>

#include <net/if.h>
#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <chrono>
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

bool Shell(const std::string& command)
{
    return RunOnHost(command).status == 0;
}

void WriteFile(const fs::path& path, const std::string& text)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
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

// Two interfaces as the kernel shows those of a USB network device in a folder that stands for its
// own; the other end of each, far0 and far1, is an interface of another kind.
class QmmUsbLanTest : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        sHasLinks =
            EnterNetworkNamespace() && Shell("ip link add usb0 type veth && ip link del usb0");
    }

    void SetUp() override
    {
        if (!sHasLinks)
            GTEST_SKIP() << "network namespaces or virtual links are refused here";
        SetVariable("VXA_USBLAN_ROOT", m_root.Path());
        ClearVariable("VXA_USBLAN_ADDRESS");
        Name("usb0,usb1");
        Plug("0", "cdc_ether");
        Plug("1", "rndis_host");
        WriteFile(m_sysfs / "bus/usb/drivers_probe", "");
        m_library = LoadDynamicLibrary(qmmusblan::kLibraryName);
        ASSERT_NE(m_library, nullptr);
    }

    void TearDown() override
    {
        if (m_library != nullptr)
            UnloadDynamicLibrary(m_library);
        Shell("ip link del usb0; ip link del usb1");
    }

    static void Name(const std::string& nodes) { SetVariable("VXA_USBLAN_INTERFACES", nodes); }

    // Makes an interface and its device, at the port of the next number.
    void Plug(const std::string& number, const std::string& driver)
    {
        const std::string link = "usb" + number;
        Ip("link add " + link + " type veth peer name far" + number);
        const fs::path device = DeviceAt(number == "0" ? "1-1" : "1-2");
        WriteFile(m_sysfs / "class/net" / link / "ifindex", IndexOf(link));
        WriteFile(device / "modalias", std::string(kAlias) + "\n");
        WriteFile(device / "net" / link / "ifindex", IndexOf(link));
        Bind(m_sysfs / "class/net" / link / "device", driver);
        Bind(device, driver);
    }

    // The only USB interface of the device at a port.
    fs::path DeviceAt(const std::string& port) const
    {
        return m_sysfs / "bus/usb/devices" / port / (port + ":1.0");
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

    // Names the device at port 1-1, and takes its driver from it and with that the interface usb0.
    void Unbind()
    {
        Name("usb:1-1");
        fs::remove_all(DeviceAt("1-1") / "net");
        fs::remove(DeviceAt("1-1") / "driver");
        Ip("link del usb0");
    }

    // What the kernel's program is and does, after it has left a mark, and the aliases.
    void SetModprobe(const std::string& does, const std::string& aliases = kAliasLine)
    {
        const fs::path program = m_root / "mod probe";
        WriteFile(program, "#!/bin/sh\ntouch '" + m_root / "ran" + "'\n" + does + "\n");
        fs::permissions(program, fs::perms::owner_all);
        WriteFile(m_root / "proc/sys/kernel/modprobe", program.string() + "\n");
        utsname kernel{};
        ::uname(&kernel);
        WriteFile(m_root / "lib/modules/" + kernel.release + "/modules.alias",
                  "# Aliases\nalias usb:v0525pA4A3* elsewhere\n" + aliases);
    }

    static void Ip(const std::string& arguments) { ASSERT_TRUE(Shell("ip " + arguments)); }

    // Everything of an interface that can be changed; the queue's name changes by itself.
    static std::string Look(const std::string& link)
    {
        return RunOnHost("ip -o addr show dev " + link + "; ip -o link show dev " + link +
                         " | sed 's/ qdisc [a-z_]*//'")
            .output;
    }

    int Nodes() { return FindLibraryFunction<qmmusblan::GetNodes>(m_library, "GetNodes")(); }
    int Call(const char* name, int node)
    {
        return FindLibraryFunction<qmmusblan::NodeFunction>(m_library, name)(node);
    }
    int State(int node) { return Call("QueryQmmLanState", node); }
    int BringUp(int node) { return Call("BringupQmmLan", node); }
    int TakeDown(int node) { return Call("DisableQmmLan", node); }

    static bool sHasLinks;
    const TemporaryDirectory m_root;
    const fs::path m_sysfs = m_root / "sys";
    void* m_library = nullptr;
};

bool QmmUsbLanTest::sHasLinks = false;

TEST_F(QmmUsbLanTest, OnlyNamedInterfacesAreNodes)
{
    EXPECT_EQ(Nodes(), 2);
    Name(" usb1 , ,usb0,gone,../usb1,usb:../1-2,usb:1-2:1.0,usb:,00:11:22,");
    EXPECT_EQ(Nodes(), 8);
    Ip("link set usb1 up");
    EXPECT_EQ(State(0), 3);
    EXPECT_EQ(State(1), 2);
    for (int node = 2; node < 8; ++node) {
        SCOPED_TRACE(node);
        EXPECT_EQ(State(node), 4);
        EXPECT_EQ(BringUp(node), 171);
        EXPECT_EQ(TakeDown(node), 171);
    }
    for (const int node : {-1, 8}) {
        EXPECT_EQ(State(node), 5);
        EXPECT_EQ(BringUp(node), 176);
        EXPECT_EQ(TakeDown(node), 176);
    }
    Name(" , ");
    EXPECT_EQ(Nodes(), 0);
}

TEST_F(QmmUsbLanTest, StateIsTheFlagAndTheAddress)
{
    Ip("addr add " + Neighbour(9) + "/24 dev usb0");
    EXPECT_EQ(State(0), 2);
    Ip("link set usb0 up");
    EXPECT_EQ(State(0), 1);
    const std::pair<std::string, int> cases[] = {
        {"192.0.2.5/24", 3},
        {Neighbour(9) + "/16", 1},
        {Neighbour(9) + "/32", 3},
        {Neighbour(200) + "/25", 3}, // the other half of the network
        {UTILS_INBAND_ADDRESS "/24", 3},
    };
    for (const auto& [address, state] : cases) {
        SCOPED_TRACE(address);
        Ip("addr flush dev usb0");
        EXPECT_EQ(State(0), 3);
        Ip("addr add " + address + " dev usb0");
        EXPECT_EQ(State(0), state);
    }
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
    }
    EXPECT_THAT(Look("usb0"), HasSubstr("inet " + Neighbour(2) + "/24 "));
    EXPECT_THAT(Look("usb1"), Not(HasSubstr(Neighbour(3) + "/")));
    // What was added is known as long as the process lives.
    UnloadDynamicLibrary(m_library);
    m_library = LoadDynamicLibrary(qmmusblan::kLibraryName);
    ASSERT_NE(m_library, nullptr);
    for (const int node : {0, 1}) {
        EXPECT_EQ(TakeDown(node), 0);
        EXPECT_EQ(State(node), 2);
        EXPECT_EQ(Look("usb" + std::to_string(node)), before[node]);
    }
}

TEST_F(QmmUsbLanTest, InterfaceOfAnotherKindIsNeverTouched)
{
    // Without such a driver; only with the name of another one, there and at its port; of a device
    // with another driver.
    Name("far0,usb0,usb:1-1,usb:1-2");
    WriteFile(m_sysfs / "class/net/usb0/ifindex", IndexOf("usb1"));
    WriteFile(DeviceAt("1-1") / "net/usb0/ifindex", IndexOf("usb1"));
    Bind(DeviceAt("1-2"), "cdc_mbim");
    const char* const links[] = {"far0", "usb0", "usb1"};
    std::string before;
    for (const char* link : links)
        before += Look(link);
    for (int node = 0; node < 4; ++node) {
        SCOPED_TRACE(node);
        EXPECT_EQ(State(node), 5);
        EXPECT_EQ(BringUp(node), 177);
        EXPECT_EQ(TakeDown(node), 177);
    }
    std::string after;
    for (const char* link : links)
        after += Look(link);
    EXPECT_EQ(after, before);
}

TEST_F(QmmUsbLanTest, AnAddressOfTwoInterfacesIsNobodys)
{
    const std::string shared = "02:aa:00:00:00:01";
    Ip("link set usb0 address " + shared);
    // A network card's, or that of something stacked upon the node: the node is still known.
    Ip("link set far1 address " + shared);
    Name(shared);
    const std::string before = Look("far1");
    EXPECT_EQ(BringUp(0), 0);
    EXPECT_EQ(State(0), 1);
    EXPECT_EQ(TakeDown(0), 0);
    EXPECT_EQ(Look("far1"), before);
    Ip("link set usb1 address " + shared);
    EXPECT_EQ(State(0), 5);
    EXPECT_EQ(BringUp(0), 177);
    EXPECT_EQ(TakeDown(0), 177);
    EXPECT_THAT(Look("usb1"), Not(HasSubstr("inet ")));
}

TEST_F(QmmUsbLanTest, OnlyKnownDriversAreLoaded)
{
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
    for (const char* program : {"", "modprobe"}) {
        SCOPED_TRACE(program);
        WriteFile(m_root / "proc/sys/kernel/modprobe", program);
        EXPECT_EQ(BringUp(0), 172);
    }
    EXPECT_FALSE(fs::exists(m_root / "ran"));
    EXPECT_EQ(State(0), 4);
}

TEST_F(QmmUsbLanTest, DriverThatMakesNoInterfaceIsWaitedForAndSaid)
{
    Unbind();
    SetModprobe("echo cannot insert");
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(BringUp(0), 172);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "cannot insert\n");
    EXPECT_EQ(ContentsOf(m_sysfs / "bus/usb/drivers_probe"), "1-1:1.0");
    // Unplugged meanwhile.
    SetModprobe("rm -r '" + m_root.Path() + "/sys/bus/usb/devices/1-1'");
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
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.named);
        SetVariable("VXA_USBLAN_ADDRESS", c.named);
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

} // namespace
