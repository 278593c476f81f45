#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <filesystem>

using NORXVXA20::VXAOSDep;
using testing::ElementsAre;

namespace {

class FilesWindowsTest : public testing::Test {
protected:
    void SetUp() override { gLog.Reset(); }

    TemporaryDirectory m_directory;
};

// A name that the system cannot take fails with neither "not found" nor "access denied".
TEST_F(FilesWindowsTest, OtherFailuresCountAsADirectoryButNotAsAFile)
{
    const std::string path = m_directory / "a|b";
    EXPECT_FALSE(VXAOSDep::FileExists(path));
    EXPECT_TRUE(VXAOSDep::DirExists(path));
    VXAOSDep::CreateDir(path);
    EXPECT_THAT(gLog.Messages(), ElementsAre("VXAOSDep::FileExists: file system error",
                                             "VXAOSDep::DirExists: file system error",
                                             "VXAOSDep::CreateDir: file system error"));
}

TEST_F(FilesWindowsTest, PatternsIgnoreCase)
{
    m_directory.Write("A.TGZ", "");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory.Path(), ".tgz"), "A.TGZ");
}

TEST_F(FilesWindowsTest, RemoveDirRefusesWhatTheShellWouldNotTakeAsOnePath)
{
    VXAOSDep::CreateDir(m_directory / "two");
    VXAOSDep::CreateDir(m_directory / "other");
    const std::string two = m_directory / "two";
    const std::string other = m_directory / "other";
    const std::string paths[] = {
        two + " " + other,
        two + "&rmdir /S /Q " + other,
        two + "|more",
        two + "\n" + other,
        "\"" + two + "\"",
        two + "^",
        "%TEMP%",
        two + ">" + other,
        m_directory.Path() + "<x>",
        two + "," + other,
        two + ";" + other,
        m_directory.Path() + "/two",
    };
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        gLog.Reset();
        VXAOSDep::RemoveDir(path);
        EXPECT_THAT(gLog.Messages(),
                    ElementsAre("Entering VXAOSDep::RemoveDir", "rmdir '" + path + "' failed!",
                                "Exiting VXAOSDep::RemoveDir"));
        EXPECT_TRUE(std::filesystem::exists(two));
        EXPECT_TRUE(std::filesystem::exists(other));
    }
}

TEST_F(FilesWindowsTest, ReadFileLeavesTheFileOpen)
{
    const std::string path = m_directory.Write("file", "x");
    std::string contents;
    EXPECT_EQ(VXAOSDep::ReadFile(path, contents), 0);
    // Shared for reading only, so a writer is refused as long as the handle is open.
    const HANDLE writer = ::CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(writer, INVALID_HANDLE_VALUE);
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
}

} // namespace
