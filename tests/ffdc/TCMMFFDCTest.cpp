// Collections from a chassis manager in memory: what is asked of it, downloaded, packed and said.
#include "ffdc/TCMMFFDC.h"

#include "common/TVXAException.h"
#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeChassis.h"
#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/FakeLog.h"
#include "tests/fakes/FakeTransfers.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>

using namespace NORXVXA20;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string& kSeparator = VXAOSDep::gFileSeparator;
const std::string kPackerName = kSeparator == "/" ? "zip" : ".\\infozip.exe";
const std::string kStart = "Svc StartDataCollection root/cimv2:Svc";
const std::string kEnd = "Svc EndDataCollection root/cimv2:Svc";
const std::string kLogPrefix = "TCMMFFDC::";

class TCMMFFDCTest : public testing::Test {
protected:
    // A chassis manager with one data instance whose data is ready, and servers that serve it.
    void SetUp() override
    {
        gLog.Reset();
        gFiles.Reset();
        gTransfers.Reset();
        gChassis.Reset();
        gChassis.subclasses = {{"ORX_FFDCData", {"Data", "Data2"}}, {"ORX_FFDCService", {"Svc"}}};
        gChassis.instances["CIM_SoftwareIdentity"] = {
            {{"InstanceID", "fw:switch:1"}, {"VersionString", "9"}},
            {{"InstanceID", "fw:cmm:2"}, {"VersionString", "2.6.0"}},
            {{"InstanceID", "cmm"}, {"VersionString", "3"}}};
        gChassis.instances["Data"] = {{{"InstanceID", "one"}}};
        gChassis.collections = {{{"Location", "sftp://192.0.2.5/tmp/ffdc/a.tgz"}}};
        gTransfers.answer = [](const FakeTransfers::Copy& copy) {
            std::ofstream(copy.localPath) << "data";
            return true;
        };
    }

    // One collection; what it threw is left in m_thrown.
    bool Run()
    {
        TCMMFFDC ffdc(m_out.Path(), "USER", "canary", "192.0.2.5", 0);
        bool result = false;
        m_thrown = 0;
        try {
            result = ffdc.RunFFDCCollection(m_zip);
        } catch (const TVXAException& e) {
            m_thrown = e.GetStatusCode().GetStatusCode();
        }
        m_message = ffdc.GetRetMessage();
        return result;
    }

    std::string OutputName(const std::string& version = "2.6.0") const
    {
        return m_out / ("FFDC_" + version + "_20120103-040506");
    }

    // The operation's own lines without the entry and exit lines.
    std::vector<std::string> Complaints() const
    {
        std::vector<std::string> lines;
        for (const std::string& line : gLog.Messages()) {
            if (line.compare(0, kLogPrefix.size(), kLogPrefix) == 0)
                lines.push_back(line.substr(kLogPrefix.size()));
        }
        return lines;
    }

    std::vector<std::string> Downloads() const
    {
        std::vector<std::string> names;
        for (const FakeTransfers::Copy& copy : gTransfers.copies)
            names.push_back(copy.remote + " " + copy.fileName);
        return names;
    }

    TemporaryDirectory m_out;
    std::string m_zip = "untouched";
    std::string m_message;
    int m_thrown = 0;
};

TEST_F(TCMMFFDCTest, CompleteRunAsksDownloadsPacksAndCleansUp)
{
    EXPECT_TRUE(Run());
    EXPECT_EQ(m_zip, OutputName() + ".zip");
    EXPECT_EQ(m_message, "");
    EXPECT_THAT(gChassis.calls,
                ElementsAre("allocate root/cimv2", "connect 192.0.2.5 USER canary 5988",
                            "class CIM_SoftwareIdentity", "instances CIM_SoftwareIdentity deep",
                            "names root/cimv2 ORX_FFDCData deep",
                            "names root/cimv2 ORX_FFDCService deep", "class Data",
                            "instances Data deep", "class Svc",
                            kStart + " DataCollectionType=root/cimv2:Data.InstanceID=\"one\""
                                     " InitializationNeeded=TRUE RequestedScheme=0x8002",
                            kEnd, "disconnect"));
    ASSERT_EQ(gFiles.programs.size(), 1u);
    EXPECT_EQ(gFiles.programs.at(0).commandLine,
              kPackerName + " -m -r -j " + OutputName() + ".zip " + OutputName());
    EXPECT_EQ(gFiles.programs.at(0).limit, 300);
    const std::string local = OutputName() + kSeparator + "a.tgz";
    ASSERT_EQ(gTransfers.copies.size(), 1u);
    EXPECT_EQ(gTransfers.copies[0].localPath, local);
    EXPECT_FALSE(std::filesystem::exists(OutputName()));
    EXPECT_THAT(
        gLog.Messages(),
        ElementsAre("Entering TCMMFFDC::RunFFDCCollection", "Entering TCMMFFDC::GetCMMNamespace",
                    "Exiting TCMMFFDC::GetCMMNamespace", "Entering TCMMFFDC::InitFFDCOutputName",
                    "Exiting TCMMFFDC::InitFFDCOutputName", "Entering TCMMFFDC::InvokeFFDCMethod",
                    "Entering TCMMFFDC::DownloadFFDCData",
                    "Remote Path:USER:canary@192.0.2.5/tmp/ffdc, Local FileName:" + local +
                        ", Remote FileNamea.tgz",
                    "Exiting TCMMFFDC::DownloadFFDCData", "Exiting TCMMFFDC::InvokeFFDCMethod",
                    "Entering TCMMFFDC::ZipFFDCData", "cmd:" + gFiles.programs.at(0).commandLine,
                    "ret:", "Exiting TCMMFFDC::ZipFFDCData", "Entering VXAOSDep::RemoveDir",
                    "Exiting VXAOSDep::RemoveDir", "Exiting TCMMFFDC::RunFFDCCollection"));
}

TEST_F(TCMMFFDCTest, AllocationAndConnectionFailuresLeaveWithTheirMessage)
{
    const struct {
        const char* description;
        std::function<void()> prepare;
        const char* complaint;
        const char* message;
    } cases[] = {
        {"no provider", [] { gChassis.hasProvider = false; },
         "GetNamespace - Exception: Allocate CMM namespace failed",
         "Fail to allocate CMM namespace."},
        {"allocation throws", [] { gChassis.failures["allocate"] = FakeChassis::kOther; },
         "GetNamespace - Exception: Allocate CMM namespace failed",
         "Fail to allocate CMM namespace."},
        {"not a chassis namespace", [] { gChassis.isForeign = true; },
         "GetNamespace - Exception: CMMNamespace connect failed", "Fail to connect to CMM."},
        {"connect throws", [] { gChassis.failures["connect"] = FakeChassis::kStatus; },
         "GetNamespace - Exception: CMMNamespace connect failed", "Fail to connect to CMM."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.description);
        SetUp();
        c.prepare();
        EXPECT_FALSE(Run());
        EXPECT_EQ(m_thrown, 34);
        EXPECT_EQ(m_message, c.message);
        EXPECT_EQ(m_zip, "untouched");
        ASSERT_THAT(Complaints(), Not(IsEmpty()));
        EXPECT_EQ(Complaints()[0], c.complaint);
        EXPECT_THAT(gLog.Messages(), Not(Contains(StartsWith("Exiting TCMM"))));
    }
}

TEST_F(TCMMFFDCTest, VersionComesFromTheFirstIdentityOfTheChassisManagerOrIsUnknown)
{
    const std::string failed = "InitFFDCOutputName- Exception: Get CMM version failed";
    const auto identities = []() -> auto&
    {
        return gChassis.instances["CIM_SoftwareIdentity"];
    };
    const struct {
        const char* description;
        std::function<void()> prepare;
        bool fails;
    } cases[] = {
        {"upper case",
         [&] {
             identities() = {{{"InstanceID", "CMM"}, {"VersionString", "1"}}};
         },
         false},
        {"none", [&] { identities().clear(); }, false},
        {"no identifier before it", [&] { identities()[0].erase("InstanceID"); }, true},
        {"no version", [&] { identities()[1].erase("VersionString"); }, true},
        {"no class", [] { gChassis.failures["class CIM_"] = FakeChassis::kOther; }, true},
        {"no instances", [] { gChassis.failures["instances CIM_"] = FakeChassis::kStatus; }, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.description);
        SetUp();
        c.prepare();
        EXPECT_TRUE(Run());
        EXPECT_EQ(m_zip, OutputName("Unknown") + ".zip");
        EXPECT_EQ(Complaints(),
                  c.fails ? std::vector<std::string>{failed} : std::vector<std::string>{});
    }
}

TEST_F(TCMMFFDCTest, OutputDirectoryMayExistAndOnlyFailuresOfTheCoreAreSurvived)
{
    std::filesystem::create_directory(OutputName());
    EXPECT_TRUE(Run());
    EXPECT_THAT(gFiles.created, IsEmpty());
    EXPECT_THAT(Complaints(), IsEmpty());

    SetUp();
    gFiles.onCall = [](const std::string& call) {
        if (call == "CreateDir")
            throw TVXAException(TVXAStatusCode::eFailed);
    };
    EXPECT_FALSE(Run());
    EXPECT_EQ(m_message, "No FFDC data was collected.");
    EXPECT_THAT(Complaints(),
                ElementsAre("InitFFDCOutputName - Exception caugth when create dir,status 3"));

    SetUp();
    gFiles.onCall = [](const std::string& call) { throw std::runtime_error(call); };
    EXPECT_THROW(Run(), std::runtime_error);
}

TEST_F(TCMMFFDCTest, EveryInstanceIsCollectedAndWithoutLocationRepeatsTheOneBefore)
{
    gChassis.instances["Data"] = {{{"InstanceID", "none yet"}},
                                  {{"InstanceID", "one"}},
                                  {{"InstanceID", "t\"wo"}},
                                  {{"InstanceID", "none more"}}};
    gChassis.collections = {{},
                            {{"Location", "sftp://192.0.2.5/tmp/ffdc/a.tgz"}},
                            {{"Location", "sftp://u:p@192.0.2.6/b.tgz"}}};
    gChassis.failures[kEnd] = FakeChassis::kOther;
    EXPECT_TRUE(Run());
    EXPECT_THAT(gChassis.calls, Contains(StartsWith(kStart + " DataCollectionType=root/cimv2:Data."
                                                             "InstanceID=\"t\\\"wo\" Init")));
    EXPECT_THAT(Downloads(), ElementsAre("USER:canary@192.0.2.5/tmp/ffdc a.tgz",
                                         "u:p@192.0.2.6 b.tgz", "u:p@192.0.2.6 b.tgz"));
    const std::string end = "InvokeFFDCMethod - Invoke method EndDataCollection failed!!!!";
    EXPECT_THAT(Complaints(), ElementsAre("InvokeFFDCMethod - Do not get the sftp URI this time!",
                                          end, end, end, end));
}

TEST_F(TCMMFFDCTest, FirstOutputParameterByNameIsTheLocationAndTakenApartAsItIs)
{
    const struct {
        const char* location;
        const char* download; // remote and name
    } cases[] = {
        {"sftp://h:22/d/f", "USER:canary@h:22/d f"},
        {"h/f", "USER:canary@h f"},
        {"nowhere", "USER:canary@ "},
        {"sftp://h/d/", "USER:canary@ "},
        {"xsftp://u:p@h/f", "/u:p@h f"},
        {"sftp://h/d/..\\f", "USER:canary@h/d ..\\f"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.location);
        SetUp();
        gTransfers.answer = [](const FakeTransfers::Copy&) { return false; };
        gChassis.collections = {{{"b", "sftp://h/b"}, {"Z", c.location}, {"a", "sftp://h/a"}}};
        EXPECT_FALSE(Run());
        EXPECT_EQ(m_message, "No FFDC data was collected.");
        EXPECT_THAT(Downloads(), ElementsAre(c.download));
    }
}

TEST_F(TCMMFFDCTest, LostDownloadIsLoggedAndTheRunGoesOn)
{
    gChassis.instances["Data"] = {{{"InstanceID", "one"}}, {{"InstanceID", "two"}}};
    gChassis.collections.push_back({{"Location", "sftp://h/b"}});
    const auto write = gTransfers.answer;
    gTransfers.answer = [write](const FakeTransfers::Copy& copy) {
        if (copy.fileName == "a.tgz")
            throw TVXAException(TVXAStatusCode::eNoRoute);
        return write(copy);
    };
    EXPECT_TRUE(Run());
    EXPECT_THAT(Complaints(),
                ElementsAre("DownloadFFDCData - Exception caugth when sFTPFileFromORXstatus 33"));
    EXPECT_EQ(gTransfers.copies.size(), 2u);
}

TEST_F(TCMMFFDCTest, FailureBeforeTheEndOfACollectionLeavesWithStatusThree)
{
    const auto failAt = [](const char* place, FakeChassis::Failure failure) {
        return [=] { gChassis.failures[place] = failure; };
    };
    const struct {
        const char* description;
        std::function<void()> prepare;
        const char* status; // null: another exception than the library's own
    } cases[] = {
        {"data names", failAt("names root/cimv2 ORX_FFDCData", FakeChassis::kStatus), "33"},
        {"service names", failAt("names root/cimv2 ORX_FFDCService", FakeChassis::kOther), nullptr},
        {"no data", [] { gChassis.subclasses["ORX_FFDCData"].clear(); }, "3"},
        {"no service", [] { gChassis.subclasses["ORX_FFDCService"].clear(); }, "3"},
        {"data class", failAt("class Data", FakeChassis::kOther), nullptr},
        {"data instances", failAt("instances Data", FakeChassis::kStatus), "33"},
        {"no identifier", [] { gChassis.instances["Data"] = {{}}; }, nullptr},
        {"service class", failAt("class Svc", FakeChassis::kStatus), "33"},
        {"start, status", failAt("Svc StartDataCollection", FakeChassis::kStatus), "33"},
        {"start, other", failAt("Svc StartDataCollection", FakeChassis::kOther), nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.description);
        SetUp();
        c.prepare();
        EXPECT_FALSE(Run());
        EXPECT_EQ(m_thrown, 3);
        EXPECT_EQ(m_message, c.status != nullptr ? "Fail to invoke the FFDC method on CMM."
                                                 : "Invoke the FFDC method on CMM failed.");
        EXPECT_THAT(
            Complaints(),
            ElementsAre(c.status != nullptr
                            ? std::string("InvokeFFDCMethod - TVXAEXCEPTION: status ") + c.status
                            : "InvokeFFDCMethod - EXCEPTION: Run FFDC service failed"));
        EXPECT_THAT(gChassis.calls, Not(Contains(kEnd)));
        EXPECT_FALSE(gLog.Holds("Exiting TCMMFFDC::InvokeFFDCMethod"));
        EXPECT_TRUE(std::filesystem::exists(OutputName())) << "what arrived is kept";
        std::filesystem::remove_all(OutputName());
    }
}

TEST_F(TCMMFFDCTest, WithoutInstanceNothingIsPackedAndTheDirectoryGoes)
{
    gChassis.instances["Data"].clear();
    EXPECT_FALSE(Run());
    EXPECT_EQ(m_message, "No instance of class ORX_FFDCData was enumerated from CMM.");
    EXPECT_EQ(m_zip, "untouched");
    EXPECT_THAT(gFiles.programs, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(OutputName()));
    EXPECT_TRUE(gLog.Holds("Exiting TCMMFFDC::InvokeFFDCMethod"));
}

TEST_F(TCMMFFDCTest, PackerFailsByItsOutputOrByNotRunning)
{
    gFiles.run = [](const std::string&) { return "zip error: Nothing to do!"; };
    EXPECT_FALSE(Run());
    EXPECT_EQ(m_message, "Fail to ZIP the FFDC data.");
    EXPECT_THAT(Complaints(), ElementsAre("ZipFFDC - Zip FFDC data files failed!"));
    EXPECT_TRUE(gLog.Holds("ret:zip error: Nothing to do!"));
    EXPECT_FALSE(std::filesystem::exists(OutputName()));

    SetUp();
    gFiles.run = [](const std::string&) -> std::string {
        throw TVXAException(TVXAStatusCode::eFailed);
    };
    EXPECT_FALSE(Run());
    EXPECT_EQ(m_message, "");
    EXPECT_THAT(Complaints(), ElementsAre("ZipFFDCData - Exception caught when SpawnProcess:" +
                                          gFiles.programs.at(0).commandLine + ", status 3"));
    EXPECT_EQ(m_zip, "untouched");

    SetUp();
    gFiles.run = [](const std::string&) { return "sh: zip: not found"; };
    EXPECT_TRUE(Run()) << "only its own words count";
}

TEST_F(TCMMFFDCTest, FailedRemovalKeepsTheResult)
{
    int calls = 0;
    gFiles.onCall = [&](const std::string& call) {
        if (call == "DirExists" && ++calls == 2)
            throw TVXAException(TVXAStatusCode::eFailed);
    };
    EXPECT_TRUE(Run());
    EXPECT_THAT(Complaints(),
                ElementsAre("RunFFDCCollection - Exception caugth when remove dir,status 3"));
}

TEST_F(TCMMFFDCTest, NameWithBlanksIsQuoted)
{
    gChassis.instances["CIM_SoftwareIdentity"][1]["VersionString"] = "2 victim 3";
    EXPECT_TRUE(Run());
    const std::string name = OutputName("2 victim 3");
    EXPECT_EQ(gFiles.programs.at(0).commandLine,
              kPackerName + " -m -r -j \"" + name + ".zip\" \"" + name + "\"");
}

// Such names exist on one system only; the other has nothing to pack then.
TEST_F(TCMMFFDCTest, NameThatIsNoCommandWordIsNotPacked)
{
    for (const char* const version : {"1\"2", "1\n2", "1\t2", "1\x7F"}) {
        SCOPED_TRACE(version);
        SetUp();
        gChassis.instances["CIM_SoftwareIdentity"][1]["VersionString"] = version;
        EXPECT_FALSE(Run());
        EXPECT_THAT(gFiles.programs, IsEmpty());
        if (gFiles.created.empty())
            continue;
        EXPECT_EQ(m_message, "Fail to ZIP the FFDC data.");
        EXPECT_THAT(Complaints(),
                    ElementsAre("ZipFFDCData - The name holds a quote or a control byte!"));
    }
}

TEST_F(TCMMFFDCTest, DestructionDisconnectsAlsoWhatWasNeverConnected)
{
    const std::string line = "TCMMFFDC::~TCMMFFDC - CMMNamespace disconnect failed";
    {
        TCMMFFDC ffdc("out", "u", "p", "h", 1);
    }
    EXPECT_THAT(gLog.Messages(), ElementsAre(line));

    gChassis.failures["disconnect"] = FakeChassis::kOther;
    Run();
    EXPECT_EQ(gLog.Messages().back(), line);
}

TEST_F(TCMMFFDCTest, CopiesShareTheConnection)
{
    std::string zip;
    auto ffdc = std::make_unique<TCMMFFDC>(m_out.Path(), "u", "p", "h", -7);
    ffdc->RunFFDCCollection(zip);
    EXPECT_THAT(gChassis.calls, Contains("connect h u p -7")) << "only port 0 is replaced";
    const TCMMFFDC copy(*ffdc);
    EXPECT_TRUE(gChassis.isConnected);
    ffdc.reset();
    EXPECT_FALSE(gChassis.isConnected);
}

} // namespace
