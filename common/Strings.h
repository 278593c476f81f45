#pragma once

#include "UtilsExport.h"

#include <cstdint>
#include <string>
#include <vector>

// Helpers for 8-bit text and for paths. Only ASCII has letters, digits and blanks here, whatever
// the locale. Nothing is logged; what throws says so.

// Strips spaces, tabs, line feeds and carriage returns, and nothing else, from both ends of text.
// Returns a copy of what is left.
UTILS_API std::string TrimString(std::string& text);

// Lowers "A" to "Z" in place and returns a copy.
UTILS_API std::string ToLower(std::string& text);
// A copy with "A" to "Z" lowered; the argument is left alone.
UTILS_API std::string ToLower(const std::string& text);

// True when text holds digits only, and for the empty text.
UTILS_API bool isNum(const std::string& text);

// Replaces every byte that is not printable ASCII by a space.
UTILS_API void CheckString(std::string& text);

// Splits text at every occurrence of the whole delimiter; one that is empty occurs at every byte.
// Each search goes on one byte after the beginning of the occurrence before, so a token keeps what
// is left of a longer delimiter at its front. There is always at least one token.
UTILS_API std::vector<std::string> ParseString(const std::string& text,
                                               const std::string& delimiter);

// path with the path separator at its end. Throws std::out_of_range for the empty path.
UTILS_API std::string AppendSeperator(const std::string& path);

// From the last dot to the end, the dot included; empty without a dot. The dot may stand in a
// directory's name.
UTILS_API std::string GetFileExtFromFilename(const std::string& fileName);

// Deliberate: the rest answers the same for every argument; callers of old link with it.
UTILS_API bool IsOEM();                                                      // false
UTILS_API std::uint64_t GetDirSize(const std::string& directory);            // 0
UTILS_API std::string FindLatestFile(const char* first, const char* second); // empty
UTILS_API bool FindHtmlOutput(std::string& name);                            // false
UTILS_API bool FindTextOutput(std::string& name);                            // false
UTILS_API bool FindXmlOutput(std::string& name);                             // false
