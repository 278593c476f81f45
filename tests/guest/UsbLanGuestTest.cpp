// The control library of the LAN-over-USB interfaces, and the class that calls it, on real devices.
#include "backends/vxacore/CoreLog.h"
#include "osdep/DynamicLibrary.h"
#include "platform/qmmusblan/QmmUsbLan.h"
#include "tests/guest/Guest.h"
#include "usblan/TUsbLan.h"

#include <gmock/gmock.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

using testing::HasSubstr;
using testing::Not;

namespace {

const std::string kDevice = "/sys/bus/usb/devices/1-1/";
const std::string kDriver = "/sys/bus/usb/drivers/cdc_ether/";
const std::string kUnbind = "echo 1-1:1.0 > " + kDriver + "unbind";
const std::string kRemoveDrivers = "rmmod rndis_host 2> /dev/null; rmmod cdc_ether";

void HideDriver()
{
    Shell(kRemoveDrivers);
    Shell("file=$(find /lib/modules -name cdc_ether.ko); mv $file $file.away");
}

bool ReachesProcessor()
{
    return Shell("echo | nc -w 10 169.254.70.1 115 || true").find("SSH-2.0") != std::string::npos;
}

// Whether action is true for an ordinary user.
bool IsTrueForAnybody(const std::function<bool()>& action)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(::setuid(65534) == 0 && action() ? 0 : 1);
    int status = 1;
    return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

// Device 0 is a node, by its port; the network card and another device of the same kind, up with an
// address, are not, and must be after each test as they were before it.
class UsbLanInServer : public Guest {
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(Guest::SetUp());
        ::chmod(m_scratch.Path().c_str(), 0777);
        m_library = LoadDynamicLibrary(qmmusblan::kLibraryName);
        ASSERT_NE(m_library, nullptr);
        Name("usb:1-1");
        m_card = Settings("eth0");
    }

    void TearDown() override
    {
        EXPECT_EQ(Settings("eth0"), m_card);
        if (m_library != nullptr)
            UnloadDynamicLibrary(m_library);
    }

    // The known state again, in the middle of a test.
    void PutBack() { Guest::SetUp(); }

    static void Name(const std::string& nodes)
    {
        ::setenv("VXA_USBLAN_INTERFACES", nodes.c_str(), 1);
    }

    int Call(const char* name, int node)
    {
        return FindLibraryFunction<qmmusblan::NodeFunction>(m_library, name)(node);
    }
    int State(int node = 0) { return Call("QueryQmmLanState", node); }
    int BringUp(int node = 0) { return Call("BringupQmmLan", node); }
    int TakeDown(int node = 0) { return Call("DisableQmmLan", node); }

    // One life of the class, with what happens meanwhile; what it logged.
    std::string Live(qmmSetType type, const std::function<void()>& meanwhile = {})
    {
        const std::string log = m_scratch / ("log" + std::to_string(++m_lives));
        NORXVXA20::OpenCoreLog(log);
        TUsbLan* const instance = TUsbLan::getInstance();
        if (meanwhile)
            meanwhile();
        instance->sUsbLanType(type);
        delete instance;
        TUsbLan::m_instance = nullptr;
        NORXVXA20::CloseCoreLog();
        return ContentsOf(log);
    }

    int m_lives = 0;
    void* m_library = nullptr;
    std::string m_card;
};

TEST_F(UsbLanInServer, NodeFoundDownIsTheSameAfterwards)
{
    const std::string before = Settings("usb0");
    EXPECT_EQ(State(), 2);
    EXPECT_FALSE(ReachesProcessor());
    EXPECT_EQ(BringUp(), 0);
    EXPECT_EQ(State(), 1);
    EXPECT_THAT(Settings("usb0"), HasSubstr("169.254.70.2/24"));
    EXPECT_TRUE(ReachesProcessor());
    EXPECT_EQ(TakeDown(), 0);
    EXPECT_EQ(State(), 2);
    EXPECT_EQ(Settings("usb0"), before);
    EXPECT_EQ(BringUp(1), 176);
    EXPECT_EQ(TakeDown(-1), 176);
}

TEST_F(UsbLanInServer, ForeignAddressStaysBesideOurs)
{
    Shell("ip addr add 192.0.2.5/24 dev usb0");
    const std::string down = Settings("usb0");
    Shell("ip link set usb0 up");
    EXPECT_EQ(State(), 3);
    EXPECT_FALSE(ReachesProcessor());
    EXPECT_EQ(BringUp(), 0);
    EXPECT_EQ(State(), 1);
    EXPECT_TRUE(ReachesProcessor());
    EXPECT_THAT(Settings("usb0"), HasSubstr("192.0.2.5/24"));
    EXPECT_EQ(TakeDown(), 0);
    EXPECT_EQ(Settings("usb0"), down);
    // One that serves is left as it is.
    Shell("ip addr add 169.254.9.9/16 dev usb0");
    EXPECT_EQ(State(), 2);
    EXPECT_EQ(BringUp(), 0);
    EXPECT_THAT(Settings("usb0"), Not(HasSubstr("169.254.70.2/")));
    EXPECT_TRUE(ReachesProcessor());
}

TEST_F(UsbLanInServer, BringUpInstallsTheDriver)
{
    const std::string before = Settings("usb0");
    const std::string anotherConfiguration = "echo 2 > " + kDevice + "bConfigurationValue";
    for (const std::string& absence : {kUnbind, kRemoveDrivers, anotherConfiguration}) {
        SCOPED_TRACE(absence);
        Shell(absence);
        EXPECT_EQ(InterfaceAt("1-1"), "");
        EXPECT_EQ(State(), 4);
        EXPECT_EQ(TakeDown(), 0) << "nothing is up";
        EXPECT_EQ(BringUp(), 0);
        EXPECT_EQ(State(), 1);
        EXPECT_TRUE(ReachesProcessor());
        EXPECT_EQ(TakeDown(), 0);
        EXPECT_EQ(State(), 2);
        // Another configuration's interfaces have other names.
        Shell("test -d " + kDevice + "1-1:*/net/usb0");
        EXPECT_EQ(Settings("usb0"), before);
    }
}

TEST_F(UsbLanInServer, DriverThatIsNotThereIsSaid)
{
    HideDriver();
    EXPECT_EQ(State(), 4);
    EXPECT_THAT(Live(qmmEnable),
                HasSubstr("Unable to take up QMM LAN over USB interface since fail "
                          "to install driver."));
    EXPECT_EQ(State(), 4);
    for (const qmmSetType type : {qmmDisable, qmmRestore})
        EXPECT_THAT(Live(type), HasSubstr("interface is taken down successfully."));
    // Found enabled, and then it went: the same failure.
    PutBack();
    EXPECT_EQ(BringUp(), 0);
    EXPECT_THAT(Live(qmmRestore, HideDriver), HasSubstr("since fail to install driver."));
}

TEST_F(UsbLanInServer, DeviceThatIsNotThereIsSaid)
{
    const std::string before = Settings("usb0");
    const std::function<void()> absences[] = {
        [] { Unplug(0); },
        [] { Shell("echo 0 > " + kDevice + "authorized"); },
    };
    for (const std::function<void()>& leave : absences) {
        EXPECT_EQ(BringUp(), 0);
        leave(); // between two calls
        for (const char* name : {"usb:1-1", "usb0", "52:54:00:70:00:00"}) {
            SCOPED_TRACE(name);
            Name(name);
            EXPECT_EQ(State(), 4);
            EXPECT_EQ(BringUp(), 171);
            EXPECT_EQ(TakeDown(), 171);
        }
        EXPECT_THAT(Live(qmmEnable), HasSubstr("Unable to take up QMM LAN over USB interface since "
                                               "hardWare not detected."));
        for (const qmmSetType type : {qmmDisable, qmmRestore})
            EXPECT_THAT(Live(type),
                        HasSubstr("Unable to take down QMM LAN over USB interface since "
                                  "hardWare not detected"));
        PutBack();
        Name("usb:1-1");
        EXPECT_EQ(State(), 2);
        EXPECT_EQ(Settings("usb0"), before);
    }
}

TEST_F(UsbLanInServer, OrdinaryUserIsRefused)
{
    const auto isRefused = [&](qmmSetType type) {
        return IsTrueForAnybody([&] {
            return Live(type).find("since fail to change interface status") != std::string::npos;
        });
    };
    const std::string before = Settings("usb0");
    EXPECT_TRUE(IsTrueForAnybody([&] { return State() == 2 && BringUp() == 177; }));
    EXPECT_TRUE(isRefused(qmmEnable));
    EXPECT_EQ(Settings("usb0"), before);
    Shell("ip addr add 192.0.2.5/24 dev usb0; ip link set usb0 up");
    const std::string up = Settings("usb0");
    EXPECT_TRUE(IsTrueForAnybody([&] { return State() == 3 && TakeDown() == 177; }));
    EXPECT_TRUE(isRefused(qmmDisable));
    EXPECT_TRUE(isRefused(qmmRestore));
    EXPECT_EQ(Settings("usb0"), up);
    Shell(kUnbind);
    EXPECT_TRUE(IsTrueForAnybody([&] { return State() == 4 && BringUp() == 172; }));
}

TEST_F(UsbLanInServer, TwoNodesStayThemselvesWhenNamesChangePlaces)
{
    Plug(1);
    for (const char* names : {"usb:1-1,usb:1-2", "52:54:00:70:00:00,52:54:00:70:00:01"}) {
        SCOPED_TRACE(names);
        Name(names);
        const std::string first = InterfaceAt("1-1");
        const std::string second = InterfaceAt("1-2");
        const std::string before = Settings(first);
        EXPECT_EQ(BringUp(1), 0);
        EXPECT_EQ(State(0), 2);
        EXPECT_EQ(Settings(first), before);
        EXPECT_THAT(Settings(second), HasSubstr("169.254.70.3/24"));
        EXPECT_TRUE(ReachesProcessor());
        // The interface of node 1 goes, and node 0 gets its name.
        Shell(kUnbind);
        Shell("echo 1-2:1.0 > " + kDriver + "unbind");
        std::vector<std::string> ports = {"1-1", "1-2"};
        if (first == "usb0")
            std::swap(ports.front(), ports.back());
        for (const std::string& port : ports) {
            Shell("echo " + port + ":1.0 > /sys/bus/usb/drivers_probe");
            ASSERT_TRUE(WaitUntil([&] { return !InterfaceAt(port).empty(); }));
        }
        ASSERT_EQ(InterfaceAt("1-1"), second);
        EXPECT_EQ(TakeDown(1), 0);
        EXPECT_EQ(BringUp(0), 0);
        EXPECT_EQ(State(0), 1);
        EXPECT_EQ(State(1), 2);
        EXPECT_THAT(Settings(second), HasSubstr("169.254.70.2/24"));
        EXPECT_EQ(Settings(first), before);
        EXPECT_EQ(TakeDown(0), 0);
        EXPECT_EQ(Settings(second), before);
    }
    // A node that is unplugged leaves the other one alone.
    EXPECT_EQ(BringUp(0), 0);
    EXPECT_EQ(BringUp(1), 0);
    Unplug(0);
    EXPECT_EQ(TakeDown(0), 171);
    EXPECT_EQ(BringUp(0), 171);
    EXPECT_EQ(State(1), 1);
    EXPECT_TRUE(ReachesProcessor());
}

// Every set type on every state that a node can be found in, and on what may happen meanwhile,
// beside a device that is not a node.
TEST_F(UsbLanInServer, ClassLeavesLinksAsAsked)
{
    const auto up = [] { Shell("ip addr add 169.254.70.9/24 dev usb0; ip link set usb0 up"); };
    const auto down = [] { Shell("ip link set usb0 down"); };
    const auto foreign = [] { Shell("ip addr add 192.0.2.5/24 dev usb0; ip link set usb0 up"); };
    const auto unbind = [] { Shell(kUnbind); };
    const auto nothing = [] {};
    const std::string takenUp = "interface is taken up successfully.";
    const std::string takenDown = "interface is taken down successfully.";
    struct Case {
        std::function<void()> before;
        qmmSetType type;
        std::function<void()> meanwhile;
        int state;
        std::string said;
    };
    const Case cases[] = {
        {nothing, qmmEnable, nothing, 1, takenUp},
        {foreign, qmmEnable, nothing, 1, takenUp},
        {unbind, qmmEnable, nothing, 1, takenUp},
        {up, qmmEnable, nothing, 1, "already enable"},
        {up, qmmDisable, nothing, 2, takenDown},
        {foreign, qmmDisable, nothing, 2, takenDown},
        {unbind, qmmDisable, nothing, 4, takenDown},
        {nothing, qmmDisable, nothing, 2, "already disable"},
        {up, qmmRestore, nothing, 1, "is enable.\n"},
        {up, qmmRestore, down, 1, takenUp},
        {up, qmmRestore, unbind, 1, takenUp},
        {nothing, qmmRestore, up, 2, takenDown},
        {foreign, qmmRestore, nothing, 2, takenDown},
        {unbind, qmmRestore, nothing, 4, "driver unloaded.\n"},
        {up, qmmRestore, [] { Name(""); }, 5, "since node index is out of range."},
    };
    Plug(1);
    Shell("ip addr add 10.70.0.5/24 dev usb1; ip link set usb1 up");
    const std::string another = Settings("usb1");
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        const Case& c = cases[i];
        c.before();
        EXPECT_THAT(Live(c.type, c.meanwhile), HasSubstr(c.said));
        EXPECT_EQ(State(), c.state);
        EXPECT_EQ(Settings("usb1"), another);
        Name("usb:1-1");
        EXPECT_EQ(BringUp(), 0) << "for its interface";
        EXPECT_EQ(TakeDown(), 0);
        Shell("ip addr flush dev usb0");
    }
}

// The server's own network card named by mistake: by its name, by its address.
TEST_F(UsbLanInServer, CardOfAnotherKindIsNeverTouched)
{
    std::string address = ContentsOf("/sys/class/net/eth0/address");
    address.pop_back();
    for (const std::string& name : {std::string("eth0"), address}) {
        SCOPED_TRACE(name);
        Name(name + ",usb:1-1");
        EXPECT_EQ(State(0), 5);
        EXPECT_EQ(BringUp(0), 177);
        EXPECT_EQ(TakeDown(0), 177);
        EXPECT_EQ(Settings("eth0"), m_card);
        for (const qmmSetType type : {qmmEnable, qmmDisable, qmmRestore}) {
            SCOPED_TRACE(type);
            const std::string log = Live(type);
            EXPECT_THAT(log, HasSubstr("QMM LAN over USB (Node 0) Error occurs."));
            const bool isAsked =
                log.find("since fail to change interface status") != std::string::npos;
            EXPECT_EQ(isAsked, type == qmmRestore) << "the class leaves a node in error alone";
            EXPECT_EQ(State(1), type == qmmEnable ? 1 : 2) << "the other node is served";
            EXPECT_EQ(Settings("eth0"), m_card);
        }
    }
}

} // namespace
