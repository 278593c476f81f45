#pragma once

#include "tests/fakes/FakeLoader.h"

#include <cstddef>
#include <string>
#include <vector>

// libcurl as its listing of an SFTP directory looks to a caller: hands out blocks of text.
struct FakeCurl {
    void Reset() { *this = FakeCurl(); }
    // The exports for gLoader, under their names.
    static FakeLoader::Exports Exports();

    int globalInitResult = 0;
    bool givesHandle = true;
    int failingOption = 0; // the option whose setting fails
    int performResult = 0;
    std::vector<std::string> blocks; // delivered by a transfer, each followed by a zero byte
    bool endsBlocks = true;          // false: other bytes follow each block instead

    std::vector<std::string> calls;
    std::string url;
    long dirListOnly = 0;
    std::vector<std::size_t> consumed; // what the callback returned, by block
};

inline FakeCurl gCurl;
