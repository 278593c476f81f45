// The fuzzer's seeds, whole through the fuzzer's own entry, and in pieces put together at random.
#include "fuzz/xml/Comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr std::size_t kScriptSize = 4; // what stands before the document

std::vector<std::string> Seeds()
{
    std::vector<std::string> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(XML_CORPUS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    std::sort(seeds.begin(), seeds.end()); // the same in every run
    return seeds;
}

TEST(XmlCorpusTest, EverySeedIsReadWithoutFault)
{
    EXPECT_GE(Seeds().size(), 20u);
    for (const std::string& seed : Seeds()) {
        const std::vector<std::uint8_t> exact(seed.begin(), seed.end());
        EXPECT_EQ(LLVMFuzzerTestOneInput(exact.data(), exact.size()), 0) << seed;
    }
}

TEST(XmlCorpusTest, WhatPiecesOfSeedsMakeIsReadAsTheModelReadsIt)
{
    const std::vector<std::string> seeds = Seeds();
    std::mt19937 random(1);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    for (int i = 0; i < 20000; ++i) {
        // Half of them begin well, and go wrong sooner or later.
        std::string document = i % 2 != 0 ? seeds[below(seeds.size())].substr(kScriptSize) : "";
        document.resize(below(document.size() + 1));
        for (std::size_t count = below(8); count != 0; --count) {
            const std::string& seed = seeds[below(seeds.size())];
            const std::size_t start = kScriptSize + below(seed.size() - kScriptSize + 1);
            document += seed.substr(start, below(40));
        }
        const std::uint32_t script = below(3) == 0 ? static_cast<std::uint32_t>(random()) : 0;
        ASSERT_EQ(DifferenceFromModel(document, script), "")
            << "script " << script << ", document\n"
            << document;
    }
}

} // namespace
