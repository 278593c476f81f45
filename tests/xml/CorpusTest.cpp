// Reads the fuzzer's seeds once through the fuzzer's own entry, which ends the program on a fault.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

TEST(XmlCorpusTest, EverySeedIsReadWithoutFault)
{
    int seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(XML_CORPUS)) {
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> read{std::istreambuf_iterator<char>(file),
                                     std::istreambuf_iterator<char>()};
        std::vector<std::uint8_t> seed(read.begin(), read.end());
        seed.shrink_to_fit();
        EXPECT_EQ(LLVMFuzzerTestOneInput(seed.data(), seed.size()), 0);
        ++seeds;
    }
    EXPECT_GE(seeds, 20);
}
