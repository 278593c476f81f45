#include "collector/Paths.h"

std::filesystem::path PathOf(const std::string& text)
{
    return text;
}

std::string TextOf(const std::filesystem::path& path)
{
    return path.string();
}
