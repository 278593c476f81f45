// The kernel's IPMI driver in front of a BMC, through our driver library and the collector.
#include "tests/guest/Guest.h"

#include "backends/spdriver/Availability.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

using testing::HasSubstr;

namespace {

using Answer = std::vector<unsigned char>;
using Clock = std::chrono::steady_clock;

class DriverInServer : public Guest {
protected:
    // Nothing hangs where nobody answers.
    static void ExpectNoAnswer()
    {
        const Clock::time_point begin = Clock::now();
        const Answer answer = Exchange(kIsFinished);
        EXPECT_TRUE(answer.empty() || answer[0] != 0);
        EXPECT_LT(Clock::now() - begin, std::chrono::seconds(30));
    }
};

TEST_F(DriverInServer, ExchangesCommandsDataAndCompletionCodes)
{
    Control("ffdc polls 1");
    EXPECT_EQ(Exchange(kCollect), (Answer{0}));
    EXPECT_EQ(Exchange(kIsFinished), (Answer{0, 0}));
    EXPECT_EQ(Exchange(kIsFinished), (Answer{0, 1}));
    Answer credential = Exchange(kGetCredential);
    ASSERT_GT(credential.size(), 2u);
    EXPECT_EQ(std::string(credential.begin() + 2, credential.begin() + 2 + credential[1]),
              "ffdcuser");
    EXPECT_EQ(credential.size(), 3u + credential[1] + credential[2 + credential[1]]);

    Control("ffdc cc 0x4d 0xd5");
    EXPECT_EQ(Exchange(kIsFinished), (Answer{0xd5}));
    EXPECT_EQ(Exchange(0x01), (Answer{0xc1})); // a command that it does not know
    Control("ffdc cut 0x79 3");
    EXPECT_EQ(Exchange(kGetCredential), Answer(credential.begin(), credential.begin() + 4));
    // In all of it each command reached the service processor once.
    EXPECT_THAT(Control("ffdc show"), HasSubstr("49=1 4d=3 79=2 "));
}

TEST_F(DriverInServer, TakesALateAnswerAndGivesUpOnASilentServiceProcessor)
{
    Control("ffdc delay 0x49 2500");
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Exchange(kCollect), (Answer{0}));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(2400));

    Control("bmc pause");
    ExpectNoAnswer();
    Control("bmc resume");
    EXPECT_TRUE(WaitUntil([] { return Exchange(kIsFinished) == Answer({0, 1}); }));
}

TEST_F(DriverInServer, ServiceProcessorIsGoneAndComesBack)
{
    Control("bmc kill");
    ExpectNoAnswer();
    Control("bmc start");
    EXPECT_TRUE(WaitUntil([] { return Exchange(kCollect) == Answer{0}; }));
}

// What a person reads who cannot get at the service processor.
class DeviceInServer : public Guest {
protected:
    // The collector's one line on stderr; it did not start, and did not take long to say so.
    std::string Refusal(std::unique_ptr<Program> run)
    {
        EXPECT_EQ(run->Wait(std::chrono::seconds(30)), 2);
        EXPECT_EQ(run->Output(), "");
        return run->Errors();
    }
};

TEST_F(DeviceInServer, ThereIsNone)
{
    Shell("rmmod ipmi_devintf");
    EXPECT_EQ(Refusal(Collect()), "ffdc-collect: no way to the service processor: no IPMI device: "
                                  "there is none of /dev/ipmi0, /dev/ipmi/0, /dev/ipmidev/0\n");
    EXPECT_TRUE(Exchange(kIsFinished).empty());
}

TEST_F(DeviceInServer, ThereIsNoServiceProcessorBehindIt)
{
    const std::string number = ContentsOf("/sys/class/ipmi/ipmi0/dev");
    Shell("rmmod ipmi_si");
    Control("bmc kill");
    EXPECT_NE(std::system("modprobe ipmi_si 2>/dev/null && test -e /dev/ipmi0"), 0);
    Shell("mknod /dev/ipmi0 c " + number.substr(0, number.find(':')) + " 0");
    EXPECT_EQ(Refusal(Collect()), "ffdc-collect: no way to the service processor: the driver of "
                                  "the IPMI device /dev/ipmi0 has found no BMC\n");
    EXPECT_TRUE(Exchange(kIsFinished).empty());
}

TEST_F(DeviceInServer, ItIsNotForAnOrdinaryUser)
{
    ::chmod(m_scratch.Path().c_str(), 0777);
    EXPECT_EQ(Refusal(std::make_unique<Program>(
                  std::vector<std::string>{"/bin/su", "nobody", "-c",
                                           "exec ffdc-collect service-processor --out " + m_out},
                  std::map<std::string, std::string>(), m_scratch.Path())),
              "ffdc-collect: no way to the service processor: not permitted to open the IPMI "
              "device /dev/ipmi0; root may\n");
}

} // namespace
