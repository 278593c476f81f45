// ffdc-collect against the simulated chassis manager, OpenSSH and the real packer. Runs inside the
// sandbox.
#include "tests/support/SimulatedChassis.h"
#include "tests/support/TestedProgram.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace {

class ChassisCollectorTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (TestedProgram::IsForWindows())
            fs::copy("infozip.exe", m_current);
        Serve("a.bin", std::string(200000, 'a') + "end");
        Serve("b.txt", "b");
    }

    static void Serve(const std::string& name, const std::string& contents)
    {
        std::ofstream(std::getenv("SP_SERVED") + ("/" + name)) << contents;
    }

    static std::string Location(const std::string& name)
    {
        return std::string("sftp://") + std::getenv("SP_ADDRESS") + ":115/download/ffdc/" + name;
    }

    // One run; what it wrote to standard error is left in m_errors.
    int Run(const std::vector<std::string>& faults,
            const std::map<std::string, std::string>& environment = {})
    {
        const std::string passwordFile =
            m_scratch.Write("password", std::string(SimulatedChassis::kPassword) + "\n");
        std::vector<std::string> options = {"--location", Location("a.bin"), "--location",
                                            Location("b.txt")};
        options.insert(options.end(), faults.begin(), faults.end());
        const SimulatedChassis chassis(options);
        TestedProgram collector("ffdc-collect",
                                {"chassis", "--host", "127.0.0.1", "--user",
                                 SimulatedChassis::kUser, "--port", std::to_string(chassis.Port()),
                                 "--out", m_out, "--password-file", passwordFile, "--log",
                                 m_scratch / "log"},
                                environment, m_scratch.Path(), {"/usr/bin/env", "-C", m_current});
        const int result = collector.Wait();
        m_errors = collector.Errors();
        EXPECT_THAT(m_errors, Not(HasSubstr(SimulatedChassis::kPassword)));
        EXPECT_THAT(ContentsOf(m_scratch / "log"), Not(HasSubstr(SimulatedChassis::kPassword)));
        return result;
    }

    std::vector<std::string> Names(const std::string& directory) const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory))
            names.push_back(entry.path().filename().string());
        return names;
    }

    // The directory in which what arrived was left.
    std::string Kept() const
    {
        for (const std::string& name : Names(m_out)) {
            if (name.find("arrived-") == 0)
                return m_out + "/" + name;
        }
        return std::string();
    }

    // A packer in a folder of its own, to be put before the real one.
    std::string PackerFolder(const std::string& script)
    {
        const std::string folder = m_scratch / "packer";
        fs::create_directory(folder);
        std::ofstream(folder + "/zip") << "#!/bin/sh\n" << script;
        fs::permissions(folder + "/zip", fs::perms::owner_all);
        return folder;
    }

    TemporaryDirectory m_scratch;
    // Where the collector is started. On Windows its packer is there.
    std::string m_current = m_scratch.Path();
    std::string m_out = m_scratch / "out";
    std::string m_errors;
};

TEST_F(ChassisCollectorTest, EverythingIsInTheTestedArchiveAndNothingElseIsLeft)
{
    EXPECT_EQ(Run({}), 0) << m_errors;
    ASSERT_EQ(Names(m_out).size(), 1u) << m_errors;
    EXPECT_THAT(Names(m_out), ElementsAre(StartsWith("FFDC_2.6.0_")));
    EXPECT_THAT(m_errors, HasSubstr("2 of 2 files collected"));
    EXPECT_THAT(m_errors, HasSubstr("the archive is " + m_out + "/FFDC_2.6.0_"));
}

TEST_F(ChassisCollectorTest, PackerThatLeavesAFileOutOrFailsLosesNothing)
{
    const char* const packers[] = {
        // Leaves a file out, as one that it cannot read.
        "[ $1 = -v ] && exit; rm $5/b.txt; /usr/bin/zip -q \"$@\"; exit 18\n",
        "[ $1 = -v ] && exit; echo 'zip error: scripted'\n",
        // Empties the file that it packs.
        "[ $1 = -v ] && exit; : > $5/b.txt.new; mv $5/b.txt.new $5/b.txt; /usr/bin/zip -q \"$@\"\n",
        // Makes no archive at all.
        "exit 0\n",
    };
    for (const char* packer : packers) {
        SCOPED_TRACE(packer);
        fs::remove_all(m_out);
        const std::string path = PackerFolder(packer) + ":" + std::getenv("PATH");
        EXPECT_EQ(Run({}, {{"PATH", path}}), 3);
        EXPECT_THAT(m_errors, HasSubstr("what arrived is in " + Kept()));
        EXPECT_EQ(ContentsOf(Kept() + "/b.txt"), "b");
        EXPECT_EQ(ContentsOf(Kept() + "/a.bin").size(), 200003u);
    }
}

TEST_F(ChassisCollectorTest, WhatIsMissingIsFoundBeforeAnythingStarts)
{
    m_current = m_scratch / "empty";
    fs::create_directory(m_current);
    EXPECT_EQ(Run({}, {{"PATH", m_current}}), 2);
    EXPECT_THAT(m_errors, HasSubstr("zip"));
    EXPECT_THAT(Names(m_out), IsEmpty());
}

TEST_F(ChassisCollectorTest, FaultsOfTheChassisAreNamedAndWhatArrivedIsKept)
{
    EXPECT_EQ(Run({"--fault", "*=status:401"}), 1);
    EXPECT_THAT(m_errors, HasSubstr("Fail to connect to CMM."));
    EXPECT_THAT(Names(m_out), IsEmpty());

    EXPECT_EQ(Run({"--fault", "StartDataCollection=drop@2"}), 3);
    EXPECT_THAT(m_errors, HasSubstr("Invoke the FFDC method on CMM failed."));
    EXPECT_THAT(Names(Kept()), ElementsAre("a.bin"));
}

TEST_F(ChassisCollectorTest, MissingFileIsNamed)
{
    EXPECT_EQ(Run({"--location", Location("none")}), 3);
    EXPECT_THAT(m_errors, HasSubstr("missing: \"none\": "));
    EXPECT_EQ(Kept(), "");
}

} // namespace
