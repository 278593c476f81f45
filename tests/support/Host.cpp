#include "tests/support/Host.h"

std::string ShellWord(const std::string& text)
{
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}
