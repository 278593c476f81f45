#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace NORXVXA20 {

// Bytes as lower-case hexadecimal digits.
std::string Hexadecimal(const unsigned char* bytes, std::size_t count);

// SHA-256 of a stream of bytes (FIPS 180-4), for where nothing faster is at hand; see FileDigest.
class Sha256 {
public:
    void Add(const void* bytes, std::size_t count);
    // The digest of everything added, in lower-case hexadecimal. Ends the stream.
    std::string Finish();

private:
    static constexpr std::size_t cs_blockSize = 64;

    std::array<std::uint32_t, 8> m_state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                            0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<unsigned char, cs_blockSize> m_rest{};
    std::size_t m_restSize = 0;
    std::uint64_t m_total = 0; // bytes
};

} // namespace NORXVXA20
