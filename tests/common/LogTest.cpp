#include "common/Log.h"
#include "common/TVXAException.h"
#include "tests/fakes/FakeLog.h"

#include <gmock/gmock.h>

#include <type_traits>

using namespace NORXVXA20;
using testing::ElementsAre;

namespace {

TEST(LogTest, LinesArriveUnchangedAtLevelThreeAndTheEchoAlsoWithoutALogger)
{
    gLog.Reset();
    testing::internal::CaptureStdout();
    DebugLog(std::string("a\n%s\0b", 6));
    EchoMsg("both");
    gLog.installed = false;
    DebugLog("nowhere");
    EchoMsg("");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "both\n\n");
    EXPECT_THAT(gLog.Messages(), ElementsAre(std::string("a\n%s\0b", 6), "both"));
    EXPECT_EQ(gLog.records.front().first, 3);
}

TEST(LogTest, LoggerThatGoesBetweenTheTwoRequestsIsSurvived)
{
    gLog.Reset();
    gLog.removeAfter = 1;
    DebugLog("lost");
    EXPECT_TRUE(gLog.records.empty());
}

TEST(StatusCodeTest, AssignmentReturnsAnIndependentCopy)
{
    TVXAStatusCode code(TVXAStatusCode::eFailed);
    const TVXAStatusCode other(TVXAStatusCode::eNoRoute);
    static_assert(sizeof(TVXAStatusCode) == 4 && !std::is_polymorphic_v<TVXAStatusCode>);
    (code = TVXAStatusCode::eCannotConnect) = TVXAStatusCode::eNoRoute;
    EXPECT_EQ(code.GetStatusCode(), 34);
    (code = other) = TVXAStatusCode::eFailed;
    EXPECT_EQ(code.GetStatusCode(), 33);
}

TEST(ExceptionTest, TextIsTheStatusCodesAlsoInACopy)
{
    const TVXAException first(TVXAStatusCode::eFailed);
    const TVXAException copy(first);
    EXPECT_STREQ(static_cast<const std::exception&>(copy).what(), "status 3");
}

} // namespace
