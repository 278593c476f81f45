#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeLog.h"
#include "tests/programs/Child.h"

#include "common/TVXAException.h"

#include <gmock/gmock.h>

#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>

using NORXVXA20::TVXAException;
using NORXVXA20::VXAOSDep;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SpawnPosixTest : public testing::Test {
protected:
    void SetUp() override { gLog.Reset(); }
};

std::size_t OpenFiles()
{
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST_F(SpawnPosixTest, NothingStaysOpenAndNoChildUnreapedAlsoAfterAFailure)
{
    const std::size_t before = OpenFiles();
    VXAOSDep::SpawnProcess(kTestChild, {"words"});
    VXAOSDep::SpawnProcess(kTestChild, {"words"}, 60);
    EXPECT_THROW(VXAOSDep::SpawnProcess("no-such-program-anywhere", {}), TVXAException);
    EXPECT_EQ(OpenFiles(), before);
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
    const int lowest = ::dup(0);
    ::close(lowest);
    const rlimit none{static_cast<rlim_t>(lowest), before.rlim_max};
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
    ::setenv("UTILS_TEST_VARIABLE", "text", 1);
    EXPECT_TRUE(VXAOSDep::UnsetEnvironment("UTILS_TEST_VARIABLE"));
    EXPECT_STREQ(::getenv("UTILS_TEST_VARIABLE"), "");
    ::unsetenv("UTILS_TEST_VARIABLE");
    EXPECT_TRUE(VXAOSDep::UnsetEnvironment("UTILS_TEST_VARIABLE"));
    EXPECT_STREQ(::getenv("UTILS_TEST_VARIABLE"), "");
    EXPECT_THAT(gLog.Messages(), IsEmpty());

    EXPECT_FALSE(VXAOSDep::UnsetEnvironment(""));
    EXPECT_FALSE(VXAOSDep::UnsetEnvironment("A=B"));
    EXPECT_THAT(gLog.Messages(), ElementsAre("[ERROR]PutEnvironment-GetLastError():22",
                                             "[ERROR]PutEnvironment-GetLastError():22"));
}

} // namespace
