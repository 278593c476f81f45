#include "usblan/TUsbLan.h"

#include "tests/fakes/FakeLoader.h"
#include "tests/fakes/FakeLog.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// A server as its control library shows it; a change that succeeds takes effect.
struct FakeServer {
    std::vector<int> states;          // one per node
    std::map<int, int> failures;      // node -> result code
    std::vector<std::string> changes; // "up 0", "down 1": every request that reached the hardware
};

FakeServer gServer;

std::int32_t CountNodes()
{
    return static_cast<std::int32_t>(gServer.states.size());
}

std::int32_t QueryState(std::int32_t node)
{
    return gServer.states.at(node);
}

std::int32_t Change(std::int32_t node, const char* way, int state)
{
    gServer.changes.push_back(way + std::to_string(node));
    const auto failure = gServer.failures.find(node);
    if (failure != gServer.failures.end())
        return failure->second;
    gServer.states.at(node) = state;
    return 0;
}

std::int32_t BringUp(std::int32_t node)
{
    return Change(node, "up ", 1);
}

std::int32_t TakeDown(std::int32_t node)
{
    return Change(node, "down ", 2);
}

class TUsbLanTest : public testing::Test {
protected:
    void SetUp() override
    {
        gLog.Reset();
        gLoader.Reset();
        gServer = FakeServer();
        gLoader.libraries[qmmusblan::kLibraryName] = {
            {"GetNodes", reinterpret_cast<void*>(&CountNodes)},
            {"QueryQmmLanState", reinterpret_cast<void*>(&QueryState)},
            {"BringupQmmLan", reinterpret_cast<void*>(&BringUp)},
            {"DisableQmmLan", reinterpret_cast<void*>(&TakeDown)}};
    }

    // Creates the singleton on nodes in these states; the log then begins with its end.
    void Begin(std::vector<int> states)
    {
        gServer.states = std::move(states);
        ASSERT_EQ(TUsbLan::m_instance, nullptr);
        TUsbLan::getInstance();
        gLog.records.clear();
    }

    // Deletes it and returns what it logged between handleUsbLan's entry and exit.
    std::vector<std::string> End()
    {
        delete TUsbLan::getInstance();
        TUsbLan::m_instance = nullptr;
        std::vector<std::string> lines = gLog.Messages();
        EXPECT_EQ(lines.front(), "Entering TUsbLan::handleUsbLan");
        EXPECT_EQ(lines.back(), "Exiting TUsbLan::handleUsbLan");
        return {lines.begin() + 1, lines.end() - 1};
    }

    // Leaves out the line that tells each node's state.
    static std::vector<std::string> WithoutStates(std::vector<std::string> lines)
    {
        const auto tellsState = [](const std::string& line) {
            return line.rfind("QMM LAN over USB (Node ", 0) == 0;
        };
        const auto rest = std::remove_if(lines.begin(), lines.end(), tellsState);
        EXPECT_EQ(lines.end() - rest, CountNodes());
        lines.erase(rest, lines.end());
        return lines;
    }

    std::vector<std::string> EndAs(qmmSetType type)
    {
        TUsbLan::getInstance()->sUsbLanType(type);
        return End();
    }
};

TEST_F(TUsbLanTest, CreationRecordsAndLogsTheStateOfEveryNode)
{
    gServer.states = {1, 2, 3, 4, 5, 0, 6};
    testing::internal::CaptureStdout();
    TUsbLan* const instance = TUsbLan::getInstance();
    EXPECT_EQ(TUsbLan::getInstance(), instance);
    EXPECT_EQ(TUsbLan::m_instance, instance);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_THAT(
        gLog.Messages(),
        ElementsAre("Entering TUsbLan::initUsbLan", "QMM LAN over USB (Node 0) is enable.",
                    "QMM LAN over USB (Node 1) is disable.",
                    "QMM LAN over USB (Node 2) is enable, but IP configuration is assumed to be "
                    "unacceptable.",
                    "QMM LAN over USB (Node 3) driver unloaded.",
                    "QMM LAN over USB (Node 4) Error occurs.", "QMM LAN over USB (Node 5) ",
                    "QMM LAN over USB (Node 6) ", "Exiting TUsbLan::initUsbLan"));
    EXPECT_EQ(gLoader.calls.front(), std::string("load ") + qmmusblan::kLibraryName);
    EXPECT_THAT(gServer.changes, IsEmpty());
    gLog.Reset();
    End();
}

TEST_F(TUsbLanTest, WithoutAWholeLibraryThereAreNoNodes)
{
    for (const char* name : {"GetNodes", "QueryQmmLanState", "BringupQmmLan", "DisableQmmLan"}) {
        SCOPED_TRACE(name);
        SetUp();
        gServer.states = {1, 2};
        gLoader.libraries[qmmusblan::kLibraryName].erase(name);
        testing::internal::CaptureStdout();
        TUsbLan::getInstance();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to load qmmusblan.dll\n");
        EXPECT_THAT(gLog.Messages(), ElementsAre("Entering TUsbLan::initUsbLan",
                                                 HasSubstr(std::string(" has no ") + name),
                                                 "Exiting TUsbLan::initUsbLan"));
        gLog.Reset();
        EXPECT_THAT(End(), ElementsAre("Entering TUsbLan::restoreUsbLan",
                                       "Exiting TUsbLan::restoreUsbLan"));
        // What was loaded is unloaded, once.
        EXPECT_EQ(std::count(gLoader.calls.begin(), gLoader.calls.end(), "unload"), 1);
        EXPECT_THAT(gServer.changes, IsEmpty());
    }
    SetUp();
    gLoader.libraries.clear();
    testing::internal::CaptureStdout();
    TUsbLan::getInstance();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to load qmmusblan.dll\n");
    EXPECT_THAT(gLog.Messages(), SizeIs(2));
    gLog.Reset();
    End();
    EXPECT_NE(gLoader.calls.back(), "unload");
}

TEST_F(TUsbLanTest, EnableTouchesOnlyNodesThatAreDown)
{
    Begin({1, 2, 3, 4, 5});
    gServer.failures[3] = 172;
    EXPECT_THAT(
        EndAs(qmmEnable),
        ElementsAre("Entering TUsbLan::enableUsbLan", "QMM LAN over USB (Node 0) is enable.",
                    "QMM LAN over USB interface for node 0 was already enable, no action needed.",
                    "QMM LAN over USB (Node 1) is disable.",
                    "Starting to bring up QMM LAN over USB interface for node 1 ...",
                    "QMM LAN over USB interface is taken up successfully.",
                    "QMM LAN over USB (Node 2) is enable, but IP configuration is assumed to be "
                    "unacceptable.",
                    "Starting to bring up QMM LAN over USB interface for node 2 ...",
                    "QMM LAN over USB interface is taken up successfully.",
                    "QMM LAN over USB (Node 3) driver unloaded.",
                    "Starting to bring up QMM LAN over USB interface for node 3 ...",
                    "Unable to take up QMM LAN over USB interface since fail to install driver.",
                    "QMM LAN over USB (Node 4) Error occurs.",
                    "QMM LAN over USB interface for node 4 was already enable, no action needed.",
                    "Exiting TUsbLan::enableUsbLan"));
    EXPECT_THAT(gServer.changes, ElementsAre("up 1", "up 2", "up 3"));
    EXPECT_THAT(gServer.states, ElementsAre(1, 1, 1, 4, 5));
    EXPECT_NE(gLoader.calls.back(), "unload");
}

TEST_F(TUsbLanTest, DisableTouchesOnlyNodesThatAreNotDown)
{
    Begin({1, 2, 3, 4, 5});
    gServer.failures[3] = 171;
    EXPECT_THAT(
        WithoutStates(EndAs(qmmDisable)),
        ElementsAre("Entering TUsbLan::disableUsbLan",
                    "Starting to take down QMM LAN over USB interface for node 0 ...",
                    "QMM LAN over USB interface is taken down successfully.",
                    "QMM LAN over USB interface for node 1 was already disable, no action needed.",
                    "Starting to take down QMM LAN over USB interface for node 2 ...",
                    "QMM LAN over USB interface is taken down successfully.",
                    "Starting to take down QMM LAN over USB interface for node 3 ...",
                    "Unable to take down QMM LAN over USB interface since hardWare not detected.",
                    "QMM LAN over USB interface for node 4 was already disable, no action needed.",
                    "Exiting TUsbLan::disableUsbLan"));
    EXPECT_THAT(gServer.changes, ElementsAre("down 0", "down 2", "down 3"));
    EXPECT_THAT(gServer.states, ElementsAre(2, 2, 2, 4, 5));
    EXPECT_NE(gLoader.calls.back(), "unload");
}

// Restore goes by the state found at creation: up ends up, everything else ends down.
TEST_F(TUsbLanTest, RestorePutsBackWhatCreationFoundAndUnloads)
{
    const struct {
        int initial;
        int current;
        const char* change;
    } cases[] = {{1, 1, ""},       {1, 2, "up 0"},   {1, 4, "up 0"},   {1, 5, "up 0"},
                 {2, 2, ""},       {2, 1, "down 0"}, {3, 3, "down 0"}, {4, 2, ""},
                 {4, 4, "down 0"}, {5, 5, "down 0"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.initial) + " -> " + std::to_string(c.current));
        SetUp();
        Begin({c.initial});
        gServer.states = {c.current};
        End();
        if (*c.change == '\0')
            EXPECT_THAT(gServer.changes, IsEmpty());
        else
            EXPECT_THAT(gServer.changes, ElementsAre(c.change));
        EXPECT_EQ(gLoader.calls.back(), "unload");
    }
}

TEST_F(TUsbLanTest, RestoreRepeatsThePreviousNodesMessage)
{
    Begin({1, 1, 2, 2, 2});
    gServer.states = {1, 2, 2, 1, 2};
    gServer.failures[3] = 177;
    const std::string failure =
        "Unable to take down QMM LAN over USB interface since fail to change interface status";
    EXPECT_THAT(WithoutStates(End()),
                ElementsAre("Entering TUsbLan::restoreUsbLan", "",
                            "Starting to take up QMM LAN over USB interface for node 1 ...",
                            "QMM LAN over USB interface is taken up successfully.",
                            "QMM LAN over USB interface is taken up successfully.",
                            "Starting to take down QMM LAN over USB interface for node 3...",
                            failure, failure, "Exiting TUsbLan::restoreUsbLan"));
}

// Which codes are explained, and whether the sentence has its full stop.
TEST_F(TUsbLanTest, FailuresAreWordedByCodeAndDirection)
{
    const std::string up = "Unable to take up QMM LAN over USB interface since ";
    const std::string down = "Unable to take down QMM LAN over USB interface since ";
    const struct {
        qmmSetType type;
        int initial;
        int current;
        int code;
        const char* line;
    } cases[] = {
        {qmmEnable, 2, 2, 171, "hardWare not detected."},
        {qmmEnable, 2, 2, 176, "node index is out of range."},
        {qmmEnable, 2, 2, 177, "fail to change interface status."},
        {qmmEnable, 2, 2, 99, "."},
        {qmmDisable, 1, 1, 172, "."},
        {qmmDisable, 1, 1, 176, "node index is out of range."},
        {qmmDisable, 1, 1, 177, "fail to change interface status."},
        {qmmRestore, 1, 2, 172, "fail to install driver."},
        {qmmRestore, 1, 2, 1, "."},
        {qmmRestore, 2, 1, 171, "hardWare not detected"},
        {qmmRestore, 2, 1, 172, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.type) + ", code " + std::to_string(c.code));
        SetUp();
        Begin({c.initial});
        gServer.states = {c.current};
        gServer.failures[0] = c.code;
        const bool isUp = c.current == 2;
        const std::vector<std::string> lines = EndAs(c.type);
        EXPECT_EQ(lines.at(lines.size() - 2), (isUp ? up : down) + c.line);
    }
}

TEST_F(TUsbLanTest, UnknownSetTypeDoesNothing)
{
    Begin({1, 2});
    EXPECT_THAT(EndAs(static_cast<qmmSetType>(0)), IsEmpty());
    Begin({1, 2});
    EXPECT_THAT(EndAs(static_cast<qmmSetType>(4)), IsEmpty());
    EXPECT_THAT(gServer.changes, IsEmpty());
}

// One instance remembers while another one, made in between, enables.
TEST_F(TUsbLanTest, InstancesInTurnKeepTheirOwnMemory)
{
    Begin({2, 1});
    TUsbLan* const keep = TUsbLan::getInstance();
    TUsbLan::m_instance = nullptr;
    TUsbLan::getInstance()->sUsbLanType(qmmEnable);
    delete TUsbLan::m_instance;
    TUsbLan::m_instance = nullptr;
    EXPECT_THAT(gServer.states, ElementsAre(1, 1));
    delete keep;
    EXPECT_THAT(gServer.states, ElementsAre(2, 1));
    EXPECT_THAT(gServer.changes, ElementsAre("up 0", "down 0"));
}

} // namespace
