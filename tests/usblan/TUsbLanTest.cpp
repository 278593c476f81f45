#include "usblan/TUsbLan.h"

#include "tests/fakes/FakeLoader.h"
#include "tests/fakes/FakeLog.h"

#include <gmock/gmock.h>

#include <algorithm>

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

// A server as its control library shows it; a change that succeeds takes effect.
struct FakeServer {
    std::vector<int> states;          // one per node
    int result = 0;                   // of every change
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
    if (gServer.result == 0)
        gServer.states.at(node) = state;
    return gServer.result;
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

    // Creates the singleton, which finds the nodes in these states.
    static void Begin(std::vector<int> states)
    {
        gServer.states = std::move(states);
        ASSERT_EQ(TUsbLan::m_instance, nullptr);
        TUsbLan::getInstance();
    }

    // Deletes it and returns what it logged between handleUsbLan's entry and exit.
    static std::vector<std::string> End()
    {
        gLog.Reset();
        delete TUsbLan::getInstance();
        TUsbLan::m_instance = nullptr;
        std::vector<std::string> lines = gLog.Messages();
        EXPECT_EQ(lines.front(), "Entering TUsbLan::handleUsbLan");
        EXPECT_EQ(lines.back(), "Exiting TUsbLan::handleUsbLan");
        return {lines.begin() + 1, lines.end() - 1};
    }

    // The same after the choice of what it is to do.
    static std::vector<std::string> EndAs(qmmSetType type)
    {
        TUsbLan::getInstance()->sUsbLanType(type);
        return End();
    }
};

TEST_F(TUsbLanTest, CreationRecordsAndLogsTheStateOfEveryNode)
{
    Begin({1, 2, 3, 4, 5, 0, 6});
    EXPECT_EQ(TUsbLan::getInstance(), TUsbLan::m_instance);
    EXPECT_THAT(
        gLog.Messages(),
        ElementsAre("Entering TUsbLan::initUsbLan", "QMM LAN over USB (Node 0) is enable.",
                    "QMM LAN over USB (Node 1) is disable.",
                    "QMM LAN over USB (Node 2) is enable, but IP configuration is assumed to be "
                    "unacceptable.",
                    "QMM LAN over USB (Node 3) driver unloaded.",
                    "QMM LAN over USB (Node 4) Error occurs.", "QMM LAN over USB (Node 5) ",
                    "QMM LAN over USB (Node 6) ", "Exiting TUsbLan::initUsbLan"));
    EXPECT_THAT(gServer.changes, IsEmpty());
    for (const int neither : {0, 4})
        EXPECT_THAT(EndAs(static_cast<qmmSetType>(neither)), IsEmpty());
}

TEST_F(TUsbLanTest, WithoutAWholeLibraryThereAreNoNodes)
{
    for (const std::string missing :
         {"library", "GetNodes", "QueryQmmLanState", "BringupQmmLan", "DisableQmmLan"}) {
        SCOPED_TRACE(missing);
        SetUp();
        if (missing == "library")
            gLoader.libraries.clear();
        else
            gLoader.libraries[qmmusblan::kLibraryName].erase(missing);
        testing::internal::CaptureStdout();
        Begin({1, 2});
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to load qmmusblan.dll\n");
        EXPECT_EQ(testing::Value(gLog.Messages(), Contains(EndsWith(" has no " + missing))),
                  missing != "library");
        EXPECT_THAT(End(), ElementsAre("Entering TUsbLan::restoreUsbLan",
                                       "Exiting TUsbLan::restoreUsbLan"));
        // What was loaded is unloaded, once.
        EXPECT_EQ(std::count(gLoader.calls.begin(), gLoader.calls.end(), "unload"),
                  missing != "library");
    }
}

TEST_F(TUsbLanTest, EnableAndDisableSayWhatTheyDoToEachNode)
{
    Begin({1, 2});
    EXPECT_THAT(
        EndAs(qmmEnable),
        ElementsAre("Entering TUsbLan::enableUsbLan", "QMM LAN over USB (Node 0) is enable.",
                    "QMM LAN over USB interface for node 0 was already enable, no action needed.",
                    "QMM LAN over USB (Node 1) is disable.",
                    "Starting to bring up QMM LAN over USB interface for node 1 ...",
                    "QMM LAN over USB interface is taken up successfully.",
                    "Exiting TUsbLan::enableUsbLan"));
    Begin({1, 2});
    EXPECT_THAT(
        EndAs(qmmDisable),
        ElementsAre("Entering TUsbLan::disableUsbLan", "QMM LAN over USB (Node 0) is enable.",
                    "Starting to take down QMM LAN over USB interface for node 0 ...",
                    "QMM LAN over USB interface is taken down successfully.",
                    "QMM LAN over USB (Node 1) is disable.",
                    "QMM LAN over USB interface for node 1 was already disable, no action needed.",
                    "Exiting TUsbLan::disableUsbLan"));
    EXPECT_THAT(gServer.changes, ElementsAre("up 1", "down 0"));
    EXPECT_NE(gLoader.calls.back(), "unload");
}

TEST_F(TUsbLanTest, RestoreRepeatsThePreviousNodesMessageAndUnloads)
{
    Begin({1, 1, 2, 2});
    gServer.states = {1, 2, 2, 1};
    EXPECT_THAT(End(), ElementsAre("Entering TUsbLan::restoreUsbLan",
                                   "QMM LAN over USB (Node 0) is enable.", "",
                                   "QMM LAN over USB (Node 1) is disable.",
                                   "Starting to take up QMM LAN over USB interface for node 1 ...",
                                   "QMM LAN over USB interface is taken up successfully.",
                                   "QMM LAN over USB (Node 2) is disable.",
                                   "QMM LAN over USB interface is taken up successfully.",
                                   "QMM LAN over USB (Node 3) is enable.",
                                   "Starting to take down QMM LAN over USB interface for node 3...",
                                   "QMM LAN over USB interface is taken down successfully.",
                                   "Exiting TUsbLan::restoreUsbLan"));
    EXPECT_EQ(gLoader.calls.back(), "unload");
}

// Enable and disable go by the state that is now, an error being as good as what is asked for.
// Restore goes by the state found at creation: up ends up, everything else ends down.
TEST_F(TUsbLanTest, ActionDependsOnTheStateAndAFailureHasItsReason)
{
    const std::string up = "Unable to take up QMM LAN over USB interface since ";
    const std::string down = "Unable to take down QMM LAN over USB interface since ";
    const std::string isUp = "QMM LAN over USB interface is taken up successfully.";
    const std::string isDown = "QMM LAN over USB interface is taken down successfully.";
    const struct {
        qmmSetType type;
        int initial;
        int current;
        int code; // that a change gives
        std::string change;
        std::string line; // the last one
    } cases[] = {
        {qmmEnable, 3, 3, 0, "up 0", isUp},
        {qmmEnable, 4, 4, 172, "up 0", up + "fail to install driver."},
        {qmmEnable, 2, 2, 171, "up 0", up + "hardWare not detected."},
        {qmmEnable, 2, 2, 176, "up 0", up + "node index is out of range."},
        {qmmEnable, 2, 2, 177, "up 0", up + "fail to change interface status."},
        {qmmEnable, 2, 2, 99, "up 0", up + "."},
        {qmmEnable, 5, 5, 0, "",
         "QMM LAN over USB interface for node 0 was already enable, no action needed."},
        {qmmDisable, 3, 3, 0, "down 0", isDown},
        {qmmDisable, 4, 4, 171, "down 0", down + "hardWare not detected."},
        {qmmDisable, 1, 1, 172, "down 0", down + "."},
        {qmmDisable, 1, 1, 176, "down 0", down + "node index is out of range."},
        {qmmDisable, 1, 1, 177, "down 0", down + "fail to change interface status."},
        {qmmDisable, 5, 5, 0, "",
         "QMM LAN over USB interface for node 0 was already disable, no action needed."},
        {qmmRestore, 1, 1, 0, "", ""},
        {qmmRestore, 1, 4, 172, "up 0", up + "fail to install driver."},
        {qmmRestore, 1, 5, 0, "up 0", isUp},
        {qmmRestore, 2, 1, 177, "down 0", down + "fail to change interface status"},
        {qmmRestore, 3, 3, 172, "down 0", down},
        {qmmRestore, 4, 2, 0, "", ""},
        {qmmRestore, 5, 5, 0, "down 0", isDown},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.type) + ", state " + std::to_string(c.initial) + ", code " +
                     std::to_string(c.code));
        SetUp();
        Begin({c.initial});
        gServer.states = {c.current};
        gServer.result = c.code;
        const std::vector<std::string> lines = EndAs(c.type);
        EXPECT_EQ(lines.at(lines.size() - 2), c.line);
        EXPECT_EQ(gServer.changes.empty() ? "" : gServer.changes.front(), c.change);
    }
}

} // namespace
