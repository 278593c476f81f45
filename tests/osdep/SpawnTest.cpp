// Programs and the environment through the library's own class.
#include "common/TVXAException.h"
#include "tests/osdep/SystemTest.h"
#include "tests/programs/Child.h"

#include <chrono>
#include <functional>

using NORXVXA20::TVXAException;

namespace {

const std::string kReturned =
    "VXAOSDep::SpawnProcess Debug (win toss): GetFileContents() Returned: ";

using SpawnTest = SystemTest;

// Both forms do the same where no limit is reached.
void ExpectOutput(const std::vector<std::string>& arguments, const std::string& output)
{
    SCOPED_TRACE(arguments.empty() ? "" : arguments.front());
    gLog.Reset();
    EXPECT_EQ(VXAOSDep::SpawnProcess(kTestChild, arguments), output);
    EXPECT_EQ(VXAOSDep::SpawnProcess(kTestChild, arguments, 60), output);
    EXPECT_THAT(gLog.Messages(), ElementsAre(kReturned + output, kReturned + output));
}

TEST_F(SpawnTest, OutputAndErrorsAreReturnedAndLoggedWhateverTheExitCode)
{
    ExpectOutput({"error", "oops"}, "oops");
    ExpectOutput({"zeros"}, std::string("a\0b\0\0c\n", 7));
    ExpectOutput({"exit", "7"}, "leaving");
    ExpectOutput({}, "no such command");
    ExpectOutput({"late", "300"}, "first last");
    // Arguments are joined by blanks, and nothing is quoted.
    ExpectOutput({"words", "-c 3", "", "\"a b\"", "c\td"}, "[-c][3][a b][c][d]");
}

TEST_F(SpawnTest, MuchOutputArrivesWholeAlsoWithoutALogger)
{
    gLog.installed = false;
    EXPECT_EQ(VXAOSDep::SpawnProcess(kTestChild, {"many", "20000000"}).size(), 20000000u);
    EXPECT_EQ(VXAOSDep::SpawnProcess(kTestChild, {"many", "20000000"}, 0).size(), 20000000u);
}

TEST_F(SpawnTest, WhatCannotBeStartedIsLoggedAndThrown)
{
    const std::string program = "no-such-program-anywhere";
    const std::function<void()> forms[] = {[&] { VXAOSDep::SpawnProcess(program, {}); },
                                           [&] { VXAOSDep::SpawnProcess(program, {}, 60); }};
    for (const auto& spawn : forms) {
        gLog.Reset();
        try {
            spawn();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const TVXAException& exception) {
            EXPECT_EQ(exception.GetStatusCode().GetStatusCode(), 3);
        }
        EXPECT_THAT(gLog.Messages(),
                    ElementsAre("VXAOSDep::SpawnProcess ERROR: CreateProcess Failed"));
    }
}

TEST_F(SpawnTest, ProgramThatClosedItsOutputIsStillWaitedFor)
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(VXAOSDep::SpawnProcess(kTestChild, {"silent", "300"}), "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(SpawnTest, LimitEndsTheProgramWithItsChildrenAndReturnsWhatWasRead)
{
    const std::string file = m_directory / "held";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(VXAOSDep::SpawnProcess(kTestChild, {"parent", file}, 3), "held");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    EXPECT_TRUE(BecomesFree(file));
    EXPECT_THAT(gLog.Messages(), ElementsAre("VXAOSDep::SpawnProcess ERROR: time limit reached",
                                             kReturned + "held"));
    EXPECT_THAT(VXAOSDep::SpawnProcess(kTestChild, {"drip", "20"}, 1), testing::StartsWith("..."))
        << "the limit is for the whole run, not for a silence";
}

} // namespace
