#include "tests/support/TestedProgram.h"

#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> Words(const std::string& name, const std::vector<std::string>& arguments,
                               std::vector<std::string> words)
{
    const std::string path = (fs::current_path() / name).string();
    if (TestedProgram::IsForWindows())
        words.insert(words.end(), {std::getenv("UTILS_EMULATOR"), path + ".exe"});
    else
        words.push_back(path);
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

} // namespace

bool TestedProgram::IsForWindows()
{
    return std::getenv("UTILS_EMULATOR") != nullptr;
}

std::pair<std::string, std::string> TestedProgram::LibrariesFrom(const std::string& folder)
{
    if (!IsForWindows())
        return {"LD_LIBRARY_PATH", folder};
    const char* const others = std::getenv("WINEPATH");
    return {"WINEPATH", folder + ";" + (others != nullptr ? others : "")};
}

TestedProgram::TestedProgram(const std::string& name, const std::vector<std::string>& arguments,
                             const std::map<std::string, std::string>& changes,
                             const std::string& scratch, std::vector<std::string> before)
    : Program(Words(name, arguments, std::move(before)), changes, scratch)
{}

std::string TestedProgram::Portable(std::string text) const
{
    if (!IsForWindows())
        return text;
    for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;)
        text.erase(at, 1);
    std::string directory = Scratch();
    std::replace(directory.begin(), directory.end(), '/', '\\');
    for (std::size_t at = 0; (at = text.find(directory, at)) != std::string::npos;) {
        const std::size_t end = std::min(text.find_first_of(" \":,\n", at), text.size());
        std::replace(text.begin() + static_cast<std::ptrdiff_t>(at),
                     text.begin() + static_cast<std::ptrdiff_t>(end), '\\', '/');
    }
    return text;
}

std::vector<std::string> CommandLinesWith(const std::string& text)
{
    std::vector<std::string> found;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
        const std::string line = ContentsOf((entry.path() / "cmdline").string());
        if (line.find(text) != std::string::npos)
            found.push_back(line);
    }
    return found;
}
