// Whole collections from a hostile chassis manager: a simulated one, OpenSSH as its file server,
// the real packer. Runs inside the sandbox.
#include "ffdc/TCMMFFDC.h"

#include "backends/vxacore/TransferRecord.h"
#include "tests/support/SimulatedChassis.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using testing::ElementsAre;
using testing::HasSubstr;
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

// One collection of this file from a chassis manager with this firmware version; the archive's
// path, or the reason why there is none.
std::string Collect(const std::string& out, const std::string& file, const std::string& version)
{
    const std::string folder =
        std::string("sftp://") + std::getenv("SP_ADDRESS") + ":115/download/ffdc/";
    const SimulatedChassis chassis({"--firmware=" + version, "--location", folder + file});
    TCMMFFDC ffdc(out, SimulatedChassis::kUser, SimulatedChassis::kPassword, "127.0.0.1",
                  chassis.Port());
    std::string archive;
    const bool result = ffdc.RunFFDCCollection(archive);
    NORXVXA20::EndTransfers();
    return result ? archive : ffdc.GetRetMessage();
}

TEST(ChassisRoadTest, HostileVersionAndLocationTouchNothingElse)
{
    std::ofstream(std::getenv("SP_SERVED") + std::string("/a b.tgz")) << "served";
    for (const std::string version : {"2.6.0", "2 victim 3", "a;touch victim", "$(touch victim)",
                                      "*", "a&md other", "a%TEMP%"}) {
        if (kIsWindows && version == "*")
            continue; // no name there
        SCOPED_TRACE(version);
        const TemporaryDirectory out;
        fs::create_directory(out / "victim");
        out.Write("victim/file", "kept");
        const TemporaryDirectory elsewhere;
        fs::create_directory(elsewhere / "victim");
        if (kIsWindows)
            fs::copy("infozip.exe", elsewhere / "infozip.exe");
        const fs::path before = fs::current_path();
        fs::current_path(elsewhere.Path());
        const fs::path archive = Collect(out.Path(), "a b.tgz", version);
        EXPECT_THAT(ContentsOf(archive.string()), HasSubstr("a b.tgz"));
        fs::current_path(before);
        std::vector<std::string> left = {"victim", archive.filename().string()};
        // No shell gets such a name there, so the empty directory stays.
        if (kIsWindows && version != "2.6.0")
            left.push_back(archive.stem().string());
        EXPECT_THAT(NamesIn(out.Path()), UnorderedElementsAreArray(left));
        EXPECT_EQ(ContentsOf(out / "victim/file"), "kept");
        EXPECT_TRUE(fs::is_empty(elsewhere / "victim"));
        fs::remove(elsewhere / "infozip.exe");
        EXPECT_THAT(NamesIn(elsewhere.Path()), ElementsAre("victim"));
    }
    const TemporaryDirectory out;
    EXPECT_EQ(Collect(out.Path(), "..", "2.6.0"), "No FFDC data was collected.");
}

} // namespace
