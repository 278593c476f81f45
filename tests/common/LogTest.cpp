#include "common/Log.h"
#include "common/TVXAException.h"
#include "tests/fakes/FakeLog.h"

#include <gmock/gmock.h>

#include <type_traits>

using namespace NORXVXA20;
using testing::ElementsAre;

namespace {

class LogTest : public testing::Test {
protected:
    void SetUp() override { gLog.Reset(); }
};

TEST_F(LogTest, LinesArriveUnchangedAtLevelThree)
{
    DebugLog("");
    DebugLog(std::string("a\n%s\0b", 6));
    EXPECT_THAT(gLog.Messages(), ElementsAre("", std::string("a\n%s\0b", 6)));
    EXPECT_EQ(gLog.records.back().level, 3);
}

TEST_F(LogTest, EchoPrintsTheLineAlsoWithoutALogger)
{
    testing::internal::CaptureStdout();
    EchoMsg("both");
    gLog.installed = false;
    EchoMsg("");
    EchoMsg("console only");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "both\n\nconsole only\n");
    EXPECT_THAT(gLog.Messages(), ElementsAre("both"));
}

TEST_F(LogTest, LoggerThatGoesBetweenTheTwoRequestsIsSurvived)
{
    gLog.removeAfter = 1;
    DebugLog("lost");
    EXPECT_TRUE(gLog.records.empty());
    gLog.removeAfter = 2;
    DebugLog("written");
    EXPECT_EQ(gLog.removeAfter, 0) << "the logger is asked for twice a line";
    EXPECT_THAT(gLog.Messages(), ElementsAre("written"));
}

TEST(StatusCodeTest, AssignmentReturnsAnIndependentCopy)
{
    TVXAStatusCode code(TVXAStatusCode::eFailed);
    TVXAStatusCode other(TVXAStatusCode::eNoRoute);
    static_assert(std::is_same_v<decltype(code = TVXAStatusCode::eNoRoute), TVXAStatusCode>);
    static_assert(std::is_same_v<decltype(code = other), TVXAStatusCode>);
    static_assert(sizeof(TVXAStatusCode) == 4 && !std::is_polymorphic_v<TVXAStatusCode>);
    (code = TVXAStatusCode::eCannotConnect) = TVXAStatusCode::eNoRoute;
    EXPECT_EQ(code.GetStatusCode(), 34);
    (code = other) = TVXAStatusCode::eFailed;
    EXPECT_EQ(code.GetStatusCode(), 33);
    EXPECT_EQ(other.GetStatusCode(), static_cast<EVXAStatusCode>(33));
}

TEST(ExceptionTest, TextIsTheStatusCodesAndSurvivesCopies)
{
    try {
        throw TVXAException(TVXAStatusCode::eFailed);
    } catch (const std::exception& caught) {
        EXPECT_STREQ(caught.what(), "status 3");
        const TVXAException copy(dynamic_cast<const TVXAException&>(caught));
        EXPECT_STREQ(copy.what(), caught.what());
    }
}

} // namespace
