#include "osdep/FileDescriptor.h"
#include "tests/osdep/SystemTest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

using FilesPosixTest = SystemTest;

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
    for (const char* name : {"A.TGZ", "b[1].log", "c\\d"})
        m_directory.Write(name, "");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory.Path(), ".tgz"), "");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory.Path(), "[1].log"), "b[1].log");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory.Path(), "\\d"), "c\\d");
}

TEST_F(FilesPosixTest, RemoveDirNeedsNoShellAndFollowsNoLink)
{
    const std::string outside = m_directory / "outside";
    const std::string path = m_directory / "a b; $(touch x) & \"c'";
    std::filesystem::create_directory(outside);
    std::filesystem::create_directory(path);
    std::filesystem::create_symlink(outside, path + "/link");
    VXAOSDep::RemoveDir(path);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(std::filesystem::exists(outside));
    gLog.Reset();
    VXAOSDep::RemoveDir(path);
    EXPECT_THAT(gLog.Messages(),
                ElementsAre("Entering VXAOSDep::RemoveDir", "rmdir '" + path + "' failed!",
                            "Exiting VXAOSDep::RemoveDir"));
}

TEST_F(FilesPosixTest, DescriptorZeroIsAHandleLikeAnyOther)
{
    const FileDescriptor standardInput(::dup(STDIN_FILENO));
    const std::string path = m_directory / "zero";
    std::string contents;
    ::close(STDIN_FILENO);
    void* const handle = VXAOSDep::OpenFile(path);
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), FD_CLOEXEC);
    VXAOSDep::WriteFile(handle, "text");
    VXAOSDep::CloseFile(handle);
    EXPECT_EQ(VXAOSDep::ReadFile(path, contents), 0);
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1) << "each is closed again";
    EXPECT_EQ(::open(path.c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    EXPECT_EQ(VXAOSDep::GetFileContents(STDIN_FILENO, path), contents);
    EXPECT_NE(::fcntl(STDIN_FILENO, F_GETFD), -1) << "this one is the caller's";
    ::dup2(standardInput.get(), STDIN_FILENO);
    EXPECT_EQ(contents, "text");
}

} // namespace
