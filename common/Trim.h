#pragma once

#include <string>

// text without the spaces, tabs, line feeds and carriage returns at both ends. Inline, so that the
// backends share it.
inline std::string Trimmed(std::string text)
{
    constexpr char kBlanks[] = " \t\n\r";
    text.erase(text.find_last_not_of(kBlanks) + 1);
    text.erase(0, text.find_first_not_of(kBlanks));
    return text;
}
