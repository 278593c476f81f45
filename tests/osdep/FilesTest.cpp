// The file services against the real file system, where both systems agree.
#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

using NORXVXA20::VXAOSDep;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

const std::string& kSeparator = VXAOSDep::gFileSeparator;

class FilesTest : public testing::Test {
protected:
    void SetUp() override { gLog.Reset(); }

    TemporaryDirectory m_directory;
};

TEST_F(FilesTest, ExistenceTellsFilesFromDirectories)
{
    const std::string file = m_directory.Write("file", "x");
    const std::string missing = m_directory / "missing";
    const std::string belowFile = file + kSeparator + "x";
    EXPECT_TRUE(VXAOSDep::FileExists(file));
    EXPECT_FALSE(VXAOSDep::FileExists(m_directory.Path()));
    EXPECT_FALSE(VXAOSDep::DirExists(file));
    EXPECT_TRUE(VXAOSDep::DirExists(m_directory.Path()));
    for (const std::string& path : {missing, belowFile}) {
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

    EXPECT_EQ(VXAOSDep::GetFileSize(m_directory / "missing"), 0u);
    EXPECT_THAT(gLog.Messages(), ElementsAre("VXAOSDep::GetFileSize: file not found",
                                             "VXAOSDep::GetFileSize: file not found"));
    gLog.Reset();
    EXPECT_EQ(VXAOSDep::GetFileSize(m_directory.Path()), 0u);
    EXPECT_THAT(gLog.Messages(), ElementsAre("VXAOSDep::GetFileSize: file not found"));
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
    m_directory.Write("one.tgz", "");
    m_directory.Write("two.tgz", "");
    m_directory.Write("three.tgz.bak", "");
    const std::string& path = m_directory.Path();
    EXPECT_THAT(VXAOSDep::FindFile(path, ".tgz"), testing::AnyOf("one.tgz", "two.tgz"));
    EXPECT_EQ(VXAOSDep::FindFile(path, "ee.tg?.*"), "three.tgz.bak");
    EXPECT_EQ(VXAOSDep::FindFile(path, ".zip"), "");
    EXPECT_EQ(VXAOSDep::FindFile(m_directory / "missing", ".zip"), "");
    const std::string entering = "Entering VXAOSDep::FindFile";
    const std::string exiting = "Exiting VXAOSDep::FindFile";
    const std::string pattern = kSeparator + "*.zip'";
    EXPECT_THAT(gLog.Messages(),
                ElementsAre(entering, exiting, entering, exiting,                        //
                            entering, "File '" + path + pattern + " not fund!", exiting, //
                            entering,
                            "Failed to find the file '" + (m_directory / "missing") + pattern + "!",
                            exiting));
}

TEST_F(FilesTest, SearchFilesSkipsDottedNamesAndKeepsDirectories)
{
    for (const char* name : {"a.xml", "b.xml", ".hidden.xml", "c.xml.gz"})
        m_directory.Write(name, "");
    VXAOSDep::CreateDir(m_directory / "d.xml");
    EXPECT_THAT(VXAOSDep::SearchFiles(m_directory.Path(), ".xml"),
                UnorderedElementsAre("a.xml", "b.xml", "d.xml"));
    EXPECT_THAT(gLog.Messages(), ElementsAre("Entering VXAOSDep::SearchFiles, path:" +
                                                 m_directory.Path() + ", Ext:.xml",
                                             "Exiting VXAOSDep::SearchFiles"));
    EXPECT_THAT(VXAOSDep::SearchFiles(m_directory.Path(), ""),
                UnorderedElementsAre("a.xml", "b.xml", "c.xml.gz", "d.xml"));
    EXPECT_THAT(VXAOSDep::SearchFiles(m_directory / "missing", ".xml"), IsEmpty());
}

TEST_F(FilesTest, NameOfAPathNeedsASeparatorAndSomethingBehindIt)
{
    EXPECT_EQ(VXAOSDep::GetFileNameFromPath("a" + kSeparator + "b" + kSeparator + "c.txt"),
              "c.txt");
    EXPECT_EQ(VXAOSDep::GetFileNameFromPath(kSeparator + "c"), "c");
    EXPECT_EQ(VXAOSDep::GetFileNameFromPath("a" + kSeparator), "");
    EXPECT_EQ(VXAOSDep::GetFileNameFromPath("c.txt"), "");
    EXPECT_EQ(VXAOSDep::GetFileNameFromPath(""), "");
}

TEST_F(FilesTest, WholeFilesAreReadAndWrittenByteForByte)
{
    std::string data(100000, '\0');
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>(i * 7 % 256);
    const std::string path = m_directory.Write("file", "longer than what replaces it");

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
        EXPECT_EQ(VXAOSDep::OpenFile(path + kSeparator + "x" + kSeparator + "y"), nullptr);
    }
    gLog.Reset();
    VXAOSDep::WriteFile(nullptr, "x");
    VXAOSDep::CloseFile(nullptr);
    EXPECT_THAT(gLog.Messages(), IsEmpty());
}

} // namespace
