// Whole collections: the simulated chassis manager, OpenSSH as its file server, the real packer.
// Runs inside the sandbox.
#include "ffdc/TCMMFFDC.h"

#include "backends/vxacore/CoreLog.h"
#include "backends/vxacore/TransferRecord.h"
#include "common/TVXAException.h"
#include "tests/support/SimulatedChassis.h"

#include <gmock/gmock.h>

#include <sys/mount.h>

#include <cstdlib>
#include <filesystem>
#include <random>

using namespace NORXVXA20;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

namespace {

// Bytes that no packer makes smaller.
std::string Noise(std::size_t size)
{
    std::mt19937 generator(static_cast<unsigned int>(size));
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(generator());
    return bytes;
}

std::string Environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

class ChassisRoadTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(OpenCoreLog(m_scratch / "log"));
        m_outDirectory = m_scratch / "out";
        fs::create_directory(m_outDirectory);
        Serve("a.tgz", Noise(300000));
        Serve("b c.txt", "");
    }

    void TearDown() override
    {
        CloseCoreLog();
        EXPECT_THAT(Log(), Not(HasSubstr(SimulatedChassis::kPassword)));
        for (const auto& entry : fs::directory_iterator(m_served))
            fs::remove_all(entry);
        ::setenv("PATH", m_path.c_str(), 1);
    }

    void Serve(const std::string& name, const std::string& contents)
    {
        std::FILE* const file = std::fopen((m_served + "/" + name).c_str(), "wb");
        ASSERT_NE(file, nullptr);
        std::fwrite(contents.data(), 1, contents.size(), file);
        std::fclose(file);
    }

    std::string Location(const std::string& name) const
    {
        return "sftp://" + Environment("SP_ADDRESS") + ":115/download/ffdc/" + name;
    }

    // One collection; what it threw is left in m_thrown.
    bool Collect(const std::vector<std::string>& options,
                 const std::string& password = SimulatedChassis::kPassword)
    {
        m_chassis = std::make_unique<SimulatedChassis>(options);
        TCMMFFDC ffdc(m_outDirectory, SimulatedChassis::kUser, password, "127.0.0.1",
                      m_chassis->Port());
        bool result = false;
        try {
            result = ffdc.RunFFDCCollection(m_zip);
        } catch (const TVXAException& e) {
            m_thrown = e.GetStatusCode().GetStatusCode();
        }
        m_message = ffdc.GetRetMessage();
        EndTransfers();
        return result;
    }

    // The archive, unpacked.
    std::map<std::string, std::string> Unpacked()
    {
        TemporaryDirectory unpacked;
        Program test({"/usr/bin/unzip", "-t", m_zip}, {}, m_scratch.Path());
        EXPECT_EQ(test.Wait(), 0) << test.Output();
        Program unzip({"/usr/bin/unzip", "-q", m_zip, "-d", unpacked.Path()}, {}, m_scratch.Path());
        EXPECT_EQ(unzip.Wait(), 0) << unzip.Output();
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::directory_iterator(unpacked.Path()))
            files[entry.path().filename().string()] = ContentsOf(entry.path().string());
        return files;
    }

    std::vector<std::string> OutputNames() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_outDirectory))
            names.push_back(entry.path().filename().string());
        return names;
    }

    std::string Log() const { return ContentsOf(m_scratch / "log"); }

    TemporaryDirectory m_scratch;
    std::string m_outDirectory;
    std::string m_served = Environment("SP_SERVED");
    std::string m_path = Environment("PATH");
    std::unique_ptr<SimulatedChassis> m_chassis;
    std::string m_zip = "untouched";
    std::string m_message;
    int m_thrown = 0;
};

TEST_F(ChassisRoadTest, EverythingArrivesInTheArchiveAsItWas)
{
    ASSERT_TRUE(Collect({"--location", Location("a.tgz"), "--location", Location("b c.txt")}))
        << Log();
    EXPECT_EQ(m_message, "");
    EXPECT_EQ(Unpacked(),
              (std::map<std::string, std::string>{{"a.tgz", Noise(300000)}, {"b c.txt", ""}}));
    EXPECT_THAT(OutputNames(), ElementsAre(fs::path(m_zip).filename().string()));
    EXPECT_THAT(m_zip, HasSubstr("/FFDC_2.6.0_"));
    EXPECT_EQ(m_chassis->Count("StartDataCollection"), 2);
    EXPECT_EQ(m_chassis->Count("EndDataCollection"), 2);
}

TEST_F(ChassisRoadTest, FaultsOfTheChassisEndWithTheirStatusAndMessage)
{
    const struct {
        const char* fault;
        int status;
        const char* message;
    } cases[] = {
        {"*=status:500", 34, "Fail to connect to CMM."},
        {"*=cut", 34, "Fail to connect to CMM."},
        {"EnumerateClassNames=error:1", 3, "Invoke the FFDC method on CMM failed."},
        {"EnumerateInstances=error:1", 3, "Invoke the FFDC method on CMM failed."},
        {"GetClass=error:1", 3, "Invoke the FFDC method on CMM failed."},
        {"StartDataCollection=error:1", 3, "Invoke the FFDC method on CMM failed."},
        {"StartDataCollection=drop", 3, "Invoke the FFDC method on CMM failed."},
        {"StartDataCollection=cut", 3, "Invoke the FFDC method on CMM failed."},
        {"EndDataCollection=drop", 0, ""},
        {"EndDataCollection=error:1", 0, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault);
        m_thrown = 0;
        EXPECT_EQ(Collect({"--location", Location("a.tgz"), "--fault", c.fault}), c.status == 0);
        EXPECT_EQ(m_thrown, c.status);
        EXPECT_EQ(m_message, c.message);
        EXPECT_EQ(m_chassis->Count("StartDataCollection"),
                  std::string(c.fault).find("StartDataCollection") == 0 || c.status == 0 ? 1 : 0);
    }
    m_thrown = 0;
    EXPECT_FALSE(Collect({}, "wr0ng-one"));
    EXPECT_EQ(m_thrown, 34);
    EXPECT_THAT(Log(), HasSubstr("HTTP status 401"));
    EXPECT_THAT(Log(), Not(HasSubstr("wr0ng-one")));
}

TEST_F(ChassisRoadTest, WhatArrivedBeforeAFaultIsKept)
{
    EXPECT_FALSE(Collect({"--location", Location("a.tgz"), "--location", Location("b c.txt"),
                          "--fault", "StartDataCollection=drop@2"}));
    EXPECT_EQ(m_thrown, 3);
    ASSERT_EQ(OutputNames().size(), 1u);
    EXPECT_EQ(ContentsOf(m_outDirectory + "/" + OutputNames()[0] + "/a.tgz"), Noise(300000));
}

TEST_F(ChassisRoadTest, HostileVersionAndLocationTouchNothingElse)
{
    for (const char* const version :
         {"2 victim 3", "-x", "a;touch victim", "$(touch victim)", "*"}) {
        SCOPED_TRACE(version);
        fs::remove_all(m_outDirectory);
        fs::create_directories(m_outDirectory + "/victim");
        m_scratch.Write("out/victim/file", "kept");
        const fs::path before = fs::current_path();
        TemporaryDirectory elsewhere;
        fs::create_directory(elsewhere / "victim");
        fs::copy_file(before / "chassis_simulator", elsewhere / "chassis_simulator");
        fs::current_path(elsewhere.Path());
        EXPECT_TRUE(
            Collect({"--firmware=" + std::string(version), "--location", Location("a.tgz")}))
            << Log();
        fs::current_path(before);
        EXPECT_THAT(Unpacked(), SizeIs(1));
        EXPECT_THAT(OutputNames(),
                    UnorderedElementsAre("victim", fs::path(m_zip).filename().string()));
        EXPECT_EQ(ContentsOf(m_scratch / "out/victim/file"), "kept");
        EXPECT_TRUE(fs::is_empty(elsewhere / "victim"));
    }
    for (const char* const version : {"1\"2", "1\n2"}) {
        EXPECT_FALSE(Collect({"--firmware", version, "--location", Location("a.tgz")}));
        EXPECT_EQ(m_message, "Fail to ZIP the FFDC data.");
    }
    EXPECT_FALSE(Collect({"--location", Location("..")}));
    EXPECT_EQ(m_message, "No FFDC data was collected.");
}

TEST_F(ChassisRoadTest, MissingPackerIsNoSuccess)
{
    ::setenv("PATH", m_scratch.Path().c_str(), 1);
    EXPECT_FALSE(Collect({"--location", Location("a.tgz")}));
    EXPECT_EQ(m_zip, "untouched");
    EXPECT_THAT(Log(), HasSubstr("Exception caught when SpawnProcess:zip -m -r -j "));
}

TEST_F(ChassisRoadTest, FullDiskFailsThePacking)
{
    if (::mount("tmpfs", m_outDirectory.c_str(), "tmpfs", 0, "size=512k") != 0)
        GTEST_SKIP() << "a small file system cannot be mounted here";
    EXPECT_FALSE(Collect({"--location", Location("a.tgz")}));
    EXPECT_EQ(m_message, "Fail to ZIP the FFDC data.") << Log();
    Serve("big", Noise(600000));
    EXPECT_FALSE(Collect({"--location", Location("big")}));
    EXPECT_EQ(m_message, "No FFDC data was collected.") << Log();
    ::umount(m_outDirectory.c_str());
}

TEST_F(ChassisRoadTest, MissingFileLeavesTheOthers)
{
    EXPECT_TRUE(Collect({"--location", Location("a.tgz"), "--location", Location("none")}))
        << Log();
    EXPECT_THAT(Unpacked(), SizeIs(1));
    const std::vector<TransferredFile> record = GetTransferRecord();
    EXPECT_FALSE(record.back().complete);
}

} // namespace
