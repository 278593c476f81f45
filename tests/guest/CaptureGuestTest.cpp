// Whole captures from inside the server, over the kernel's IPMI driver and the USB link, with
// everything that can happen to them on the way.
#include "tests/guest/Guest.h"

#include <gmock/gmock.h>

#include <signal.h>
#include <sys/mount.h>

#include <filesystem>
#include <functional>

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

using std::chrono::seconds;

constexpr int kMebibyte = 1024 * 1024;
constexpr int kBig = 64 * kMebibyte;
constexpr seconds kPatience{240};
constexpr seconds kSoon{3};
// A copy gives up when this long no byte has come.
const std::map<std::string, std::string> kStallLimit = {{"VXA_STALL_SECONDS", "4"}};
constexpr seconds kStallEnd{4 + 10};
const std::vector<std::string> kRestore = {"--usb-lan", "restore"};

struct Served {
    std::uintmax_t bytes = 0;
    std::string sha256;
};

class CaptureInServer : public Guest {
protected:
    void TearDown() override
    {
        ExpectOnlyWholeFiles();
        EXPECT_TRUE(WaitUntil([] { return std::system("pidof ffdc-collect > /dev/null") != 0; }));
    }

    void Serve(const std::string& name, std::uintmax_t bytes)
    {
        const std::string sum = AskHost("serve " + name + " " + std::to_string(bytes));
        m_served[name] = {bytes, sum.substr(0, 64)};
    }

    bool IsWhole(const std::string& name) const
    {
        const std::string path = m_out + "/" + name;
        return fs::exists(path) &&
               Shell("sha256sum " + path).substr(0, 64) == m_served.at(name).sha256;
    }

    // What bears its final name is complete, at any time.
    void ExpectOnlyWholeFiles() const
    {
        for (const auto& [name, served] : m_served) {
            std::error_code error;
            const std::uintmax_t size = fs::file_size(m_out + "/" + name, error);
            EXPECT_TRUE(error || size == served.bytes) << name;
        }
    }

    // Starts the collector, and returns in the middle of a file.
    std::unique_ptr<Program> CollectUntilInside(const std::string& name,
                                                const std::vector<std::string>& options,
                                                std::map<std::string, std::string> environment = {})
    {
        auto run = Collect(options, std::move(environment));
        EXPECT_TRUE(WaitUntil(
            [&] {
                ExpectOnlyWholeFiles();
                std::error_code error;
                const auto size = fs::file_size(m_out + "/" + name + ".part", error);
                return !error && size > 2 * kMebibyte;
            },
            kPatience))
            << run->Errors();
        EXPECT_TRUE(IsUp("usb0"));
        return run;
    }

    // The collecting process.
    static pid_t ChildOf(const Program& run)
    {
        const std::string pid = std::to_string(run.Pid());
        std::string children;
        EXPECT_TRUE(WaitUntil([&] {
            children = ContentsOf("/proc/" + pid + "/task/" + pid + "/children");
            return !children.empty();
        })) << run.Errors();
        return std::stoi(children);
    }

    // Waits for the collecting process to end, after which all the rest has to happen at once.
    static int EndOf(Program& run)
    {
        const pid_t child = ChildOf(run);
        EXPECT_TRUE(WaitUntil([&] { return !IsRunning(child); }, kPatience));
        return run.Wait(kSoon);
    }

    // What happens in its middle keeps the big file from being finished, and the collector goes
    // on: what was finished before stays, the others are named.
    void ExpectOnlyLossesBy(const std::function<void()>& happen)
    {
        // One of the small files comes before the big one, whatever the server's order is.
        Serve("first", 1000);
        Serve("big", kBig);
        Serve("second", 1000);
        const auto run = CollectUntilInside("big", kRestore, kStallLimit);
        happen();
        EXPECT_EQ(run->Wait(kStallEnd), 3) << run->Errors();
        EXPECT_THAT(run->Errors(), HasSubstr("missing: \"big\": "));
        EXPECT_FALSE(fs::exists(m_out + "/big"));
        for (const std::string name : {"first", "second"}) {
            const bool isMissing = run->Errors().find("missing: \"" + name) != std::string::npos;
            EXPECT_NE(IsWhole(name), isMissing) << name;
        }
        EXPECT_TRUE(IsWhole("first") || IsWhole("second"));
    }

    std::map<std::string, Served> m_served;
};

TEST_F(CaptureInServer, LinkIsRaisedAndTakenDownAgain)
{
    Serve("empty", 0);
    Serve("text", 1000);
    Serve("archive", 5 * kMebibyte);
    const std::string before = Settings("usb0");
    const auto run = Collect(kRestore);
    ASSERT_EQ(EndOf(*run), 0) << run->Errors();
    for (const auto& [name, served] : m_served)
        EXPECT_TRUE(IsWhole(name)) << name;
    EXPECT_EQ(Settings("usb0"), before);
    EXPECT_THAT(run->Errors(), HasSubstr("node 0: was disabled, now enabled\n"));
    EXPECT_THAT(run->Errors(),
                EndsWith("node 0: now disabled\nffdc-collect: 3 of 3 files collected "
                         "into " +
                         m_out + "\n"));
}

TEST_F(CaptureInServer, CutLinkThatComesBackCostsAConnection)
{
    Serve("big", kBig);
    const auto run = CollectUntilInside("big", kRestore, kStallLimit);
    Shell("ip link set usb0 down");
    std::this_thread::sleep_for(seconds(3));
    Shell("ip link set usb0 up");
    ASSERT_EQ(run->Wait(kPatience), 0) << run->Errors();
    EXPECT_TRUE(IsWhole("big"));
    EXPECT_THAT(run->Errors(), testing::ContainsRegex("tries, the last from byte [1-9]"));
    EXPECT_THAT(run->Errors(), HasSubstr(m_served["big"].sha256));
    EXPECT_FALSE(IsUp("usb0"));
}

TEST_F(CaptureInServer, LinkIsCutForGood)
{
    ExpectOnlyLossesBy([] { Monitor("set_link lan0 off"); }); // the interface does not notice
    EXPECT_FALSE(IsUp("usb0"));
}

TEST_F(CaptureInServer, DeviceIsUnplugged)
{
    ExpectOnlyLossesBy([] { Unplug(0); });
}

TEST_F(CaptureInServer, ProcessorRebootsInMidFile)
{
    ExpectOnlyLossesBy([] {
        Unplug(0);
        for (const std::string server : {"sshd", "bmc"}) {
            Control(server + " kill");
            Control(server + " start");
        }
        Plug(0);
    });
    EXPECT_FALSE(IsUp("usb0")); // nobody raised it again
}

TEST_F(CaptureInServer, ProcessorRebootsWhilePolling)
{
    Control("ffdc polls never");
    Shell("ip addr add 169.254.70.9/24 dev usb0; ip link set usb0 up");
    const auto run = Collect({"--usb-lan", "disable"});
    ASSERT_TRUE(WaitUntil([] { return Control("ffdc show").find("49=1") != std::string::npos; }));
    Control("bmc kill");
    EXPECT_EQ(EndOf(*run), 1) << run->Errors();
    EXPECT_THAT(run->Output(), EndsWith("\nIn progress."));
    EXPECT_FALSE(IsUp("usb0"));
}

TEST_F(CaptureInServer, FileServerIsRestarted)
{
    Serve("file", 24 * kMebibyte);
    const auto run = CollectUntilInside("file", {"--usb-lan", "enable"});
    Control("sshd kill");
    Control("sshd start");
    ASSERT_EQ(run->Wait(kPatience), 0) << run->Errors();
    EXPECT_TRUE(IsWhole("file"));
    EXPECT_THAT(run->Errors(), testing::ContainsRegex("tries, the last from byte [1-9]"));
    EXPECT_TRUE(IsUp("usb0"));
}

TEST_F(CaptureInServer, FullDiskCostsTheFileThatDoesNotFit)
{
    fs::create_directory(m_out);
    ASSERT_EQ(::mount("tmpfs", m_out.c_str(), "tmpfs", 0, "size=4m"), 0);
    Serve("small", 1000);
    Serve("large", 8 * kMebibyte);
    Serve("tiny", 10);
    const auto run = Collect(kRestore);
    EXPECT_EQ(run->Wait(kPatience), 3) << run->Errors();
    EXPECT_THAT(run->Errors(), HasSubstr("missing: \"large\": "));
    EXPECT_TRUE(IsWhole("small"));
    EXPECT_TRUE(IsWhole("tiny"));
    EXPECT_FALSE(fs::exists(m_out + "/large"));
    ::umount2(m_out.c_str(), MNT_DETACH);
}

// The parent ends all of it and leaves the links as asked, each time within seconds.
TEST_F(CaptureInServer, InterruptedInMidFile)
{
    Serve("big", kBig);
    const auto run = CollectUntilInside("big", kRestore);
    run->Signal(SIGINT);
    EXPECT_EQ(run->Wait(kSoon), 128 + SIGINT) << run->Errors();
    EXPECT_FALSE(IsUp("usb0"));
    EXPECT_EQ(Shell("ip -4 addr show dev usb0 | grep inet || true"), "");
    EXPECT_THAT(run->Errors(), HasSubstr("missing: \"big\": ended after "));
    EXPECT_FALSE(fs::exists(m_out + "/big"));
}

TEST_F(CaptureInServer, CollectingProcessCrashes)
{
    Serve("big", kBig);
    Shell("ip addr add 169.254.70.9/24 dev usb0; ip link set usb0 up");
    const std::string before = Settings("usb0");
    // A sanitizer would take the signal for a fault that it has found.
    const auto run = CollectUntilInside("big", kRestore, {{"ASAN_OPTIONS", "handle_segv=0"}});
    ::kill(ChildOf(*run), SIGSEGV);
    EXPECT_EQ(run->Wait(kSoon), 1) << run->Errors();
    EXPECT_THAT(run->Errors(), HasSubstr("the collecting process crashed (signal 11"));
    EXPECT_EQ(Settings("usb0"), before); // it was up
    EXPECT_FALSE(fs::exists(m_out + "/big"));
}

} // namespace
