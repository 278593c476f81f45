#include "collector/Paths.h"

#include <windows.h>

std::filesystem::path PathOf(const std::string& text)
{
    const int length = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        ::MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), length)));
    return wide;
}

std::string TextOf(const std::filesystem::path& path)
{
    const std::wstring wide = path.wstring();
    const int length = static_cast<int>(wide.size());
    const int count =
        ::WideCharToMultiByte(CP_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(count), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, wide.data(), length, text.data(), count, nullptr, nullptr);
    return text;
}
