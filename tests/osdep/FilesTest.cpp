// The file services where both systems agree.
#include "tests/osdep/SystemTest.h"

#include <filesystem>

using testing::UnorderedElementsAre;

namespace {

const std::string& kSeparator = VXAOSDep::gFileSeparator;

using FilesTest = SystemTest;

TEST_F(FilesTest, ExistenceTellsFilesFromDirectories)
{
    const std::string file = m_directory.Write("file", "x");
    EXPECT_TRUE(VXAOSDep::FileExists(file));
    EXPECT_FALSE(VXAOSDep::FileExists(m_directory.Path()));
    EXPECT_FALSE(VXAOSDep::DirExists(file));
    EXPECT_TRUE(VXAOSDep::DirExists(m_directory.Path()));
    for (const std::string& path : {m_directory / "missing", file + kSeparator + "x"}) {
        SCOPED_TRACE(path);
        EXPECT_FALSE(VXAOSDep::FileExists(path));
        EXPECT_FALSE(VXAOSDep::DirExists(path));
    }
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

TEST_F(FilesTest, SizeGoesBeyondFourGigabytesAndIsZeroForWhatIsMissing)
{
    const std::string big = m_directory.Write("big", "x");
    std::filesystem::resize_file(big, 5368709123u);
    EXPECT_EQ(VXAOSDep::GetFileSize(big), 5368709123u);
    EXPECT_THAT(gLog.Messages(), IsEmpty());

    const std::string notFound = "VXAOSDep::GetFileSize: file not found";
    EXPECT_EQ(VXAOSDep::GetFileSize(m_directory / "missing"), 0u);
    EXPECT_THAT(gLog.Messages(), ElementsAre(notFound, notFound));
    EXPECT_EQ(VXAOSDep::GetFileSize(m_directory.Path()), 0u);
    EXPECT_THAT(gLog.Messages(), ElementsAre(notFound, notFound, notFound));
}

TEST_F(FilesTest, CreateDirMakesOneLevelAndSaysWhyNot)
{
    const std::string path = m_directory / "new";
    VXAOSDep::CreateDir(path);
    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_THAT(gLog.Messages(), IsEmpty());
    VXAOSDep::CreateDir(path);
    VXAOSDep::CreateDir(m_directory / "a" + kSeparator + "b");
    EXPECT_THAT(gLog.Messages(), ElementsAre("VXAOSDep::CreateDir: dir already exist",
                                             "VXAOSDep::CreateDir: file system error"));
    EXPECT_FALSE(std::filesystem::exists(m_directory / "a"));
}

TEST_F(FilesTest, RemoveDirTakesTheWholeTreeAndNothingElse)
{
    std::filesystem::create_directories(m_directory / "tree" + kSeparator + "deep");
    m_directory.Write("tree" + kSeparator + "deep" + kSeparator + "file", "x");
    m_directory.Write("tree2", "stays");
    VXAOSDep::RemoveDir(m_directory / "tree");
    EXPECT_FALSE(std::filesystem::exists(m_directory / "tree"));
    EXPECT_TRUE(std::filesystem::exists(m_directory / "tree2"));
    EXPECT_THAT(gLog.Messages(),
                ElementsAre("Entering VXAOSDep::RemoveDir", "Exiting VXAOSDep::RemoveDir"));
}

TEST_F(FilesTest, FindFileMatchesTheEndOfANameOnce)
{
    for (const char* name : {"one.tgz", "two.tgz", "three.tgz.bak"})
        m_directory.Write(name, "");
    const std::string& path = m_directory.Path();
    EXPECT_THAT(VXAOSDep::FindFile(path, ".tgz"), testing::AnyOf("one.tgz", "two.tgz"));
    EXPECT_EQ(VXAOSDep::FindFile(path, ".zip"), "");
    EXPECT_EQ(VXAOSDep::FindFile(path + "x", ".zip"), "");
    const std::string entering = "Entering VXAOSDep::FindFile";
    const std::string exiting = "Exiting VXAOSDep::FindFile";
    const std::string pattern = kSeparator + "*.zip'";
    EXPECT_THAT(gLog.Messages(),
                ElementsAre(entering, exiting,                                           //
                            entering, "File '" + path + pattern + " not fund!", exiting, //
                            entering, "Failed to find the file '" + path + "x" + pattern + "!",
                            exiting));
    EXPECT_EQ(VXAOSDep::FindFile(path, "ee.tg?.*"), "three.tgz.bak");
}

TEST_F(FilesTest, SearchFilesSkipsDottedNamesAndKeepsDirectories)
{
    for (const char* name : {"a.xml", "b.xml", ".hidden.xml", "c.xml.gz"})
        m_directory.Write(name, "");
    std::filesystem::create_directory(m_directory / "d.xml");
    EXPECT_THAT(VXAOSDep::SearchFiles(m_directory.Path(), ".xml"),
                UnorderedElementsAre("a.xml", "b.xml", "d.xml"));
    EXPECT_THAT(gLog.Messages(), ElementsAre("Entering VXAOSDep::SearchFiles, path:" +
                                                 m_directory.Path() + ", Ext:.xml",
                                             "Exiting VXAOSDep::SearchFiles"));
    EXPECT_THAT(VXAOSDep::SearchFiles(m_directory / "missing", ".xml"), IsEmpty());
}

TEST_F(FilesTest, NameOfAPathNeedsASeparatorAndSomethingBehindIt)
{
    EXPECT_EQ(VXAOSDep::GetFileNameFromPath("a" + kSeparator + "b" + kSeparator + "c.txt"),
              "c.txt");
    EXPECT_EQ(VXAOSDep::GetFileNameFromPath("a" + kSeparator), "");
    EXPECT_EQ(VXAOSDep::GetFileNameFromPath("c.txt"), "");
}

TEST_F(FilesTest, WholeFilesAreReadAndWrittenByteForByte)
{
    const std::string data = std::string(100000, '\0') + "\r\n\x1a\xff";
    const std::string path = m_directory.Write("file", std::string(200000, 'x'));

    void* const handle = VXAOSDep::OpenFile(path);
    ASSERT_NE(handle, nullptr);
    VXAOSDep::WriteFile(handle, data);
    VXAOSDep::WriteFile(handle, "end");
    VXAOSDep::CloseFile(handle);

    std::string contents = "before";
    EXPECT_EQ(VXAOSDep::ReadFile(path, contents), 0);
    EXPECT_TRUE(contents == data + "end");
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

TEST_F(FilesTest, WhatCannotBeOpenedIsSaidAndLeavesEverythingAlone)
{
    std::string contents = "before";
    for (const std::string& path : {m_directory / "missing", m_directory.Path()}) {
        gLog.Reset();
        EXPECT_EQ(VXAOSDep::ReadFile(path, contents), -1);
        EXPECT_EQ(contents, "before");
        EXPECT_THAT(gLog.Messages(), ElementsAre("ERROR: CaptureFile failed to open: " + path));
    }
    gLog.Reset();
    void* const none = VXAOSDep::OpenFile(m_directory.Path());
    EXPECT_EQ(none, nullptr);
    VXAOSDep::WriteFile(none, "x");
    VXAOSDep::CloseFile(none);
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

} // namespace
