#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

// A zip archive that is only read.
class ArchiveReader {
public:
    // Takes a piece of a member; false ends the reading.
    using Take = std::function<bool(const char* bytes, std::size_t count)>;

    explicit ArchiveReader(const std::string& path);
    ~ArchiveReader();
    ArchiveReader(const ArchiveReader&) = delete;
    ArchiveReader& operator=(const ArchiveReader&) = delete;

    // False when it is not there or no archive. On Windows one of 4 GiB and more is none.
    explicit operator bool() const { return m_state != nullptr; }
    std::uint64_t Count() const;
    // The number of the first member of that name, compared byte for byte.
    std::optional<std::uint64_t> Find(const std::string& name) const;
    // Unpacks a member. False when it is damaged, which its sum tells, or when take ends it.
    bool Read(std::uint64_t member, const Take& take) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};
