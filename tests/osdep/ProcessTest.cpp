#include "osdep/Process.h"
#include "tests/programs/Child.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <stdexcept>

using namespace std::chrono_literals;
using testing::StartsWith;

namespace {

using Clock = std::chrono::steady_clock;

// Far above what any run takes, so that a hang fails instead of waiting for ctest.
const ProcessLimits kAmple{60s, 0s, {}};

ProcessResult RunChild(const std::string& arguments, const ProcessLimits& limits = kAmple)
{
    return RunProcess(kTestChild + (" " + arguments), limits);
}

TEST(ProcessTest, ErrorsArriveTooAndStandardInputIsEmpty)
{
    EXPECT_EQ(RunChild("error oops").output, "oops");
    EXPECT_EQ(RunChild("input").output, "input ends");
}

TEST(ProcessTest, WordsAreSplitAtBlanksAndTabsOutsideQuotes)
{
    EXPECT_EQ(RunChild("words  a\t b ").output, "[a][b]");
    EXPECT_EQ(RunChild("words \"a  b\"c \"\" d").output, "[a  bc][][d]");
    EXPECT_EQ(RunChild("words $HOME * ; | > x").output, "[$HOME][*][;][|][>][x]");
}

TEST(ProcessTest, WhatIsNoProgramIsNotStarted)
{
    EXPECT_EQ(RunProcess("no-such-program-anywhere -x", kAmple).end, EProcessEnd::eNotStarted);
    EXPECT_EQ(RunProcess(" \t", kAmple).end, EProcessEnd::eNotStarted);
}

TEST(ProcessTest, SilenceIsCountedFromTheLastOutputAndTheTotalFromTheStart)
{
    const auto start = Clock::now();
    const ProcessResult result = RunChild("drip 20", {2s, 1500ms, {}});
    EXPECT_EQ(result.end, EProcessEnd::eLimit);
    EXPECT_GE(Clock::now() - start, 2s) << "every drip starts the silence anew";
    EXPECT_THAT(result.output, StartsWith("..."));
    EXPECT_EQ(RunChild("drip 600000", {0s, 1s, {}}).end, EProcessEnd::eLimit);
}

TEST(ProcessTest, ProgramThatClosedItsOutputIsStillWaitedFor)
{
    const auto start = Clock::now();
    EXPECT_EQ(RunChild("silent 700").end, EProcessEnd::eOwn);
    EXPECT_GE(Clock::now() - start, 700ms);
}

TEST(ProcessTest, TickComesAtLeastEverySecond)
{
    auto last = Clock::now();
    auto longest = Clock::duration::zero();
    const auto tick = [&] {
        const auto now = Clock::now();
        longest = std::max(longest, now - last);
        last = now;
    };
    RunChild("drip 5", {2s, 0s, tick});
    EXPECT_EQ(RunChild("silent 300000", {0s, 2s, tick}).end, EProcessEnd::eLimit);
    tick();
    EXPECT_LT(longest, 2s); // a loaded machine included
}

TEST(ProcessTest, ThrowingTickEndsTheProgram)
{
    const TemporaryDirectory directory;
    const std::string file = directory / "held";
    EXPECT_THROW(RunChild("parent " + file, {0s, 0s, [] { throw std::runtime_error("stop"); }}),
                 std::runtime_error);
    EXPECT_TRUE(BecomesFree(file));
}

} // namespace
