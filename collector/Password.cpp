#include "collector/Password.h"

#include "common/Wipe.h"
#include "osdep/VXAOSDep.h"

#include <unistd.h>

#include <fstream>
#include <iostream>

using NORXVXA20::VXAOSDep;

namespace {

constexpr int kCtrlC = 3;
constexpr int kCtrlD = 4;
constexpr int kBackspace = 8;
constexpr int kDelete = 127;
constexpr int kNoKey = -1;

// The keys up to the end of the line; nothing when the user gives up.
std::optional<std::string> ReadKeys()
{
    std::string typed;
    const ScopedWipe wipe(typed);
    for (;;) {
        const int key = VXAOSDep::GetCharWithNoEcho();
        if (key == '\r' || key == '\n')
            return typed;
        if (key == kCtrlC || key == kNoKey || (key == kCtrlD && typed.empty()))
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
    if (path == "-" && ::isatty(STDIN_FILENO) != 0)
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
    if (::isatty(STDIN_FILENO) == 0)
        return std::nullopt;
    std::cerr << prompt << std::flush;
    std::optional<std::string> password = ReadKeys();
    std::cerr << std::endl;
    return password;
}
