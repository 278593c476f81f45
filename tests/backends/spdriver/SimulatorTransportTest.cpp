#include "backends/spdriver/SimulatorTransport.h"

#include "backends/spdriver/Availability.h"
#include "backends/spdriver/VmCodec.h"
#include "platform/spdriver/SPLibrary.h"
#include "tests/backends/spdriver/ScriptedPeer.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/Variable.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using namespace std::string_literals;
using namespace std::chrono_literals;
using NORXVXA20::GetDriverUnavailableReason;
using NORXVXA20::SPLibrary;

namespace {

// What the simulator says to a new client: its version and that nothing is pending.
const std::string kGreeting = "\xFF\x01\xA1\x00\xA1"s;
const unsigned char kData[] = {1};
const Request kRequest{0x3A, 0, 0x79, kData, 1};
const std::string kWireRequest = "\x01\xE8\x79\x01\x9D\xA0"s;

// An answer, which the simulator puts on the wire as it gets a request.
std::string Wire(const std::string& codeAndData, unsigned char function = 0x3B,
                 unsigned char command = 0x79)
{
    return EncodeVmRequest({function, 0, command,
                            reinterpret_cast<const unsigned char*>(codeAndData.data()),
                            codeAndData.size()});
}

SimulatorTransport Transport(const ScriptedPeer& peer,
                             std::chrono::milliseconds exchange = kExchangeLimit)
{
    return SimulatorTransport(peer.Address(), {20s, exchange});
}

TEST(SimulatorTransportTest, TheAnswerIsFoundAmongWhatElseTheSimulatorSends)
{
    const std::string other = "\x02\xEC\x79\x00\x99\xA0"s + // another sequence number
                              Wire("\x00wrong function"s, 0x3A) +
                              Wire("\x00wrong command"s, 0x3B, 0x49) + "\x05\xA1"s;
    // A busy one hangs up, before anything was sent to it.
    ScriptedPeer peer({{""}, {"\xFF"}, {kGreeting, other + Wire("\x00 \xA0\xA1\xAA\xBA."s), true}});
    Answer answer;
    EXPECT_EQ(Transport(peer).Exchange(kRequest, answer), "");
    EXPECT_EQ(answer.completionCode, 0);
    EXPECT_EQ(std::string(answer.data.begin(), answer.data.begin() + answer.length),
              " \xA0\xA1\xAA\xBA."s);
    EXPECT_THAT(peer.Received(), ElementsAre("", "", kWireRequest));
}

TEST(SimulatorTransportTest, ARequestThatFailsAfterItWasSentIsNotRepeated)
{
    std::string damaged = Wire("\x00x"s);
    damaged[4] ^= 1;
    const struct {
        std::string reply;
        bool hold;
        std::chrono::milliseconds limit;
        const char* fault;
    } cases[] = {
        {damaged, true, 30s, "damaged answer"},
        {"\x01\x02\xA0"s, true, 30s, "damaged answer"},
        {Wire(std::string(2000, 'x')), true, 30s, "damaged answer"},
        {"\x01\xEC\x79\x00x"s, false, 30s, "connection closed before the answer"},
        {"\x01\xEC\x79\x00x"s, true, 500ms, "no answer in time"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        ScriptedPeer peer({{kGreeting, c.reply, c.hold}});
        Answer answer;
        EXPECT_EQ(Transport(peer, c.limit).Exchange(kRequest, answer),
                  "the IPMI simulator at " + peer.Address() + ": " + c.fault);
        EXPECT_EQ(answer.length, 0u);
        EXPECT_THAT(peer.Received(), ElementsAre(kWireRequest));
    }
}

TEST(SimulatorTransportTest, AnUnreachableSimulatorIsSaidInOneLine)
{
    ScriptedPeer mute({{"", "", true}});
    EXPECT_EQ(SimulatorTransport(mute.Address(), {300ms, 30s}).Unavailable(),
              "the IPMI simulator at " + mute.Address() + ": it does not greet");
    EXPECT_EQ(SimulatorTransport("127.0.0.1:1").Unavailable(),
              "the IPMI simulator at 127.0.0.1:1: connection refused");
    for (const char* address : {"127.0.0.1", ":19002", "127.0.0.1:"})
        EXPECT_THAT(SimulatorTransport(address).Unavailable(), HasSubstr("is no host:port"));
}

TEST(SPLibraryTest, CompletionCodeIsAnAnswerAndALostConnectionIsNot)
{
    gLog.Reset();
    ScriptedPeer peer(
        {{kGreeting, "", true}, {kGreeting, Wire("\xC3"), true}, {kGreeting, "\x01"s}});
    SetVariable("VXA_IPMI_SIMULATOR", peer.Address());
    SPLibrary* driver = SPLibrary::GetSplibraryInstance(0);
    ASSERT_NE(driver, nullptr);
    EXPECT_EQ(SPLibrary::GetSplibraryInstance(1), nullptr);
    std::vector<unsigned char> buffer{1, 0x20, 0x3A, 0, 0x79, 1, 0, 0, 0, 1};
    buffer.resize(256);
    int length = 256;
    EXPECT_TRUE(driver->sendIPMICommand(buffer.data(), &length, 256, true));
    EXPECT_EQ(buffer[4], 0xC3);
    EXPECT_EQ(length, 9);
    EXPECT_THAT(gLog.records, SizeIs(0));

    buffer[4] = 0x79;
    EXPECT_FALSE(driver->sendIPMICommand(buffer.data(), &length, 256, true));
    EXPECT_FALSE(driver->sendIPMICommand(nullptr, &length, 256, true));
    EXPECT_THAT(gLog.Messages(), ElementsAre("SPLibrary: the IPMI simulator at " + peer.Address() +
                                                 ": connection closed before the answer",
                                             "SPLibrary: the buffer holds no request"));

    SetVariable("VXA_IPMI_SIMULATOR", "nowhere");
    EXPECT_EQ(SPLibrary::GetSplibraryInstance(0), nullptr);
    EXPECT_THAT(GetDriverUnavailableReason(), HasSubstr("nowhere: the address is no host:port"));
    SetVariable("VXA_IPMI_SIMULATOR", "");
}

} // namespace
