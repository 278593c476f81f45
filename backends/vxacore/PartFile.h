#pragma once

#include "backends/vxacore/FileDigest.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace NORXVXA20 {

// A local file while it is being received: the bytes go to a file of its own beside it, and only
// the complete file gets the final name, in one step. Every function that returns false leaves the
// reason in Error().
class PartFile {
public:
    // partPath is where the bytes are collected.
    PartFile(std::string finalPath, std::string partPath);

    // Begins an empty part, in place of one that an earlier process may have left.
    bool Begin();
    bool Append(const char* bytes, std::size_t count);
    // Gives the complete file its final name, in place of a file that has it.
    bool Finish();
    // Gives up: the part is closed, and removed unless asked otherwise.
    void Abandon(bool keep);

    std::int64_t Size() const { return m_size; }
    const std::string& Error() const { return m_error; }
    // Of a finished file.
    const std::string& Digest() const { return m_digest; }

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    bool Fail(const char* what);

    std::string m_finalPath;
    std::string m_partPath;
    std::vector<char> m_buffer; // m_file's, so it goes after it
    std::unique_ptr<std::FILE, Closer> m_file;
    FileDigest m_hash;
    std::int64_t m_size = 0;
    std::string m_error;
    std::string m_digest;
};

// The platform's part of it. Both set errno when they fail.
// Creates a file that does not exist yet; null when that fails.
std::FILE* CreateNewFile(const std::string& path);
// Renames from to to, in place of a file of that name, in one step.
bool RenameOver(const std::string& from, const std::string& to);
// Whether the platform could take name for something else than a file of that name.
bool IsSpecialFileName(const std::string& name);

} // namespace NORXVXA20
