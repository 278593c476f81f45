#include "collector/Ledger.h"
#include "collector/LookAhead.h"
#include "osdep/VXAOSDep.h"

#include <gmock/gmock.h>

#include <csignal>

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
        Event event;
        event.kind = Event::Kind::kListed;
        event.names = std::move(names);
        Take(event);
    }
    void Begin(const std::string& name, std::int64_t received = 0, std::int64_t expected = -1)
    {
        Event event;
        event.kind = Event::Kind::kBytes;
        event.file.name = name;
        event.file.receivedBytes = received;
        event.file.expectedBytes = expected;
        Take(event);
    }
    void Finish(const std::string& name, const std::string& failure = "")
    {
        Event event;
        event.kind = Event::Kind::kDone;
        event.file.name = name;
        event.file.localPath = PathOf(name);
        event.file.complete = failure.empty();
        event.file.reason = failure;
        event.file.receivedBytes = event.file.expectedBytes = 7;
        Take(event);
        if (failure.empty())
            m_disk[PathOf(name)] = 7;
    }
    void Return(bool good)
    {
        Event event;
        event.kind = Event::Kind::kEnded;
        event.good = good;
        Take(event);
    }
    static std::string PathOf(const std::string& name)
    {
        return "out" + NORXVXA20::VXAOSDep::gFileSeparator + name;
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

TEST_F(LedgerTest, EverythingListedIsHere)
{
    List({"a", "b"});
    Finish("a");
    Finish("b");
    Return(true);
    const Outcome outcome = Ended();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.lines, ElementsAre("2 of 2 files collected into out"));
}

TEST_F(LedgerTest, EmptyDirectoryIsNoFailure)
{
    Return(true);
    const Outcome outcome = Ended();
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.lines,
                ElementsAre("the service processor has no FFDC files: nothing to collect"));
}

TEST_F(LedgerTest, EachMissingFileIsNamedWithItsReason)
{
    List({"a", "refused", "cut", "later"});
    Finish("a");
    Finish("refused", "permission denied");
    Finish("cut", "connection lost");
    Return(false);
    m_disk[PathOf("later")] = 3; // from an earlier collection
    const Outcome outcome = Ended();
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.lines,
                ElementsAre("missing: \"refused\": permission denied",
                            "missing: \"cut\": connection lost",
                            "missing: \"later\": not reached before the collection was given up; a "
                            "file of that name is there, but not from this collection",
                            "1 of 4 files collected into out"));
}

TEST_F(LedgerTest, NothingUsableIsOne)
{
    List({"a"});
    Finish("a", "permission denied");
    Return(true);
    EXPECT_EQ(Ended().exitCode, 1);
    m_ledger = Ledger();
    Return(false);
    EXPECT_EQ(Ended().exitCode, 1);
    EXPECT_THAT(Ended().lines, ElementsAre(HasSubstr("--log FILE"), "no files collected into out"));
}

TEST_F(LedgerTest, OnlyWhatLiesOnTheDiskAsRecordedCounts)
{
    List({"a", "gone", "cut"});
    for (const char* name : {"a", "gone", "cut"})
        Finish(name);
    Return(true);
    m_disk.erase(PathOf("gone"));
    m_disk[PathOf("cut")] = 6;
    const Outcome outcome = Ended();
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_THAT(outcome.lines,
                ElementsAre("missing: \"gone\": it was copied, but is not there any more",
                            "missing: \"cut\": it was copied, but has 6 bytes instead of 7",
                            "1 of 3 files collected into out"));
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

TEST_F(LedgerTest, NamesThatTheLibraryChanges)
{
    List({"a", " a", " ", "b\x1b[2J\xc2\x9b\xc3\xa9"});
    Finish("a");
    Finish("a", "asked for a second time");
    Finish("", "no name");
    Finish("b\x1b[2J\xc2\x9b\xc3\xa9");
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

TEST_F(LedgerTest, EveryEndNamesItsCauseAndKeepsWhatArrived)
{
    struct Case {
        ChildEnd end;
        int exitCode;
        const char* cause;
        const char* unreached;
    };
    const Case cases[] = {
        {{ChildEnd::Cause::kCrashed, SIGSEGV},
         3,
         "the collecting process crashed (",
         "process ended"},
        {{ChildEnd::Cause::kExited, 9}, 3, "ended early, with code 9", "process ended"},
        {{ChildEnd::Cause::kSilent, 0}, 3, "no sign of life for 45 s", "collection was ended"},
        {{ChildEnd::Cause::kSignalled, SIGINT}, 130, "signal 2", "before the interruption"},
        {{ChildEnd::Cause::kSignalled, SIGTERM}, 143, "signal 15", "before the interruption"},
    };
    List({"a", "b", "c"});
    Finish("a");
    Begin("b", 10, 100);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.cause);
        const Outcome outcome = Ended(c.end);
        EXPECT_EQ(outcome.exitCode, c.exitCode);
        EXPECT_THAT(outcome.lines,
                    ElementsAre(HasSubstr(c.cause), "missing: \"b\": ended after 10 of 100 bytes",
                                HasSubstr(c.unreached), "1 of 3 files collected into out"));
    }
    // Interrupted after the last file: still not as if nothing had happened.
    Finish("b");
    Finish("c");
    EXPECT_EQ(Ended({ChildEnd::Cause::kCrashed, SIGSEGV}).exitCode, 3);
    Return(true);
    EXPECT_EQ(Ended({ChildEnd::Cause::kCrashed, SIGSEGV}).exitCode, 3);
    EXPECT_EQ(Ended({ChildEnd::Cause::kSignalled, SIGINT}).exitCode, 130);
}

TEST_F(LedgerTest, RefusalSaysOnlyItsReason)
{
    Event event;
    event.kind = Event::Kind::kRefused;
    event.text = "cannot write the log file";
    Take(event);
    const Outcome outcome = Ended({ChildEnd::Cause::kExited, 1});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.lines, ElementsAre("cannot write the log file"));
    m_ledger = Ledger();
    EXPECT_EQ(Ended({ChildEnd::Cause::kNotStarted, ENOENT}).exitCode, 2);
}

TEST(EventTest, NamesOfAnyByteCrossTheChannel)
{
    Event event;
    event.kind = Event::Kind::kListed;
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    event.names = {all, "", "\xc3\xa9\xff"};
    const std::string line = EncodeEvent(event);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    const std::optional<Event> arrived = DecodeEvent(line);
    ASSERT_TRUE(arrived);
    EXPECT_EQ(arrived->names, event.names);
}

TEST(EventTest, LinesArriveInPiecesAndTornOnesAreNoEvents)
{
    std::vector<std::string> lines;
    LineCutter cutter;
    for (const std::string piece : {"{\"eve", "nt\":\"alive\"}\n{}\n", "", "\n{\"event\":\"en"})
        cutter.Take(piece.data(), piece.size(), [&](const std::string& l) { lines.push_back(l); });
    ASSERT_THAT(lines, ElementsAre("{\"event\":\"alive\"}", "{}", ""));
    EXPECT_TRUE(DecodeEvent(lines[0]));
    for (const char* torn : {"{}", "", "{\"event\":\"en", "{\"event\":\"new\"}", "[1]", "7",
                             "{\"event\":\"done\",\"name\":7}"})
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
