// Captures from a scripted service processor: what is asked of it, what the user and the log see.
#include "ffdc/TQMMFFDC.h"

#include "BuildValues.h"
#include "common/TVXAException.h"
#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/FakeLog.h"
#include "tests/fakes/FakeTransfers.h"
#include "tests/ffdc/FakeCurl.h"

#include <gmock/gmock.h>

#include <functional>

using namespace NORXVXA20;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned char kStart = 0x49;
constexpr unsigned char kQuery = 0x4D;
constexpr unsigned char kCredential = 0x79;

const std::string kLocation = std::string(UTILS_INBAND_ADDRESS) + ":115/download/ffdc";
const std::string kBanner = "Running QMM FFDC(First Failure Data Capture) collection.\n";

class TQMMFFDCTest : public testing::Test {
protected:
    void SetUp() override
    {
        gLog.Reset();
        gConsole.Reset();
        gDriver.Reset();
        gLoader.Reset();
        gTransfers.Reset();
        gCurl.Reset();
        gLoader.libraries["libcurl.so.4"] = FakeCurl::Exports();
        gDriver.answers[kStart] = {{}};
        gDriver.answers[kQuery] = {{0, {1}}};
        gDriver.answers[kCredential] = {{0, FakeDriver::Credential("ffdc", "canary")}};
    }

    // One capture into "out"; the result, with the console's text left in m_console.
    bool Capture()
    {
        testing::internal::CaptureStdout();
        TQMMFFDC ffdc("out");
        gLog.records.clear();
        const bool result = ffdc.Capture();
        m_console = testing::internal::GetCapturedStdout();
        return result;
    }

    // The names that a listing in these blocks gives.
    std::vector<std::string> Listed(const std::vector<std::string>& blocks)
    {
        gCurl.blocks = blocks;
        gTransfers.copies.clear();
        EXPECT_TRUE(Capture());
        std::vector<std::string> names;
        for (const FakeTransfers::Copy& copy : gTransfers.copies)
            names.push_back(copy.fileName);
        return names;
    }

    // True when the operation wrote this line and no exit line.
    bool FailedWith(const std::string& operation, const std::string& line)
    {
        return gLog.Holds("Entering TQMMFFDC::" + operation + "().") &&
               gLog.Holds("TQMMFFDC::" + operation + "(): " + line) &&
               !gLog.Holds("Exiting TQMMFFDC::" + operation + "().");
    }

    std::string m_console;
};

TEST_F(TQMMFFDCTest, WholeCaptureSaysAndLogsEachStep)
{
    gDriver.answers[kQuery] = {{0, {0}}, {0, {2}}, {0, {1}}};
    gCurl.blocks = {".", "\n", "a.tgz", "\n", "b.log\r\n"};
    ASSERT_TRUE(Capture());

    const std::string path = "out" + VXAOSDep::gFileSeparator;
    const std::string first = "Captured QMM FFDC data: " + path + "a.tgz";
    const std::string second = "Captured QMM FFDC data: " + path + "b.log";
    EXPECT_EQ(m_console, kBanner + "In progress...\n" + first + "\n" + second + "\n");
    EXPECT_THAT(gConsole.sleeps, ElementsAre(5000u, 5000u, 5000u));
    EXPECT_THAT(
        gLog.Messages(),
        ElementsAre(
            "Entering TQMMFFDC::Capture().",
            "Running QMM FFDC(First Failure Data Capture) collection.",
            "Entering TQMMFFDC::CollectFiles().", "Exiting TQMMFFDC::CollectFiles().",
            "Entering TQMMFFDC::IsCollectionFinished().",
            "Exiting TQMMFFDC::IsCollectionFinished().",
            "Entering TQMMFFDC::IsCollectionFinished().",
            "Exiting TQMMFFDC::IsCollectionFinished().",
            "Entering TQMMFFDC::IsCollectionFinished().",
            "Exiting TQMMFFDC::IsCollectionFinished().", "Entering TQMMFFDC::GetCredential().",
            "Exiting TQMMFFDC::GetCredential().", "Entering TQMMFFDC::InitCurl().",
            "Exiting TQMMFFDC::InitCurl().", "Entering TQMMFFDC::GetFileNames().",
            "Exiting TQMMFFDC::GetFileNames().", "Entering TQMMFFDC::UinitCurl().",
            "Exiting TQMMFFDC::UinitCurl().", "TQMMFFDC::Capture(): Getting file = a.tgz", first,
            "TQMMFFDC::Capture(): Getting file = b.log", second, "Exiting TQMMFFDC::Capture()."));

    ASSERT_EQ(gTransfers.copies.size(), 2u);
    EXPECT_EQ(gTransfers.copies[1].remote, "ffdc:canary@" + kLocation);
    EXPECT_EQ(gTransfers.copies[1].localPath, path + "b.log");
    EXPECT_EQ(gTransfers.copies[1].fileName, "b.log");
    EXPECT_EQ(gCurl.url, "sftp://ffdc:canary@" + kLocation + "/");
    EXPECT_EQ(gCurl.dirListOnly, 1);
    EXPECT_THAT(gCurl.calls, ElementsAre("global_init 3", "easy_init", "setopt 10002", "setopt 48",
                                         "setopt 20011", "setopt 10001", "perform", "easy_cleanup",
                                         "global_cleanup"));
    const auto frame = [](unsigned char command) {
        return std::vector<unsigned char>{1, 0x20, 0x3A, 0, command, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0};
    };
    EXPECT_THAT(gDriver.requests, ElementsAre(frame(kStart), frame(kQuery), frame(kQuery),
                                              frame(kQuery), frame(kCredential)));
    EXPECT_THAT(gDriver.parameters, testing::Each(ElementsAre(0, 256, 256, 1)));
}

TEST_F(TQMMFFDCTest, EachFailedExchangeEndsTheCaptureWithItsOwnLines)
{
    const struct {
        unsigned char command;
        const char* operation;
        std::string console;
    } cases[] = {
        {kStart, "CollectFiles", kBanner + "Failed collecting QMM FFDC data.\n"},
        {kQuery, "IsCollectionFinished", kBanner + "In progress."},
        {kCredential, "GetCredential", kBanner + "In progress.\nFailed getting QMM credential.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.operation);
        SetUp();
        gDriver.answers[c.command] = {{0, {}, false}};
        EXPECT_FALSE(Capture());
        EXPECT_EQ(m_console, c.console);
        EXPECT_TRUE(FailedWith(c.operation, "Error sending IPMI command."));

        SetUp();
        gDriver.answers[c.command] = {{0xC1, {1}}};
        EXPECT_FALSE(Capture());
        EXPECT_EQ(m_console, c.console);
        EXPECT_TRUE(FailedWith(c.operation, "Error sending IPMI command #2."));
        EXPECT_EQ(gLog.Holds("TQMMFFDC::Capture(): Error invoking IsCollectionFinished()."),
                  c.command == kQuery);
        EXPECT_THAT(gLoader.calls, IsEmpty());
    }
    SetUp();
    gDriver.present = false;
    EXPECT_FALSE(Capture());
    EXPECT_TRUE(FailedWith("CollectFiles", "Error loading SPLibrary."));
    EXPECT_THAT(gDriver.requests, IsEmpty());
}

// Poll 73 is the one at which the limit is reached; its answer no longer counts.
TEST_F(TQMMFFDCTest, LimitStrikesBeforeTheAnswerOfTheLastPoll)
{
    const std::vector<FakeDriver::Answer> busy(71, {0, {0}});
    gDriver.answers[kQuery] = busy;
    gDriver.answers[kQuery].push_back({0, {1}});
    EXPECT_TRUE(Capture());
    EXPECT_EQ(gConsole.sleeps.size(), 72u);

    SetUp();
    gDriver.answers[kQuery] = busy;
    gDriver.answers[kQuery].push_back({0, {0}});
    gDriver.answers[kQuery].push_back({0, {1}});
    EXPECT_FALSE(Capture());
    EXPECT_EQ(gConsole.slept, 365000u);
    EXPECT_EQ(
        m_console,
        kBanner + "In progress" + std::string(73, '.') +
            "\n\nTimeout getting QMM FFDC, please try to run VXA again to fix the problem.\n");
    EXPECT_EQ(gLog.records.back().message,
              "\nTimeout getting QMM FFDC, please try to run VXA again to fix the problem.");
}

TEST_F(TQMMFFDCTest, CredentialsStayWithinTheAnswer)
{
    using Bytes = std::vector<unsigned char>;
    Bytes full(247, 'x'); // every byte that an answer can hold
    full[0] = 1;
    full[2] = 244;
    Bytes tooLong = full;
    tooLong[2] = 245;
    Bytes lengthOutside(247, 'x');
    lengthOutside[0] = 246;
    for (const Bytes& data : {tooLong, lengthOutside, Bytes(247, 255), full}) {
        SetUp();
        gDriver.answers[kCredential] = {{0, data}};
        EXPECT_FALSE(Capture()); // the full one is too long for the URL
        EXPECT_NE(FailedWith("GetCredential", "Error reading credential beyond the IPMI answer."),
                  data == full);
    }
    SetUp();
    gDriver.answers[kCredential] = {{0, FakeDriver::Credential("", "")}};
    gCurl.blocks = {"f\n"};
    EXPECT_TRUE(Capture());
    EXPECT_EQ(gTransfers.copies.at(0).remote, ":@" + kLocation);
}

TEST_F(TQMMFFDCTest, UrlIsNeverCut)
{
    const std::size_t room = 127 - std::string("sftp://u:@/").size() - kLocation.size();
    const std::string fits(room, 'p');
    gDriver.answers[kCredential] = {{0, FakeDriver::Credential("u", fits)}};
    gCurl.blocks = {"f\n"};
    EXPECT_TRUE(Capture());
    EXPECT_EQ(gCurl.url.size(), 127u);
    EXPECT_EQ(gTransfers.copies.at(0).remote, "u:" + fits + "@" + kLocation);

    SetUp();
    gDriver.answers[kCredential] = {{0, FakeDriver::Credential("u", fits + "p")}};
    EXPECT_FALSE(Capture());
    EXPECT_EQ(m_console, kBanner + "In progress.\nFailed getting QMM FFDC data files.\n");
    EXPECT_THAT(gLog.Messages(),
                Contains("TQMMFFDC::GetFileNames(): Error formatting the URL, the credential is "
                         "too long."));
    EXPECT_TRUE(gLog.Holds("Exiting TQMMFFDC::GetFileNames()."));
    EXPECT_THAT(gCurl.calls,
                ElementsAre("global_init 3", "easy_init", "easy_cleanup", "global_cleanup"));
}

TEST_F(TQMMFFDCTest, LibcurlIsLookedForUnderSevenNamesInOrder)
{
    gLoader.libraries.clear();
    EXPECT_FALSE(Capture());
    EXPECT_THAT(gLoader.calls,
                ElementsAre("load libcurl.dll", "load /tool/libcurl.so", "load /tool/libcurl.so.4",
                            "load libcurl.so", "load libcurl.so.4", "load libcurl.so.3",
                            "load libcurl.so.2"));
    EXPECT_TRUE(FailedWith("InitCurl", "Error loading libcurl dll/so."));
    EXPECT_EQ(m_console, kBanner + "In progress.\nFailed getting QMM FFDC data.\n");
}

TEST_F(TQMMFFDCTest, EachFailedStepOfLibcurlIsNamedAndOnlyAfterTheSetUpItIsUnloaded)
{
    const auto without = [](const char* name) {
        return [=] { gLoader.libraries["libcurl.so.4"].erase(name); };
    };
    const auto failing = [](int option) { return [=] { gCurl.failingOption = option; }; };
    const std::string processes = "Error getting processes of libcurl dll/so.";
    const struct {
        const char* operation;
        std::function<void()> prepare;
        std::string line;
    } cases[] = {
        {"InitCurl", without("curl_global_init"), processes},
        {"InitCurl", without("curl_easy_init"), processes},
        {"InitCurl", [] { gCurl.globalInitResult = 2; }, "Error running pfnCurlGlobalInit()."},
        {"InitCurl", [] { gCurl.givesHandle = false; }, "Error running pfnCurlEasyInit()."},
        {"GetFileNames", without("curl_easy_setopt"), processes},
        {"GetFileNames", without("curl_easy_perform"), processes},
        {"GetFileNames", failing(10002), "Error setting libcurl CURLOPT_URL."},
        {"GetFileNames", failing(48), "Error setting libcurl CURLOPT_DIRLISTONLY."},
        {"GetFileNames", failing(20011), "Error setting libcurl CURLOPT_WRITEFUNCTION."},
        {"GetFileNames", failing(10001), "Error setting libcurl CURLOPT_WRITEDATA."},
        {"GetFileNames", [] { gCurl.performResult = 7; },
         "Error invoking libcurl fn_curl_easy_perform."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.operation + (": " + c.line));
        SetUp();
        gCurl.blocks = {"f\n"};
        c.prepare();
        EXPECT_FALSE(Capture());
        const bool isSetUp = std::string(c.operation) == "InitCurl";
        EXPECT_EQ(m_console, kBanner + "In progress.\nFailed getting QMM FFDC data" +
                                 (isSetUp ? "" : " files") + ".\n");
        EXPECT_TRUE(gLog.Holds("TQMMFFDC::" + (c.operation + ("(): " + c.line))));
        EXPECT_TRUE(gLog.Holds("Exiting TQMMFFDC::" + (c.operation + std::string("()."))));
        EXPECT_EQ(gLog.Holds("Entering TQMMFFDC::UinitCurl()."), !isSetUp);
        EXPECT_EQ(gLoader.calls.back() == "unload", !isSetUp);
        EXPECT_THAT(gTransfers.copies, IsEmpty());
    }
}

TEST_F(TQMMFFDCTest, CleanUpWithoutItsFunctionsKeepsTheLibrary)
{
    gLoader.libraries["libcurl.so.4"].erase("curl_global_cleanup");
    EXPECT_TRUE(Capture());
    EXPECT_TRUE(FailedWith("UinitCurl", "Error getting processes of libcurl dll/so."));
    EXPECT_THAT(gCurl.calls, testing::Not(Contains("easy_cleanup")));
    EXPECT_THAT(gLoader.calls, testing::Not(Contains("unload")));
}

TEST_F(TQMMFFDCTest, ListingBlocksBecomeNames)
{
    EXPECT_THAT(Listed({"a", "\n"}), ElementsAre("a"));
    EXPECT_THAT(Listed({"a", "\r\n", "b", "\n"}), ElementsAre("a", "b"));
    EXPECT_THAT(Listed({"a\r\n", "b\n"}), ElementsAre("a", "b"));
    EXPECT_THAT(Listed({"a\r\n", "\r\n"}), ElementsAre("a", ""));
    EXPECT_THAT(Listed({"a", "\n", "\n"}), ElementsAre("a", ""));
    EXPECT_THAT(Listed({"open"}), ElementsAre("open"));
    EXPECT_THAT(Listed({"\n"}), ElementsAre("")) << "what one listing leaves open is no matter";
    EXPECT_THAT(Listed({".", "\n", "..", "\n", ".hidden\n"}), IsEmpty());
    EXPECT_THAT(Listed({" \t.kept\n", "two words \n"}), ElementsAre(".kept", "two words"));
    EXPECT_THAT(Listed({" ", "\n"}), ElementsAre(""));
    EXPECT_THAT(Listed({std::string("cut\0short", 9), "\n"}), ElementsAre("cut"));
    EXPECT_THAT(Listed({}), IsEmpty());
    SetUp();
    gCurl.endsBlocks = false;
    EXPECT_THAT(Listed({"name", "\n", "x"}), ElementsAre("name", "x"));
    EXPECT_THAT(gCurl.consumed, ElementsAre(4u, 1u, 1u));
}

TEST_F(TQMMFFDCTest, FailedCopyIsPassedOverAndALostServerEndsTheCapture)
{
    gCurl.blocks = {"a\n", "b\n", "c\n"};
    gTransfers.answer = [](const FakeTransfers::Copy& copy) { return copy.fileName != "a"; };
    EXPECT_TRUE(Capture());
    EXPECT_EQ(gTransfers.copies.size(), 3u);
    EXPECT_TRUE(gLog.Holds("Captured QMM FFDC data: out" + VXAOSDep::gFileSeparator + "a"));

    SetUp();
    gCurl.blocks = {"a\n", "b\n", "c\n"};
    gTransfers.answer = [](const FakeTransfers::Copy& copy) -> bool {
        if (copy.fileName == "b")
            throw TVXAException(TVXAStatusCode::eCannotConnect);
        return true;
    };
    EXPECT_FALSE(Capture());
    EXPECT_EQ(gTransfers.copies.size(), 2u);
    EXPECT_THAT(m_console, testing::EndsWith("a\nFailed transfering QMM FFDC data files.\n"));
    EXPECT_FALSE(gLog.Holds("Exiting TQMMFFDC::Capture()."));

    SetUp();
    gCurl.blocks = {"a\n"};
    gTransfers.answer = [](const FakeTransfers::Copy&) -> bool { throw 1; };
    EXPECT_FALSE(Capture());
}

TEST_F(TQMMFFDCTest, CopiesOfTheObjectCaptureForThemselves)
{
    TQMMFFDC ffdc("first");
    EXPECT_THAT(gLog.Messages(),
                ElementsAre("Entering TQMMFFDC::InitCurl().", "Exiting TQMMFFDC::InitCurl()."));
    TQMMFFDC copy(ffdc);
    TQMMFFDC assigned("second");
    assigned = copy;
    gCurl.blocks = {"f\n"};
    testing::internal::CaptureStdout();
    EXPECT_TRUE(assigned.Capture());
    EXPECT_TRUE(assigned.Capture()) << "each call is a new collection";
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(gTransfers.copies.at(1).localPath, "first" + VXAOSDep::gFileSeparator + "f");
}

} // namespace
