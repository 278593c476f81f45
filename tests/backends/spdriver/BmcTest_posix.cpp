// Against the simulated BMC of the sandbox, which must be around this program.
#include "backends/spdriver/Availability.h"
#include "backends/spdriver/SimulatorTransport.h"
#include "platform/spdriver/SPLibrary.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

using ::testing::ElementsAre;
using ::testing::StartsWith;
using namespace std::string_literals;
using namespace std::chrono_literals;
using NORXVXA20::GetDriverUnavailableReason;
using NORXVXA20::SPLibrary;

namespace {

std::string Variable(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// Runs the sandbox's control script: what it prints, and "failed" when it does.
std::string Control(const std::string& words)
{
    const std::string command = "\"$SP_CONTROL\" " + words + " 2>&1";
    FILE* const output = ::popen(command.c_str(), "r");
    std::string text;
    char part[256];
    while (std::fgets(part, sizeof part, output))
        text += part;
    if (::pclose(output) != 0)
        text += "failed";
    return text;
}

class BmcTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(GetDriverUnavailableReason(), "");
        ASSERT_EQ(Control("ffdc reset"), "");
    }

    // Sends a command as the library does; the completion code, with the data in m_data.
    int Send(unsigned char command, std::string request = "\1")
    {
        std::array<unsigned char, 256> buffer{1, 0x20, 0x3A, 0, command};
        buffer[5] = static_cast<unsigned char>(request.size());
        std::copy(request.begin(), request.end(), buffer.begin() + 9);
        int length = 256;
        SPLibrary* const driver = SPLibrary::GetSplibraryInstance(0);
        if (driver == nullptr || !driver->sendIPMICommand(buffer.data(), &length, 256, true))
            return -1;
        data.assign(buffer.begin() + 9, buffer.begin() + length);
        return buffer[4];
    }

    std::string data;
};

TEST_F(BmcTest, ACollectionRunsToItsEndAndHandsOutTheCredential)
{
    EXPECT_EQ(Send(0x4D), 0);
    EXPECT_EQ(data, "\0"s);
    EXPECT_EQ(Send(0x49), 0);
    EXPECT_EQ(data, "");
    std::string finished;
    for (int poll = 0; poll < 3; ++poll) {
        EXPECT_EQ(Send(0x4D), 0);
        finished += data;
    }
    EXPECT_EQ(finished, "\0\0\1"s);
    const std::string user = Variable("SP_USER"), password = Variable("SP_PASSWORD");
    EXPECT_EQ(Send(0x79), 0);
    EXPECT_EQ(data, static_cast<char>(user.size()) + user + static_cast<char>(password.size()) +
                        password);
    EXPECT_THAT(Control("ffdc show"), StartsWith("49=1 4d=4 79=1 collecting=1"));

    ASSERT_EQ(Control("ffdc polls never"), "");
    EXPECT_EQ(Send(0x49), 0);
    for (int poll = 0; poll < 20; ++poll)
        EXPECT_EQ(Send(0x4D), 0);
    EXPECT_EQ(data, "\0"s);
}

TEST_F(BmcTest, ACompletionCodeIsTheAnswersAndNotAFailure)
{
    EXPECT_EQ(Send(0x55), 0xC1);       // unknown command
    EXPECT_EQ(Send(0x49, "\2"), 0xCC); // data out of range
    EXPECT_EQ(Send(0x49, ""), 0xC7);   // length
    ASSERT_EQ(Control("ffdc cc 0x79 0xd5"), "");
    EXPECT_EQ(Send(0x79), 0xD5);
    EXPECT_EQ(data, "");
}

TEST_F(BmcTest, ScriptedAnswersArriveAsTheyAre)
{
    ASSERT_EQ(Control("ffdc data 0x4d 0xa0 0xa1 0xaa 0xba 0"), "");
    EXPECT_EQ(Send(0x4D), 0);
    EXPECT_EQ(data, "\xA0\xA1\xAA\xBA\0"s);
    ASSERT_EQ(Control("ffdc cut 0x4d 2"), "");
    EXPECT_EQ(Send(0x4D), 0);
    EXPECT_EQ(data, "\xA0\xA1"s);
    ASSERT_EQ(Control("ffdc delay 0x79 1000"), "");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Send(0x79), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_THAT(Control("ffdc show"), StartsWith("49=0 4d=2 79=1"));
}

TEST_F(BmcTest, CredentialsThatTheAnswerCannotHoldAreRefused)
{
    const std::string file = Variable("SP_WORKDIR") + "/credentials";
    std::ofstream(file) << "user\n" << std::string(29, 'p') << '\n';
    EXPECT_EQ(Control("ffdc credentials " + file), "");
    EXPECT_EQ(Send(0x79), 0);
    const std::string longest = data;
    EXPECT_EQ(longest, "\4user\x1d" + std::string(29, 'p'));
    std::ofstream(file) << "user\n" << std::string(30, 'p') << '\n';
    EXPECT_THAT(Control("ffdc credentials " + file), StartsWith("error: "));
    EXPECT_EQ(Send(0x79), 0);
    EXPECT_EQ(data, longest);
}

TEST_F(BmcTest, ABmcThatStandsStillOrIsGoneIsNoInstance)
{
    const std::string address = Variable("VXA_IPMI_SIMULATOR");
    ASSERT_EQ(Control("bmc pause"), "");
    EXPECT_THAT(SimulatorTransport(address, {500ms, 1s}).Unavailable(), StartsWith("the IPMI"));
    ASSERT_EQ(Control("bmc resume"), "");
    EXPECT_EQ(GetDriverUnavailableReason(), "");
    ASSERT_EQ(Control("bmc kill"), "");
    EXPECT_EQ(SPLibrary::GetSplibraryInstance(0), nullptr);
    EXPECT_EQ(GetDriverUnavailableReason(),
              "the IPMI simulator at " + address + ": connection refused");
    ASSERT_EQ(Control("bmc start"), "");
    EXPECT_EQ(Send(0x49), 0);
}

} // namespace
