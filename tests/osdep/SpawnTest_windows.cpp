#include "common/TVXAException.h"
#include "tests/osdep/SystemTest.h"
#include "tests/programs/Child.h"

#include <windows.h>

using NORXVXA20::TVXAException;

namespace {

using SpawnWindowsTest = SystemTest;

DWORD OpenHandles()
{
    DWORD count = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &count);
    return count;
}

// Not so when there is no such variable.
bool IsDefinedAndEmpty(const char* name)
{
    char text[16];
    ::SetLastError(ERROR_SUCCESS);
    return ::GetEnvironmentVariableA(name, text, sizeof text) == 0 &&
           ::GetLastError() == ERROR_SUCCESS;
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

TEST_F(SpawnWindowsTest, VariableStaysDefinedAndEmpty)
{
    const char* const name = "UTILS_TEST_VARIABLE";
    ::SetEnvironmentVariableA(name, "text");
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(VXAOSDep::UnsetEnvironment(name));
        EXPECT_TRUE(IsDefinedAndEmpty(name));
        ::SetEnvironmentVariableA(name, nullptr);
        EXPECT_FALSE(IsDefinedAndEmpty(name));
    }
    EXPECT_THAT(gLog.Messages(), IsEmpty());
    EXPECT_FALSE(VXAOSDep::UnsetEnvironment("A=B"));
    EXPECT_THAT(gLog.Messages(), ElementsAre("[ERROR]PutEnvironment-GetLastError():87"));
}

} // namespace
