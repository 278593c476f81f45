// usage: spawn_bench [ROUNDS A TURN]
// Measures programs whose output is captured: what starting one costs, whatever the caller's heap,
// and how fast much output is read. Prints each figure with its limit; the exit status is 1 when
// one is missed.
#include "osdep/VXAOSDep.h"

#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <vector>

extern char** environ;

using NORXVXA20::VXAOSDep;

namespace {

constexpr char kNothing[] = "/bin/true";
constexpr char kMuchOutput[] = "/usr/bin/head";
constexpr char kMuchOutputArguments[] = "-c 100000000 /dev/zero";
constexpr std::size_t kMuch = 100000000;
constexpr std::size_t kMebibyte = 1 << 20;
constexpr int kTurns = 5;

using Microseconds = std::chrono::duration<double, std::micro>;

double Time(void (*run)())
{
    const auto start = std::chrono::steady_clock::now();
    run();
    return Microseconds(std::chrono::steady_clock::now() - start).count();
}

// The times of two ways to do the same, which take turns, so that a change of the machine's load
// meets both.
class Contest {
public:
    Contest(void (*bare)(), void (*ours)()) : m_ways{bare, ours} {}

    void Run(int rounds)
    {
        for (int i = 0; i < 2 * rounds; ++i)
            m_times[i % 2].push_back(Time(m_ways[i % 2]));
    }
    double Bare() { return Quick(m_times[0]); }
    double Ours() { return Quick(m_times[1]); }

private:
    // What one round in ten stays below: what other programs take from the machine only ever adds.
    static double Quick(std::vector<double>& times)
    {
        std::sort(times.begin(), times.end());
        return times[times.size() / 10];
    }

    void (*m_ways[2])();
    std::vector<double> m_times[2];
};

void SpawnBare()
{
    char name[] = "/bin/true";
    char* arguments[] = {name, nullptr};
    pid_t child = 0;
    if (::posix_spawn(&child, kNothing, nullptr, nullptr, arguments, environ) != 0)
        throw std::runtime_error("posix_spawn failed");
    ::waitpid(child, nullptr, 0);
}

void SpawnCaptured()
{
    VXAOSDep::SpawnProcess(kNothing, {});
}

void Expect(std::size_t size)
{
    if (size != kMuch)
        throw std::runtime_error("output is missing");
}

void ReadBare()
{
    const std::string command = std::string(kMuchOutput) + " " + kMuchOutputArguments;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr)
        throw std::runtime_error("popen failed");
    std::string output;
    char buffer[4096];
    for (std::size_t count = 0; (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        output.append(buffer, count);
    ::pclose(pipe);
    Expect(output.size());
}

void ReadCaptured()
{
    Expect(VXAOSDep::SpawnProcess(kMuchOutput, {kMuchOutputArguments}).size());
}

// Prints a figure and its limit; false when it is missed.
bool Report(const char* what, double figure, bool good, const char* limit)
{
    std::printf("%-52s %6.3f   %-8s %s\n", what, figure, limit, good ? "good" : "MISSED");
    return good;
}

bool Run(int rounds)
{
    Contest smallHeap(SpawnBare, SpawnCaptured);
    Contest largeHeap(SpawnBare, SpawnCaptured);
    Contest muchOutput(ReadBare, ReadCaptured);
    for (int turn = 0; turn < kTurns; ++turn) {
        std::vector<char> heap(16 * kMebibyte, 1);
        smallHeap.Run(rounds);
        heap.assign(1024 * kMebibyte, 1);
        largeHeap.Run(rounds);
        heap = std::vector<char>();
        muchOutput.Run(std::max(rounds / 20, 2));
    }
    const double small = smallHeap.Ours(), bareSmall = smallHeap.Bare();
    const double large = largeHeap.Ours(), bareLarge = largeHeap.Bare();
    const double read = muchOutput.Ours(), bareRead = muchOutput.Bare();
    std::printf("a start with %4d MiB of heap: %7.1f us, bare %7.1f us\n", 16, small, bareSmall);
    std::printf("a start with %4d MiB of heap: %7.1f us, bare %7.1f us\n", 1024, large, bareLarge);
    std::printf("100 MB of output:            %8.1f ms, popen and fread %.1f ms\n", read / 1000,
                bareRead / 1000);
    bool good = Report("start / bare start, small heap", small / bareSmall,
                       small <= 1.1 * bareSmall, "<= 1.1");
    good &= Report("start / bare start, large heap", large / bareLarge, large <= 1.1 * bareLarge,
                   "<= 1.1");
    good &= Report("start with large heap / start with small heap", large / small,
                   large <= 1.3 * small, "<= 1.3");
    good &= Report("rate of output / rate of popen and fread", bareRead / read,
                   read <= bareRead / 0.9, ">= 0.9");
    return good;
}

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 80;
    try {
        return Run(std::max(rounds, 10)) ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "spawn_bench: %s\n", failure.what());
        return 2;
    }
}
