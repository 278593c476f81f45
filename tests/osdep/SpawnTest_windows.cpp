#include "common/TVXAException.h"
#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeLog.h"
#include "tests/programs/Child.h"

#include <gmock/gmock.h>

#include <windows.h>

using NORXVXA20::TVXAException;
using NORXVXA20::VXAOSDep;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SpawnWindowsTest : public testing::Test {
protected:
    void SetUp() override { gLog.Reset(); }
};

DWORD OpenHandles()
{
    DWORD count = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &count);
    return count;
}

// The length of a variable's text, or the error when it is not defined.
std::pair<DWORD, DWORD> Look(const char* name)
{
    char text[16];
    ::SetLastError(0);
    const DWORD length = ::GetEnvironmentVariableA(name, text, sizeof text);
    return {length, ::GetLastError()};
}

TEST_F(SpawnWindowsTest, NothingStaysOpenAlsoAfterAFailure)
{
    VXAOSDep::SpawnProcess(kTestChild, {"words"}); // what the first call loads stays
    EXPECT_THROW(VXAOSDep::SpawnProcess("no-such-program-anywhere", {}), TVXAException);
    const DWORD before = OpenHandles();
    for (int i = 0; i < 10; ++i) {
        VXAOSDep::SpawnProcess(kTestChild, {"words"});
        VXAOSDep::SpawnProcess(kTestChild, {"words"}, 60);
        EXPECT_THROW(VXAOSDep::SpawnProcess("no-such-program-anywhere", {}), TVXAException);
    }
    EXPECT_LE(OpenHandles(), before);
}

TEST_F(SpawnWindowsTest, CommandLineArrivesAsItIs)
{
    EXPECT_EQ(VXAOSDep::SpawnProcess(kTestChild, {"words", "a\\\"b"}), "[a\"b]");
}

TEST_F(SpawnWindowsTest, VariableStaysDefinedAndEmpty)
{
    ::SetEnvironmentVariableA("UTILS_TEST_VARIABLE", "text");
    EXPECT_TRUE(VXAOSDep::UnsetEnvironment("UTILS_TEST_VARIABLE"));
    EXPECT_EQ(Look("UTILS_TEST_VARIABLE"), std::make_pair(DWORD(0), DWORD(0)));
    ::SetEnvironmentVariableA("UTILS_TEST_VARIABLE", nullptr);
    EXPECT_EQ(Look("UTILS_TEST_VARIABLE").second, DWORD(ERROR_ENVVAR_NOT_FOUND));
    EXPECT_TRUE(VXAOSDep::UnsetEnvironment("UTILS_TEST_VARIABLE"));
    EXPECT_EQ(Look("UTILS_TEST_VARIABLE"), std::make_pair(DWORD(0), DWORD(0)));
    EXPECT_THAT(gLog.Messages(), IsEmpty());

    EXPECT_FALSE(VXAOSDep::UnsetEnvironment(""));
    EXPECT_FALSE(VXAOSDep::UnsetEnvironment("A=B"));
    EXPECT_THAT(gLog.Messages(), ElementsAre("[ERROR]PutEnvironment-GetLastError():87",
                                             "[ERROR]PutEnvironment-GetLastError():87"));
}

} // namespace
