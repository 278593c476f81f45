#include "backends/vxacore/PartFile.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace NORXVXA20 {

namespace {

constexpr std::size_t kBufferSize = std::size_t{64} * 1024;

} // namespace

PartFile::PartFile(std::string finalPath, std::string partPath)
    : m_finalPath(std::move(finalPath)), m_partPath(std::move(partPath))
{}

bool PartFile::Begin()
{
    m_file.reset();
    m_hash = FileDigest();
    m_size = 0;
    std::remove(m_partPath.c_str());
    m_file.reset(CreateNewFile(m_partPath));
    if (!m_file)
        return Fail("cannot be created here");
    // Given no memory, glibc keeps its own of 4 KiB, whatever size is asked for.
    m_buffer.resize(kBufferSize);
    std::setvbuf(m_file.get(), m_buffer.data(), _IOFBF, m_buffer.size());
    return true;
}

bool PartFile::Append(const char* bytes, std::size_t count)
{
    if (std::fwrite(bytes, 1, count, m_file.get()) != count)
        return Fail("cannot be written here");
    m_hash.Add(bytes, count);
    m_size += static_cast<std::int64_t>(count);
    return true;
}

bool PartFile::Finish()
{
    // The last bytes reach the disk's checks only now; a full disk shows here at the latest.
    if (std::fclose(m_file.release()) != 0)
        return Fail("cannot be written here");
    if (!RenameOver(m_partPath, m_finalPath))
        return Fail("cannot get its name here");
    m_digest = m_hash.Finish();
    return true;
}

void PartFile::Abandon(bool keep)
{
    m_file.reset();
    if (!keep || m_size == 0)
        std::remove(m_partPath.c_str());
}

bool PartFile::Fail(const char* what)
{
    const int error = errno;
    m_error = std::string(what) + ": " + std::strerror(error);
    return false;
}

} // namespace NORXVXA20
