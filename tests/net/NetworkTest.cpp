// The network functions with the ping and hwinfo of tests/programs, which work in the current
// folder, a resolver that knows the names it is told, and a shell that only records.
#include "net/Network.h"

#include "BuildValues.h"
#include "common/TVXAException.h"
#include "net/Resolve.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

struct FakeMachine {
    int resolvableAt = -1; // the look-up from which on names are found; -1: never
    std::vector<std::string> lookedUp;
    std::vector<std::string> commands; // that reached the shell
    int failingCommand = -1;           // the shell cannot be run for this one
};

FakeMachine gMachine;

} // namespace

bool Resolves(const char* host)
{
    gMachine.lookedUp.emplace_back(host);
    return gMachine.resolvableAt >= 0 &&
           gMachine.lookedUp.size() > static_cast<std::size_t>(gMachine.resolvableAt);
}

extern "C" int system(const char* command)
{
    gMachine.commands.emplace_back(command);
    const int number = static_cast<int>(gMachine.commands.size()) - 1;
    return number == gMachine.failingCommand ? -1 : 256;
}

namespace {

const std::string kStop = "/etc/init.d/network stop >/dev/null 2>&1";
const std::string kStart = "/etc/init.d/network start >/dev/null 2>&1";

std::string DhclientOf(const std::string& name)
{
    return "dhclient " + name + " >/dev/null 2>&1";
}

// A record of hwinfo as far as it is read.
std::string Nic(const std::string& name, const std::string& link)
{
    return "  Device File: " + name +
           "\n  HW Address: 52:54:00:00:00:01\n  Link detected: " + link + "\n\n";
}

class NetworkTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(std::getenv("FAKE_TOOLS"), nullptr) << "ctest puts the stand-ins on the path";
        gLog.Reset();
        gMachine = FakeMachine();
        for (const char* file : {"calls", "ping.txt", "ping.2.txt", "hwinfo.txt"})
            std::filesystem::remove(file);
    }

    // What a program prints from now on.
    static void Output(const std::string& file, const std::string& text)
    {
        std::ofstream(file, std::ios::binary) << text;
    }

    // The address that a ping of host gives when it prints output; "none" when it is unreachable.
    std::string AddressAfter(const std::string& host, const std::string& output)
    {
        Output("ping.txt", output);
        std::string address = "untouched";
        return NetworkAvailable(host.c_str(), address) == 1 ? address : "none";
    }

    // The interfaces that scanning recycles, in order.
    std::vector<std::string> Recycled(const std::string& listing)
    {
        gLog.Reset();
        gMachine = FakeMachine();
        Output("hwinfo.txt", listing);
        RecycleNetwork(m_address, true);
        std::vector<std::string> names;
        for (const std::string& message : gLog.Messages()) {
            const std::string begin = "RecycleNetwork configured for: ";
            const std::string end = " for twice";
            if (message.rfind(begin, 0) == 0 && message.find(end) != std::string::npos)
                names.push_back(
                    message.substr(begin.size(), message.size() - begin.size() - end.size()));
        }
        return names;
    }

    std::string m_address = "untouched";
};

TEST_F(NetworkTest, HostThatResolvesIsNotPinged)
{
    gMachine.resolvableAt = 0;
    EXPECT_EQ(NetworkAvailable("server1", m_address), 1);
    EXPECT_EQ(m_address, "untouched");
    EXPECT_THAT(gMachine.lookedUp, ElementsAre("server1"));
    EXPECT_FALSE(std::filesystem::exists("calls"));
    EXPECT_THAT(gLog.Messages(), ElementsAre("Entering NetworkAvailable",
                                             "Network is ok, download index.xml should be OK",
                                             "Exiting NetworkAvailable"));
}

TEST_F(NetworkTest, OtherHostsArePingedAndTheAddressIsCutFromTheFirstAnswer)
{
    const std::string head = "PING srv1 (192.0.2.1) 56(84) bytes of data.\n";
    EXPECT_EQ(
        AddressAfter("srv1",
                     head + "64 bytes from srv1 (192.0.2.7): x\n64 bytes from srv1 (192.0.2.8): x"),
        "192.0.2.7");
    EXPECT_EQ(ContentsOf("calls"), "ping srv1 -c 3\n");
    EXPECT_THAT(gLog.Messages(),
                ElementsAre("Entering NetworkAvailable", StartsWith("VXAOSDep::SpawnProcess"),
                            "Exiting NetworkAvailable"));
    EXPECT_EQ(AddressAfter("srv1", "64 bytes from 192.0.2.7: icmp_seq=1"), "192.0.2.7");
    EXPECT_EQ(AddressAfter("srv1", "64 bytes from other (192.0.2.7): icmp_seq=1"), "192.0.2.7")
        << "the parenthesis counts without the host's name too";
    EXPECT_EQ(AddressAfter("srv1", "64 bytes from srv1 (2001:db8::7): icmp_seq=1"), "2001:db8::7");
    EXPECT_EQ(AddressAfter("192.0.2.7", "64 bytes from 192.0.2.7: icmp_seq=1"), "");
    EXPECT_EQ(AddressAfter("srv1", "bytes from   x"), "x");
    EXPECT_EQ(AddressAfter("srv1", "bytes from "), "");
}

TEST_F(NetworkTest, UnansweredPingSaysWhatItLooksLike)
{
    EXPECT_EQ(AddressAfter("srv1", "ping: unknown host srv1\n"), "none");
    EXPECT_TRUE(gLog.Holds("Route to remote host unavailable, need to reset"));
    gLog.Reset();
    EXPECT_EQ(AddressAfter("srv1", "3 packets transmitted, 0 received\n"), "none");
    EXPECT_EQ(gLog.Messages().at(2), "Remote host unreachable, need to reset");
    EXPECT_EQ(gLog.Messages().back(), "Exiting NetworkAvailable");
}

TEST_F(NetworkTest, RecyclingTheMachineIsThreeCommandsWhateverTheyReturn)
{
    EXPECT_TRUE(RecycleNetwork(m_address, false));
    EXPECT_THAT(gMachine.commands,
                ElementsAre(kStop, kStart, DhclientOf("-cf /tmp/embed/data/dhclient.conf")));
    EXPECT_THAT(gLog.Messages(), ElementsAre("Entering RecycleNetwork", "Exiting RecycleNetwork"));
    EXPECT_THAT(gMachine.lookedUp, IsEmpty());
}

TEST_F(NetworkTest, ShellThatCannotBeRunEndsTheRecyclingOfTheMachine)
{
    const std::string lines[] = {"RecycleNetwork - network service stop error",
                                 "RecycleNetwork - network service start error",
                                 "RecycleNetwork - dhclient error"};
    for (int failing = 0; failing < 3; ++failing) {
        gLog.Reset();
        gMachine = FakeMachine();
        gMachine.failingCommand = failing;
        EXPECT_FALSE(RecycleNetwork(m_address, false));
        EXPECT_EQ(gMachine.commands.size(), static_cast<std::size_t>(failing + 1));
        EXPECT_THAT(gLog.Messages(), ElementsAre("Entering RecycleNetwork", lines[failing]));
    }
}

TEST_F(NetworkTest, EveryLinkedInterfaceHasItsTurnBetweenTwoProbes)
{
    EXPECT_THAT(
        Recycled(Nic("eth1", "yes") + Nic("eth0", "yes") + Nic("usb0", "yes") + Nic("eth2", "no")),
        ElementsAre("eth0", "eth1"));
    EXPECT_THAT(gMachine.commands,
                ElementsAre(kStop, kStart, DhclientOf("eth0"), kStop, kStart, DhclientOf("eth0"),
                            kStop, kStart, DhclientOf("eth1"), kStop, kStart, DhclientOf("eth1")));
    EXPECT_EQ(gMachine.lookedUp, std::vector<std::string>(4, UTILS_UPLOAD_HOST));
    EXPECT_THAT(ContentsOf("calls"),
                StartsWith("hwinfo --netcard\nping " UTILS_UPLOAD_HOST " -c 3\n"));
    EXPECT_TRUE(gLog.Holds("RecycleNetwork configured for: " + DhclientOf("eth1")));
    const std::vector<std::string> messages = gLog.Messages();
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "Got a Nic has physical link"), 3);
    EXPECT_EQ(gLog.Messages().back(), "Exiting RecycleNetwork");
}

TEST_F(NetworkTest, AnsweredProbeEndsTheScan)
{
    Output("hwinfo.txt", Nic("eth0", "yes") + Nic("eth1", "yes"));
    gMachine.resolvableAt = 0;
    EXPECT_TRUE(RecycleNetwork(m_address, true));
    EXPECT_THAT(gMachine.commands, IsEmpty());

    gMachine = FakeMachine();
    Output("ping.2.txt", "64 bytes from " UTILS_UPLOAD_HOST " (192.0.2.9): icmp_seq=1");
    EXPECT_TRUE(RecycleNetwork(m_address, true));
    EXPECT_EQ(gMachine.commands.size(), 6u);
    EXPECT_EQ(m_address, "192.0.2.9");
}

TEST_F(NetworkTest, ShellThatCannotBeRunForDhclientIsOnlyLogged)
{
    Output("hwinfo.txt", Nic("eth0", "yes"));
    gMachine.failingCommand = 2;
    EXPECT_TRUE(RecycleNetwork(m_address, true));
    EXPECT_EQ(gMachine.commands.size(), 6u);
    const auto record = std::find_if(gLog.records.begin(), gLog.records.end(),
                                     [](const auto& r) { return r.level == 0; });
    ASSERT_NE(record, gLog.records.end());
    EXPECT_EQ(record->message, "Failed in dhclient, still try");

    for (int failing : {3, 4}) {
        gMachine = FakeMachine();
        gMachine.failingCommand = failing;
        EXPECT_FALSE(RecycleNetwork(m_address, true));
    }
    EXPECT_EQ(gLog.Messages().back(), "RecycleNetwork - network service start error");
}

TEST_F(NetworkTest, WithoutALinkThereIsNothingToRecycle)
{
    for (const std::string& listing :
         {std::string(), Nic("eth0", "no"), Nic("usb0", "yes"), std::string("Device File:")}) {
        SCOPED_TRACE(listing);
        gLog.Reset();
        Output("hwinfo.txt", listing);
        EXPECT_FALSE(RecycleNetwork(m_address, true));
        EXPECT_EQ(gLog.records.back().level, 0);
        EXPECT_EQ(gLog.records.back().message,
                  "Not physical connection is available on machine(s)");
        EXPECT_THAT(gMachine.lookedUp, IsEmpty());
    }
    gLog.Reset();
    gLog.installed = false;
    EXPECT_FALSE(RecycleNetwork(m_address, true)) << "without a logger";
}

TEST_F(NetworkTest, InterfacesAreReadByPositionAndLinksWhereverTheyStand)
{
    EXPECT_THAT(Recycled(Nic("enp3s0", "yes")), ElementsAre("enp3"));
    EXPECT_THAT(Recycled("Device File: eth0\n" + Nic("eth1", "yes")), ElementsAre("eth0", "eth1"))
        << "a device without a link line takes the next one's";
    EXPECT_THAT(Recycled("Device File: eth0\nLink detected: ..yes"), ElementsAre("eth0"));
    EXPECT_THAT(Recycled("Device File: eth0\nLink detected: ...yes"), IsEmpty());
    EXPECT_THAT(Recycled(Nic("eth0", "no") + Nic("eth1", "yes")), ElementsAre("eth1"));
}

TEST_F(NetworkTest, NameThatTheShellWouldMisreadIsSkipped)
{
    for (const char* name : {"a;id", "$(x)", "a b ", "e&\n0", "\n   ", "`id`", "\xE4th0"})
        EXPECT_THAT(Recycled(Nic(name, "yes")), IsEmpty()) << name;
    EXPECT_THAT(Recycled(Nic("em1\n", "yes")), ElementsAre(AnyOf("em1\n", "em1\r")))
        << "used as it was taken";
    EXPECT_THAT(Recycled(Nic("a-_.", "yes") + Nic("b@:1", "yes")), ElementsAre("a-_.", "b@:1"));
}

} // namespace
