#include "common/TVXAException.h"
#include "osdep/FileDescriptor.h"
#include "tests/osdep/SystemTest.h"
#include "tests/programs/Child.h"

#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>

using NORXVXA20::TVXAException;

namespace {

using SpawnPosixTest = SystemTest;

int LowestFreeDescriptor()
{
    return FileDescriptor(::dup(0)).get();
}

TEST_F(SpawnPosixTest, NothingStaysOpenAndNoChildUnreapedAlsoAfterAFailure)
{
    const int before = LowestFreeDescriptor();
    VXAOSDep::SpawnProcess(kTestChild, {"words"});
    VXAOSDep::SpawnProcess(kTestChild, {"words"}, 60);
    EXPECT_THROW(VXAOSDep::SpawnProcess("no-such-program-anywhere", {}), TVXAException);
    EXPECT_EQ(LowestFreeDescriptor(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(SpawnPosixTest, ProgramStandsInTheCallersGroupUnlessThereIsALimit)
{
    EXPECT_THAT(VXAOSDep::SpawnProcess(kTestChild, {"inheritance"}), testing::EndsWith("leader 0"));
    EXPECT_THAT(VXAOSDep::SpawnProcess(kTestChild, {"inheritance"}, 60),
                testing::EndsWith("leader 1"));
}

TEST_F(SpawnPosixTest, NoPipeIsSaidSo)
{
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{static_cast<rlim_t>(LowestFreeDescriptor()), before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_THROW(VXAOSDep::SpawnProcess(kTestChild, {}), TVXAException);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_THAT(gLog.Messages(),
                ElementsAre("VXAOSDep::SpawnProcess ERROR: Stdout pipe creation failed"));
}

TEST_F(SpawnPosixTest, SignalsInterruptNeitherTheReadingNorTheWaiting)
{
    struct sigaction handler {};
    struct sigaction before {};
    handler.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &handler, &before);
    const itimerval often{{0, 2000}, {0, 2000}};
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    const std::string read = VXAOSDep::SpawnProcess(kTestChild, {"late", "300"}) + ", " +
                             VXAOSDep::SpawnProcess(kTestChild, {"late", "300"}, 60);
    const std::string waited = VXAOSDep::SpawnProcess(kTestChild, {"silent", "300"});
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(read, "first last, first last");
    EXPECT_EQ(waited, "");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child was not reaped";
}

TEST_F(SpawnPosixTest, VariableStaysDefinedAndEmpty)
{
    const char* const name = "UTILS_TEST_VARIABLE";
    ::setenv(name, "text", 1);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(VXAOSDep::UnsetEnvironment(name));
        EXPECT_STREQ(::getenv(name), "");
        ::unsetenv(name);
    }
    EXPECT_THAT(gLog.Messages(), IsEmpty());
    EXPECT_FALSE(VXAOSDep::UnsetEnvironment("A=B"));
    EXPECT_THAT(gLog.Messages(), ElementsAre("[ERROR]PutEnvironment-GetLastError():22"));
}

} // namespace
