// The SFTP copies against a real file server, inside the sandbox.
#include "backends/vxacore/CoreLog.h"
#include "backends/vxacore/TransferRecord.h"
#include "common/TVXAException.h"
#include "osdep/DynamicLibrary.h"
#include "platform/curl/Curl.h"
#include "platform/vxacore/TOSSpecific.h"
#include "platform/vxacore/TRootObject.h"
#include "tests/backends/vxacore/FileServer.h"
#include "tests/support/Host.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Variable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>

using namespace NORXVXA20;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr int kThrewNothing = 0;
constexpr bool kIsWindows = std::filesystem::path::preferred_separator == '\\';
constexpr std::size_t kMiB = 1024 * 1024;

// Takes down what is told, and lets a test act in the middle of a file.
class Listener : public ITransferListener {
public:
    void OnNamesListed(const std::vector<std::string>& names) override
    {
        listings.push_back(names);
    }
    void OnFileBegun(const std::string& name) override { begun.push_back(name); }
    void OnBytes(const std::string&, std::int64_t received, std::int64_t expected) override
    {
        if (received > 0 && received < expected && inMidFile) {
            const auto act = std::move(inMidFile);
            inMidFile = nullptr;
            act();
        }
    }
    void OnFileDone(const TransferredFile& file) override { done.push_back(file.name); }
    void OnAlive() override
    {
        const Clock::time_point now = Clock::now();
        longestSilence = std::max(longestSilence, now - lastSign);
        lastSign = now;
    }

    std::function<void()> inMidFile; // called once
    std::vector<std::vector<std::string>> listings;
    std::vector<std::string> begun;
    std::vector<std::string> done;
    Clock::time_point lastSign = Clock::now();
    Clock::duration longestSilence{};
};

class SftpTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_log = new TemporaryDirectory;
        ASSERT_TRUE(OpenCoreLog(*s_log / "log"));
    }

    // Of all the tests of this file.
    static void TearDownTestSuite()
    {
        CloseCoreLog();
        const std::string log = ContentsOf(*s_log / "log");
        EXPECT_THAT(log, HasSubstr("was not copied"));
        EXPECT_THAT(log, HasSubstr("host keys are not verified"));
        EXPECT_EQ(log.find("host keys are not"), log.rfind("host keys are not"));
        EXPECT_EQ(log.find(file_server::Password()), std::string::npos);
        delete s_log;
    }

    void SetUp() override
    {
        file_server::Clear();
        ClearTransferRecord();
        SetTransferListener(&m_listener);
        Limit(20);
        m_loginsBefore = file_server::Logins();
    }

    void TearDown() override
    {
        EndTransfers();
        SetTransferListener(nullptr);
        for (const char* name : {"VXA_KNOWN_HOSTS", "VXA_HOST_KEYS", "VXA_STALL_SECONDS"})
            ClearVariable(name);
    }

    static void Limit(int limit) { SetVariable("VXA_STALL_SECONDS", std::to_string(limit)); }

    bool Copy(const std::string& name)
    {
        return TOSSpecific::sFTPFileFromORX(file_server::Remote(), m_target / name, name);
    }

    // The status that a copy throws.
    int Loss(const std::string& remote, const std::string& name = "file")
    {
        try {
            TOSSpecific::sFTPFileFromORX(remote, m_target / name, name);
        } catch (const TVXAException& e) {
            EXPECT_EQ(std::string(e.what()).find(file_server::Password()), std::string::npos);
            return e.GetStatusCode().GetStatusCode();
        }
        return kThrewNothing;
    }

    int NewLogins() const { return file_server::Logins() - m_loginsBefore; }
    static TransferredFile LastRecord() { return GetTransferRecord().back(); }
    std::vector<std::string> Arrived() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_target.Path()))
            names.push_back(entry.path().filename().string());
        return names;
    }

    // A file that is interrupted once, in its middle.
    void PutLargeFile(const std::function<void()>& inMidFile)
    {
        m_contents = file_server::Put("file", 8 * kMiB);
        m_listener.inMidFile = inMidFile;
    }
    void ExpectWhole(const std::string& contents)
    {
        EXPECT_TRUE(ContentsOf(m_target / "file") == contents);
        EXPECT_EQ(LastRecord().sha256, file_server::DigestOf(file_server::Served("file")));
        EXPECT_THAT(Arrived(), ElementsAre("file"));
    }

    static TemporaryDirectory* s_log;
    TemporaryDirectory m_target;
    Listener m_listener;
    std::string m_contents;
    int m_loginsBefore = 0;
};

TemporaryDirectory* SftpTest::s_log = nullptr;

TEST_F(SftpTest, FilesArriveWholeOverOneConnection)
{
    const std::vector<std::string> names =
        kIsWindows
            ? std::vector<std::string>{"a.bin", "50% #1 %41 &;.txt", "a 'q", "large"}
            : std::vector<std::string>{"a.bin", "50% #1? %41 &;.txt", "\xc3\xa4 'q\"", "large"};
    std::vector<std::string> contents;
    for (const std::string& name : names)
        contents.push_back(file_server::Put(name, name == "large" ? 5 * kMiB + 1 : 100));
    file_server::Put(".hidden", 1);
    for (std::size_t i = 0; i < names.size(); ++i) {
        SCOPED_TRACE(names[i]);
        EXPECT_TRUE(Copy(names[i]));
        EXPECT_TRUE(ContentsOf(m_target / names[i]) == contents[i]);
        const TransferredFile record = LastRecord();
        const auto size = static_cast<std::int64_t>(contents[i].size());
        EXPECT_EQ(record.name, names[i]);
        EXPECT_EQ(record.expectedBytes, size);
        EXPECT_EQ(record.receivedBytes, size);
        EXPECT_EQ(record.tries, 1);
        EXPECT_TRUE(record.complete);
        EXPECT_EQ(record.reason, "");
        EXPECT_EQ(record.sha256, file_server::DigestOf(m_target / names[i]));
    }
    EXPECT_EQ(NewLogins(), 1);
    EXPECT_THAT(Arrived(), UnorderedElementsAre(names[0], names[1], names[2], names[3]));
    ASSERT_EQ(m_listener.listings.size(), 1u);
    EXPECT_THAT(m_listener.listings[0],
                UnorderedElementsAre(names[0], names[1], names[2], names[3]));
    EXPECT_EQ(m_listener.begun, names);
    EXPECT_EQ(m_listener.done, names);
    // Masked in the log, as the end of all these tests sees.
    TRootObject::GetCoreLogger()->Log(3, "a canary: " + file_server::Password() + ", and " +
                                             file_server::Remote());
}

TEST_F(SftpTest, AnotherUserOfLibcurlTakesNothingAway)
{
    file_server::Put("file", 10);
    EXPECT_TRUE(Copy("file"));
    void* library = LoadDynamicLibrary(kIsWindows ? "libcurl.dll" : "libcurl.so.4");
    ASSERT_NE(library, nullptr);
    FindLibraryFunction<curl::GlobalInit>(library, "curl_global_init")(curl::kGlobalAll);
    FindLibraryFunction<curl::GlobalCleanup>(library, "curl_global_cleanup")();
    UnloadDynamicLibrary(library);
    EXPECT_TRUE(Copy("file"));
    EXPECT_EQ(NewLogins(), 1);
    EndTransfers();
    EXPECT_TRUE(Copy("file"));
    EXPECT_EQ(NewLogins(), 2);
}

TEST_F(SftpTest, FilesThatCannotBeHadWholeFailAloneAndCostNoLogin)
{
    file_server::Put("first", 10);
    file_server::Put("refused", 10);
    RunOnHost("chmod 0 " + file_server::Served("refused"));
    std::filesystem::create_directory(file_server::Served("folder"));
    EXPECT_TRUE(Copy("first"));
    EXPECT_FALSE(Copy("refused"));
    EXPECT_THAT(LastRecord().reason, HasSubstr("refuses"));
    EXPECT_FALSE(Copy("missing"));
    EXPECT_EQ(NewLogins(), 1);
    EXPECT_FALSE(Copy("folder"));

    // The system says 4096 bytes of such a file and gives a few.
    file_server::Put("short", 0);
    const std::string source = "/sys/kernel/mm/transparent_hugepage/enabled";
    const std::string place = ShellWord(file_server::Served("short"));
    if (RunOnHost("mount --bind " + source + " " + place).status == 0) {
        EXPECT_FALSE(Copy("short"));
        EXPECT_LT(LastRecord().receivedBytes, LastRecord().expectedBytes);
        EXPECT_THAT(LastRecord().reason, HasSubstr("breaks it off"));
        RunOnHost("umount " + place);
    }
    const std::string contents = file_server::Put("last", 10);
    EXPECT_TRUE(Copy("last"));
    EXPECT_TRUE(ContentsOf(m_target / "last") == contents);
    for (const char* name : {"refused", "missing", "folder", "short"})
        EXPECT_FALSE(std::filesystem::exists(m_target / name)) << name;
}

TEST_F(SftpTest, UnsafeNamesNeverReachTheServer)
{
    file_server::Put("file", 10);
    for (const char* name : {"", ".", "..", "../file", "/etc/passwd", "a\\b", "a\nb"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(Copy(name));
        EXPECT_FALSE(LastRecord().complete);
        EXPECT_EQ(LastRecord().tries, 0);
        EXPECT_NE(LastRecord().reason, "");
    }
    EXPECT_EQ(NewLogins(), 0);
    EXPECT_THAT(Arrived(), IsEmpty());
}

TEST_F(SftpTest, LostServersThrowTheirStatus)
{
    file_server::Put("file", 10);
    EXPECT_EQ(Loss(file_server::RemoteWith("wrong", file_server::Server())),
              TVXAStatusCode::ePermissionDenied);
    EXPECT_EQ(Loss(file_server::RemoteWith(file_server::Password(), "127.0.0.1:9")),
              TVXAStatusCode::eCannotConnect);
    EXPECT_EQ(Loss(file_server::RemoteWith(file_server::Password(), "192.0.2.1:22")),
              TVXAStatusCode::eNoRoute);
    EXPECT_EQ(Loss("user:password@"), TVXAStatusCode::eCannotConnect);
    for (const TransferredFile& file : GetTransferRecord())
        EXPECT_NE(file.reason, "");
    EXPECT_EQ(GetTransferRecord().size(), 4u);
    EXPECT_THAT(Arrived(), IsEmpty());
    EXPECT_EQ(NewLogins(), 0);
}

TEST_F(SftpTest, ResumesWithoutBytesTwice)
{
    PutLargeFile([] {
        file_server::Order("kill");
        file_server::Order("start");
    });
    EXPECT_TRUE(Copy("file"));
    ExpectWhole(m_contents);
    EXPECT_EQ(LastRecord().tries, 2);
    EXPECT_EQ(LastRecord().receivedBytes, static_cast<std::int64_t>(m_contents.size()));
}

TEST_F(SftpTest, BeginsAnewWhenTheRemoteFileHasChanged)
{
    // Of the same size, and shorter than what had arrived.
    for (const std::size_t size : {8 * kMiB, std::size_t{1000}}) {
        SCOPED_TRACE(size);
        std::string changed;
        PutLargeFile([&] {
            file_server::Order("kill");
            changed = file_server::Put("file", size, 2);
            const auto time = std::filesystem::last_write_time(file_server::Served("file"));
            std::filesystem::last_write_time(file_server::Served("file"), time + seconds(5));
            file_server::Order("start");
        });
        EXPECT_TRUE(Copy("file"));
        ExpectWhole(changed);
        EXPECT_EQ(LastRecord().expectedBytes, static_cast<std::int64_t>(size));
    }
}

TEST_F(SftpTest, SilentServerIsGivenUpWithinTheLimit)
{
    constexpr int kLimit = 4;
    Limit(kLimit);
    Clock::time_point paused;
    PutLargeFile([&] {
        file_server::Order("pause");
        paused = Clock::now();
    });
    EXPECT_EQ(Loss(file_server::Remote()), TVXAStatusCode::eCannotConnect);
    const Clock::duration wait = Clock::now() - paused;
    file_server::Order("resume");
    EXPECT_GE(wait, seconds(kLimit - 1));
    EXPECT_LE(wait, seconds(kLimit + 10));
    EXPECT_LE(m_listener.longestSilence, seconds(3));
    // What had arrived is there, but not under the file's name.
    EXPECT_THAT(Arrived(), ElementsAre("file.part"));
    EXPECT_GT(LastRecord().receivedBytes, 0);
    EXPECT_EQ(std::filesystem::file_size(m_target / "file.part"),
              static_cast<std::uintmax_t>(LastRecord().receivedBytes));

    // The next copy replaces it.
    Limit(20);
    EXPECT_TRUE(Copy("file"));
    ExpectWhole(m_contents);
}

TEST_F(SftpTest, SilentConnectionIsMadeAnewAtHalfTheLimit)
{
    Limit(8);
    PutLargeFile([] { file_server::SignalSessions("STOP"); });
    EXPECT_TRUE(Copy("file"));
    file_server::SignalSessions("CONT");
    ExpectWhole(m_contents);
    EXPECT_EQ(LastRecord().tries, 2);
    EXPECT_EQ(NewLogins(), 2);
}

TEST_F(SftpTest, KnownHostsFileDecidesBeforeAnybodyLogsIn)
{
    file_server::Put("file", 10);
    const std::string right = ContentsOf(file_server::StateFile("known_hosts"));
    std::string wrong = right;
    wrong[wrong.size() - 10] = wrong[wrong.size() - 10] == 'A' ? 'B' : 'A';
    const struct {
        const char* rule;
        std::string known;
        int status;
        std::string knownAfterwards;
    } cases[] = {
        {"strict", right, kThrewNothing, right},
        {"strict", "", TVXAStatusCode::eCannotConnect, ""},
        {"strict", wrong, TVXAStatusCode::eCannotConnect, wrong},
        {"pin", "", kThrewNothing, right},
        {"pin", "# no line end", kThrewNothing, "# no line end\n" + right},
        {"pin", right, kThrewNothing, right},
        {"pin", wrong, TVXAStatusCode::eCannotConnect, wrong},
        {"no such rule", "", TVXAStatusCode::eCannotConnect, ""},
    };
    int expectedLogins = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.rule) + " with " + c.known);
        TemporaryDirectory directory;
        const std::string file = directory.Write("known_hosts", c.known);
        SetVariable("VXA_KNOWN_HOSTS", file);
        SetVariable("VXA_HOST_KEYS", c.rule);
        EXPECT_EQ(CheckHostKey(file_server::Server() + "/x").empty(), c.status == kThrewNothing);
        EXPECT_EQ(ContentsOf(file), c.known);
        EndTransfers();
        EXPECT_EQ(Loss(file_server::Remote()), c.status);
        EXPECT_EQ(ContentsOf(file), c.knownAfterwards);
        if (c.status == kThrewNothing)
            ++expectedLogins;
        else
            EXPECT_THAT(LastRecord().reason, HasSubstr("the host key of " + file_server::Server()));
    }
    EXPECT_EQ(NewLogins(), expectedLogins);
    EXPECT_NE(CheckHostKey("127.0.0.1:9"), "");
    ClearVariable("VXA_KNOWN_HOSTS");
    EXPECT_EQ(CheckHostKey("127.0.0.1:9"), "");
}

TEST_F(SftpTest, PartsReplaceLeftoversButNoCopiedFile)
{
    m_target.Write("file.part", "left by an earlier process, and longer than the file");
    const std::string contents = file_server::Put("file", 20);
    const std::string namedPart = file_server::Put("file.part", 30);
    EXPECT_TRUE(Copy("file"));
    EXPECT_THAT(Arrived(), ElementsAre("file"));
    EXPECT_TRUE(Copy("file.part"));
    EXPECT_TRUE(Copy("file"));
    EXPECT_TRUE(ContentsOf(m_target / "file") == contents);
    EXPECT_TRUE(ContentsOf(m_target / "file.part") == namedPart);
}

} // namespace

#if defined(__SANITIZE_ADDRESS__)
// libcurl abandons the session of a server that does not answer, and frees nothing of it.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:libcurl.so\nleak:libssh2.so\nleak:libcrypto.so\n";
}
#endif
