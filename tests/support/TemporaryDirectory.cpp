#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory()
{
    const std::string name = "utils-test-" + std::to_string(std::random_device()());
    m_path = (fs::temp_directory_path() / name).string();
    if (!fs::create_directory(m_path))
        throw std::runtime_error(m_path + " is there already");
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

std::string TemporaryDirectory::operator/(const std::string& name) const
{
    return (fs::path(m_path) / name).string();
}

std::string TemporaryDirectory::Write(const std::string& name, const std::string& contents) const
{
    const std::string path = *this / name;
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

std::string ContentsOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    // What cannot be read, as of a process that has ended meanwhile, is empty and no exception.
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}
