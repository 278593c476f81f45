#include "osdep/Process.h"
#include "tests/programs/Child.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <csignal>

using namespace std::chrono_literals;

namespace {

std::string Inheritance()
{
    return RunProcess(kTestChild + std::string(" inheritance"), {60s, 0s, {}}).output;
}

// The files of this process that every program inherits, as the test child names them.
std::string InheritableFiles()
{
    std::string files;
    for (int file = 3; file < 1024; ++file) {
        const int flags = ::fcntl(file, F_GETFD);
        if (flags >= 0 && (flags & FD_CLOEXEC) == 0)
            files += "file " + std::to_string(file) + " ";
    }
    return files;
}

TEST(ProcessPosixTest, ProgramStartsWithDefaultSignalsAndNoFilesOfTheRunner)
{
    const auto pipeBefore = std::signal(SIGPIPE, SIG_IGN);
    sigset_t hangUp;
    sigset_t before;
    ::sigemptyset(&hangUp);
    ::sigaddset(&hangUp, SIGHUP);
    ::sigprocmask(SIG_BLOCK, &hangUp, &before);
    const std::string inherited = Inheritance();
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    std::signal(SIGPIPE, pipeBefore);
    EXPECT_EQ(inherited, InheritableFiles() + "leader 1");
}

// The runner's own pipe then has the number of a standard stream.
TEST(ProcessPosixTest, CallerWithoutStandardStreamsGetsTheOutputToo)
{
    for (int closed : {0, 1, 2}) {
        SCOPED_TRACE(closed);
        const FileDescriptor saved(::fcntl(closed, F_DUPFD_CLOEXEC, 10));
        ::close(closed);
        const std::string words =
            RunProcess(kTestChild + std::string(" words a"), {60s, 0s, {}}).output;
        const std::string errors =
            RunProcess(kTestChild + std::string(" error b"), {60s, 0s, {}}).output;
        ::dup2(saved.get(), closed);
        EXPECT_EQ(words + errors, "[a]b");
    }
}

TEST(ProcessPosixTest, SignalsInterruptNeitherTheReadingNorTheWaiting)
{
    struct sigaction handler {};
    struct sigaction before {};
    handler.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &handler, &before);
    const itimerval often{{0, 2000}, {0, 2000}};
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    const ProcessResult read = RunProcess(kTestChild + std::string(" late 300"), {60s, 0s, {}});
    const ProcessResult waited = RunProcess(kTestChild + std::string(" silent 300"), {60s, 0s, {}});
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(read.output, "first last");
    EXPECT_EQ(waited.end, EProcessEnd::eOwn);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child was not reaped";
}

TEST(ProcessPosixTest, CallerThatIgnoresItsChildrenIsServedToo)
{
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    const ProcessResult result = RunProcess(kTestChild + std::string(" words a"), {60s, 0s, {}});
    std::signal(SIGCHLD, before);
    EXPECT_EQ(result.end, EProcessEnd::eOwn);
    EXPECT_EQ(result.output, "[a]");
}

} // namespace
