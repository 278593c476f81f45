#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory()
{
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const fs::path path =
            fs::temp_directory_path() / ("utils-test-" + std::to_string(random()));
        if (fs::create_directory(path)) {
            m_path = path.string();
            return;
        }
    }
    throw std::runtime_error("no temporary directory");
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
