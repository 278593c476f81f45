#include "collector/Archive.h"

#include "collector/Ledger.h"

#include <zip.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBlock = 65536;

struct ArchiveCloser {
    void operator()(zip_t* archive) const { ::zip_discard(archive); }
};
struct MemberCloser {
    void operator()(zip_file_t* member) const { ::zip_fclose(member); }
};
using Archive = std::unique_ptr<zip_t, ArchiveCloser>;
using Member = std::unique_ptr<zip_file_t, MemberCloser>;

// True when the member holds what the file holds; libzip checks the sum as it reads.
bool IsEqual(zip_t* archive, zip_uint64_t index, const fs::path& path)
{
    const Member member(::zip_fopen_index(archive, index, 0));
    std::ifstream file(path, std::ios::binary);
    if (!member || !file)
        return false;
    std::array<char, kBlock> packed;
    std::array<char, kBlock> loose;
    for (;;) {
        const zip_int64_t count = ::zip_fread(member.get(), packed.data(), packed.size());
        if (count < 0)
            return false;
        if (count == 0)
            return file.peek() == std::ifstream::traits_type::eof();
        file.read(loose.data(), count);
        if (file.gcount() != count ||
            !std::equal(loose.data(), loose.data() + count, packed.data()))
            return false;
    }
}

} // namespace

std::string MakeKeepDirectory(const std::string& parent)
{
    const fs::path directory =
        fs::path(parent) / ("arrived-" + std::to_string(std::random_device()()));
    std::error_code error;
    return fs::create_directory(directory, error) ? directory.string() : std::string();
}

void KeepArrived(const std::string& path, const std::string& keepDirectory)
{
    const fs::path kept = fs::path(keepDirectory) / fs::path(path).filename();
    std::error_code error;
    fs::remove(kept, error);
    fs::create_hard_link(path, kept, error);
    if (error)
        fs::copy_file(path, kept, error);
}

std::string FindArchiveFault(const std::string& archive, const std::string& keepDirectory)
{
    const Archive opened(::zip_open(archive.c_str(), ZIP_RDONLY, nullptr));
    if (!opened)
        return "it cannot be read";
    zip_int64_t count = 0;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(keepDirectory, error)) {
        const std::string name = entry.path().filename().string();
        const zip_int64_t index = ::zip_name_locate(opened.get(), name.c_str(), ZIP_FL_ENC_RAW);
        if (index < 0)
            return Quoted(name) + " is not in it";
        if (!IsEqual(opened.get(), static_cast<zip_uint64_t>(index), entry.path()))
            return Quoted(name) + " in it differs from what arrived";
        ++count;
    }
    if (error || count != ::zip_get_num_entries(opened.get(), 0))
        return "it holds more than what arrived";
    return std::string();
}
