#include "collector/Password.h"

#include "collector/Terminal.h"
#include "common/Wipe.h"

#include <fstream>
#include <iostream>

namespace {

constexpr int kCtrlC = 3;
constexpr int kBackspace = 8;
constexpr int kDelete = 127;
constexpr int kNoKey = -1;

// The keys up to the end of the line; nothing when the user gives up.
std::optional<std::string> ReadKeys()
{
    std::string typed;
    const ScopedWipe wipe(typed);
    HiddenKeys keys;
    for (;;) {
        const int key = keys.Next();
        if (key == '\r' || key == '\n')
            return typed;
        if (key == kCtrlC || key == kNoKey || (key == kEndOfInputKey && typed.empty()))
            return std::nullopt;
        if (key != kBackspace && key != kDelete)
            typed += static_cast<char>(key);
        else if (!typed.empty())
            typed.pop_back();
    }
}

} // namespace

std::optional<std::string> ReadPassword(const std::string& path)
{
    if (path == "-" && HasTerminal())
        return AskPassword("Password: ");
    std::ifstream file;
    if (path != "-")
        file.open(path);
    std::string line;
    if (!std::getline(path == "-" ? std::cin : file, line))
        return std::nullopt;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

std::optional<std::string> AskPassword(const std::string& prompt)
{
    if (!HasTerminal())
        return std::nullopt;
    std::cerr << prompt << std::flush;
    std::optional<std::string> password = ReadKeys();
    std::cerr << std::endl;
    return password;
}
