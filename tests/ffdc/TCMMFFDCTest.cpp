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

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

using namespace NORXVXA20;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

const std::string& kSeparator = VXAOSDep::gFileSeparator;
constexpr bool kIsWindows = std::filesystem::path::preferred_separator == '\\';
const std::string kStart = "Svc StartDataCollection root/cimv2:Svc";
const std::string kEnd = "Svc EndDataCollection root/cimv2:Svc";
const std::string kLogPrefix = "TCMMFFDC::";

std::function<void()> FailAt(const char* call, FakeChassis::Failure failure)
{
    return [=] { gChassis.failures[call] = failure; };
}

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
        gTransfers.answer = [](const std::string& path) {
            std::ofstream(path) << "data";
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

    std::string PackerCommand() const
    {
        return std::string(kIsWindows ? ".\\infozip.exe" : "zip") + " -m -r -j " + OutputName() +
               ".zip " + OutputName();
    }

    // A copy of this file from there.
    std::string Download(const std::string& remote, const std::string& name) const
    {
        return remote + "|" + OutputName() + kSeparator + name + "|" + name;
    }

    TemporaryDirectory m_out;
    std::string m_zip = "untouched";
    std::string m_message;
    int m_thrown = 0;
};

TEST_F(TCMMFFDCTest, CompleteRunAsksDownloadsPacksAndCleansUp)
{
    gFiles.output = "adding: a";
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
    EXPECT_THAT(gFiles.programs, ElementsAre("300: " + PackerCommand()));
    EXPECT_THAT(gTransfers.copies,
                ElementsAre(Download("USER:canary@192.0.2.5/tmp/ffdc", "a.tgz")));
    EXPECT_FALSE(std::filesystem::exists(OutputName()));
    EXPECT_THAT(
        gLog.Messages(),
        ElementsAre("Entering TCMMFFDC::RunFFDCCollection", "Entering TCMMFFDC::GetCMMNamespace",
                    "Exiting TCMMFFDC::GetCMMNamespace", "Entering TCMMFFDC::InitFFDCOutputName",
                    "Exiting TCMMFFDC::InitFFDCOutputName", "Entering TCMMFFDC::InvokeFFDCMethod",
                    "Entering TCMMFFDC::DownloadFFDCData",
                    "Remote Path:USER:canary@192.0.2.5/tmp/ffdc, Local FileName:" + OutputName() +
                        kSeparator + "a.tgz, Remote FileNamea.tgz",
                    "Exiting TCMMFFDC::DownloadFFDCData", "Exiting TCMMFFDC::InvokeFFDCMethod",
                    "Entering TCMMFFDC::ZipFFDCData", "cmd:" + PackerCommand(), "ret:adding: a",
                    "Exiting TCMMFFDC::ZipFFDCData", "Entering VXAOSDep::RemoveDir",
                    "Exiting VXAOSDep::RemoveDir", "Exiting TCMMFFDC::RunFFDCCollection"));
}

// An instance without a location repeats the one before; what fails for one costs no other.
TEST_F(TCMMFFDCTest, EveryInstanceIsCollectedWhateverBecomesOfTheOthers)
{
    gChassis.instances["Data"] = {{{"InstanceID", "none yet"}},
                                  {{"InstanceID", "one"}},
                                  {{"InstanceID", "t\"wo"}},
                                  {{"InstanceID", "none more"}}};
    gChassis.collections = {{},
                            {{"Location", "sftp://192.0.2.5/tmp/ffdc/a.tgz"}},
                            {{"Location", "sftp://u:p@192.0.2.6/b.tgz"}}};
    gChassis.failures[kEnd] = FakeChassis::kOther;
    gTransfers.answer = [](const std::string& path) {
        if (path.find("a.tgz") != std::string::npos)
            throw TVXAException(TVXAStatusCode::eNoRoute);
        std::ofstream(path) << "data";
        return true;
    };
    EXPECT_TRUE(Run());
    EXPECT_THAT(gChassis.calls, Contains(StartsWith(kStart + " DataCollectionType=root/cimv2:Data."
                                                             "InstanceID=\"t\\\"wo\" Init")));
    const std::string repeated = Download("u:p@192.0.2.6", "b.tgz");
    EXPECT_THAT(gTransfers.copies, ElementsAre(Download("USER:canary@192.0.2.5/tmp/ffdc", "a.tgz"),
                                               repeated, repeated));
    const std::string end = "InvokeFFDCMethod - Invoke method EndDataCollection failed!!!!";
    EXPECT_THAT(Complaints(),
                ElementsAre("InvokeFFDCMethod - Do not get the sftp URI this time!", end,
                            "DownloadFFDCData - Exception caugth when sFTPFileFromORXstatus 33",
                            end, end, end));
}

TEST_F(TCMMFFDCTest, FirstOutputParameterByNameIsTheLocationAndTakenApartAsItIs)
{
    const struct {
        const char* location;
        const char* remote;
        const char* name;
    } cases[] = {
        {"sftp://h:22/d/f", "USER:canary@h:22/d", "f"},
        {"h/f", "USER:canary@h", "f"},
        {"nowhere", "USER:canary@", ""},
        {"sftp://h/d/", "USER:canary@", ""},
        {"xsftp://u:p@h/f", "/u:p@h", "f"},
    };
    gTransfers.answer = [](const std::string&) { return false; };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.location);
        gTransfers.copies.clear();
        gChassis.collections = {{{"b", "sftp://h/b"}, {"Z", c.location}, {"a", "sftp://h/a"}}};
        EXPECT_FALSE(Run());
        EXPECT_EQ(m_message, "No FFDC data was collected.");
        EXPECT_THAT(gTransfers.copies, ElementsAre(Download(c.remote, c.name)));
    }
}

TEST_F(TCMMFFDCTest, SomeFailuresAreOnlyLogged)
{
    const auto identity = [](std::size_t number) -> FakeChassis::Properties& {
        return gChassis.instances["CIM_SoftwareIdentity"].at(number);
    };
    const std::string noVersion = "InitFFDCOutputName- Exception: Get CMM version failed";
    const struct {
        std::function<void()> prepare;
        const char* version;
        std::vector<std::string> complaints;
    } cases[] = {
        {[&] { identity(1)["InstanceID"] = identity(2)["InstanceID"] = "CMM"; }, "Unknown", {}},
        {[&] { identity(1).erase("VersionString"); }, "Unknown", {noVersion}},
        {FailAt("instances CIM_", FakeChassis::kStatus), "Unknown", {noVersion}},
        {[&] { std::filesystem::create_directory(OutputName()); }, "2.6.0", {}},
        {[] { gFiles.output = "sh: zip: not found"; }, "2.6.0", {}},
        {[] { gFiles.failingCall = 4; },
         "2.6.0",
         {"RunFFDCCollection - Exception caugth when remove dir,status 3"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        SetUp();
        c.prepare();
        EXPECT_TRUE(Run());
        EXPECT_EQ(m_zip, OutputName(c.version) + ".zip");
        EXPECT_EQ(Complaints(), c.complaints);
    }
}

TEST_F(TCMMFFDCTest, OtherFailuresHaveAMessageAndSomeAnException)
{
    const auto versionIs = [](const char* version) {
        return [=] { gChassis.instances["CIM_SoftwareIdentity"][1]["VersionString"] = version; };
    };
    const std::string failed = "Fail to invoke the FFDC method on CMM.";
    const std::string threw = "InvokeFFDCMethod - TVXAEXCEPTION: status ";
    const std::string otherFailed = "Invoke the FFDC method on CMM failed.";
    const std::string otherThrew = "InvokeFFDCMethod - EXCEPTION: Run FFDC service failed";
    const std::string noDirectory =
        "InitFFDCOutputName - Exception caugth when create dir,status 3";
    const std::string noFiles = "No FFDC data was collected.";
    const std::string noArchive = "Fail to ZIP the FFDC data.";
    const std::string noWord = "ZipFFDCData - The name holds a quote or a control byte!";
    const struct {
        std::function<void()> prepare;
        int thrown;
        std::string message;
        std::string complaint;
    } cases[] = {
        {FailAt("allocate", FakeChassis::kOther), 34, "Fail to allocate CMM namespace.",
         "GetNamespace - Exception: Allocate CMM namespace failed"},
        {FailAt("connect", FakeChassis::kOther), 34, "Fail to connect to CMM.",
         "GetNamespace - Exception: CMMNamespace connect failed"},
        {FailAt("names root/cimv2 ORX_FFDCData", FakeChassis::kOther), 3, otherFailed, otherThrew},
        {[] { gChassis.subclasses["ORX_FFDCData"].clear(); }, 3, failed, threw + "3"},
        {[] { gChassis.subclasses["ORX_FFDCService"].clear(); }, 3, failed, threw + "3"},
        {[] { gChassis.instances["Data"] = {{}}; }, 3, otherFailed, otherThrew},
        {FailAt("class Svc", FakeChassis::kStatus), 3, failed, threw + "33"},
        {FailAt("Svc StartDataCollection", FakeChassis::kStatus), 3, failed, threw + "33"},
        {FailAt("Svc StartDataCollection", FakeChassis::kOther), 3, otherFailed, otherThrew},
        {[] { gChassis.instances["Data"].clear(); }, 0,
         "No instance of class ORX_FFDCData was enumerated from CMM.", ""},
        {[] { gFiles.failingCall = 2; }, 0, noFiles, noDirectory},
        {[] { gFiles.failingCall = 3; }, 0, "",
         "ZipFFDCData - Exception caught when SpawnProcess:" + PackerCommand() + ", status 3"},
        {[] { gFiles.output = "zip error: Nothing to do!"; }, 0, noArchive,
         "ZipFFDC - Zip FFDC data files failed!"},
        {versionIs("1\x7F"), 0, noArchive, noWord},
        // Names that exist on one system only.
        {versionIs("1\"2"), 0, kIsWindows ? noFiles : noArchive, kIsWindows ? noDirectory : noWord},
        {versionIs("1\n2"), 0, kIsWindows ? noFiles : noArchive, kIsWindows ? noDirectory : noWord},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        SetUp();
        c.prepare();
        EXPECT_FALSE(Run());
        EXPECT_EQ(m_thrown, c.thrown);
        EXPECT_EQ(m_message, c.message);
        EXPECT_EQ(m_zip, "untouched");
        const std::vector<std::string> complaints = Complaints();
        EXPECT_EQ(complaints.empty() ? "" : complaints.front(), c.complaint);
        EXPECT_FALSE(c.thrown != 0 && testing::Value(gChassis.calls, Contains(kEnd)));
        EXPECT_EQ(gLog.Holds("Exiting TCMMFFDC::RunFFDCCollection"), c.thrown == 0);
        EXPECT_EQ(std::filesystem::remove(OutputName()), c.thrown == 3) << "what arrived is kept";
    }
}

TEST_F(TCMMFFDCTest, ForeignExceptionsOfTheCoreAreNotCaught)
{
    gFiles.failingCall = 2;
    gFiles.failure = std::make_exception_ptr(std::runtime_error(""));
    EXPECT_THROW(Run(), std::runtime_error);
}

TEST_F(TCMMFFDCTest, DestructionDisconnectsAlsoWhatWasNeverConnected)
{
    const std::string line = "TCMMFFDC::~TCMMFFDC - CMMNamespace disconnect failed";
    auto ffdc = std::make_unique<TCMMFFDC>("out", "u", "p", "h", 0);
    ffdc.reset();
    EXPECT_THAT(gLog.Messages(), ElementsAre(line));

    gChassis.failures["disconnect"] = FakeChassis::kOther;
    ffdc = std::make_unique<TCMMFFDC>(m_out.Path(), "u", "p", "h", -7);
    ffdc->RunFFDCCollection(m_zip);
    ffdc.reset();
    EXPECT_EQ(gLog.Messages().back(), line);
    EXPECT_THAT(gChassis.calls, Contains("connect h u p -7")) << "only port 0 is replaced";
}

} // namespace
