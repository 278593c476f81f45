// Whole collections: the simulated chassis manager, OpenSSH as its file server, the real packer.
// Runs inside the sandbox.
#include "ffdc/TCMMFFDC.h"

#include "backends/vxacore/TransferRecord.h"
#include "tests/support/Host.h"
#include "tests/support/SimulatedChassis.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

using namespace NORXVXA20;
using testing::ElementsAre;
using testing::UnorderedElementsAreArray;

namespace fs = std::filesystem;

namespace {

constexpr bool kIsWindows = fs::path::preferred_separator == '\\';

std::vector<std::string> NamesIn(const std::string& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    return names;
}

class ChassisRoadTest : public testing::Test {
protected:
    void SetUp() override
    {
        fs::create_directory(m_out);
        for (const auto& [name, contents] : m_served)
            std::ofstream(std::getenv("SP_SERVED") + ("/" + name), std::ios::binary) << contents;
    }

    // One collection of these files by a chassis manager with this firmware version.
    bool Collect(const std::vector<std::string>& files, const std::string& version)
    {
        std::vector<std::string> options = {"--firmware=" + version};
        for (const std::string& file : files)
            options.insert(options.end(),
                           {"--location", std::string("sftp://") + std::getenv("SP_ADDRESS") +
                                              ":115/download/ffdc/" + file});
        const SimulatedChassis chassis(options);
        TCMMFFDC ffdc(m_out, SimulatedChassis::kUser, SimulatedChassis::kPassword, "127.0.0.1",
                      chassis.Port());
        const bool result = ffdc.RunFFDCCollection(m_zip);
        m_message = ffdc.GetRetMessage();
        EndTransfers();
        return result;
    }

    // The archive, unpacked.
    std::map<std::string, std::string> Unpacked()
    {
        TemporaryDirectory unpacked;
        const HostAnswer unzip = RunOnHost("unzip -q " + ShellWord(HostPath(m_zip)) + " -d " +
                                           ShellWord(HostPath(unpacked.Path())));
        EXPECT_EQ(unzip.status, 0) << unzip.output;
        std::map<std::string, std::string> files;
        for (const std::string& name : NamesIn(unpacked.Path()))
            files[name] = ContentsOf(unpacked / name);
        return files;
    }

    const std::map<std::string, std::string> m_served = {
        {"a.tgz", std::string(300000, '\n') + "\x1a"}, {"b c.txt", ""}};
    TemporaryDirectory m_scratch;
    const std::string m_out = m_scratch / "out";
    std::string m_zip;
    std::string m_message;
};

TEST_F(ChassisRoadTest, EverythingArrivesAndAHostileVersionTouchesNothingElse)
{
    for (const char* const version : {"2.6.0", "2 victim 3", "a;touch victim", "$(touch victim)",
                                      "*", "a&md other", "a%TEMP%"}) {
        if (kIsWindows && *version == '*')
            continue; // no name there
        SCOPED_TRACE(version);
        fs::remove_all(m_out);
        fs::create_directories(m_out + "/victim");
        m_scratch.Write("out/victim/file", "kept");
        const fs::path before = fs::current_path();
        TemporaryDirectory elsewhere;
        fs::create_directory(elsewhere / "victim");
        if (kIsWindows)
            fs::copy("infozip.exe", elsewhere / "infozip.exe");
        fs::current_path(elsewhere.Path());
        EXPECT_TRUE(Collect({"a.tgz", "b c.txt"}, version)) << m_message;
        fs::current_path(before);
        EXPECT_EQ(Unpacked(), m_served);
        const fs::path archive = m_zip;
        std::vector<std::string> left = {"victim", archive.filename().string()};
        // No shell gets such a name there, so the empty directory stays.
        if (kIsWindows && version != std::string("2.6.0"))
            left.push_back(archive.stem().string());
        EXPECT_THAT(NamesIn(m_out), UnorderedElementsAreArray(left));
        EXPECT_EQ(ContentsOf(m_out + "/victim/file"), "kept");
        EXPECT_TRUE(fs::is_empty(elsewhere / "victim"));
        fs::remove(elsewhere / "infozip.exe");
        EXPECT_THAT(NamesIn(elsewhere.Path()), ElementsAre("victim"));
    }
    EXPECT_FALSE(Collect({".."}, "2.6.0"));
    EXPECT_EQ(m_message, "No FFDC data was collected.");
}

} // namespace
