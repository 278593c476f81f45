#include "tests/collector/PasswordTest.h"

#include "collector/Password.h"
#include "collector/Terminal.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using testing::HasSubstr;
using testing::Not;

namespace {

TEST(PasswordTest, IsTypedUnseenAndMayBeCorrected)
{
    const Answer answer = Type("secrex\x7ft \r", "secret ");
    EXPECT_EQ(answer.exitCode, 0);
    EXPECT_THAT(answer.shown, HasSubstr("Password: "));
    EXPECT_THAT(answer.shown, Not(HasSubstr("ecre")));
}

TEST(PasswordTest, UserMayGiveUp)
{
    EXPECT_EQ(Type("secret\x03", "").exitCode, 2);
    EXPECT_EQ(Type(std::string(1, static_cast<char>(kEndOfInputKey)), "").exitCode, 2);
    EXPECT_EQ(Type("\r", "").exitCode, 0) << "an empty password is one";
}

TEST(PasswordTest, FileGivesItsFirstLine)
{
    const TemporaryDirectory directory;
    EXPECT_EQ(ReadPassword(directory.Write("dos", "se:cr@t/\r\nmore")), "se:cr@t/");
    EXPECT_EQ(ReadPassword(directory.Write("bare", "pw")), "pw");
    EXPECT_EQ(ReadPassword(directory.Write("empty", "")), std::nullopt);
    EXPECT_EQ(ReadPassword(directory / "missing"), std::nullopt);
}

} // namespace
