#include "collector/ArchiveReader.h"

#include <zip.h>

#include <vector>

namespace {

constexpr std::size_t kBlock = 65536;

struct ArchiveCloser {
    void operator()(zip_t* archive) const { ::zip_discard(archive); }
};
struct MemberCloser {
    void operator()(zip_file_t* member) const { ::zip_fclose(member); }
};

} // namespace

struct ArchiveReader::State {
    std::unique_ptr<zip_t, ArchiveCloser> archive;
};

ArchiveReader::ArchiveReader(const std::string& path)
{
    if (zip_t* const archive = ::zip_open(path.c_str(), ZIP_RDONLY, nullptr)) {
        m_state = std::make_unique<State>();
        m_state->archive.reset(archive);
    }
}

ArchiveReader::~ArchiveReader() = default;

std::uint64_t ArchiveReader::Count() const
{
    return static_cast<std::uint64_t>(::zip_get_num_entries(m_state->archive.get(), 0));
}

std::optional<std::uint64_t> ArchiveReader::Find(const std::string& name) const
{
    const zip_int64_t index =
        ::zip_name_locate(m_state->archive.get(), name.c_str(), ZIP_FL_ENC_RAW);
    if (index < 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(index);
}

bool ArchiveReader::Read(std::uint64_t member, const Take& take) const
{
    const std::unique_ptr<zip_file_t, MemberCloser> opened(
        ::zip_fopen_index(m_state->archive.get(), member, 0));
    if (!opened)
        return false;
    std::vector<char> block(kBlock);
    for (;;) {
        // The library checks the sum at the end.
        const zip_int64_t count = ::zip_fread(opened.get(), block.data(), block.size());
        if (count <= 0)
            return count == 0;
        if (!take(block.data(), static_cast<std::size_t>(count)))
            return false;
    }
}
