#include "backends/vxacore/PartFile.h"
#include "backends/vxacore/SftpLocation.h"
#include "backends/vxacore/Sha256.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

using namespace NORXVXA20;

namespace {

TEST(Sha256Test, KnownDigests)
{
    const struct {
        std::string text;
        const char* digest;
    } cases[] = {
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(1000000, 'a'),
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 10));
        Sha256 pieces; // that never fit a block
        for (std::size_t i = 0; i < c.text.size(); i += 77)
            pieces.Add(c.text.data() + i, std::min<std::size_t>(77, c.text.size() - i));
        EXPECT_EQ(pieces.Finish(), c.digest);
    }
}

TEST(SftpLocationTest, SplitsAtTheLastAtAndTheFirstColon)
{
    const std::pair<const char*, const char*> cases[] = {
        {"u:p@h:115/download/ffdc", "u, p, h:115, /download/ffdc"},
        {"u:p%41/x@y:z@[fe80::1]:22/d/", "u, p%41/x@y:z, [fe80::1]:22, /d"},
        {"u@h", "u, , h, "},
        {"h:22/a:b", ", , h:22, /a:b"},
        {"u:p@", "u, p, , "},
    };
    for (const auto& [remote, parts] : cases) {
        const SftpLocation location(remote);
        EXPECT_EQ(location.user + ", " + location.password + ", " + location.server + ", " +
                      location.directory,
                  parts);
        EXPECT_EQ(location.HasServer(), !location.server.empty());
    }
    EXPECT_FALSE(SftpLocation("u:p@host?/d").HasServer());
}

TEST(SftpLocationTest, UrlEncodesThePathAndHoldsNoCredentials)
{
    const SftpLocation location("user:secret@h:115/a b/%41");
    EXPECT_EQ(location.Url("50% #1?\xc3\xa4~"), "sftp://h:115/a%20b/%2541/50%25%20%231%3F%C3%A4~");
    EXPECT_EQ(SftpLocation("u:p@h").Url(""), "sftp://h/");
}

TEST(SftpLocationTest, RefusesNamesThatAreNotPlainFiles)
{
    for (const char* name : {"", ".", "..", "a/b", "../a", "a\\b", "a\nb", "a\x1b[2J", "\x7f"})
        EXPECT_FALSE(IsSafeFileName(name)) << name;
    for (const char* name : {"a", "...a", ".hidden", "a b%41", "COMMON.txt", "\xc3\xa4", "nul1"})
        EXPECT_TRUE(IsSafeFileName(name)) << name;
#if defined(_WIN32)
    const bool isFile = false;
#else
    const bool isFile = true;
#endif
    for (const char* name : {"a:b", "NUL", "con.txt", "Com1", "lpt9 .log", "a.", "a "})
        EXPECT_EQ(IsSafeFileName(name), isFile) << name;
}

TEST(PartFileTest, OnlyAWholeFileGetsTheNameAndOnlyAPartOfItMayStay)
{
    const struct {
        const char* contents;
        bool keep;
        bool stays;
    } cases[] = {{"ab", true, true}, {"ab", false, false}, {"", true, false}};
    for (const auto& c : cases) {
        const TemporaryDirectory directory;
        const std::string partPath = directory / "file.part";
        PartFile part(directory.Write("file", "older"), partPath);
        ASSERT_TRUE(part.Begin());
        EXPECT_TRUE(part.Append(c.contents, std::strlen(c.contents)));
        part.Abandon(c.keep);
        EXPECT_EQ(std::filesystem::exists(partPath), c.stays);
        EXPECT_EQ(ContentsOf(directory / "file"), "older");
    }
}

TEST(PartFileTest, FaultsHereAreExplained)
{
    const TemporaryDirectory directory;
    PartFile nowhere(directory / "missing/file", directory / "missing/file.part");
    EXPECT_FALSE(nowhere.Begin());
    EXPECT_NE(nowhere.Error(), "");

    std::filesystem::create_directories(directory / "file/occupied");
    PartFile part(directory / "file", directory / "file.part");
    ASSERT_TRUE(part.Begin());
    EXPECT_FALSE(part.Finish());
    EXPECT_NE(part.Error(), "");
}

} // namespace
