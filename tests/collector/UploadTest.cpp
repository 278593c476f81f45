#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestedProgram.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

namespace fs = std::filesystem;

constexpr const char* kPassword = "a:b@c d%41#";

// The program as it is shipped, and a server that lets "plain" in with the password.
class CollectorUploadTest : public testing::Test {
protected:
    void SetUp() override
    {
        fs::create_directory(m_folder / "root");
        fs::create_directory(m_folder / "server");
        const std::string portFile = m_folder / "port";
        m_server = std::make_unique<Program>(
            std::vector<std::string>{"/usr/bin/python3", FTP_SCRIPTS "/ftp_server.py",
                                     m_folder / "root", portFile},
            std::map<std::string, std::string>{}, m_folder / "server");
        WaitUntil([&] { return fs::exists(portFile) || !m_server->Errors().empty(); });
        if (!fs::exists(portFile))
            GTEST_SKIP() << "no FTP server: /usr/bin/python3 with python3-pyftpdlib is needed";
        m_host = "127.0.0.1:" + ContentsOf(portFile);
        m_file = m_folder.Write("result.zip", "the result");
        m_passwordFile = m_folder.Write("password", std::string(kPassword) + "\nmore\n");
    }

    // Runs it to its end; its exit code.
    int Upload(std::vector<std::string> words)
    {
        words.insert(words.begin(), "upload");
        TestedProgram run("ffdc-collect", words, {}, m_folder.Path());
        const int code = run.Wait();
        m_output = run.Output();
        m_errors = run.Errors();
        return code;
    }

    const TemporaryDirectory m_folder;
    std::unique_ptr<Program> m_server;
    std::string m_host;
    std::string m_file;
    std::string m_passwordFile;
    std::string m_output;
    std::string m_errors;
};

TEST_F(CollectorUploadTest, FileArrivesAndThePasswordStaysSecret)
{
    const std::string log = m_folder / "log";
    EXPECT_EQ(Upload({m_file, "--ftp", "plain@" + m_host, "--password-file", m_passwordFile,
                      "--yes", "--log", log}),
              0)
        << m_errors;
    EXPECT_EQ(ContentsOf(m_folder / "root/result.zip"), "the result");
    EXPECT_EQ(m_output, "\nTransferring collected data to FTP Server.\nTransfer completed.\n");
    EXPECT_THAT(ContentsOf(log), HasSubstr("Entering UploadFile"));
    EXPECT_THAT(ContentsOf(log) + m_output + m_errors, Not(HasSubstr(kPassword)));
    EXPECT_EQ(Upload({m_file, "--ftp", m_host, "--yes"}), 0) << "anonymously";
    // A wrong password.
    EXPECT_EQ(Upload({m_file, "--ftp", "plain@" + m_host, "--password-file", m_file, "--yes"}), 1);
    EXPECT_THAT(m_output, EndsWith("ERROR: Permission Denied.\n"));
}

TEST_F(CollectorUploadTest, WrongArgumentsStartNothing)
{
    const std::vector<std::string> cases[] = {
        {m_file},
        {m_file, "--ftp", m_host, "--service"},
        {m_folder / "missing", "--ftp", m_host},
        {m_file, "--ftp", "plain:secret@" + m_host},
        {m_file, "--ftp", m_host, "--password-file", m_passwordFile},
        {m_file, "--ftp", "plain@" + m_host, "--password-file", m_folder / "missing"},
    };
    for (const std::vector<std::string>& words : cases) {
        SCOPED_TRACE(words.back());
        EXPECT_EQ(Upload(words), 2);
        EXPECT_NE(m_errors, "");
        EXPECT_EQ(m_output, "");
    }
    EXPECT_TRUE(fs::is_empty(m_folder / "root"));
}

} // namespace
