// Measures the reader side by side with its peers: xml_bench [document...] prints MB/s of each
// parser and how many times faster ours is; xml_bench --once document reads it once, for callgrind.

#include "bench/xml/Documents.h"
#include "bench/xml/Parsers.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>

namespace {

constexpr int kRounds = 7;
constexpr std::size_t kBytesPerRound = 10000000; // a smaller document is read several times

// Seconds to read the text; making the copy does not count. Of several times the shortest: what
// other programs take from the machine only ever adds.
double TimeOf(const Parser& parser, const std::string& text, std::vector<char>& copy,
              Counts& counts)
{
    double shortest = std::numeric_limits<double>::max();
    const std::size_t repeats = std::max<std::size_t>(1, kBytesPerRound / text.size());
    for (std::size_t i = 0; i < repeats; ++i) {
        std::memcpy(copy.data(), text.c_str(), text.size() + 1);
        const auto start = std::chrono::steady_clock::now();
        counts = parser.read(copy.data(), text.size());
        const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
        shortest = std::min(shortest, spent.count());
    }
    return shortest;
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
    return values[kRounds / 2];
}

// False if a parser reported a fault or found something else than ours.
bool Agree(const std::string& document, const std::vector<Counts>& counts)
{
    bool agree = true;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const Counts& found = counts[i];
        if (found.faults == 0 && found.elements == counts[0].elements &&
            found.attributes == counts[0].attributes)
            continue;
        std::printf("%s: %s found %zu elements, %zu attributes, %zu faults; ours %zu and %zu\n",
                    document.c_str(), Parsers()[i].name, found.elements, found.attributes,
                    found.faults, counts[0].elements, counts[0].attributes);
        agree = false;
    }
    return agree;
}

struct Measurement {
    std::vector<double> times; // a parser's median, in seconds
    std::vector<Counts> counts;
};

Measurement Measure(const std::string& text)
{
    const std::vector<Parser>& parsers = Parsers();
    Measurement result{std::vector<double>(parsers.size()), std::vector<Counts>(parsers.size())};
    std::vector<std::vector<double>> rounds(parsers.size(), std::vector<double>(kRounds));
    std::vector<char> copy(text.size() + 1);
    // The parsers take turns, so that a disturbance of the machine meets all of them.
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t i = 0; i < parsers.size(); ++i)
            rounds[i][round] = TimeOf(parsers[i], text, copy, result.counts[i]);
    }
    std::transform(rounds.begin(), rounds.end(), result.times.begin(), Median);
    return result;
}

// One line of the table. Adds our MB/s to rates; false if the parsers disagree.
bool Report(const std::string& name, std::map<std::string, double>& rates)
{
    const std::string text = MakeDocument(name);
    if (text.empty()) {
        std::printf("%-18s not installed\n", name.c_str());
        return true;
    }
    const Measurement measured = Measure(text);
    const double megabytes = static_cast<double>(text.size()) / 1e6;
    rates[name] = megabytes / measured.times[0];
    std::printf("%-18s %9.0f", name.c_str(), rates[name]);
    for (std::size_t i = 1; i < measured.times.size(); ++i)
        std::printf("  %6.0f %6.2fx", megabytes / measured.times[i],
                    measured.times[i] / measured.times[0]);
    std::printf("\n");
    return Agree(name, measured.counts);
}

int ReadOnce(const std::string& name)
{
    std::string text = MakeDocument(name);
    const Counts counts = Parsers()[0].read(text.data(), text.size());
    std::printf("%zu bytes\n", text.size());
    return counts.faults == 0 && counts.elements != 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> names(argv + 1, argv + argc);
    if (names.size() == 2 && names[0] == "--once")
        return ReadOnce(names[1]);
    if (names.empty())
        names = DocumentNames();
    std::printf("MB/s; x: how many times faster ours is (median of %d)\n%-18s %9s", kRounds, "",
                Parsers()[0].name);
    for (std::size_t i = 1; i < Parsers().size(); ++i)
        std::printf("  %14s", Parsers()[i].name);
    std::printf("\n");
    bool agree = true;
    std::map<std::string, double> rates;
    for (const std::string& name : names)
        agree = Report(name, rates) && agree;
    if (rates.count("cim-10") != 0 && rates.count("cim-100") != 0)
        std::printf("the rate at 100 MB is %.2f of the rate at 10 MB\n",
                    rates["cim-100"] / rates["cim-10"]);
    return agree ? 0 : 1;
}
