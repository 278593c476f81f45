#include "backends/vxacore/CoreLog.h"
#include "common/TVXAException.h"
#include "platform/vxacore/TOSSpecific.h"
#include "tests/backends/LoopbackListener.h"
#include "tests/support/Host.h"
#include "tests/support/Program.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Variable.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>

using namespace NORXVXA20;
using testing::HasSubstr;
using testing::Not;

namespace {

namespace fs = std::filesystem;

const char* const kPassword = "a:b@c d%41#";
const char* const kDropName = "/kserver/toorx/kseries/fdr_upload/r.zip";

// No resolver asks for a name with such a long part.
const std::string kNoHost = "no-such-host" + std::string(60, 'x') + ".invalid";

const char* const kNobodyThere = "127.0.0.1:1";

constexpr bool kIsWindows = fs::path::preferred_separator == '\\';

constexpr int kFalse = 0;
constexpr int kTrue = 1;

// The server that misbehaves, with its folder.
class Server {
public:
    Server()
    {
        fs::create_directories(m_folder / "root/kserver/toorx/kseries/fdr_upload");
        const std::string portFile = m_folder / "port";
        m_program = std::make_unique<Program>(
            std::vector<std::string>{"/usr/bin/python3", FTP_SCRIPTS "/ftp_server.py",
                                     HostPath(m_folder / "root"), HostPath(portFile)},
            std::map<std::string, std::string>{}, m_folder.Path());
        WaitUntil([&] { return fs::exists(portFile) || !m_program->Errors().empty(); });
        m_port = ContentsOf(portFile);
    }

    bool IsUp() const { return !m_port.empty(); }
    std::string At(const std::string& user) const
    {
        return (user.empty() ? "" : user + ":" + kPassword + "@") + "127.0.0.1:" + m_port;
    }
    const std::string& Port() const { return m_port; }
    std::string Path(const std::string& name) const { return m_folder / ("root/" + name); }

private:
    TemporaryDirectory m_folder;
    std::unique_ptr<Program> m_program;
    std::string m_port;
};

// Larger than what libcurl and the kernel take at once, and without a pattern of their block sizes.
std::string Contents(std::size_t size)
{
    std::string contents(size, '\0');
    unsigned int value = 1;
    for (char& byte : contents) {
        value = value * 1103515245 + 12345;
        byte = static_cast<char>(value >> 16);
    }
    return contents;
}

class FtpUploadTest : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        // Not the environment's proxies: the channel is a direct one.
        for (const char* name : {"ftp_proxy", "http_proxy", "all_proxy"})
            SetVariable(name, "http://127.0.0.1:9");
        SetVariable("VXA_STALL_SECONDS", "2");
        sServer = std::make_unique<Server>();
    }
    static void TearDownTestSuite() { sServer.reset(); }

    void SetUp() override
    {
        if (!sServer->IsUp())
            GTEST_SKIP() << "no FTP server: /usr/bin/python3 with python3-pyftpdlib is needed";
        ASSERT_TRUE(OpenCoreLog(m_folder / "log"));
        fs::remove(sServer->Path("r.zip"));
    }
    void TearDown() override { CloseCoreLog(); }

    // The result of an upload as kTrue or kFalse, or the status it throws.
    static int Upload(const std::string& server, const std::string& file, const std::string& name)
    {
        try {
            return TOSSpecific::FTPFile(server, file, name) ? kTrue : kFalse;
        } catch (const TVXAException& failure) {
            return failure.GetStatusCode().GetStatusCode();
        }
    }

    int UploadAs(const std::string& user, std::size_t size = 4 * 1024 * 1024)
    {
        m_contents = Contents(size);
        return Upload(sServer->At(user), m_folder.Write("local", m_contents), "r.zip");
    }

    std::string Arrived(const std::string& name = "r.zip") const
    {
        return ContentsOf(sServer->Path(name));
    }
    std::string Log() const { return ContentsOf(m_folder / "log"); }

    static std::unique_ptr<Server> sServer;
    TemporaryDirectory m_folder;
    std::string m_contents;
};

std::unique_ptr<Server> FtpUploadTest::sServer;

TEST_F(FtpUploadTest, BytesArriveWhole)
{
    for (const char* user : {"plain", "", "old"}) { // anonymous; without EPSV and SIZE
        SCOPED_TRACE(user);
        EXPECT_EQ(UploadAs(user, 5 * 1024 * 1024 + 3), kTrue);
        EXPECT_TRUE(Arrived() == m_contents);
    }
    EXPECT_EQ(UploadAs("plain", 0), kTrue);
    EXPECT_EQ(Arrived(), "");
    EXPECT_EQ(Log(), "");
}

TEST_F(FtpUploadTest, RemoteNameIsTakenAsItIs)
{
    const std::string file = m_folder.Write("local", "new");
    EXPECT_EQ(Upload(sServer->At("plain"), m_folder.Write("long", "a longer one"), kDropName),
              kTrue);
    EXPECT_EQ(Upload(sServer->At("plain"), file, kDropName), kTrue);
    EXPECT_EQ(Arrived(kDropName + 1), "new");
    // The server's files are looked at through the system, and Windows has no such names.
    const std::string odd = kIsWindows ? "a b%41#;type=a&.zip" : "a b%41#?;type=a&\xc3\xa4.zip";
    EXPECT_EQ(Upload(sServer->At("plain"), file, odd), kTrue);
    EXPECT_EQ(Arrived(odd), "new");
    EXPECT_EQ(Upload(sServer->At("plain"), file, ""), kFalse);
    EXPECT_EQ(Upload(sServer->At("plain"), file, "a\r\nDELE b"), kFalse);
}

TEST_F(FtpUploadTest, RefusedLogInOrFileIsDenied)
{
    const std::string file = m_folder.Write("local", "new");
    EXPECT_EQ(Upload("plain:wrong@127.0.0.1:" + sServer->Port(), file, "r.zip"), 27);
    EXPECT_EQ(Upload(sServer->At("reader"), file, "r.zip"), 27);
    EXPECT_EQ(Upload(sServer->At("plain"), file, "no/such/folder/r.zip"), 27);
    EXPECT_FALSE(fs::exists(sServer->Path("no")));
    EXPECT_FALSE(fs::exists(sServer->Path("r.zip")));
    EXPECT_EQ(Upload("nopass@127.0.0.1:" + sServer->Port(), file, "r.zip"), kTrue);
    EXPECT_THAT(Log(), HasSubstr("TOSSpecific::FTPFile - "));
    EXPECT_THAT(Log(), Not(HasSubstr("wrong")));
}

TEST_F(FtpUploadTest, WhatDidNotArriveWholeIsNoSuccess)
{
    EXPECT_EQ(UploadAs("cut", 16 * 1024 * 1024), kFalse);
    for (const char* user : {"quota", "busy", "short"})
        EXPECT_EQ(UploadAs(user), kFalse) << user;
    EXPECT_THAT(Log(), HasSubstr("the server has 7 of 4194304 bytes"));
    // One that does not tell is believed.
    EXPECT_EQ(UploadAs("blind"), kTrue);
    EXPECT_TRUE(Arrived() == m_contents);
}

TEST_F(FtpUploadTest, SilentServerIsGivenUp)
{
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(UploadAs("silent", 64 * 1024 * 1024), kFalse);
    EXPECT_THAT(Log(), HasSubstr("the server is silent"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST_F(FtpUploadTest, ServerThatIsNotThereHasACode)
{
    const LoopbackListener mute;
    const std::string file = m_folder.Write("local", "new");
    EXPECT_EQ(Upload(kNobodyThere, file, "r.zip"), 34);
    EXPECT_EQ(Upload("127.0.0.1:" + mute.Port(), file, "r.zip"), 34) << "it never greets";
    EXPECT_EQ(Upload(kNoHost, file, "r.zip"), 33);
    EXPECT_EQ(Upload("user:pw@", file, "r.zip"), kFalse);
    EXPECT_EQ(Upload("host/folder", file, "r.zip"), kFalse);
    // Nobody is asked for what cannot be read here.
    EXPECT_EQ(Upload(kNobodyThere, m_folder / "missing", "r.zip"), kFalse);
    EXPECT_EQ(Upload(kNobodyThere, m_folder.Path(), "r.zip"), kFalse);
}

TEST_F(FtpUploadTest, ProbeSaysWhichStepFailed)
{
    const LoopbackListener mute;
    EXPECT_EQ(TOSSpecific::DetectHostnameAvailable("127.0.0.1", "1"), 34);
    EXPECT_EQ(TOSSpecific::DetectHostnameAvailable("localhost", mute.Port()), 0);
    for (const char* host : {kNoHost.c_str(), "", "a/b", "user@127.0.0.1"})
        EXPECT_EQ(TOSSpecific::DetectHostnameAvailable(host, mute.Port()), 33);
}

// The common server as an anonymous drop.
TEST_F(FtpUploadTest, CommonServerTakesTheFile)
{
    const char* const peers = std::getenv("UTILS_PEERS");
    std::string program = (peers != nullptr ? peers : FTP_PEERS) + std::string("/usr/sbin/vsftpd");
    if (!fs::exists(program))
        program = "/usr/sbin/vsftpd";
    if (!fs::exists(program))
        GTEST_SKIP() << "no vsftpd; simulators/peers.sh unpacks one";
    const std::string port = LoopbackListener().Port();
    const Program vsftpd({FTP_SCRIPTS "/vsftpd.sh", HostPath(m_folder / "root"), port, program}, {},
                         m_folder.Path());
    ASSERT_TRUE(WaitUntil([&] {
        return TOSSpecific::DetectHostnameAvailable("127.0.0.1", port) == 0;
    })) << vsftpd.Errors();
    const std::string server = "127.0.0.1:" + port;
    const std::string contents = Contents(3 * 1024 * 1024 + 1);
    const std::string file = m_folder.Write("local", contents);
    EXPECT_EQ(Upload(server, file, "drop/r s.zip"), kTrue) << Log();
    EXPECT_TRUE(ContentsOf(m_folder / "root/drop/r s.zip") == contents);
    EXPECT_EQ(Upload(server, file, "drop/r s.zip"), 27) << "nothing is replaced there";
    EXPECT_EQ(Upload(server, file, "drop/denied.zip"), 27);
    EXPECT_EQ(Upload("somebody:secret@" + server, file, "drop/t.zip"), 27);
}

} // namespace
