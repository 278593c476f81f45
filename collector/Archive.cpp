#include "collector/Archive.h"

#include "collector/ArchiveReader.h"
#include "collector/Ledger.h"
#include "collector/Paths.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <vector>

namespace fs = std::filesystem;

namespace {

// True when the member holds what the file holds.
bool IsEqual(const ArchiveReader& archive, std::uint64_t member, const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<char> loose;
    const bool isStart = file && archive.Read(member, [&](const char* packed, std::size_t count) {
        loose.resize(count);
        file.read(loose.data(), static_cast<std::streamsize>(count));
        return file.gcount() == static_cast<std::streamsize>(count) &&
               std::equal(loose.begin(), loose.end(), packed);
    });
    return isStart && file.peek() == std::ifstream::traits_type::eof();
}

} // namespace

std::string MakeKeepDirectory(const std::string& parent)
{
    const fs::path directory =
        PathOf(parent) / ("arrived-" + std::to_string(std::random_device()()));
    std::error_code error;
    return fs::create_directory(directory, error) ? TextOf(directory) : std::string();
}

void KeepArrived(const std::string& path, const std::string& keepDirectory)
{
    const fs::path arrived = PathOf(path);
    const fs::path kept = PathOf(keepDirectory) / arrived.filename();
    std::error_code error;
    fs::remove(kept, error);
    fs::create_hard_link(arrived, kept, error);
    if (error)
        fs::copy_file(arrived, kept, error);
}

std::string FindArchiveFault(const std::string& archive, const std::string& keepDirectory)
{
    const ArchiveReader opened(archive);
    if (!opened)
        return "it cannot be read";
    std::uint64_t count = 0;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(PathOf(keepDirectory), error)) {
        const std::string name = TextOf(entry.path().filename());
        const std::optional<std::uint64_t> member = opened.Find(name);
        if (!member)
            return Quoted(name) + " is not in it";
        if (!IsEqual(opened, *member, entry.path()))
            return Quoted(name) + " in it differs from what arrived";
        ++count;
    }
    if (error || count != opened.Count())
        return "it holds more than what arrived";
    return std::string();
}
