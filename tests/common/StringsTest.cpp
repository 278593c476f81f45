#include "common/Strings.h"
#include "osdep/VXAOSDep.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <utility>

using NORXVXA20::VXAOSDep;
using testing::ElementsAre;

namespace {

TEST(StringsTest, TrimStripsTheFourBlanksOnlyAndInPlace)
{
    const std::pair<std::string, std::string> cases[] = {
        {"\t x \r\n", "x"},           {" \t\r\n", ""}, {"a b", "a b"}, {"\fx\v", "\fx\v"},
        {" \xA0y\xA0 ", "\xA0y\xA0"},
    };
    for (const auto& [text, stripped] : cases) {
        SCOPED_TRACE(text);
        std::string changed = text;
        EXPECT_EQ(TrimString(changed), stripped);
        EXPECT_EQ(changed, stripped);
    }
}

TEST(StringsTest, LoweringKnowsAsciiOnly)
{
    std::string text = "@AZ[az\xC4\xE4";
    EXPECT_EQ(ToLower(std::as_const(text)), "@az[az\xC4\xE4");
    EXPECT_EQ(text, "@AZ[az\xC4\xE4");
    EXPECT_EQ(ToLower(text), "@az[az\xC4\xE4");
    EXPECT_EQ(text, "@az[az\xC4\xE4");
}

TEST(StringsTest, NumberIsDigitsOnlyOrNothing)
{
    EXPECT_TRUE(isNum("") && isNum("0123456789"));
    for (const char* other : {"12a", "-1", "/", ":", "\xB2"})
        EXPECT_FALSE(isNum(other)) << other;
}

TEST(StringsTest, UnprintableBytesBecomeSpaces)
{
    std::string text("\x1f\x20~\x7f\xC3\xA4\xFF\0x", 9);
    CheckString(text);
    EXPECT_EQ(text, "  ~     x");
}

TEST(StringsTest, SplittingGoesOnOneByteAfterTheBeginningOfADelimiter)
{
    EXPECT_THAT(ParseString("a,,b", ","), ElementsAre("a", "", "b"));
    EXPECT_THAT(ParseString("", ","), ElementsAre(""));
    EXPECT_THAT(ParseString("a, b", ", "), ElementsAre("a", " b"));
    EXPECT_THAT(ParseString("a,,,b", ",,"), ElementsAre("a", "", ",b"));
    EXPECT_THAT(ParseString("abc", ""), ElementsAre("", "", "", ""));
}

TEST(StringsTest, SeparatorIsAppendedOnceAndNeverToNothing)
{
    const std::string& separator = VXAOSDep::gFileSeparator;
    EXPECT_EQ(AppendSeperator("x"), "x" + separator);
    EXPECT_EQ(AppendSeperator("x" + separator), "x" + separator);
    EXPECT_THROW(AppendSeperator(""), std::out_of_range);
}

TEST(StringsTest, ExtensionBeginsAtTheLastDotOfThePath)
{
    EXPECT_EQ(GetFileExtFromFilename("a.tar.gz"), ".gz");
    EXPECT_EQ(GetFileExtFromFilename("name"), "");
    EXPECT_EQ(GetFileExtFromFilename("dir.d/name"), ".d/name");
}

} // namespace
