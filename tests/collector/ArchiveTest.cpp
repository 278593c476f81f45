// The archive's test, with archives of the real packer.
#include "collector/Archive.h"
#include "tests/support/Host.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <filesystem>

using testing::HasSubstr;

namespace fs = std::filesystem;

namespace {

class ArchiveTest : public testing::Test {
protected:
    void SetUp() override
    {
        fs::create_directory(m_kept);
        std::string text;
        for (int i = 0; i < 20000; ++i)
            text += "line " + std::to_string(i) + " of many\n";
        m_folder.Write("kept/packed.txt", text);
        m_folder.Write("kept/stored", "a");
        m_folder.Write("kept/empty", "");
    }

    // Has the packer put all that was kept into a new archive; its path.
    std::string Pack(const std::string& options = "")
    {
        const std::string archive = m_folder / "archive.zip";
        fs::remove(archive);
        const HostAnswer answer =
            RunOnHost("echo a comment | zip -q -z -r -j " + options + " " +
                      ShellWord(HostPath(archive)) + " " + ShellWord(HostPath(m_kept)));
        EXPECT_EQ(answer.status, 0) << answer.output;
        return archive;
    }

    const TemporaryDirectory m_folder;
    const std::string m_kept = m_folder / "kept";
};

TEST_F(ArchiveTest, WholeOneHasNoFault)
{
    EXPECT_EQ(FindArchiveFault(Pack(), m_kept), "");
    EXPECT_EQ(FindArchiveFault(Pack("-0"), m_kept), "") << "nothing packed";
}

TEST_F(ArchiveTest, EveryDifferenceIsNamed)
{
    const std::string archive = Pack();
    for (const char* other : {"b", "ab", ""}) {
        m_folder.Write("kept/stored", other);
        EXPECT_EQ(FindArchiveFault(archive, m_kept), "\"stored\" in it differs from what arrived");
    }
    fs::remove(m_folder / "kept/stored");
    EXPECT_EQ(FindArchiveFault(archive, m_kept), "it holds more than what arrived");
    m_folder.Write("kept/stored", "a");
    m_folder.Write("kept/new", "");
    EXPECT_EQ(FindArchiveFault(archive, m_kept), "\"new\" is not in it");
}

TEST_F(ArchiveTest, DamageIsFound)
{
    EXPECT_THAT(FindArchiveFault(Pack("-e -P secret"), m_kept), HasSubstr("differs"));
    const std::string whole = ContentsOf(Pack());
    const std::size_t sum = whole.rfind("packed.txt") - 30; // in the archive's list
    for (const std::size_t at : {whole.find("packed.txt") + 20000, sum}) {
        SCOPED_TRACE(at);
        std::string damaged = whole;
        damaged[at] ^= 0x55;
        EXPECT_EQ(FindArchiveFault(m_folder.Write("damaged.zip", damaged), m_kept),
                  "\"packed.txt\" in it differs from what arrived");
    }
    for (const std::size_t size : {std::size_t{0}, whole.size() - 40}) {
        SCOPED_TRACE(size);
        EXPECT_EQ(FindArchiveFault(m_folder.Write("cut.zip", whole.substr(0, size)), m_kept),
                  "it cannot be read");
    }
}

} // namespace
