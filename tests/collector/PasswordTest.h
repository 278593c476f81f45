#pragma once

#include <string>

// Typing at the password prompt.

struct Answer {
    int exitCode = -1; // 0 the password was the expected one, 1 another, 2 none
    std::string shown; // everything that the terminal showed
};

// Types keys at the prompt and compares what ReadPassword got.
Answer Type(const std::string& keys, const std::string& expected);
