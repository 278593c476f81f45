#include "net/Upload.h"

#include "BuildValues.h"
#include "common/TVXAException.h"
#include "osdep/VXAOSDep.h"
#include "platform/kccupload/KccUpload.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/fakes/FakeLoader.h"
#include "tests/fakes/FakeLog.h"
#include "tests/fakes/FakeTransfers.h"

#include <gmock/gmock.h>

#include <functional>

using namespace NORXVXA20;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

namespace {

const std::string kBanner = "                              ***************\n";

class UploadTest : public testing::Test {
protected:
    void SetUp() override
    {
        gLog.Reset();
        gConsole.Reset();
        gLoader.Reset();
        gTransfers.Reset();
    }

    // The result; what was written to standard output is then in m_output.
    bool Upload(bool toService, bool warn, char* message, int size)
    {
        testing::internal::CaptureStdout();
        const bool result = UploadFile(m_path, "user:pw@server", toService, warn, message, size);
        m_output = testing::internal::GetCapturedStdout();
        return result;
    }

    const std::string m_path =
        VXAOSDep::gFileSeparator + "out" + VXAOSDep::gFileSeparator + "a b.zip";
    std::string m_output;
};

TEST_F(UploadTest, WarningCountsDownADotASecondWhichNoUnreadableKeyCancels)
{
    gConsole.keys = {{0, 'q'}, {0, 13}, {0, -1}, {3000, -1}};
    char message[32] = {};
    testing::internal::CaptureStdout();
    EXPECT_TRUE(UploadFileToORX("a.zip", true, message, 32));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n" + kBanner +
                  "Attempted data upload to ORX server by means of an unencrypted channel will\n"
                  "proceed in 10 seconds.  Press any key to cancel the attempted upload.\n" +
                  kBanner +
                  "..........\nTransferring collected data to ORX Service.\n"
                  "Transfer completed.\n");
    EXPECT_STREQ(message, "Transfer completed.");
    EXPECT_EQ(gConsole.sleeps, std::vector<unsigned int>(10, 1000));
    const std::vector<std::string> lines = gLog.Messages();
    EXPECT_EQ(lines.front(), "Entering UploadFileToORX");
    EXPECT_EQ(lines[5], "Eat an input char: 113");
    EXPECT_EQ(lines[6], "Eat an input char: 13");
    EXPECT_THAT(lines[7], StartsWith("proceed"));
    EXPECT_EQ(lines.back(), "Exiting UploadFileToORX");
    EXPECT_THAT(gTransfers.copies,
                ElementsAre(UTILS_UPLOAD_HOST "|a.zip|/kserver/toorx/kseries/fdr_upload/a.zip"));
}

TEST_F(UploadTest, KeyDuringTheCountdownCancels)
{
    for (const unsigned int second : {0u, 9u}) {
        SCOPED_TRACE(second);
        SetUp();
        gConsole.keys = {{0, -1}, {second * 1000, 'n'}}; // the first one ends what is eaten
        char message[32] = {};
        EXPECT_FALSE(Upload(false, true, message, 32));
        EXPECT_THAT(m_output,
                    EndsWith(kBanner + std::string(second, '.') + "\nUpload cancelled.\n"));
        EXPECT_THAT(m_output, HasSubstr("Attempted data upload to FTP server by"));
        EXPECT_STREQ(message, "");
        EXPECT_FALSE(gLog.Holds("Exiting UploadFile"));
        EXPECT_THAT(gTransfers.copies, IsEmpty());
    }
}

TEST_F(UploadTest, OutcomesBecomeOneLine)
{
    const struct {
        int code; // 0: false without an exception
        bool toService;
        const char* line;
    } cases[] = {
        {0, false, "ERROR: Transfer failed."},
        {34, true, "ERROR: Couldn't connect to ORX Service."},
        {34, false, "ERROR: Couldn't connect to User FTP."},
        {33, true, "ERROR: Couldn't establish Internet connection."},
        {35, false, "ERROR: Couldn't load curl library, verify that libcurl.so is installed."},
        {27, false, "ERROR: Permission Denied."},
        {3, true, "ERROR: FTPFile threw exception status 3."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        SetUp();
        gTransfers.answer = [&](const std::string&) -> bool {
            if (c.code != 0)
                throw TVXAException(static_cast<EVXAStatusCode>(c.code));
            return false;
        };
        char message[128] = {};
        EXPECT_FALSE(Upload(c.toService, false, message, 128));
        EXPECT_STREQ(message, c.line);
        EXPECT_THAT(m_output, EndsWith(std::string("\n") + c.line + "\n"));
        EXPECT_EQ(gLog.Messages().back(), "Exiting UploadFile");
    }
}

TEST_F(UploadTest, UserServerGetsTheBareNameAndTheCallerTheLineBoundedAndUnterminated)
{
    const std::string line = "Transfer completed.";
    for (const int size : {0, 10, 19, 20, 24}) {
        SCOPED_TRACE(size);
        std::string buffer(24, '#');
        EXPECT_TRUE(Upload(false, false, buffer.data(), size));
        std::string expected = line.substr(0, static_cast<std::size_t>(size > 0 ? size - 1 : 0));
        expected.resize(24, '#');
        EXPECT_EQ(buffer, expected);
        EXPECT_EQ(m_output, "\nTransferring collected data to FTP Server.\n" + line + "\n");
    }
    EXPECT_TRUE(Upload(false, false, nullptr, 24));
    EXPECT_THAT(gTransfers.copies, Each("user:pw@server|" + m_path + "|a b.zip"));
    EXPECT_EQ(gLog.Messages().front(), "Entering UploadFile");
}

// What reached the customer-care library, and what it answers.
int gSubmitAnswer = 0;
std::vector<std::string> gSubmitted;

int Submit(const HTTPProxyInfo& proxy, std::string file, std::string settings, std::string reserved,
           std::string product, std::string version, std::string system, std::string project)
{
    gSubmitted = {proxy.host, file, settings, reserved, product, version, system, project};
    return gSubmitAnswer;
}

const std::string kQuestion = "Internet connection is available, do you want to upload output "
                              "results to ORX website? (default is 'Y' in 10 seconds without "
                              "selecting)(Y/N)\n";
const std::string kQuestionAgain = "Internet connection is available, do you want to upload output "
                                   "results to ORX website?  (default is 'Y' in 10 seconds without "
                                   "selecting)(Y/N)\n";

class KccUploadTest : public UploadTest {
protected:
    void SetUp() override
    {
        UploadTest::SetUp();
        gSubmitAnswer = 0;
        gSubmitted.clear();
        gLoader.libraries[kccupload::kLibraryName] = {
            {"KCCStatusReportSubmit", reinterpret_cast<void*>(&Submit)}};
        m_proxy.host = "proxy.example";
    }

    int Upload()
    {
        testing::internal::CaptureStdout();
        const int result = UploadFileByKCC(m_proxy, "r.zip");
        m_output = testing::internal::GetCapturedStdout();
        return result;
    }

    HTTPProxyInfo m_proxy;
};

TEST_F(KccUploadTest, SilenceIsAYes)
{
    EXPECT_EQ(Upload(), 0);
    EXPECT_EQ(m_output, kQuestion + "\n\nPrepare to upload data.....\n"
                                    "Upload r.zip file successfully.\n");
    EXPECT_EQ(gConsole.slept, 10000u);
    EXPECT_THAT(gTransfers.probes, ElementsAre(UTILS_WEB_HOST ":80"));
    EXPECT_THAT(gSubmitted, ElementsAre("proxy.example", "r.zip", "data/orx.vxa-direct.vxa", "",
                                        "orx/kseries", "5.20", "Windows XP", "QSA project"));
    EXPECT_THAT(gLoader.calls, ElementsAre(std::string("load ") + kccupload::kLibraryName,
                                           "find KCCStatusReportSubmit", "unload"));
    EXPECT_EQ(gLog.Messages().front(), "Entering UploadFileByKCC");
    EXPECT_EQ(gLog.Messages().back(), "Exiting UploadFileByKCC");
    EXPECT_FALSE(gLog.Holds("")) << "the two line ends are not for the log";
}

TEST_F(KccUploadTest, AnswerEndsTheWait)
{
    for (const char key : {'Y', 'y', 'N', 'n'}) {
        SCOPED_TRACE(key);
        SetUp();
        gConsole.keys = {{9000, key}};
        const bool isYes = key == 'Y' || key == 'y';
        EXPECT_EQ(Upload(), isYes ? 0 : -2);
        EXPECT_THAT(m_output, StartsWith(kQuestion + "You have selected '" +
                                         (isYes ? "Y'\n\n\nPrepare" : "N'\n")));
        EXPECT_EQ(gConsole.slept, 9000u);
        EXPECT_EQ(gLoader.calls.empty(), !isYes);
        EXPECT_EQ(gLog.Holds("Exiting UploadFileByKCC"), isYes);
    }
}

TEST_F(KccUploadTest, WrongKeyAsksAgainForNineMoreSecondsAndAnUnreadableOneIsNone)
{
    gConsole.keys = {{4000, -1}, {8000, 'x'}};
    EXPECT_EQ(Upload(), 0);
    EXPECT_THAT(m_output, StartsWith(kQuestion + "You haven't input the right key!\n" +
                                     kQuestionAgain + "\n\n"));
    EXPECT_EQ(gConsole.slept, 17000u);
}

TEST_F(KccUploadTest, WebHostMustAnswerUnlessThereIsAProxy)
{
    gTransfers.probeAnswer = 7;
    EXPECT_EQ(Upload(), -1);
    EXPECT_EQ(m_output, "Internet connection is not available. Output results couldn't be uploaded "
                        "to ORX website. \n");
    EXPECT_EQ(gLog.Messages().back(), "Could not find " UTILS_WEB_HOST ", return code is 7");
    EXPECT_THAT(gLoader.calls, IsEmpty());
    gTransfers.probes.clear();
    m_proxy.useProxy = true;
    EXPECT_EQ(Upload(), 0);
    EXPECT_THAT(gTransfers.probes, IsEmpty());
}

TEST_F(KccUploadTest, OnlyMinusOneAndAMissingLibraryAreFailures)
{
    gSubmitAnswer = -2;
    EXPECT_EQ(Upload(), 0);
    const std::function<void()> failures[] = {
        [] { gSubmitAnswer = -1; },
        [] { gLoader.libraries[kccupload::kLibraryName].clear(); },
        [] { gLoader.libraries.clear(); },
    };
    for (const std::function<void()>& fail : failures) {
        SetUp();
        fail();
        EXPECT_EQ(Upload(), -1);
        EXPECT_THAT(m_output, EndsWith("Prepare to upload data.....\nTransfer failed.\n"));
        EXPECT_EQ(gLoader.calls.back() == "unload", !gLoader.libraries.empty());
        EXPECT_THAT(gLog.records,
                    Contains(Pair(0, "When upload VXA result through KCC has some problems.")));
    }
    gLog.installed = false;
    EXPECT_EQ(Upload(), -1);
}

} // namespace
