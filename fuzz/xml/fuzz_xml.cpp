// Entry of the fuzzer, and of the test that reads the corpus once. The first four bytes say how the
// handlers misbehave ("0000": not at all), the rest is the document. Besides staying inside its
// buffer, the reader must do exactly what the model does.

#include "fuzz/xml/Comparison.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kScriptSize = 4;
    if (size < kScriptSize)
        return 0;
    std::uint32_t script = 0;
    for (std::size_t i = 0; i < kScriptSize; ++i)
        script = script << 8 | (data[i] - '0');
    const std::string document(data + kScriptSize, data + size);
    const std::string difference = DifferenceFromModel(document, script);
    if (!difference.empty()) {
        std::fprintf(stderr, "%s\n", difference.c_str());
        std::abort();
    }
    return 0;
}
