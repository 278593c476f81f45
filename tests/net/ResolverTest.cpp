#include "net/Resolve.h"

#include <gmock/gmock.h>

#include <string>

namespace {

// No name server is asked: an address needs none, and a name part of 64 bytes is none.
TEST(ResolverTest, AnswersAndRefuses)
{
    EXPECT_TRUE(Resolves("127.0.0.1"));
    EXPECT_FALSE(Resolves(std::string(64, 'x').c_str()));
    EXPECT_TRUE(Resolves("127.0.0.1")) << "after a failure";
}

} // namespace
