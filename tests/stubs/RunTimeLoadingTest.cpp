// The real loader with real libraries: whole ones, incomplete ones and none.
#include "net/Upload.h"
#include "osdep/DynamicLibrary.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/fakes/FakeLog.h"
#include "usblan/TUsbLan.h"

#include <gmock/gmock.h>

#include <filesystem>

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

class RunTimeLoadingTest : public testing::Test {
protected:
    void SetUp() override
    {
        gLog.Reset();
        gConsole.Reset();
    }
    void TearDown() override { std::filesystem::current_path(m_start); }

    void UseLibraryOf(const std::string& folder)
    {
        std::filesystem::current_path(m_start / "stubs" / folder);
    }

    // One life of the singleton; what the console and the library said.
    std::string LiveOnce(qmmSetType type)
    {
        testing::internal::CaptureStdout();
        TUsbLan::getInstance()->sUsbLanType(type);
        delete TUsbLan::m_instance;
        TUsbLan::m_instance = nullptr;
        return testing::internal::GetCapturedStdout();
    }

    std::string Upload(const std::string& file, int expected)
    {
        NORXVXA20::HTTPProxyInfo proxy;
        proxy.useProxy = true;
        proxy.host = "proxy";
        proxy.port = "8080";
        testing::internal::CaptureStdout();
        EXPECT_EQ(UploadFileByKCC(proxy, file), expected);
        const std::string output = testing::internal::GetCapturedStdout();
        const std::size_t begin = output.find("Prepare");
        return begin != std::string::npos ? output.substr(begin) : output;
    }

    const std::filesystem::path m_start = std::filesystem::current_path();
};

TEST_F(RunTimeLoadingTest, ControlLibraryIsDrivenAndUnloadedByRestoreOnly)
{
    UseLibraryOf("whole");
    EXPECT_EQ(LiveOnce(qmmRestore), "unloaded\n");
    EXPECT_TRUE(gLog.Holds("QMM LAN over USB (Node 1) is disable."));
    // It stays loaded now, and with it what it remembers.
    EXPECT_EQ(LiveOnce(qmmEnable), "up 1\n");
    EXPECT_EQ(LiveOnce(qmmDisable), "down 0\ndown 1\n");
    testing::internal::CaptureStdout();
    void* const library = LoadDynamicLibrary(qmmusblan::kLibraryName);
    for (int holder = 0; holder < 3; ++holder)
        UnloadDynamicLibrary(library);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "unloaded\n");
}

TEST_F(RunTimeLoadingTest, UploadLibraryIsCalledWithItsArgumentsAndFreed)
{
    UseLibraryOf("whole");
    EXPECT_EQ(Upload("r.zip", 0),
              "Prepare to upload data.....\n"
              "proxy:8080|r.zip|data/orx.vxa-direct.vxa||orx/kseries|5.20|Windows XP|QSA project\n"
              "unloaded\nUpload r.zip file successfully.\n");
    EXPECT_THAT(Upload("refused", -1), EndsWith("\nunloaded\nTransfer failed.\n"));
}

TEST_F(RunTimeLoadingTest, IncompleteOrMissingLibrariesAreRefused)
{
    UseLibraryOf("no_query");
    EXPECT_EQ(LiveOnce(qmmRestore), "unloaded\nFailed to load qmmusblan.dll\n");
    EXPECT_THAT(gLog.Messages(), Contains(EndsWith("has no QueryQmmLanState")));
    UseLibraryOf("no_submit");
    EXPECT_EQ(Upload("r.zip", -1), "Prepare to upload data.....\nunloaded\nTransfer failed.\n");
    EXPECT_THAT(gLog.Messages(), Contains(EndsWith("has no KCCStatusReportSubmit")));
    UseLibraryOf("none");
    EXPECT_EQ(LiveOnce(qmmRestore), "Failed to load qmmusblan.dll\n");
    EXPECT_EQ(Upload("r.zip", -1), "Prepare to upload data.....\nTransfer failed.\n");
    EXPECT_THAT(gLog.Messages(), Contains(HasSubstr("Failed to load")));
}

} // namespace
