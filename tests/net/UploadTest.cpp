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

#include <algorithm>

using namespace NORXVXA20;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const std::string kDrop = "/kserver/toorx/kseries/fdr_upload/";

class UploadTest : public testing::Test {
protected:
    void SetUp() override
    {
        gLog.Reset();
        gConsole.Reset();
        gLoader.Reset();
        gTransfers.Reset();
    }

    // The call's result; what it wrote to standard output is then in m_output.
    template <typename Call>
    auto Run(Call call)
    {
        testing::internal::CaptureStdout();
        const auto result = call();
        m_output = testing::internal::GetCapturedStdout();
        return result;
    }

    const std::string m_path =
        VXAOSDep::gFileSeparator + "out" + VXAOSDep::gFileSeparator + "a b.zip";

    bool Upload(bool toService, bool warn)
    {
        return Run(
            [&] { return UploadFile(m_path, "user:pw@server", toService, warn, nullptr, 0); });
    }

    std::string m_output;
};

TEST_F(UploadTest, WithoutAWarningTheTransferStartsAtOnce)
{
    gConsole.keys = {{0, 'x'}};
    EXPECT_TRUE(Upload(false, false));
    EXPECT_EQ(m_output, "\nTransferring collected data to FTP Server.\nTransfer completed.\n");
    EXPECT_THAT(gLog.Messages(),
                ElementsAre("Entering UploadFile", "\nTransferring collected data to FTP Server.",
                            "Transfer completed.", "Exiting UploadFile"));
    ASSERT_EQ(gTransfers.uploads.size(), 1u);
    EXPECT_EQ(gTransfers.uploads[0].server, "user:pw@server");
    EXPECT_EQ(gTransfers.uploads[0].localFile, m_path);
    EXPECT_EQ(gTransfers.uploads[0].remoteName, "a b.zip");
    EXPECT_EQ(gConsole.keys.size(), 1u) << "the key is not ours";
}

TEST_F(UploadTest, WarningCountsDownADotASecondWhichNoUnreadableKeyCancels)
{
    gConsole.keys = {{0, 'q'}, {0, 13}, {0, -1}, {3000, -1}};
    EXPECT_TRUE(Upload(true, true));
    const std::string banner = "                              ***************\n";
    const std::string will = "Attempted data upload to ORX server by means of an unencrypted "
                             "channel will\n";
    EXPECT_EQ(m_output, "\n" + banner + will +
                            "proceed in 10 seconds.  Press any key to cancel the attempted "
                            "upload.\n" +
                            banner +
                            "..........\nTransferring collected data to ORX Service.\n"
                            "Transfer completed.\n");
    EXPECT_EQ(gConsole.sleeps, std::vector<unsigned int>(10, 1000));
    EXPECT_EQ(gLog.Messages()[4], "Eat an input char: 113");
    EXPECT_EQ(gLog.Messages()[5], "Eat an input char: 13");
    EXPECT_THAT(gLog.Messages()[6], StartsWith("proceed"));
    EXPECT_FALSE(gLog.Holds("."));
    EXPECT_EQ(gTransfers.uploads.at(0).server, UTILS_UPLOAD_HOST);
    EXPECT_EQ(gTransfers.uploads.at(0).remoteName, kDrop + "a b.zip");
}

TEST_F(UploadTest, KeyDuringTheCountdownCancels)
{
    for (const unsigned int tick : {1u, 10u}) {
        SCOPED_TRACE(tick);
        SetUp();
        // Pressed while the tick before passes; the first tick begins with the countdown.
        gConsole.keys = {{(tick - 1) * 1000, 'n'}};
        if (tick == 1) // what ends the keys that are eaten before
            gConsole.keys.push_front({0, -1});
        char message[32] = {};
        EXPECT_FALSE(Run([&] { return UploadFile("f", "s", false, true, message, 32); }));
        EXPECT_THAT(m_output, EndsWith("***************\n" + std::string(tick - 1, '.') +
                                       "\nUpload cancelled.\n"));
        EXPECT_THAT(m_output, HasSubstr("Attempted data upload to FTP server by"));
        EXPECT_STREQ(message, "");
        EXPECT_FALSE(gLog.Holds("Exiting UploadFile"));
        EXPECT_THAT(gTransfers.uploads, IsEmpty());
        EXPECT_TRUE(gConsole.keys.empty());
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
        gTransfers.uploadAnswer = [&]() -> bool {
            if (c.code != 0)
                throw TVXAException(static_cast<EVXAStatusCode>(c.code));
            return false;
        };
        char message[128] = {};
        EXPECT_FALSE(Run([&] { return UploadFile("f", "s", c.toService, false, message, 128); }));
        EXPECT_STREQ(message, c.line);
        EXPECT_THAT(m_output, EndsWith(std::string("\n") + c.line + "\n"));
        EXPECT_EQ(gLog.Messages().back(), "Exiting UploadFile");
    }
}

TEST_F(UploadTest, LineIsCopiedBoundedAndUnterminated)
{
    const std::string line = "Transfer completed.";
    for (const int size : {-1, 0, 1, 10, 19, 20, 21}) {
        SCOPED_TRACE(size);
        const std::size_t copied = static_cast<std::size_t>(std::clamp(size - 1, 0, 19));
        std::string buffer(24, '#');
        EXPECT_TRUE(Run([&] { return UploadFile("f", "s", false, false, buffer.data(), size); }));
        EXPECT_EQ(buffer, line.substr(0, copied) + std::string(24 - copied, '#'));
    }
}

TEST_F(UploadTest, ServiceUploadIsTheFixedForm)
{
    char message[32] = {};
    EXPECT_TRUE(Run([&] { return UploadFileToORX("plain.zip", false, message, 32); }));
    EXPECT_STREQ(message, "Transfer completed.");
    EXPECT_EQ(gTransfers.uploads.at(0).server, UTILS_UPLOAD_HOST);
    EXPECT_EQ(gTransfers.uploads.at(0).remoteName, kDrop + "plain.zip");
    const std::vector<std::string> lines = gLog.Messages();
    EXPECT_EQ(lines.front(), "Entering UploadFileToORX");
    EXPECT_EQ(lines.back(), "Exiting UploadFileToORX");
    gConsole.keys = {{0, -1}, {0, 'c'}};
    EXPECT_FALSE(Run([&] { return UploadFileToORX("plain.zip", true, nullptr, 0); }));
    EXPECT_EQ(gLog.Messages().back(), "Exiting UploadFileToORX");
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
        return Run([&] { return UploadFileByKCC(m_proxy, "r.zip"); });
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
    const std::vector<std::string> lines = gLog.Messages();
    EXPECT_EQ(lines.front(), "Entering UploadFileByKCC");
    EXPECT_EQ(lines.back(), "Exiting UploadFileByKCC");
    EXPECT_FALSE(gLog.Holds("")) << "the two line ends are not for the log";
}

TEST_F(KccUploadTest, AnswerEndsTheWait)
{
    for (const char key : {'Y', 'y'}) {
        SetUp();
        gConsole.keys = {{2000, key}};
        EXPECT_EQ(Upload(), 0);
        EXPECT_THAT(m_output, HasSubstr("You have selected 'Y'\n\n\nPrepare"));
        EXPECT_EQ(gConsole.slept, 2000u);
    }
    for (const char key : {'N', 'n'}) {
        SetUp();
        gConsole.keys = {{9000, key}};
        EXPECT_EQ(Upload(), -2);
        EXPECT_EQ(m_output, kQuestion + "You have selected 'N'\n");
        EXPECT_THAT(gLoader.calls, IsEmpty());
        EXPECT_FALSE(gLog.Holds("Exiting UploadFileByKCC"));
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
    EXPECT_EQ(gLog.records.back().level, 3);
    EXPECT_THAT(gLoader.calls, IsEmpty());
    gTransfers.probes.clear();
    m_proxy.useProxy = true;
    EXPECT_EQ(Upload(), 0);
    EXPECT_THAT(gTransfers.probes, IsEmpty());
    EXPECT_EQ(gSubmitted.front(), "proxy.example");
}

TEST_F(KccUploadTest, OnlyMinusOneIsAFailure)
{
    for (const int answer : {5, -2}) {
        gSubmitAnswer = answer;
        EXPECT_EQ(Upload(), 0);
    }
    gSubmitAnswer = -1;
    gLog.records.clear();
    EXPECT_EQ(Upload(), -1);
    EXPECT_THAT(m_output, EndsWith("Prepare to upload data.....\nTransfer failed.\n"));
    EXPECT_EQ(gLoader.calls.back(), "unload");
    const FakeLog::Record& report = gLog.records.at(gLog.records.size() - 2);
    EXPECT_EQ(report.level, 0);
    EXPECT_EQ(report.message, "When upload VXA result through KCC has some problems.");
    gLog.installed = false;
    EXPECT_EQ(Upload(), -1);
}

} // namespace
