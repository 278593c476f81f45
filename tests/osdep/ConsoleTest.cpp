// The questions against a scripted keyboard, and the untimed one against a real standard input.
#include "osdep/Console.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/osdep/SystemTest.h"

#include <iostream>
#include <sstream>

namespace {

class ConsoleTest : public SystemTest {
protected:
    // The keys are pressed while action runs; what was shown.
    template <typename Action>
    static std::string Shown(std::deque<FakeConsole::Key> keys, Action action)
    {
        gConsole.Reset();
        gConsole.keys = std::move(keys);
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    // Asks "Go?" with a time-out: the answer, the seconds that passed and what was shown.
    static std::string Ask(std::deque<FakeConsole::Key> keys, int ticks)
    {
        bool yes = false;
        const std::string shown =
            Shown(std::move(keys), [&] { yes = VXAOSDep::GetChoiceWithTimeout("Go?", ticks); });
        return (yes ? "yes " : "no ") + std::to_string(gConsole.slept / 1000) + " " + shown;
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
    EXPECT_EQ(Ask({{3000, 'y'}}, 3), "no 3 Go?\n\n");
    EXPECT_THAT(gConsole.sleeps, ElementsAre(1000u, 1000u, 1000u));
    EXPECT_THAT(gLog.Messages(), ElementsAre("Go?"));
    EXPECT_EQ(Ask({{0, 'y'}}, 0), "no 0 ");
    EXPECT_EQ(Ask({{0, 'y'}}, -1), "no 0 ");
    EXPECT_THAT(gLog.Messages(), ElementsAre("Go?")) << "without time it is not asked";
}

TEST_F(ConsoleTest, WrongKeyStartsTheTimeAnewAndCountsAsATick)
{
    EXPECT_EQ(Ask({{0, 'x'}, {0, 'y'}}, 5), "yes 0 Go?\nInvalid input.\nGo?\nY\n\n");
    EXPECT_THAT(gLog.Messages(), ElementsAre("Go?", "Go?"));
    EXPECT_EQ(Ask({{3000, 'x'}}, 4), "no 6 Go?\nInvalid input.\nGo?\n\n");
    EXPECT_EQ(Ask({{0, 'x'}}, 1), "no 0 Go?\nInvalid input.\nGo?\n\n");
    EXPECT_EQ(Ask({{0, -1}, {0, 'y'}}, 2), "yes 1 Go?\nY\n\n") << "one that cannot be read is none";
}

TEST_F(ConsoleTest, PauseEndsWithAnyKeyAndConsumesOnlyThat)
{
    EXPECT_EQ(Shown({{2000, 'q'}, {2000, 'r'}}, PressAnyKeyToContinue),
              "\nPlease press ANY key to Continue ...\n");
    EXPECT_THAT(gConsole.sleeps, ElementsAre(1000u, 1000u));
    EXPECT_EQ(gConsole.keys.size(), 1u);
}

TEST_F(ConsoleTest, UntimedQuestionAcceptsOneLetterWithBlanksAround)
{
    std::istringstream input("yes\n\n  Y  \nY\r\nn\n\tN");
    const auto before = std::cin.rdbuf(input.rdbuf());
    EXPECT_EQ(Shown({}, [] { EXPECT_TRUE(GetChoice("Go? ")); }),
              "Go? Invalid Input!\nGo? Invalid Input!\nGo? ");
    EXPECT_TRUE(GetChoice(""));
    EXPECT_FALSE(GetChoice(""));
    EXPECT_FALSE(GetChoice("")) << "the last line has no end";
    std::cin.rdbuf(before);
    EXPECT_THAT(gConsole.sleeps, IsEmpty());
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

} // namespace
