// The real loader with real libraries: a whole one, an incomplete one and none.
#include "osdep/DynamicLibrary.h"
#include "usblan/TUsbLan.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace {

class RunTimeLoadingTest : public testing::Test {
protected:
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

    const std::filesystem::path m_start = std::filesystem::current_path();
};

TEST_F(RunTimeLoadingTest, ControlLibraryIsDrivenAndUnloadedByRestoreOnly)
{
    UseLibraryOf("whole");
    EXPECT_EQ(LiveOnce(qmmRestore), "unloaded\n");
    // It stays loaded now, and with it what it remembers.
    EXPECT_EQ(LiveOnce(qmmEnable), "up 1\n");
    EXPECT_EQ(LiveOnce(qmmDisable), "down 0\ndown 1\n");
    testing::internal::CaptureStdout();
    void* const library = LoadDynamicLibrary(qmmusblan::kLibraryName);
    for (int holder = 0; holder < 3; ++holder)
        UnloadDynamicLibrary(library);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "unloaded\n");
}

TEST_F(RunTimeLoadingTest, IncompleteOrMissingLibrariesAreRefused)
{
    UseLibraryOf("no_count");
    EXPECT_EQ(LiveOnce(qmmRestore), "unloaded\nFailed to load qmmusblan.dll\n");
    UseLibraryOf("none");
    EXPECT_EQ(LiveOnce(qmmRestore), "Failed to load qmmusblan.dll\n");
}

} // namespace
