#include "collector/ArchiveReader.h"

#include <zlib.h>

#include <algorithm>
#include <fstream>
#include <vector>

// No library for zip archives is at hand here, only zlib for what is in them.
namespace {

constexpr std::size_t kBlock = 65536;
constexpr std::size_t kLongestComment = 65535;

// The three records that are read: their signatures, and their sizes without what follows them.
constexpr std::uint32_t kLocalSignature = 0x04034b50;
constexpr std::size_t kLocalSize = 30;
constexpr std::uint32_t kEntrySignature = 0x02014b50;
constexpr std::size_t kEntrySize = 46;
constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::size_t kEndSize = 22;

constexpr unsigned kStored = 0;
constexpr unsigned kDeflated = 8;

struct Entry {
    std::string name;
    unsigned method = 0;
    std::uint32_t sum = 0;
    std::uint32_t packedSize = 0;
    std::uint32_t size = 0;
    std::uint32_t offset = 0;
};

std::uint32_t Number(const std::string& bytes, std::size_t offset, std::size_t count)
{
    std::uint32_t number = 0;
    for (std::size_t i = count; i > 0; --i)
        number = number << 8 | static_cast<unsigned char>(bytes[offset + i - 1]);
    return number;
}

// So many bytes from there; empty when the file does not hold them.
std::string Bytes(std::ifstream& file, std::uint64_t offset, std::size_t count)
{
    std::string bytes(count, '\0');
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    return file ? bytes : std::string();
}

// Reads the list of members; false when there is none, or one of an archive too large.
bool ReadEntries(std::ifstream& file, std::vector<Entry>& entries)
{
    file.seekg(0, std::ios::end);
    const auto size = static_cast<std::uint64_t>(std::max<std::streamoff>(file.tellg(), 0));
    if (size < kEndSize || size > UINT32_MAX)
        return false;
    const auto tailSize =
        static_cast<std::size_t>(std::min<std::uint64_t>(size, kEndSize + kLongestComment));
    const std::string tail = Bytes(file, size - tailSize, tailSize);
    const std::size_t end = tail.rfind("PK\x05\x06", tail.size() - kEndSize);
    if (end == std::string::npos || Number(tail, end, 4) != kEndSignature)
        return false;
    const std::uint32_t count = Number(tail, end + 10, 2);
    const std::string list = Bytes(file, Number(tail, end + 16, 4), Number(tail, end + 12, 4));
    std::size_t at = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (list.size() - at < kEntrySize || Number(list, at, 4) != kEntrySignature)
            return false;
        const std::size_t nameSize = Number(list, at + 28, 2);
        Entry entry;
        entry.method = Number(list, at + 10, 2);
        entry.sum = Number(list, at + 16, 4);
        entry.packedSize = Number(list, at + 20, 4);
        entry.size = Number(list, at + 24, 4);
        entry.offset = Number(list, at + 42, 4);
        entry.name = list.substr(at + kEntrySize, nameSize);
        entries.push_back(entry);
        at += kEntrySize + nameSize + Number(list, at + 30, 2) + Number(list, at + 32, 2);
        at = std::min(at, list.size());
    }
    return true;
}

// Hands unpacked bytes on and keeps their sum.
class Receiver {
public:
    explicit Receiver(const ArchiveReader::Take& take) : m_take(take) {}

    bool Receive(const char* bytes, std::size_t count)
    {
        m_size += count;
        m_sum = ::crc32(m_sum, reinterpret_cast<const Bytef*>(bytes), static_cast<uInt>(count));
        return count == 0 || m_take(bytes, count);
    }
    bool Matches(const Entry& entry) const { return m_sum == entry.sum && m_size == entry.size; }

private:
    const ArchiveReader::Take& m_take;
    uLong m_sum = ::crc32(0, nullptr, 0);
    std::uint64_t m_size = 0;
};

class Inflater {
public:
    Inflater() { m_good = ::inflateInit2(&m_stream, -MAX_WBITS) == Z_OK; }
    ~Inflater() { ::inflateEnd(&m_stream); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    bool Unpack(std::string& packed, Receiver& receiver)
    {
        m_stream.next_in = reinterpret_cast<Bytef*>(packed.data());
        m_stream.avail_in = static_cast<uInt>(packed.size());
        std::vector<char> block(kBlock);
        while (m_good && !m_ended && m_stream.avail_in > 0) {
            m_stream.next_out = reinterpret_cast<Bytef*>(block.data());
            m_stream.avail_out = static_cast<uInt>(block.size());
            const int result = ::inflate(&m_stream, Z_NO_FLUSH);
            m_ended = result == Z_STREAM_END;
            m_good = (m_ended || result == Z_OK) &&
                     receiver.Receive(block.data(), block.size() - m_stream.avail_out);
        }
        return m_good;
    }

private:
    z_stream m_stream{};
    bool m_good = false;
    bool m_ended = false;
};

} // namespace

struct ArchiveReader::State {
    std::ifstream file;
    std::vector<Entry> entries;
};

ArchiveReader::ArchiveReader(const std::string& path)
{
    auto state = std::make_unique<State>();
    state->file.open(path, std::ios::binary);
    if (state->file && ReadEntries(state->file, state->entries))
        m_state = std::move(state);
}

ArchiveReader::~ArchiveReader() = default;

std::uint64_t ArchiveReader::Count() const
{
    return m_state->entries.size();
}

std::optional<std::uint64_t> ArchiveReader::Find(const std::string& name) const
{
    const auto found = std::find_if(m_state->entries.begin(), m_state->entries.end(),
                                    [&](const Entry& entry) { return entry.name == name; });
    if (found == m_state->entries.end())
        return std::nullopt;
    return static_cast<std::uint64_t>(found - m_state->entries.begin());
}

bool ArchiveReader::Read(std::uint64_t member, const Take& take) const
{
    const Entry& entry = m_state->entries[member];
    const std::string local = Bytes(m_state->file, entry.offset, kLocalSize);
    if (local.empty() || Number(local, 0, 4) != kLocalSignature ||
        (entry.method != kStored && entry.method != kDeflated))
        return false;
    std::uint64_t at =
        std::uint64_t{entry.offset} + kLocalSize + Number(local, 26, 2) + Number(local, 28, 2);
    Receiver receiver(take);
    Inflater inflater;
    for (std::size_t left = entry.packedSize; left > 0;) {
        std::string packed = Bytes(m_state->file, at, std::min(left, kBlock));
        const bool isTaken = entry.method == kStored
                                 ? receiver.Receive(packed.data(), packed.size())
                                 : inflater.Unpack(packed, receiver);
        if (packed.empty() || !isTaken)
            return false;
        at += packed.size();
        left -= packed.size();
    }
    return receiver.Matches(entry);
}
