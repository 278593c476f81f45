#include "collector/Ledger.h"
#include "collector/LookAhead.h"
#include "osdep/VXAOSDep.h"

#include <gmock/gmock.h>

#include <cerrno>

using namespace NORXVXA20;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::chrono::milliseconds kLimit{45000};
constexpr ChildEnd kGoodEnd{ChildEnd::Cause::kExited, 0};

// One collection as its events tell it, and the disk as it is afterwards.
class LedgerTest : public testing::Test {
protected:
    void List(std::vector<std::string> names)
    {
        Take({Event::Kind::kListed, std::move(names), {}, "", false});
    }
    void Finish(const std::string& name, const std::string& failure = "")
    {
        TransferredFile file;
        file.name = name;
        file.localPath = PathOf(name);
        file.complete = failure.empty();
        file.reason = failure;
        file.receivedBytes = file.expectedBytes = 7;
        Take({Event::Kind::kDone, {}, file, "", false});
        if (failure.empty())
            m_disk[PathOf(name)] = 7;
    }
    void Return(bool good) { Take({Event::Kind::kEnded, {}, {}, "", good}); }
    static std::string PathOf(const std::string& name)
    {
        return "out" + VXAOSDep::gFileSeparator + name;
    }
    // Every event crosses the channel.
    void Take(const Event& event)
    {
        const std::string line = EncodeEvent(event);
        const std::optional<Event> arrived = DecodeEvent(line);
        ASSERT_TRUE(arrived) << line;
        m_ledger.Take(*arrived);
    }
    Outcome Ended(ChildEnd end = kGoodEnd)
    {
        return Conclude(m_ledger, end, "out", kLimit, [this](const std::string& path) {
            const auto found = m_disk.find(path);
            return found != m_disk.end() ? found->second : -1;
        });
    }

    Ledger m_ledger;
    std::map<std::string, std::int64_t> m_disk;
};

TEST_F(LedgerTest, OnlyWhatArrivedAndLiesOnTheDiskAsRecordedCounts)
{
    List({"a", "refused", "later", "gone", "cut"});
    Finish("refused", "permission denied");
    for (const char* name : {"a", "gone", "cut"})
        Finish(name);
    Return(false);
    m_disk[PathOf("later")] = 3; // from an earlier collection
    m_disk.erase(PathOf("gone"));
    m_disk[PathOf("cut")] = 6;
    const Outcome outcome = Ended();
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.lines,
                ElementsAre("missing: \"refused\": permission denied",
                            "missing: \"later\": not reached before the collection was given up; a "
                            "file of that name is there, but not from this collection",
                            "missing: \"gone\": it was copied, but is not there any more",
                            "missing: \"cut\": it was copied, but has 6 bytes instead of 7",
                            "1 of 5 files collected into out"));
}

TEST_F(LedgerTest, ServerLostBeforeTheListingIsSaid)
{
    Finish("a", "cannot connect");
    Return(false);
    const Outcome outcome = Ended();
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.lines,
                ElementsAre("missing: \"a\": cannot connect", HasSubstr("could not be listed"),
                            "0 of 1 files collected into out"));
}

TEST_F(LedgerTest, NamesMayHoldAnyByteAndTheLibraryChangesSome)
{
    std::string all = "x";
    for (int byte = 255; byte >= 0; --byte)
        all += static_cast<char>(byte);
    List({"a", " a", " ", all + "\xc2\x9b\xc3\xa9"});
    Finish("a");
    Finish("a", "asked for a second time");
    Finish("", "no name");
    Finish(all + "\xc2\x9b\xc3\xa9");
    Return(true);
    const Outcome outcome = Ended();
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(
        outcome.lines,
        ElementsAre("missing: \" a\": the library asks for it without the blanks around its name",
                    "missing: \" \": the library asks for it without the blanks around its name",
                    "2 of 4 files collected into out"));
    EXPECT_EQ(Quoted("b\x1b[2J\xc2\x9b\xc3\xa9\x7f"), "\"b\\x1b[2J\\xc2\x9b\xc3\xa9\\x7f\"");
}

TEST_F(LedgerTest, EndAfterTheLastFileIsStillNoGoodOne)
{
    List({"a"});
    Finish("a");
    Return(true);
    EXPECT_EQ(Ended({ChildEnd::Cause::kCrashed, 11}).exitCode, 3);
    EXPECT_EQ(Ended({ChildEnd::Cause::kSignalled, 2}).exitCode, 130);
    EXPECT_EQ(Ended({ChildEnd::Cause::kNotStarted, ENOENT}).exitCode, 2);
}

TEST(EventTest, LinesArriveInPiecesAndTornOnesAreNoEvents)
{
    std::vector<std::string> lines;
    LineCutter cutter;
    for (const std::string piece : {"{\"eve", "nt\":\"alive\"}\n{}\n", "", "\n{\"event\":\"en"})
        cutter.Take(piece.data(), piece.size(), [&](const std::string& l) { lines.push_back(l); });
    ASSERT_THAT(lines, ElementsAre("{\"event\":\"alive\"}", "{}", ""));
    EXPECT_TRUE(DecodeEvent(lines[0]));
    for (const char* torn :
         {"{}", "{\"event\":\"en", "{\"event\":\"new\"}", "7", "{\"event\":\"done\",\"name\":7}"})
        EXPECT_FALSE(DecodeEvent(torn)) << torn;
}

TEST(LookAheadTest, LittleRoomIsSaidAndNoneRefused)
{
    const std::uintmax_t mebibyte = 1024 * 1024;
    EXPECT_THAT(JudgeRoom(mebibyte - 1, "d").refusal, HasSubstr("1 MiB free in d"));
    EXPECT_THAT(JudgeRoom(5 * mebibyte, "d").warning, HasSubstr("5 MiB free in d"));
    EXPECT_EQ(JudgeRoom(5 * mebibyte, "d").refusal, "");
    EXPECT_EQ(JudgeRoom(64 * mebibyte, "d").warning, "");
}

} // namespace
