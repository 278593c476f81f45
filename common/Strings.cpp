#include "common/Strings.h"

#include "common/Trim.h"
#include "osdep/VXAOSDep.h"

#include <algorithm>

using NORXVXA20::VXAOSDep;

namespace {

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

char Lowered(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool IsPrintable(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 32 && byte <= 126;
}

} // namespace

std::string TrimString(std::string& text)
{
    return text = Trimmed(text);
}

std::string ToLower(std::string& text)
{
    std::transform(text.begin(), text.end(), text.begin(), Lowered);
    return text;
}

std::string ToLower(const std::string& text)
{
    std::string copy = text;
    return ToLower(copy);
}

bool isNum(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), IsDigit);
}

void CheckString(std::string& text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return !IsPrintable(c); }, ' ');
}

std::vector<std::string> ParseString(const std::string& text, const std::string& delimiter)
{
    // The last token is closed by a delimiter like all others.
    const std::string closed = text + delimiter;
    std::vector<std::string> tokens;
    std::size_t start = 0;
    for (std::size_t found = closed.find(delimiter); found != std::string::npos;
         found = closed.find(delimiter, start)) {
        tokens.push_back(closed.substr(start, found - start));
        // Deliberate: one byte on, not a delimiter's length.
        start = found + 1;
    }
    return tokens;
}

std::string AppendSeperator(const std::string& path)
{
    // Deliberate: an empty path has no last byte, and substr throws.
    if (path.substr(path.size() - 1) == VXAOSDep::gFileSeparator)
        return path;
    return path + VXAOSDep::gFileSeparator;
}

std::string GetFileExtFromFilename(const std::string& fileName)
{
    const std::size_t dot = fileName.rfind('.');
    return dot != std::string::npos ? fileName.substr(dot) : std::string();
}

bool IsOEM()
{
    return false;
}

std::uint64_t GetDirSize(const std::string&)
{
    return 0;
}

std::string FindLatestFile(const char*, const char*)
{
    return std::string();
}

bool FindHtmlOutput(std::string&)
{
    return false;
}

bool FindTextOutput(std::string&)
{
    return false;
}

bool FindXmlOutput(std::string&)
{
    return false;
}
