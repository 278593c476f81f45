// The questions against a scripted keyboard, and the untimed one against a real standard input.
#include "osdep/Console.h"
#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/fakes/FakeLog.h"

#include <gmock/gmock.h>

#include <iostream>
#include <sstream>

using NORXVXA20::VXAOSDep;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Outcome {
    bool yes;
    std::string shown;
    unsigned long long seconds;

    bool operator==(const Outcome& other) const
    {
        return yes == other.yes && shown == other.shown && seconds == other.seconds;
    }
};

void PrintTo(const Outcome& outcome, std::ostream* out)
{
    *out << outcome.yes << " after " << outcome.seconds << " s: " << outcome.shown;
}

class ConsoleTest : public testing::Test {
protected:
    void SetUp() override
    {
        gLog.Reset();
        gConsole.Reset();
    }

    // Asks "Go?" with a time-out while the keys are pressed.
    static Outcome Ask(std::deque<FakeConsole::Key> keys, int ticks)
    {
        gConsole.Reset();
        gConsole.keys = std::move(keys);
        testing::internal::CaptureStdout();
        const bool yes = VXAOSDep::GetChoiceWithTimeout("Go?", ticks);
        return {yes, testing::internal::GetCapturedStdout(), gConsole.slept / 1000};
    }
};

TEST_F(ConsoleTest, TimedQuestionTakesYesAndNoInBothCases)
{
    EXPECT_EQ(Ask({{0, 'y'}}, 5), (Outcome{true, "Go?\nY\n\n", 0}));
    EXPECT_EQ(Ask({{2000, 'Y'}}, 5), (Outcome{true, "Go?\nY\n\n", 2}));
    EXPECT_EQ(Ask({{0, 'n'}}, 5), (Outcome{false, "Go?\nN\n\n", 0}));
    EXPECT_EQ(Ask({{0, 'N'}, {0, 'Y'}}, 5), (Outcome{false, "Go?\nN\n\n", 0}));
    EXPECT_EQ(gConsole.keys.size(), 1u) << "a key after the answer is left alone";
}

TEST_F(ConsoleTest, NoAnswerInTimeIsNo)
{
    EXPECT_EQ(Ask({}, 3), (Outcome{false, "Go?\n\n", 3}));
    EXPECT_THAT(gConsole.sleeps, ElementsAre(1000u, 1000u, 1000u));
    EXPECT_EQ(Ask({{3000, 'y'}}, 3), (Outcome{false, "Go?\n\n", 3}));
    EXPECT_THAT(gLog.Messages(), ElementsAre("Go?", "Go?"));
}

TEST_F(ConsoleTest, TimedQuestionWithoutTimeIsNotAsked)
{
    EXPECT_EQ(Ask({{0, 'y'}}, 0), (Outcome{false, "", 0}));
    EXPECT_EQ(Ask({{0, 'y'}}, -1), (Outcome{false, "", 0}));
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

TEST_F(ConsoleTest, WrongKeyStartsTheTimeAnewAndCountsAsATick)
{
    EXPECT_EQ(Ask({{0, 'x'}, {0, 'y'}}, 5), (Outcome{true, "Go?\nInvalid input.\nGo?\nY\n\n", 0}));
    EXPECT_THAT(gLog.Messages(), ElementsAre("Go?", "Go?"));
    EXPECT_EQ(Ask({{3000, 'x'}}, 4), (Outcome{false, "Go?\nInvalid input.\nGo?\n\n", 6}));
    EXPECT_EQ(Ask({{0, 'x'}}, 1), (Outcome{false, "Go?\nInvalid input.\nGo?\n\n", 0}));
}

TEST_F(ConsoleTest, KeyThatCannotBeReadIsNone)
{
    EXPECT_EQ(Ask({{0, -1}}, 2), (Outcome{false, "Go?\n\n", 2}));
    EXPECT_EQ(Ask({{0, -1}, {0, 'y'}}, 2), (Outcome{true, "Go?\nY\n\n", 1}));
}

TEST_F(ConsoleTest, PauseEndsWithAnyKeyAndConsumesOnlyThat)
{
    gConsole.keys = {{2000, 'q'}, {2000, 'r'}};
    testing::internal::CaptureStdout();
    PressAnyKeyToContinue();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nPlease press ANY key to Continue ...\n");
    EXPECT_THAT(gConsole.sleeps, ElementsAre(1000u, 1000u));
    EXPECT_EQ(gConsole.keys.size(), 1u);
}

TEST_F(ConsoleTest, UntimedQuestionAcceptsOneLetterWithBlanksAround)
{
    std::istringstream input("yes\n\n  Y  \nY\r\nn\n\tN");
    const auto before = std::cin.rdbuf(input.rdbuf());
    testing::internal::CaptureStdout();
    EXPECT_TRUE(GetChoice("Go? "));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Go? Invalid Input!\nGo? Invalid Input!\nGo? ");
    EXPECT_TRUE(GetChoice(""));
    EXPECT_FALSE(GetChoice(""));
    EXPECT_FALSE(GetChoice("")) << "the last line has no end";
    std::cin.rdbuf(before);
    EXPECT_THAT(gConsole.sleeps, IsEmpty());
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

// An input that ends twice and then goes on, as a terminal's does.
class EndingInput : public std::streambuf {
    int_type underflow() override
    {
        if (m_ends++ < 2)
            return traits_type::eof();
        setg(m_text, m_text, m_text + 2);
        return 'y';
    }
    int m_ends = 0;
    char m_text[3] = "y\n";
};

TEST_F(ConsoleTest, UntimedQuestionKeepsAskingAtTheEndOfTheInput)
{
    EndingInput input;
    const auto before = std::cin.rdbuf(&input);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(GetChoice("Go? "));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Go? Invalid Input!\nGo? Invalid Input!\nGo? ");
    std::cin.rdbuf(before);
    EXPECT_THAT(gConsole.sleeps, ElementsAre(1000u, 1000u));
}

} // namespace
