#include "osdep/Process.h"
#include "tests/programs/Child.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <csignal>

using namespace std::chrono_literals;

namespace {

std::string RunChild(const std::string& arguments)
{
    return RunProcess(kTestChild + (" " + arguments), {60s, 0s, {}}).output;
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
    const std::string inherited = RunChild("inheritance");
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
        const std::string output = RunChild("words a") + RunChild("error b");
        ::dup2(saved.get(), closed);
        EXPECT_EQ(output, "[a]b");
    }
}

TEST(ProcessPosixTest, CallerThatIgnoresItsChildrenIsServedToo)
{
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(RunChild("words a"), "[a]");
    std::signal(SIGCHLD, before);
}

} // namespace
