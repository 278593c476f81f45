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
        return std::make_unique<TestedProgram>(kProgram, arguments, environment, m_scratch.Path(),
                                               std::move(before));
    }
    // The same with LAN-over-USB links, of which a control library from stubs/ knows two: node 0
    // is up, node 1 down. It prints what it is asked to do, and when it is unloaded.
    std::unique_ptr<TestedProgram> StartWithLinks(const std::string& asked,
                                                  const std::string& script,
                                                  const std::string& library = "whole",
                                                  const std::string& fault = std::string())
    {
        const std::string folder = std::filesystem::current_path() / "stubs" / library;
        return Start(script, {TestedProgram::LibrariesFrom(folder), {"COLLECTOR_FAULT", fault}}, {},
                     {"--usb-lan", asked});
    }
    // How many processes there are besides the watching one.
    std::size_t Others() const
    {
        const std::string mark = std::filesystem::path(m_scratch.Path()).filename().string();
        std::size_t others = 0;
        for (const std::string& line : CommandLinesWith(mark)) {
            for (const char* word : {"collecting-process", "test_child"})
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
};

TEST_F(FrameTest, SilentCollectionIsEnded)
{
    const auto run =
        Start("list:a,b;deliver:a;ignore;pause:600000", {{"COLLECTOR_SILENCE_MS", "1000"}});
    EXPECT_EQ(run->Wait(), 3);
    EXPECT_EQ(Others(), 0u);
    EXPECT_THAT(run->Errors(), HasSubstr("no sign of life for 1 s"));
    EXPECT_THAT(run->Errors(),
                HasSubstr("missing: \"b\": not reached before the collection was ended\n"));
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
    const auto crashed = Start("list:a,b,c;deliver:a;begin:b;crash");
    EXPECT_EQ(crashed->Wait(), 3) << crashed->Errors();
    EXPECT_THAT(crashed->Errors(),
                HasSubstr(TestedProgram::IsForWindows()
                              ? "crashed (exception 0xC0000005, access violation)"
                              : "crashed (signal 11, "));
    EXPECT_THAT(crashed->Errors(),
                EndsWith("ffdc-collect: missing: \"b\": ended after 10 of 100 bytes\n"
                         "ffdc-collect: missing: \"c\": not reached before the collecting process "
                         "ended\nffdc-collect: 1 of 3 files collected into " +
                         m_out + "\n"));
    const auto left = Start("exit:0");
    EXPECT_EQ(left->Wait(), 1) << left->Errors();
    EXPECT_THAT(left->Errors(), HasSubstr("ended early, with code 0"));
}

TEST_F(FrameTest, SignalsEndEverythingAndTheFirstOneCounts)
{
    for (const int signal : StopSignals()) {
        SCOPED_TRACE(signal);
        const auto run = Start("list:a,b;deliver:a;leave;alive:600000");
        ASSERT_TRUE(WaitUntil([&] { return Others() == 2; }));
        run->Signal(signal);
        EXPECT_TRUE(WaitUntil([&] { return Others() == 0; }));
        for (const int further : StopSignals())
            run->Signal(further);
        EXPECT_EQ(run->Wait(), 128 + signal);
        EXPECT_EQ(run->Errors(),
                  "ffdc-collect: interrupted by signal " + std::to_string(signal) +
                      "\nffdc-collect: missing: \"b\": not reached before the interruption\n"
                      "ffdc-collect: 1 of 2 files collected into " +
                      m_out + "\n");
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
    std::vector<std::string> ways = {"\"$@\" | true"};
    // Wine gives a program standard streams in any case.
    if (!TestedProgram::IsForWindows())
        ways = {"\"$@\" | true", "\"$@\" >&-", "\"$@\" >/dev/full", "\"$@\" <&- >&- 2>&-"};
    for (const std::string& way : ways) {
        SCOPED_TRACE(way);
        const auto run = Start("alive:200;print:.;alive:200;print:.;deliver:a", {},
                               {"/bin/bash", "-o", "pipefail", "-c", way, "bash"});
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

TEST_F(FrameTest, SlowReaderGetsEverything)
{
    const auto run =
        Start("flood:180", {},
              {"/bin/bash", "-o", "pipefail", "-c", "\"$@\" | (sleep 1; wc -c >&2)", "bash"});
    EXPECT_EQ(run->Wait(), 0);
    EXPECT_THAT(run->Errors(), EndsWith("\n184320\n"));
}

TEST_F(FrameTest, WhatCannotWorkIsRefusedBeforeAnythingStarts)
{
    const std::string file = m_scratch.Write("file", "kept");
    const struct {
        std::vector<std::string> arguments;
        std::string line;
        std::string fault = {};
    } cases[] = {
        {{"--verbose"}, "--out is required"},
        {{"--out", ""}, "ffdc-collect: cannot create the directory"},
        {{"--out", file}, "file is no directory\n"},
        {{"--out", file + "/x"},
         TestedProgram::IsForWindows() ? "file/x: " : "file/x: Not a directory\n"},
        {{"--out", "/proc/self"}, "cannot write into "},
        {{"--out", m_out, "--usb-lan", "sideways"}, "--usb-lan"},
        {{"--out", m_out, "--log", file + "/log"},
         "ffdc-collect: cannot write the log file " + file + "/log\n"},
        {{"--out", m_out}, "ffdc-collect: no way to it\n", "no way to it"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        std::vector<std::string> arguments = c.arguments;
        arguments.insert(arguments.begin(), "service-processor");
        TestedProgram run(kProgram, arguments,
                          {{"COLLECTOR_FAULT", c.fault}, {"COLLECTOR_SCRIPT", "print:begun"}},
                          m_scratch.Path());
        EXPECT_EQ(run.Wait(), 2);
        EXPECT_EQ(run.Output(), "");
        EXPECT_THAT(run.Errors(), HasSubstr(c.line));
    }
    EXPECT_EQ(ContentsOf(file), "kept");
}

TEST_F(FrameTest, ValuesReachTheOtherProcessUnchanged)
{
    // Windows has no quotes and line ends in names, but letters of its own encoding, and a
    // backslash at the end.
    const std::string out =
        m_scratch / (TestedProgram::IsForWindows() ? "-a = [b\xc3\xa9]\\" : "-a = \"b\"\n[c]");
    TestedProgram run(
        kProgram, {"service-processor", "--verbose", "--log=" + m_scratch / "-log", "--out=" + out},
        {{"COLLECTOR_SCRIPT", "deliver:a"}}, m_scratch.Path());
    EXPECT_EQ(run.Wait(), 0) << run.Errors();
    const std::string folder = out.back() == '\\' ? out.substr(0, out.size() - 1) : out;
    EXPECT_EQ(ContentsOf(folder + "/a"), "contents of a");
    EXPECT_THAT(run.Errors(),
                HasSubstr("\"a\": done, 13 of 13 bytes, 1 try, 0 ms, SHA-256 00ff\n"));
}

TEST_F(FrameTest, LinksAreUpForTheCollectionAndThenAsAskedHoweverItEnds)
{
    const struct {
        std::string asked;
        std::string script;
        std::string output;
        int exitCode = 0;
        std::string fault = {};
    } cases[] = {
        {"restore", "print:Running\n;deliver:a", "up 1\nRunning\ndown 1\nunloaded"},
        {"enable", "print:Running\n;deliver:a", "up 1\nRunning\nunloaded"},
        {"disable", "print:Running\n;deliver:a", "up 1\nRunning\ndown 0\ndown 1\nunloaded"},
        {"restore", "print:Running\n;crash", "up 1\nRunning\ndown 1\nunloaded", 1},
        {"restore", "print:Running\n", "up 1\ndown 1\nunloaded", 2, "no device"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.asked + " " + c.output);
        const auto run = StartWithLinks(c.asked, c.script, "whole", c.fault);
        EXPECT_EQ(run->Wait(), c.exitCode);
        EXPECT_THAT(run->Output(), StartsWith(c.output));
        EXPECT_THAT(run->Errors(), HasSubstr("LAN over USB, node 1: was disabled, now enabled\n"));
    }
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
