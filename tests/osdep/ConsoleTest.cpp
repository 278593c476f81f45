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

class ConsoleTest : public testing::Test {
protected:
    void SetUp() override
    {
        gLog.Reset();
        gConsole.Reset();
    }

    // Asks "Go?" with a time-out while the keys are pressed: the answer, the seconds that passed
    // and what was shown.
    static std::string Ask(std::deque<FakeConsole::Key> keys, int ticks)
    {
        gConsole.Reset();
        gConsole.keys = std::move(keys);
        testing::internal::CaptureStdout();
        const bool yes = VXAOSDep::GetChoiceWithTimeout("Go?", ticks);
        return std::string(yes ? "yes " : "no ") + std::to_string(gConsole.slept / 1000) + " " +
               testing::internal::GetCapturedStdout();
    }
};

TEST_F(ConsoleTest, TimedQuestionTakesYesAndNoInBothCases)
{
    EXPECT_EQ(Ask({{0, 'y'}}, 5), "yes 0 Go?\nY\n\n");
    EXPECT_EQ(Ask({{2000, 'Y'}}, 5), "yes 2 Go?\nY\n\n");
    EXPECT_EQ(Ask({{0, 'n'}}, 5), "no 0 Go?\nN\n\n");
    EXPECT_EQ(Ask({{0, 'N'}, {0, 'Y'}}, 5), "no 0 Go?\nN\n\n");
    EXPECT_EQ(gConsole.keys.size(), 1u) << "a key after the answer is left alone";
}

TEST_F(ConsoleTest, NoAnswerInTimeIsNo)
{
    EXPECT_EQ(Ask({}, 3), "no 3 Go?\n\n");
    EXPECT_THAT(gConsole.sleeps, ElementsAre(1000u, 1000u, 1000u));
    EXPECT_EQ(Ask({{3000, 'y'}}, 3), "no 3 Go?\n\n");
    EXPECT_THAT(gLog.Messages(), ElementsAre("Go?", "Go?"));
}

TEST_F(ConsoleTest, TimedQuestionWithoutTimeIsNotAsked)
{
    EXPECT_EQ(Ask({{0, 'y'}}, 0), "no 0 ");
    EXPECT_EQ(Ask({{0, 'y'}}, -1), "no 0 ");
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

TEST_F(ConsoleTest, WrongKeyStartsTheTimeAnewAndCountsAsATick)
{
    EXPECT_EQ(Ask({{0, 'x'}, {0, 'y'}}, 5), "yes 0 Go?\nInvalid input.\nGo?\nY\n\n");
    EXPECT_THAT(gLog.Messages(), ElementsAre("Go?", "Go?"));
    EXPECT_EQ(Ask({{3000, 'x'}}, 4), "no 6 Go?\nInvalid input.\nGo?\n\n");
    EXPECT_EQ(Ask({{0, 'x'}}, 1), "no 0 Go?\nInvalid input.\nGo?\n\n");
}

TEST_F(ConsoleTest, KeyThatCannotBeReadIsNone)
{
    EXPECT_EQ(Ask({{0, -1}}, 2), "no 2 Go?\n\n");
    EXPECT_EQ(Ask({{0, -1}, {0, 'y'}}, 2), "yes 1 Go?\nY\n\n");
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

} // namespace
