// Against the simulated BMC of the sandbox, which must be around this program.
#include "backends/spdriver/Availability.h"
#include "backends/spdriver/SimulatorTransport.h"
#include "platform/spdriver/SPLibrary.h"
#include "tests/support/Host.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdlib>

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
    const HostAnswer answer = RunOnHost("\"$SP_CONTROL\" " + words);
    return answer.output + (answer.status != 0 ? "failed" : "");
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

TEST_F(BmcTest, AnswersAndCompletionCodesArriveAsTheyAre)
{
    EXPECT_EQ(Send(0x49), 0);
    EXPECT_EQ(data, "");
    EXPECT_EQ(Send(0x4D), 0);
    EXPECT_EQ(data, "\0"s);
    const std::string user = Variable("SP_USER"), password = Variable("SP_PASSWORD");
    EXPECT_EQ(Send(0x79), 0);
    EXPECT_EQ(data, static_cast<char>(user.size()) + user + static_cast<char>(password.size()) +
                        password);
    EXPECT_EQ(Send(0x55), 0xC1);       // unknown command
    EXPECT_EQ(Send(0x49, "\2"), 0xCC); // data out of range
    EXPECT_EQ(data, "");
    ASSERT_EQ(Control("ffdc data 0x4d 0xa0 0xa1 0xaa 0xba 0"), "");
    EXPECT_EQ(Send(0x4D), 0);
    EXPECT_EQ(data, "\xA0\xA1\xAA\xBA\0"s);
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
