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
    // Writes the call down; false for the one that is to fail.
    bool Takes(const std::string& call);

    std::string failing;             // the beginning of that call, or nothing
    std::vector<std::string> blocks; // delivered by a transfer, each followed by a zero byte
    bool endsBlocks = true;          // false: other bytes follow each block instead

    std::vector<std::string> calls;    // "name argument" without "curl_"
    std::vector<std::size_t> consumed; // what the callback returned, by block
};

inline FakeCurl gCurl;
