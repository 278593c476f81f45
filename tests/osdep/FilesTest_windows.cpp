#include "tests/osdep/SystemTest.h"

#include <windows.h>

#include <filesystem>

namespace {

using FilesWindowsTest = SystemTest;

// A name that the system cannot take fails with neither "not found" nor "access denied".
TEST_F(FilesWindowsTest, OtherFailuresCountAsADirectoryButNotAsAFile)
{
    const std::string path = m_directory / "a|b";
    EXPECT_FALSE(VXAOSDep::FileExists(path));
    EXPECT_TRUE(VXAOSDep::DirExists(path));
    EXPECT_THAT(gLog.Messages(), ElementsAre("VXAOSDep::FileExists: file system error",
                                             "VXAOSDep::DirExists: file system error"));
}

TEST_F(FilesWindowsTest, RemoveDirRefusesWhatTheShellWouldNotTakeAsOnePath)
{
    const std::string two = m_directory / "two";
    const std::string other = m_directory / "other";
    std::filesystem::create_directory(two);
    std::filesystem::create_directory(other);
    const std::string paths[] = {two + " " + other, two + "&rmdir /S /Q " + other,
                                 two + "|more",     two + "\n" + other,
                                 two + ">" + other, m_directory.Path() + "<x>",
                                 two + "^",         "\"" + two + "\"",
                                 two + "," + other, two + ";" + other,
                                 "%TEMP%",          m_directory.Path() + "/two"};
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
    EXPECT_EQ(VXAOSDep::OpenFile(path), nullptr);
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
}

} // namespace
