#include "osdep/FileDescriptor.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestedProgram.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <memory>

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char* kProgram = "scripted_collector";

// The two real processes; the library call obeys a script.
class FrameTest : public testing::Test {
protected:
    std::unique_ptr<TestedProgram> Start(const std::string& script,
                                         std::map<std::string, std::string> environment = {},
                                         std::vector<std::string> before = {},
                                         const std::vector<std::string>& more = {})
    {
        std::vector<std::string> arguments = {"service-processor", "--out", m_out};
        arguments.insert(arguments.end(), more.begin(), more.end());
        environment["COLLECTOR_SCRIPT"] = script;
        return StartWith(arguments, environment, std::move(before));
    }
    std::unique_ptr<TestedProgram> StartWith(const std::vector<std::string>& arguments,
                                             const std::map<std::string, std::string>& environment,
                                             std::vector<std::string> before = {})
    {
        const std::string outputs = m_scratch / ("run" + std::to_string(++m_runs));
        std::filesystem::create_directory(outputs);
        return std::make_unique<TestedProgram>(
            TestedProgram::Words(kProgram, arguments, std::move(before)), environment, outputs,
            m_scratch.Path());
    }
    // The same with LAN-over-USB links, of which a control library from stubs/ knows two: node 0
    // is up, node 1 down. It prints what it is asked to do, and when it is unloaded.
    std::unique_ptr<TestedProgram> StartWithLinks(const std::string& asked,
                                                  const std::string& script,
                                                  const std::string& library = "whole",
                                                  const std::string& fault = std::string())
    {
        const std::string folder = std::filesystem::current_path().string() + "/stubs/" + library;
        return Start(script, {TestedProgram::LibrariesFrom(folder), {"COLLECTOR_FAULT", fault}}, {},
                     {"--usb-lan", asked});
    }
    // How many processes there are besides the watching one.
    std::size_t Others() const
    {
        const std::string mark = std::filesystem::path(m_scratch.Path()).filename().string();
        std::size_t others = 0;
        for (const char* word : {"collecting-process", "left-behind"}) {
            for (const std::string& line : CommandLinesWith(mark))
                others += line.find(word) != std::string::npos ? 1 : 0;
        }
        return others;
    }
    // The requests to stop that reach a program here: under Wine only what Ctrl-C does.
    static std::vector<int> StopSignals()
    {
        return TestedProgram::IsForWindows() ? std::vector<int>{SIGINT}
                                             : std::vector<int>{SIGINT, SIGTERM, SIGHUP};
    }

    const TemporaryDirectory m_scratch;
    const std::string m_out = m_scratch / "new/out";
    int m_runs = 0;
};

TEST_F(FrameTest, GoodCollectionPassesTheConsoleLinesOnUnchanged)
{
    const auto run =
        Start("print:Running\n;print:In progress;print:.;list:a,b;deliver:a;deliver:b");
    EXPECT_EQ(run->Wait(), 0);
    EXPECT_EQ(run->Output(), "Running\nIn progress.");
    EXPECT_EQ(run->Errors(), "ffdc-collect: 2 of 2 files collected into " + m_out + "\n");
    EXPECT_EQ(ContentsOf(m_out + "/b"), "contents of b");
}

TEST_F(FrameTest, SilentCollectionIsEnded)
{
    const auto run =
        Start("list:a,b;deliver:a;ignore;pause:600000", {{"COLLECTOR_SILENCE_MS", "1000"}});
    EXPECT_EQ(run->Wait(), 3);
    EXPECT_EQ(Others(), 0u);
    EXPECT_THAT(run->Errors(), HasSubstr("no sign of life for 1 s"));
    EXPECT_THAT(run->Errors(), HasSubstr("missing: \"b\""));
}

TEST_F(FrameTest, SignOfLifeOnEitherPipeKeepsItRunning)
{
    const auto run = Start("alive:2500;print:.;pause:1000;print:.;pause:1000;print:.",
                           {{"COLLECTOR_SILENCE_MS", "2000"}});
    EXPECT_EQ(run->Wait(), 0);
    EXPECT_EQ(run->Output(), "...");
}

TEST_F(FrameTest, CrashAndEarlyExitAreConcludedLikeAGoodEnd)
{
    const auto crashed = Start("list:a,b;deliver:a;begin:b;crash");
    EXPECT_EQ(crashed->Wait(), 3) << crashed->Errors();
    EXPECT_THAT(crashed->Errors(),
                HasSubstr(TestedProgram::IsForWindows()
                              ? "crashed (exception 0xC0000005, access violation)"
                              : "crashed (signal 11, "));
    EXPECT_THAT(crashed->Errors(), HasSubstr("missing: \"b\": ended after 10 of 100 bytes"));
    const auto left = Start("exit:0");
    EXPECT_EQ(left->Wait(), 1) << left->Errors();
    EXPECT_THAT(left->Errors(), HasSubstr("ended early, with code 0"));
}

TEST_F(FrameTest, SignalsEndEverythingAndTheFirstOneCounts)
{
    for (const int signal : StopSignals()) {
        SCOPED_TRACE(signal);
        const auto run = Start("list:a,b;deliver:a;begin:b;leave;alive:600000");
        ASSERT_TRUE(WaitUntil([&] { return Others() == 2; }));
        run->Signal(signal);
        EXPECT_TRUE(WaitUntil([&] { return Others() == 0; }));
        for (const int further : StopSignals())
            run->Signal(further);
        EXPECT_EQ(run->Wait(), 128 + signal);
        EXPECT_THAT(run->Errors(), HasSubstr("missing: \"b\": ended after 10 of 100 bytes"));
        EXPECT_THAT(run->Errors(), EndsWith("1 of 2 files collected into " + m_out + "\n"));
    }
}

TEST_F(FrameTest, IgnoredHangUpStaysIgnored)
{
    if (TestedProgram::IsForWindows())
        GTEST_SKIP() << "there is no hang-up signal";
    const auto run = Start("print:.;alive:1000", {}, {"/usr/bin/env", "--ignore-signal=HUP"});
    EXPECT_TRUE(WaitUntil([&] { return run->Output() == "."; }));
    run->Signal(SIGHUP);
    EXPECT_EQ(run->Wait(), 0);
}

TEST_F(FrameTest, KilledParentTakesTheChildWithIt)
{
    const auto run = Start("print:.;pause:600000");
    ASSERT_TRUE(WaitUntil([&] { return run->Output() == "." && Others() == 1; }));
    run->Signal(SIGKILL);
    EXPECT_EQ(run->Wait(), -SIGKILL);
    EXPECT_TRUE(WaitUntil([&] { return Others() == 0; }));
}

TEST_F(FrameTest, OutputThatNobodyTakesDoesNotEndTheCollection)
{
    if (TestedProgram::IsForWindows())
        GTEST_SKIP() << "Wine gives a program standard streams in any case";
    for (const char* redirection : {">&-", ">/dev/full", "<&- >&- 2>&-"}) {
        SCOPED_TRACE(redirection);
        const auto run = Start("print:.;deliver:a;print:.", {},
                               {"/bin/sh", "-c", std::string("exec \"$@\" ") + redirection, "sh"});
        EXPECT_EQ(run->Wait(), 0);
        EXPECT_EQ(ContentsOf(m_out + "/a"), "contents of a");
        std::remove((m_out + "/a").c_str());
    }
}

TEST_F(FrameTest, ReaderThatStopsReadingHoldsItUpUntilASignal)
{
    const std::string fifo = m_scratch / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const FileDescriptor reader(::open(fifo.c_str(), O_RDWR | O_CLOEXEC));
    const auto run = Start("flood:1024;alive:600000", {{"COLLECTOR_SILENCE_MS", "500"}},
                           {"/bin/sh", "-c", "fifo=$1; shift; exec \"$@\" >\"$fifo\"", "sh", fifo});
    ASSERT_TRUE(WaitUntil([&] { return Others() == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(Others(), 1u);
    run->Signal(SIGINT);
    EXPECT_EQ(run->Wait(), 130);
}

TEST_F(FrameTest, ReaderThatGoesAwayDoesNotEndTheCollection)
{
    const std::string fifo = m_scratch / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    FileDescriptor reader(::open(fifo.c_str(), O_RDWR | O_CLOEXEC));
    const auto run = Start("alive:1000;print:.;alive:500;print:.;deliver:a", {},
                           {"/bin/sh", "-c", "fifo=$1; shift; exec \"$@\" >\"$fifo\"", "sh", fifo});
    ASSERT_TRUE(WaitUntil([&] { return Others() == 1; }));
    reader.reset();
    EXPECT_EQ(run->Wait(), 0);
}

TEST_F(FrameTest, WhatCannotWorkIsRefusedBeforeAnythingStarts)
{
    m_scratch.Write("file", "kept");
    const struct {
        std::vector<std::string> arguments;
        std::string line;
        std::string fault = {};
    } cases[] = {
        {{}, "A subcommand is required"},
        {{"service-processor"}, "--out is required"},
        {{"service-processor", "--out", m_out, "more"}, "not expected: more"},
        {{"service-processor", "--out", ""}, "ffdc-collect: cannot create the directory"},
        {{"service-processor", "--out", m_scratch / "file"}, "file is no directory\n"},
        {{"service-processor", "--out", m_scratch / "file/x"},
         TestedProgram::IsForWindows() ? "file/x: " : "file/x: Not a directory\n"},
        {{"service-processor", "--out", "/proc/self"}, "cannot write into "},
        {{"service-processor", "--out", m_out, "--usb-lan", "sideways"}, "--usb-lan"},
        {{"service-processor", "--out", m_out, "--log", m_scratch / "file/log"},
         "ffdc-collect: cannot write the log file " + m_scratch / "file/log\n"},
        {{"service-processor", "--out", m_out}, "ffdc-collect: no way to it\n", "no way to it"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const auto run = StartWith(
            c.arguments, {{"COLLECTOR_FAULT", c.fault}, {"COLLECTOR_SCRIPT", "print:begun"}});
        EXPECT_EQ(run->Wait(), 2);
        EXPECT_EQ(run->Output(), "");
        EXPECT_THAT(run->Errors(), HasSubstr(c.line));
    }
    EXPECT_EQ(ContentsOf(m_scratch / "file"), "kept");
    for (const char* good : {"--help", "--version"})
        EXPECT_EQ(StartWith({good}, {})->Wait(), 0);
}

TEST_F(FrameTest, ValuesReachTheOtherProcessUnchanged)
{
    // Windows has no quotes and line ends in names, but letters of its own encoding, and a
    // backslash at the end.
    const std::string out =
        m_scratch / (TestedProgram::IsForWindows() ? "-a = [b\xc3\xa9]\\" : "-a = \"b\"\n[c]");
    const auto run =
        StartWith({"service-processor", "--verbose", "--log=" + m_scratch / "-log", "--out=" + out},
                  {{"COLLECTOR_SCRIPT", "deliver:a"}});
    EXPECT_EQ(run->Wait(), 0) << run->Errors();
    const std::string folder = out.back() == '\\' ? out.substr(0, out.size() - 1) : out;
    EXPECT_EQ(ContentsOf(folder + "/a"), "contents of a");
    EXPECT_THAT(run->Errors(),
                HasSubstr("\"a\": done, 13 of 13 bytes, 1 try, 0 ms, SHA-256 00ff\n"));
}

TEST_F(FrameTest, LinksAreUpForTheCollectionAndThenAsAsked)
{
    const std::pair<std::string, std::string> cases[] = {
        {"restore", "down 1\n"}, {"enable", ""}, {"disable", "down 0\ndown 1\n"}};
    for (const auto& [asked, after] : cases) {
        SCOPED_TRACE(asked);
        const auto run = StartWithLinks(asked, "print:Running\n;deliver:a");
        EXPECT_EQ(run->Wait(), 0);
        EXPECT_THAT(run->Output(), StartsWith("up 1\nRunning\n" + after + "unloaded"));
        EXPECT_THAT(run->Errors(), HasSubstr("LAN over USB, node 1: was disabled, now enabled\n"));
    }
}

TEST_F(FrameTest, LinksArePutBackHoweverTheCollectionEnds)
{
    const auto good = StartWithLinks("restore", "list:a;deliver:a");
    EXPECT_EQ(good->Wait(), 0);
    EXPECT_THAT(good->Errors(), HasSubstr("node 1: now disabled\nffdc-collect: 1 of 1 files"))
        << "first the links, then the result";
    const auto crashed = StartWithLinks("restore", "print:Running\n;crash");
    EXPECT_EQ(crashed->Wait(), 1);
    EXPECT_THAT(crashed->Output(), StartsWith("up 1\nRunning\ndown 1\n"));
    const auto refused = StartWithLinks("restore", "print:Running\n", "whole", "no device");
    EXPECT_EQ(refused->Wait(), 2);
    EXPECT_THAT(refused->Output(), StartsWith("up 1\ndown 1\n"));
    const auto ended = StartWithLinks("restore", "print:In progress;alive:600000");
    EXPECT_TRUE(WaitUntil([&] { return ended->Output() == "up 1\nIn progress"; }));
    ended->Signal(SIGINT);
    if (!TestedProgram::IsForWindows())
        ended->Signal(SIGTERM);
    EXPECT_EQ(ended->Wait(), 130);
    EXPECT_THAT(ended->Output(), StartsWith("up 1\nIn progressdown 1\n"));
}

TEST_F(FrameTest, WithoutLinksTheCollectionGoesOn)
{
    for (const char* library : {"none", "no_count"}) {
        SCOPED_TRACE(library);
        const auto run = StartWithLinks("restore", "print:Running\n;deliver:a", library);
        EXPECT_EQ(run->Wait(), 0);
        EXPECT_THAT(run->Output(), EndsWith("Running\n"));
        EXPECT_THAT(run->Errors(), HasSubstr("VXA_USBLAN_INTERFACES"));
    }
}

} // namespace
