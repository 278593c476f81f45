#include "platform/qmmusblan/QmmUsbLan.h"
#include "BuildValues.h"
#include "osdep/DynamicLibrary.h"
#include "tests/fakes/FakeLog.h"
#include "usblan/TUsbLan.h"

#include <gmock/gmock.h>

#include <linux/capability.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

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

void WriteFile(const char* path, const std::string& text)
{
    std::ofstream(path) << text;
}

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
// a namespace that ends with the process. Their drivers stand in a sysfs tree of the test's own.
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
        gLog.Reset();
        char folder[] = "/tmp/qmmusblan-test-XXXXXX";
        ASSERT_NE(::mkdtemp(folder), nullptr);
        m_sysfs = folder;
        ::setenv("VXA_USBLAN_SYSFS", folder, 1);
        Name("usb0,usb1");
        for (const char* number : {"0", "1"})
            ASSERT_TRUE(Shell(std::string("ip link add usb") + number + " type veth peer name far" +
                              number));
        ASSERT_TRUE(Shell("ip link add eth0 type veth peer name switch0 && ip link set eth0 up && "
                          "ip addr add 192.0.2.7/24 dev eth0"));
        SetDriver("usb0", "cdc_ether");
        SetDriver("usb1", "rndis_host");
        SetDriver("eth0", "e1000e");
        m_library = LoadDynamicLibrary(qmmusblan::kLibraryName);
        ASSERT_NE(m_library, nullptr);
    }

    void TearDown() override
    {
        if (m_library != nullptr)
            UnloadDynamicLibrary(m_library);
        if (!m_sysfs.empty())
            fs::remove_all(m_sysfs);
        for (const char* link : {"usb0", "usb1", "eth0"})
            Shell(std::string("ip link del ") + link + " 2> /dev/null");
    }

    static void Name(const char* interfaces) { ::setenv("VXA_USBLAN_INTERFACES", interfaces, 1); }

    void SetDriver(const std::string& link, const std::string& driver)
    {
        const fs::path device = m_sysfs / "class/net" / link / "device";
        fs::create_directories(device);
        fs::remove(device / "driver");
        fs::create_symlink("../../../../bus/usb/drivers/" + driver, device / "driver");
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
    fs::path m_sysfs;
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
    Name("../usb1,a-name-that-no-interface-can-have");
    EXPECT_EQ(State(0), 4);
    EXPECT_EQ(State(1), 4);
}

TEST_F(QmmUsbLanTest, ChangeRefusedByTheKernelIsSaid)
{
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        // Without the right to change the network.
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        const __user_cap_data_struct none[2] = {};
        ::syscall(SYS_capset, &header, none);
        ::_exit(State(0) == 2 && BringUp(0) == 177 && TakeDown(0) == 177 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(State(0), 2);
}

// The class on top: what was found is what is left, and a foreign interface stays as it is.
TEST_F(QmmUsbLanTest, ClassLeavesTheMachineAsItFoundIt)
{
    Name("usb0,usb1,eth0");
    Ip("link set usb1 up");
    Ip("addr add " + Neighbour(9) + "/24 dev usb1");
    const std::string before[] = {Look("usb0"), Look("usb1"), Look("eth0")};
    TUsbLan* const keep = TUsbLan::getInstance();
    for (const qmmSetType type : {qmmEnable, qmmDisable}) {
        TUsbLan::m_instance = nullptr;
        TUsbLan::getInstance()->sUsbLanType(type);
        delete TUsbLan::m_instance;
        EXPECT_EQ(State(0), type == qmmEnable ? 1 : 2);
        EXPECT_EQ(State(1), type == qmmEnable ? 1 : 2);
    }
    delete keep;
    TUsbLan::m_instance = nullptr;
    EXPECT_EQ(Look("usb0"), before[0]);
    EXPECT_EQ(State(1), 1);
    EXPECT_EQ(Look("eth0"), before[2]);
    EXPECT_TRUE(gLog.Holds("QMM LAN over USB (Node 2) Error occurs."));
    EXPECT_TRUE(gLog.Holds("Unable to take down QMM LAN over USB interface since fail to change "
                           "interface status"));
}

} // namespace
