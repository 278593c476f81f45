// The network functions with the ping and hwinfo of tests/programs, which work in the current
// folder, a resolver that knows the names it is told, and a shell that only records.
#include "net/Network.h"

#include "BuildValues.h"
#include "net/Resolve.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

namespace {

struct FakeMachine {
    bool resolves = false;
    std::vector<std::string> commands; // that reached the shell
    int failingCommand = -1;           // the shell cannot be run for this one
};

FakeMachine gMachine;

} // namespace

bool Resolves(const char*)
{
    return gMachine.resolves;
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

// The commands by which each of these interfaces is recycled.
std::vector<std::string> Turns(const std::vector<std::string>& names)
{
    std::vector<std::string> commands;
    for (const std::string& name : names) {
        for (int pass = 0; pass < 2; ++pass)
            commands.insert(commands.end(), {kStop, kStart, DhclientOf(name)});
    }
    return commands;
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

    // The commands of a scan of these interfaces.
    std::vector<std::string> Recycled(const std::string& listing)
    {
        gMachine = FakeMachine();
        Output("hwinfo.txt", listing);
        RecycleNetwork(m_address, true);
        return gMachine.commands;
    }

    std::string m_address = "untouched";
};

TEST_F(NetworkTest, HostThatResolvesIsNotPinged)
{
    gMachine.resolves = true;
    EXPECT_EQ(NetworkAvailable("server1", m_address), 1);
    EXPECT_EQ(m_address, "untouched");
    EXPECT_FALSE(std::filesystem::exists("calls"));
    EXPECT_THAT(gLog.Messages(), ElementsAre("Entering NetworkAvailable",
                                             "Network is ok, download index.xml should be OK",
                                             "Exiting NetworkAvailable"));
}

TEST_F(NetworkTest, OtherHostsArePingedAndTheAddressIsCutFromTheFirstAnswer)
{
    EXPECT_EQ(AddressAfter("srv1", "PING srv1 (192.0.2.1) 56(84) bytes of data.\n"
                                   "64 bytes from srv1 (192.0.2.7): icmp_seq=1\n"
                                   "64 bytes from srv1 (192.0.2.8): icmp_seq=2\n"),
              "192.0.2.7");
    EXPECT_EQ(ContentsOf("calls"), "ping srv1 -c 3\n");
    EXPECT_EQ(AddressAfter("srv1", "64 bytes from 192.0.2.7: icmp_seq=1"), "192.0.2.7");
    EXPECT_EQ(AddressAfter("srv1", "64 bytes from other (192.0.2.7): icmp_seq=1"), "192.0.2.7")
        << "the parenthesis counts without the host's name too";
    EXPECT_EQ(AddressAfter("srv1", "64 bytes from srv1 (2001:db8::7): icmp_seq=1"), "2001:db8::7");
    EXPECT_EQ(AddressAfter("192.0.2.7", "64 bytes from 192.0.2.7: icmp_seq=1"), "");
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

TEST_F(NetworkTest, RecyclingTheMachineIsThreeCommandsThatTheShellMustTake)
{
    const char* const lines[] = {"RecycleNetwork - network service stop error",
                                 "RecycleNetwork - network service start error",
                                 "RecycleNetwork - dhclient error", "Exiting RecycleNetwork"};
    for (int failing = 0; failing <= 3; ++failing) {
        gLog.Reset();
        gMachine = FakeMachine();
        gMachine.failingCommand = failing;
        EXPECT_EQ(RecycleNetwork(m_address, false), failing == 3);
        EXPECT_EQ(gMachine.commands.size(), static_cast<std::size_t>(std::min(failing + 1, 3)));
        EXPECT_THAT(gLog.Messages(), ElementsAre("Entering RecycleNetwork", lines[failing]));
    }
    EXPECT_THAT(gMachine.commands,
                ElementsAre(kStop, kStart, DhclientOf("-cf /tmp/embed/data/dhclient.conf")));
}

TEST_F(NetworkTest, EveryLinkedInterfaceHasItsTurnBetweenTwoProbes)
{
    EXPECT_EQ(
        Recycled(Nic("eth1", "yes") + Nic("eth0", "yes") + Nic("usb0", "yes") + Nic("eth2", "no")),
        Turns({"eth0", "eth1"}));
    const std::string probe = "ping " UTILS_UPLOAD_HOST " -c 3\n";
    EXPECT_EQ(ContentsOf("calls"), "hwinfo --netcard\n" + probe + probe + probe + probe);
    EXPECT_TRUE(gLog.Holds("RecycleNetwork configured for: eth1 for twice"));
    EXPECT_TRUE(gLog.Holds("RecycleNetwork configured for: " + DhclientOf("eth1")));
    const std::vector<std::string> messages = gLog.Messages();
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "Got a Nic has physical link"), 3);
    EXPECT_EQ(messages.back(), "Exiting RecycleNetwork");
}

TEST_F(NetworkTest, AnsweredProbeEndsTheScan)
{
    Output("hwinfo.txt", Nic("eth0", "yes") + Nic("eth1", "yes"));
    Output("ping.2.txt", "64 bytes from " UTILS_UPLOAD_HOST " (192.0.2.9): icmp_seq=1");
    EXPECT_TRUE(RecycleNetwork(m_address, true));
    EXPECT_EQ(gMachine.commands.size(), 6u);
    EXPECT_EQ(m_address, "192.0.2.9");
}

TEST_F(NetworkTest, ShellThatCannotBeRunForDhclientIsOnlyLogged)
{
    Output("hwinfo.txt", Nic("eth0", "yes"));
    for (const int failing : {3, 4, 2}) {
        gMachine = FakeMachine();
        gMachine.failingCommand = failing;
        EXPECT_EQ(RecycleNetwork(m_address, true), failing == 2);
    }
    EXPECT_EQ(gMachine.commands.size(), 6u);
    EXPECT_THAT(gLog.records, Contains(Pair(0, "Failed in dhclient, still try")));
}

TEST_F(NetworkTest, WithoutALinkThereIsNothingToRecycle)
{
    for (const std::string& listing :
         {std::string(), Nic("eth0", "no"), Nic("usb0", "yes"), std::string("Device File:")}) {
        SCOPED_TRACE(listing);
        gLog.Reset();
        Output("hwinfo.txt", listing);
        EXPECT_FALSE(RecycleNetwork(m_address, true));
        EXPECT_THAT(gLog.records,
                    Contains(Pair(0, "Not physical connection is available on machine(s)")));
    }
    gLog.installed = false;
    EXPECT_FALSE(RecycleNetwork(m_address, true)) << "without a logger";
}

TEST_F(NetworkTest, InterfacesAreReadByPositionAndLinksWhereverTheyStand)
{
    EXPECT_EQ(Recycled(Nic("enp3s0", "yes")), Turns({"enp3"}));
    EXPECT_EQ(Recycled("Device File: eth0\n" + Nic("eth1", "yes")), Turns({"eth0", "eth1"}))
        << "a device without a link line takes the next one's";
    EXPECT_EQ(Recycled("Device File: eth0\nLink detected: ..yes"), Turns({"eth0"}));
    EXPECT_THAT(Recycled("Device File: eth0\nLink detected: ...yes"), IsEmpty());
    EXPECT_EQ(Recycled(Nic("eth0", "no") + Nic("eth1", "yes")), Turns({"eth1"}));
}

TEST_F(NetworkTest, NameThatTheShellWouldMisreadIsSkipped)
{
    for (const char* name : {"a;id", "$(x)", "a b ", "e&\n0", "\n   ", "`id`", "\xE4th0"})
        EXPECT_THAT(Recycled(Nic(name, "yes")), IsEmpty()) << name;
    EXPECT_THAT(Recycled(Nic("em1\n", "yes")), SizeIs(6)) << "used as it was taken";
    EXPECT_EQ(Recycled(Nic("a-_.", "yes") + Nic("b@:1", "yes")), Turns({"a-_.", "b@:1"}));
}

} // namespace
