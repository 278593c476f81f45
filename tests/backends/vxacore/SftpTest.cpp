// The SFTP copies against a real file server, inside the sandbox.
#include "backends/vxacore/CoreLog.h"
#include "backends/vxacore/TransferRecord.h"
#include "common/TVXAException.h"
#include "osdep/DynamicLibrary.h"
#include "platform/curl/Curl.h"
#include "platform/vxacore/TOSSpecific.h"
#include "platform/vxacore/TRootObject.h"
#include "tests/support/Host.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Variable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

using namespace NORXVXA20;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr int kThrewNothing = 0;
constexpr bool kIsWindows = std::filesystem::path::preferred_separator == '\\';
constexpr std::size_t kMiB = 1024 * 1024;

std::string OutputOf(const std::string& command)
{
    const HostAnswer answer = RunOnHost(command);
    EXPECT_EQ(answer.status, 0) << command << ": " << answer.output;
    return answer.output;
}

// The sandbox's file server, as a test sees and orders it about.
const std::string kPassword = std::getenv("SP_PASSWORD");
const std::string kServer = std::getenv("SP_ADDRESS") + std::string(":115");

// "user:password@host:port/directory" of what it serves.
std::string Remote(const std::string& password = kPassword, const std::string& server = kServer)
{
    return std::getenv("SP_USER") + (":" + password) + "@" + server + "/download/ffdc";
}

// start, stop, kill, pause, resume or logins.
std::string Order(const std::string& verb)
{
    return OutputOf(std::getenv("SP_CONTROL") + (" sshd " + verb));
}

// How many log-ins it has accepted.
int Logins()
{
    return std::stoi(Order("logins"));
}

std::string StateFile(const std::string& name)
{
    return std::getenv("SP_STATE") + ("/" + name);
}

// A signal to every connection that there is, and not to the server that takes new ones.
void SignalSessions(const std::string& signal)
{
    OutputOf("descend() { for c in $(cat /proc/$1/task/$1/children); do descend $c; kill -" +
             signal + " $c; done; }; descend " + ContentsOf(StateFile("sshd.pid")));
}

std::string Served(const std::string& name)
{
    return std::getenv("SP_SERVED") + ("/" + name);
}

// Has it serve count bytes that seed determines, and returns them.
std::string Put(const std::string& name, std::size_t count, unsigned int seed = 1)
{
    std::mt19937 random(seed);
    std::string bytes(count, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    std::ofstream(Served(name), std::ios::binary) << bytes;
    return bytes;
}

// The SHA-256 of a file by another program.
std::string DigestOf(const std::string& path)
{
    return OutputOf("sha256sum < " + ShellWord(HostPath(path))).substr(0, 64);
}

// Takes down what is told, and lets a test act in the middle of a file.
class Listener : public ITransferListener {
public:
    void OnNamesListed(const std::vector<std::string>& names) override
    {
        listings.push_back(names);
    }
    void OnFileBegun(const std::string&) override {}
    void OnBytes(const std::string&, std::int64_t received, std::int64_t expected) override
    {
        if (received > 0 && received < expected && inMidFile) {
            const auto act = std::move(inMidFile);
            inMidFile = nullptr;
            act();
        }
    }
    void OnFileDone(const TransferredFile&) override {}
    void OnAlive() override
    {
        const Clock::time_point now = Clock::now();
        longestSilence = std::max(longestSilence, now - lastSign);
        lastSign = now;
    }

    std::function<void()> inMidFile; // called once
    std::vector<std::vector<std::string>> listings;
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
        EXPECT_EQ(log.find(kPassword), std::string::npos);
        delete s_log;
    }

    void SetUp() override
    {
        // The host's own: files of mode 000 are among them.
        OutputOf("find " + Served("") + " -mindepth 1 -delete");
        ClearTransferRecord();
        SetTransferListener(&m_listener);
        Limit(20);
        m_loginsBefore = Logins();
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
        return TOSSpecific::sFTPFileFromORX(Remote(), m_target / name, name);
    }

    // The status that a copy throws.
    int Loss(const std::string& remote)
    {
        try {
            TOSSpecific::sFTPFileFromORX(remote, m_target / "file", "file");
        } catch (const TVXAException& e) {
            EXPECT_EQ(std::string(e.what()).find(kPassword), std::string::npos);
            return e.GetStatusCode().GetStatusCode();
        }
        return kThrewNothing;
    }

    int NewLogins() const { return Logins() - m_loginsBefore; }
    static TransferredFile LastRecord() { return GetTransferRecord().back(); }
    std::vector<std::string> Arrived() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_target.Path()))
            names.push_back(entry.path().filename().string());
        return names;
    }

    void ExpectWhole(const std::string& contents)
    {
        EXPECT_TRUE(ContentsOf(m_target / "file") == contents);
        EXPECT_EQ(LastRecord().sha256, DigestOf(Served("file")));
        EXPECT_THAT(Arrived(), ElementsAre("file"));
    }

    static TemporaryDirectory* s_log;
    TemporaryDirectory m_target;
    Listener m_listener;
    int m_loginsBefore = 0;
};

TemporaryDirectory* SftpTest::s_log = nullptr;

TEST_F(SftpTest, FilesArriveWholeOverOneConnection)
{
    const std::vector<std::string> names = {"50% #1 %41 &;.txt", "large"};
    Put(".hidden", 1);
    Put(names[0], 100);
    Put(names[1], 5 * kMiB + 1);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(Copy(name));
        const std::string contents = ContentsOf(Served(name));
        EXPECT_TRUE(ContentsOf(m_target / name) == contents);
        const TransferredFile record = LastRecord();
        EXPECT_EQ(record.name, name);
        EXPECT_EQ(record.expectedBytes, static_cast<std::int64_t>(contents.size()));
        EXPECT_EQ(record.receivedBytes, record.expectedBytes);
        EXPECT_EQ(record.tries, 1);
        EXPECT_EQ(record.sha256, DigestOf(m_target / name));
    }
    EXPECT_EQ(NewLogins(), 1);
    EXPECT_THAT(Arrived(), UnorderedElementsAreArray(names));
    EXPECT_THAT(m_listener.listings, ElementsAre(UnorderedElementsAreArray(names)));
    // Masked in the log, as the end of all these tests sees.
    TRootObject::GetCoreLogger()->Log(3, "a canary: " + kPassword + ", and " + Remote());
}

TEST_F(SftpTest, AnotherUserOfLibcurlTakesNothingAway)
{
    Put("file", 10);
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
    Put("refused", 10);
    Put("last", 10);
    RunOnHost("chmod 0 " + Served("refused"));
    EXPECT_FALSE(Copy("refused"));
    EXPECT_THAT(LastRecord().reason, HasSubstr("refuses"));
    EXPECT_FALSE(Copy("missing"));
    EXPECT_EQ(NewLogins(), 1);

    // The system says 4096 bytes of such a file and gives a few.
    Put("short", 0);
    const std::string source = "/sys/kernel/mm/transparent_hugepage/enabled";
    const std::string place = ShellWord(Served("short"));
    if (RunOnHost("mount --bind " + source + " " + place).status == 0) {
        EXPECT_FALSE(Copy("short"));
        EXPECT_LT(LastRecord().receivedBytes, LastRecord().expectedBytes);
        EXPECT_THAT(LastRecord().reason, HasSubstr("breaks it off"));
        RunOnHost("umount " + place);
    }
    EXPECT_TRUE(Copy("last"));
    for (const char* name : {"refused", "missing", "short"})
        EXPECT_FALSE(std::filesystem::exists(m_target / name)) << name;
}

TEST_F(SftpTest, UnsafeNamesNeverReachTheServer)
{
    Put("file", 10);
    for (const char* name : {"", "..", "../file", "/etc/passwd"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(Copy(name));
        EXPECT_FALSE(LastRecord().complete);
        EXPECT_NE(LastRecord().reason, "");
    }
    EXPECT_EQ(NewLogins(), 0);
    EXPECT_THAT(Arrived(), IsEmpty());
}

TEST_F(SftpTest, LostServersThrowTheirStatus)
{
    Put("file", 10);
    EXPECT_EQ(Loss(Remote("wrong")), TVXAStatusCode::ePermissionDenied);
    EXPECT_EQ(Loss(Remote(kPassword, "127.0.0.1:9")), TVXAStatusCode::eCannotConnect);
    EXPECT_EQ(Loss(Remote(kPassword, "192.0.2.1:22")), TVXAStatusCode::eNoRoute);
    EXPECT_EQ(Loss("user:password@"), TVXAStatusCode::eCannotConnect);
    EXPECT_EQ(GetTransferRecord().size(), 4u);
    for (const TransferredFile& file : GetTransferRecord())
        EXPECT_NE(file.reason, "");
    EXPECT_THAT(Arrived(), IsEmpty());
    EXPECT_EQ(NewLogins(), 0);
}

TEST_F(SftpTest, ResumesUnlessTheRemoteFileHasChanged)
{
    const struct {
        std::size_t size; // the shorter one has less than what had arrived
        bool isResumed;
    } cases[] = {{8 * kMiB, true}, {8 * kMiB, false}, {1000, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        std::string changed = Put("file", 8 * kMiB);
        m_listener.inMidFile = [&] {
            Order("kill");
            if (!c.isResumed) {
                changed = Put("file", c.size, 2);
                OutputOf("touch -d '5 seconds' " + Served("file"));
            }
            Order("start");
        };
        EXPECT_TRUE(Copy("file"));
        ExpectWhole(changed);
        EXPECT_EQ(LastRecord().expectedBytes, static_cast<std::int64_t>(c.size));
        EXPECT_EQ(LastRecord().receivedBytes, LastRecord().expectedBytes);
        EXPECT_EQ(LastRecord().startByte > 0, c.isResumed);
    }
}

TEST_F(SftpTest, SilentServerIsGivenUpWithinTheLimit)
{
    constexpr int kLimit = 4;
    Limit(kLimit);
    Clock::time_point paused;
    const std::string contents = Put("file", 8 * kMiB);
    m_listener.inMidFile = [&] {
        Order("pause");
        paused = Clock::now();
    };
    EXPECT_EQ(Loss(Remote()), TVXAStatusCode::eCannotConnect);
    const Clock::duration wait = Clock::now() - paused;
    Order("resume");
    EXPECT_GE(wait, seconds(kLimit - 1));
    EXPECT_LE(wait, seconds(kLimit + 10));
    EXPECT_LE(m_listener.longestSilence, seconds(3));
    // What had arrived is there, but not under the file's name.
    EXPECT_THAT(Arrived(), ElementsAre("file.part"));
    EXPECT_EQ(std::filesystem::file_size(m_target / "file.part"),
              static_cast<std::uintmax_t>(LastRecord().receivedBytes));

    // The next copy replaces it.
    Limit(20);
    EXPECT_TRUE(Copy("file"));
    ExpectWhole(contents);
}

TEST_F(SftpTest, SilentConnectionIsMadeAnewAtHalfTheLimit)
{
    Limit(8);
    const std::string contents = Put("file", 8 * kMiB);
    m_listener.inMidFile = [] { SignalSessions("STOP"); };
    EXPECT_TRUE(Copy("file"));
    SignalSessions("CONT");
    ExpectWhole(contents);
    EXPECT_EQ(LastRecord().tries, 2);
    EXPECT_EQ(NewLogins(), 2);
}

TEST_F(SftpTest, KnownHostsFileDecidesBeforeAnybodyLogsIn)
{
    Put("file", 10);
    const std::string right = ContentsOf(StateFile("known_hosts"));
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
        EXPECT_EQ(CheckHostKey(kServer + "/x").empty(), c.status == kThrewNothing);
        EXPECT_EQ(ContentsOf(file), c.known);
        EndTransfers();
        EXPECT_EQ(Loss(Remote()), c.status);
        EXPECT_EQ(ContentsOf(file), c.knownAfterwards);
        if (c.status == kThrewNothing)
            ++expectedLogins;
        else
            EXPECT_THAT(LastRecord().reason, HasSubstr("the host key of " + kServer));
    }
    EXPECT_EQ(NewLogins(), expectedLogins);
    EXPECT_NE(CheckHostKey("127.0.0.1:9"), "");
}

TEST_F(SftpTest, PartsReplaceLeftoversButNoCopiedFile)
{
    m_target.Write("file.part", "left by an earlier process, and longer than the file");
    const std::string contents = Put("file", 20);
    const std::string namedPart = Put("file.part", 30);
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
