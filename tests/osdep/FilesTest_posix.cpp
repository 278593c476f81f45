#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

using NORXVXA20::VXAOSDep;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class FilesPosixTest : public testing::Test {
protected:
    void SetUp() override { gLog.Reset(); }

    TemporaryDirectory m_directory;
};

// A name too long for the file system fails with neither "not found" nor "access denied", for root
// too.
TEST_F(FilesPosixTest, OtherFailuresCountAsADirectoryButNotAsAFile)
{
    const std::string path = m_directory / std::string(300, 'n');
    EXPECT_FALSE(VXAOSDep::FileExists(path));
    EXPECT_TRUE(VXAOSDep::DirExists(path));
    EXPECT_EQ(VXAOSDep::GetFileSize(path), 0u);
    EXPECT_THAT(gLog.Messages(), ElementsAre("VXAOSDep::FileExists: file system error",
                                             "VXAOSDep::DirExists: file system error",
                                             "VXAOSDep::FileExists: file system error",
                                             "VXAOSDep::GetFileSize: file not found",
                                             "VXAOSDep::GetFileSize: file system error"));
}

TEST_F(FilesPosixTest, RefusedDirectoryIsAccessDenied)
{
    // Root is refused by the kernel's own file systems only.
    const bool root = ::geteuid() == 0;
    ::chmod(m_directory.Path().c_str(), 0500);
    VXAOSDep::CreateDir(root ? std::string("/sys/kernel/new") : m_directory / "new");
    ::chmod(m_directory.Path().c_str(), 0700);
    EXPECT_THAT(gLog.Messages(), ElementsAre("VXAOSDep::CreateDir: access denied"));
}

TEST_F(FilesPosixTest, PatternsAreCaseSensitiveAndKnowNoBrackets)
{
    m_directory.Write("A.TGZ", "");
    m_directory.Write("b[1].log", "");
    m_directory.Write("c\\d", "");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory.Path(), ".tgz"), "");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory.Path(), "[1].log"), "b[1].log");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory.Path(), "\\d"), "c\\d");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory.Path(), "[AT].TGZ"), "");
}

TEST_F(FilesPosixTest, RemoveDirNeedsNoShellAndFollowsNoLink)
{
    const std::string outside = m_directory / "outside";
    const std::string path = m_directory / "a b; $(touch x) & \"c'";
    VXAOSDep::CreateDir(outside);
    VXAOSDep::CreateDir(path);
    std::filesystem::create_symlink(outside, path + "/link");
    gLog.Reset();
    VXAOSDep::RemoveDir(path);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(std::filesystem::exists(outside));
    VXAOSDep::RemoveDir(path);
    EXPECT_THAT(gLog.Messages(),
                ElementsAre("Entering VXAOSDep::RemoveDir", "Exiting VXAOSDep::RemoveDir",
                            "Entering VXAOSDep::RemoveDir", "rmdir '" + path + "' failed!",
                            "Exiting VXAOSDep::RemoveDir"));
}

TEST_F(FilesPosixTest, DescriptorZeroIsAHandleLikeAnyOther)
{
    const int keep = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    void* const handle = VXAOSDep::OpenFile(m_directory / "zero");
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), FD_CLOEXEC);
    VXAOSDep::WriteFile(handle, "text");
    VXAOSDep::CloseFile(handle);
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);
    ::dup2(keep, STDIN_FILENO);
    ::close(keep);
    EXPECT_EQ(ContentsOf(m_directory / "zero"), "text");
}

TEST_F(FilesPosixTest, ReadFileClosesWhatItOpened)
{
    const std::string path = m_directory.Write("file", "x");
    const int before = ::dup(STDIN_FILENO);
    ::close(before);
    std::string contents;
    for (int i = 0; i < 3; ++i)
        VXAOSDep::ReadFile(path, contents);
    const int after = ::dup(STDIN_FILENO);
    ::close(after);
    EXPECT_EQ(before, after);
}

TEST_F(FilesPosixTest, PipeIsReadToItsEndAndLeftToTheCaller)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const std::string data(10000, '\0');
    EXPECT_EQ(::write(ends[1], data.data(), data.size()), 10000);
    ::close(ends[1]);
    EXPECT_TRUE(VXAOSDep::GetFileContents(ends[0], "pipe") == data);
    EXPECT_EQ(::close(ends[0]), 0);
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

} // namespace
