#pragma once

#include <cstddef>
#include <vector>

// What a parser found; all must find the same elements and attributes.
struct Counts {
    std::size_t elements = 0;
    std::size_t attributes = 0;
    std::size_t textBytes = 0;
    std::size_t faults = 0;
};

struct Parser {
    const char* name;
    // Reads a NUL-terminated text, which it may change.
    Counts (*read)(char* text, std::size_t size);
};

// Ours comes first.
const std::vector<Parser>& Parsers();
