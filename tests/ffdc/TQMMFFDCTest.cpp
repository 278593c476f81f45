// Captures from a scripted service processor: what is asked of it, what the user and the log see.
#include "ffdc/TQMMFFDC.h"

#include "BuildValues.h"
#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeConsole.h"
#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/FakeLog.h"
#include "tests/fakes/FakeTransfers.h"
#include "tests/ffdc/FakeCurl.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <map>

using NORXVXA20::VXAOSDep;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr unsigned char kStart = 0x49;
constexpr unsigned char kQuery = 0x4D;
constexpr unsigned char kCredential = 0x79;

const std::string kLocation = std::string(UTILS_INBAND_ADDRESS) + ":115/download/ffdc";
const std::string kBanner = "Running QMM FFDC(First Failure Data Capture) collection.\n";

using Bytes = std::vector<unsigned char>;

// An answer with every byte that it can hold: a user of one byte, a password of so many.
Bytes FullCredential(unsigned char passwordLength)
{
    Bytes data(247, 'x');
    data[0] = 1;
    data[2] = passwordLength;
    return data;
}

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
        for (const std::string& copy : gTransfers.copies)
            names.push_back(copy.substr(copy.rfind('|') + 1));
        return names;
    }

    std::string m_console;
};

TEST_F(TQMMFFDCTest, WholeCaptureSaysAndLogsEachStep)
{
    gDriver.answers[kQuery] = {{0, {2}}, {0, {1}}};
    gCurl.blocks = {".", "\n", "a.tgz", "\n", "b.log\r\n"};
    ASSERT_TRUE(Capture());

    const std::string path = "out" + VXAOSDep::gFileSeparator;
    const std::string first = "Captured QMM FFDC data: " + path + "a.tgz";
    const std::string second = "Captured QMM FFDC data: " + path + "b.log";
    EXPECT_EQ(m_console, kBanner + "In progress..\n" + first + "\n" + second + "\n");
    EXPECT_THAT(gConsole.sleeps, ElementsAre(5000u, 5000u));
    EXPECT_THAT(
        gLog.Messages(),
        ElementsAre(
            "Entering TQMMFFDC::Capture().",
            "Running QMM FFDC(First Failure Data Capture) collection.",
            "Entering TQMMFFDC::CollectFiles().", "Exiting TQMMFFDC::CollectFiles().",
            "Entering TQMMFFDC::IsCollectionFinished().",
            "Exiting TQMMFFDC::IsCollectionFinished().",
            "Entering TQMMFFDC::IsCollectionFinished().",
            "Exiting TQMMFFDC::IsCollectionFinished().", "Entering TQMMFFDC::GetCredential().",
            "Exiting TQMMFFDC::GetCredential().", "Entering TQMMFFDC::InitCurl().",
            "Exiting TQMMFFDC::InitCurl().", "Entering TQMMFFDC::GetFileNames().",
            "Exiting TQMMFFDC::GetFileNames().", "Entering TQMMFFDC::UinitCurl().",
            "Exiting TQMMFFDC::UinitCurl().", "TQMMFFDC::Capture(): Getting file = a.tgz", first,
            "TQMMFFDC::Capture(): Getting file = b.log", second, "Exiting TQMMFFDC::Capture()."));

    const std::string remote = "ffdc:canary@" + kLocation;
    EXPECT_THAT(gTransfers.copies, ElementsAre(remote + "|" + path + "a.tgz|a.tgz",
                                               remote + "|" + path + "b.log|b.log"));
    EXPECT_THAT(gCurl.calls,
                ElementsAre("global_init 3", "easy_init", "setopt 10002 sftp://" + remote + "/",
                            "setopt 48 1", "setopt 20011", "setopt 10001", "perform",
                            "easy_cleanup", "global_cleanup"));
    const auto frame = [](unsigned char command) {
        return Bytes{1, 0x20, 0x3A, 0, command, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0};
    };
    EXPECT_THAT(gDriver.requests,
                ElementsAre(frame(kStart), frame(kQuery), frame(kQuery), frame(kCredential)));
    EXPECT_THAT(gDriver.parameters, testing::Each(ElementsAre(256, 256, 1)));
}

TEST_F(TQMMFFDCTest, FailedStepEndsTheCaptureWithItsOwnLines)
{
    const auto answer = [](unsigned char command, FakeDriver::Answer given) {
        return [=] { gDriver.answers[command] = {given}; };
    };
    // Of libcurl: a function that is missing, or a call that fails.
    const auto fault = [](const char* name) {
        return [=] {
            gCurl.failing = name;
            gLoader.libraries["libcurl.so.4"].erase(name);
        };
    };
    const FakeDriver::Answer unsent = {0, {}, false};
    const FakeDriver::Answer refused = {0xC1, {1}};
    const std::string refusal = "Error sending IPMI command #2.";
    const std::string processes = "Error getting processes of libcurl dll/so.";
    const std::string beyond = "Error reading credential beyond the IPMI answer.";
    std::map<std::string, std::string> consoles = {
        {"CollectFiles", "Failed collecting QMM FFDC data.\n"},
        {"IsCollectionFinished", "In progress."},
        {"GetCredential", "In progress.\nFailed getting QMM credential.\n"},
        {"InitCurl", "In progress.\nFailed getting QMM FFDC data.\n"},
        {"GetFileNames", "In progress.\nFailed getting QMM FFDC data files.\n"}};
    const struct {
        std::string operation;
        std::function<void()> prepare;
        std::string line;
    } cases[] = {
        {"CollectFiles", [] { gDriver.present = false; }, "Error loading SPLibrary."},
        {"CollectFiles", answer(kStart, unsent), "Error sending IPMI command."},
        {"CollectFiles", answer(kStart, refused), refusal},
        {"IsCollectionFinished", answer(kQuery, unsent), "Error sending IPMI command."},
        {"IsCollectionFinished", answer(kQuery, refused), refusal},
        {"GetCredential", answer(kCredential, unsent), "Error sending IPMI command."},
        {"GetCredential", answer(kCredential, refused), refusal},
        {"GetCredential", answer(kCredential, {0, FullCredential(245)}), beyond},
        {"GetCredential", answer(kCredential, {0, Bytes(247, 246)}), beyond},
        {"GetCredential", answer(kCredential, {0, Bytes(247, 255)}), beyond},
        {"InitCurl", [] { gLoader.libraries.clear(); }, "Error loading libcurl dll/so."},
        {"InitCurl", fault("curl_global_init"), processes},
        {"InitCurl", fault("curl_easy_init"), processes},
        {"InitCurl", fault("global_init"), "Error running pfnCurlGlobalInit()."},
        {"InitCurl", fault("easy_init"), "Error running pfnCurlEasyInit()."},
        {"GetFileNames", answer(kCredential, {0, FullCredential(244)}),
         "Error formatting the URL, the credential is too long."},
        {"GetFileNames", fault("curl_easy_setopt"), processes},
        {"GetFileNames", fault("curl_easy_perform"), processes},
        {"GetFileNames", fault("setopt 10002"), "Error setting libcurl CURLOPT_URL."},
        {"GetFileNames", fault("setopt 48"), "Error setting libcurl CURLOPT_DIRLISTONLY."},
        {"GetFileNames", fault("setopt 20011"), "Error setting libcurl CURLOPT_WRITEFUNCTION."},
        {"GetFileNames", fault("setopt 10001"), "Error setting libcurl CURLOPT_WRITEDATA."},
        {"GetFileNames", fault("perform"), "Error invoking libcurl fn_curl_easy_perform."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.operation + ": " + c.line);
        SetUp();
        gCurl.blocks = {"f\n"};
        c.prepare();
        EXPECT_FALSE(Capture());
        EXPECT_EQ(m_console, kBanner + consoles[c.operation]);
        EXPECT_TRUE(gLog.Holds("TQMMFFDC::" + c.operation + "(): " + c.line));
        EXPECT_EQ(gLog.Holds("TQMMFFDC::Capture(): Error invoking IsCollectionFinished()."),
                  c.operation == "IsCollectionFinished");
        // Only what had a libcurl writes its exit line, and only the listing unloads it.
        EXPECT_EQ(gLog.Holds("Exiting TQMMFFDC::" + c.operation + "()."),
                  !gCurl.calls.empty() || c.line == processes);
        EXPECT_EQ(std::count(gLoader.calls.begin(), gLoader.calls.end(), "unload"),
                  c.operation == "GetFileNames");
        EXPECT_THAT(gTransfers.copies, IsEmpty());
    }
}

// Poll 73 is the one at which the limit is reached; its answer no longer counts.
TEST_F(TQMMFFDCTest, LimitStrikesBeforeTheAnswerOfTheLastPoll)
{
    gDriver.answers[kQuery] = std::vector<FakeDriver::Answer>(72, {0, {0}});
    gDriver.answers[kQuery].back().data = {1};
    EXPECT_TRUE(Capture());
    EXPECT_EQ(gConsole.sleeps.size(), 72u);

    SetUp();
    gDriver.answers[kQuery] = std::vector<FakeDriver::Answer>(73, {0, {0}});
    gDriver.answers[kQuery].back().data = {1};
    EXPECT_FALSE(Capture());
    EXPECT_EQ(gConsole.slept, 365000u);
    const std::string line =
        "\nTimeout getting QMM FFDC, please try to run VXA again to fix the problem.";
    EXPECT_EQ(m_console, kBanner + "In progress" + std::string(73, '.') + "\n" + line + "\n");
    EXPECT_EQ(gLog.Messages().back(), line);
}

TEST_F(TQMMFFDCTest, LongestUrlIsNotCut)
{
    // The longest password that fits beside an empty user.
    const std::string fits(127 - std::string("sftp://:@/").size() - kLocation.size(), 'p');
    gDriver.answers[kCredential] = {{0, FakeDriver::Credential("", fits)}};
    gCurl.blocks = {"f\n"};
    EXPECT_TRUE(Capture());
    EXPECT_THAT(gCurl.calls, Contains("setopt 10002 sftp://:" + fits + "@" + kLocation + "/"));
    EXPECT_THAT(gTransfers.copies, ElementsAre(StartsWith(":" + fits + "@" + kLocation + "|")));
    gDriver.answers[kCredential] = {{0, FakeDriver::Credential("u", fits)}};
    EXPECT_FALSE(Capture());
}

TEST_F(TQMMFFDCTest, LibcurlIsLookedForUnderSevenNamesInOrder)
{
    gLoader.libraries.clear();
    EXPECT_FALSE(Capture());
    EXPECT_THAT(gLoader.calls,
                ElementsAre("load libcurl.dll", "load /tool/libcurl.so", "load /tool/libcurl.so.4",
                            "load libcurl.so", "load libcurl.so.4", "load libcurl.so.3",
                            "load libcurl.so.2"));
}

TEST_F(TQMMFFDCTest, CleanUpWithoutItsFunctionsKeepsTheLibrary)
{
    gLoader.libraries["libcurl.so.4"].erase("curl_global_cleanup");
    EXPECT_TRUE(Capture());
    EXPECT_TRUE(gLog.Holds("TQMMFFDC::UinitCurl(): Error getting processes of libcurl dll/so."));
    EXPECT_FALSE(gLog.Holds("Exiting TQMMFFDC::UinitCurl()."));
    EXPECT_EQ(gCurl.calls.back(), "perform");
    EXPECT_NE(gLoader.calls.back(), "unload");
}

TEST_F(TQMMFFDCTest, ListingBlocksBecomeNames)
{
    EXPECT_THAT(Listed({"a", "\r\n", "b", "\n"}), ElementsAre("a", "b"));
    EXPECT_THAT(Listed({"a\r\n", "\r\n"}), ElementsAre("a", ""));
    EXPECT_THAT(Listed({"a", "\n", "\n"}), ElementsAre("a", ""));
    EXPECT_THAT(Listed({"open"}), ElementsAre("open"));
    EXPECT_THAT(Listed({"\n"}), ElementsAre("")) << "what one listing leaves open is no matter";
    EXPECT_THAT(Listed({".", "\n", "..", "\n", ".hidden\n"}), IsEmpty());
    EXPECT_THAT(Listed({" \t.kept\n", "two words \n"}), ElementsAre(".kept", "two words"));
    EXPECT_THAT(Listed({std::string("cut\0short", 9), "\n"}), ElementsAre("cut"));
    SetUp();
    gCurl.endsBlocks = false;
    EXPECT_THAT(Listed({"name", "\n", "x"}), ElementsAre("name", "x"));
    EXPECT_THAT(gCurl.consumed, ElementsAre(4u, 1u, 1u));
}

TEST_F(TQMMFFDCTest, FailedCopyIsPassedOverAndALostServerEndsTheCapture)
{
    gCurl.blocks = {"a\n", "b\n", "c\n"};
    gTransfers.answer = [](const std::string&) { return false; };
    EXPECT_TRUE(Capture());
    EXPECT_EQ(gTransfers.copies.size(), 3u);
    EXPECT_TRUE(gLog.Holds("Captured QMM FFDC data: out" + VXAOSDep::gFileSeparator + "a"));

    gTransfers.answer = [](const std::string& path) -> bool {
        if (path.back() == 'b')
            throw 1;
        return true;
    };
    EXPECT_FALSE(Capture());
    EXPECT_EQ(gTransfers.copies.size(), 5u);
    EXPECT_THAT(m_console, EndsWith("a\nFailed transfering QMM FFDC data files.\n"));
    EXPECT_FALSE(gLog.Holds("Exiting TQMMFFDC::Capture()."));
}

TEST_F(TQMMFFDCTest, EachCaptureOfAnObjectIsANewCollection)
{
    TQMMFFDC ffdc("out");
    EXPECT_THAT(gLog.Messages(),
                ElementsAre("Entering TQMMFFDC::InitCurl().", "Exiting TQMMFFDC::InitCurl()."));
    gCurl.blocks = {"f\n"};
    EXPECT_TRUE(ffdc.Capture());
    EXPECT_TRUE(ffdc.Capture());
    EXPECT_EQ(gTransfers.copies.size(), 2u);
}

} // namespace
