// The kernel's IPMI driver in front of a BMC, through our driver library and the collector.
#include "tests/guest/Guest.h"

namespace {

using Answer = std::vector<unsigned char>;

class DriverInServer : public Guest {};

TEST_F(DriverInServer, ExchangesCommandsAndCompletionCodes)
{
    Control("ffdc polls 1");
    EXPECT_EQ(Exchange(kCollect), (Answer{0}));
    EXPECT_EQ(Exchange(kIsFinished), (Answer{0, 0}));
    EXPECT_EQ(Exchange(kIsFinished), (Answer{0, 1}));
    Control("ffdc cc 0x4d 0xd5");
    EXPECT_EQ(Exchange(kIsFinished), (Answer{0xd5}));
}

} // namespace
