// The network functions with the real shell and resolver, in namespaces of this program's own: no
// network at all, its own host table, and stand-ins for dhclient and the network service.
#include "net/Network.h"

#include "BuildValues.h"
#include "net/Resolve.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

bool Write(const std::string& path, const std::string& text)
{
    std::ofstream file(path);
    file << text << std::flush;
    return file.good();
}

// Root becomes this user in namespaces of its own; everybody else is root in them only.
bool EnterNamespaces()
{
    const uid_t user = ::getuid();
    const gid_t group = ::getgid();
    if (user == 0)
        return ::unshare(CLONE_NEWNS | CLONE_NEWNET) == 0;
    return ::unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) == 0 &&
           Write("/proc/self/setgroups", "deny") &&
           Write("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
           Write("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

// Puts what of this folder over a file or folder of the machine; what is not there needs no cover.
bool Cover(const std::string& what, const std::string& where)
{
    return !fs::exists(where) ||
           ::mount(what.c_str(), where.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

class RecycleTest : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_folder = new TemporaryDirectory;
        fs::current_path(s_folder->Path());
        fs::create_directory(*s_folder / "init.d");
        s_ready = EnterNamespaces() &&
                  ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  Cover(s_folder->Write("nsswitch.conf", "hosts: files\n"), "/etc/nsswitch.conf") &&
                  Cover(s_folder->Write("hosts", "192.0.2.5 known.example\n"), "/etc/hosts") &&
                  fs::exists("/etc/init.d") && Cover(*s_folder / "init.d", "/etc/init.d");
        s_reason = std::strerror(errno);
        s_tools = std::getenv("FAKE_TOOLS");
        if (s_ready && s_tools != nullptr)
            fs::copy_file(s_tools + std::string("/network"), "/etc/init.d/network");
    }
    static void TearDownTestSuite()
    {
        fs::current_path("/");
        delete s_folder;
    }
    void SetUp() override
    {
        if (!s_ready)
            GTEST_SKIP() << "no namespaces of its own here: " << s_reason;
        ASSERT_NE(s_tools, nullptr) << "ctest puts the stand-ins on the path";
        gLog.Reset();
        fs::remove("calls");
    }

    static TemporaryDirectory* s_folder;
    static const char* s_tools;
    static bool s_ready;
    static std::string s_reason;
    std::string m_address = "untouched";
};

TemporaryDirectory* RecycleTest::s_folder = nullptr;
const char* RecycleTest::s_tools = nullptr;
bool RecycleTest::s_ready = false;
std::string RecycleTest::s_reason;

TEST_F(RecycleTest, ResolverFindsWhatTheMachineKnows)
{
    EXPECT_TRUE(Resolves("known.example"));
    EXPECT_FALSE(Resolves("unknown.example"));
    EXPECT_EQ(NetworkAvailable("known.example", m_address), 1);
    EXPECT_EQ(NetworkAvailable("unknown.example", m_address), 0);
    EXPECT_EQ(ContentsOf("calls"), "ping unknown.example -c 3\n");
}

TEST_F(RecycleTest, MachineIsRecycledSilentlyThoughEveryCommandFails)
{
    Write("network.txt", "must not be seen");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(RecycleNetwork(m_address, false));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(ContentsOf("calls"),
              "network stop\nnetwork start\ndhclient -cf /tmp/embed/data/dhclient.conf\n");
}

TEST_F(RecycleTest, InterfaceIsRecycledUntilTheUploadServerAnswers)
{
    Write("hwinfo.txt", "Device File: em1\nLink detected: yes\n");
    Write("ping.2.txt", "64 bytes from " UTILS_UPLOAD_HOST " (192.0.2.9): icmp_seq=1");
    EXPECT_TRUE(RecycleNetwork(m_address, true));
    EXPECT_EQ(m_address, "192.0.2.9");
    const std::string ping = "ping " UTILS_UPLOAD_HOST " -c 3\n";
    const std::string turn = "network stop\nnetwork start\ndhclient em1\n";
    EXPECT_EQ(ContentsOf("calls"), "hwinfo --netcard\n" + ping + turn + turn + ping);
}

// Nobody can wait for the shell when the caller leaves its children to the system.
TEST_F(RecycleTest, ShellThatCannotBeWaitedForIsAnError)
{
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_FALSE(RecycleNetwork(m_address, false));
    std::signal(SIGCHLD, before);
    EXPECT_TRUE(gLog.Holds("RecycleNetwork - network service stop error"));
}

} // namespace
