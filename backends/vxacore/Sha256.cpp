#include "backends/vxacore/Sha256.h"

#include <algorithm>
#include <cstring>

namespace NORXVXA20 {

namespace {

constexpr std::uint32_t kRoundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};

constexpr std::uint32_t RotateRight(std::uint32_t value, int count)
{
    return value >> count | value << (32 - count);
}

std::uint32_t ReadBigEndian(const unsigned char* bytes)
{
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
}

void Compress(std::array<std::uint32_t, 8>& state, const unsigned char* block)
{
    std::uint32_t words[64];
    for (std::size_t i = 0; i < 16; ++i)
        words[i] = ReadBigEndian(block + 4 * i);
    for (int i = 16; i < 64; ++i) {
        const std::uint32_t w15 = words[i - 15];
        const std::uint32_t w2 = words[i - 2];
        words[i] = words[i - 16] + words[i - 7] +
                   (RotateRight(w15, 7) ^ RotateRight(w15, 18) ^ w15 >> 3) +
                   (RotateRight(w2, 17) ^ RotateRight(w2, 19) ^ w2 >> 10);
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (int i = 0; i < 64; ++i) {
        const std::uint32_t t1 = h + (RotateRight(e, 6) ^ RotateRight(e, 11) ^ RotateRight(e, 25)) +
                                 ((e & f) ^ (~e & g)) + kRoundConstants[i] + words[i];
        const std::uint32_t t2 = (RotateRight(a, 2) ^ RotateRight(a, 13) ^ RotateRight(a, 22)) +
                                 ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    const std::uint32_t sums[] = {a, b, c, d, e, f, g, h};
    for (int i = 0; i < 8; ++i)
        state[i] += sums[i];
}

} // namespace

void Sha256::Add(const void* bytes, std::size_t count)
{
    const unsigned char* next = static_cast<const unsigned char*>(bytes);
    m_total += count;
    if (m_restSize > 0) {
        const std::size_t taken = std::min(count, cs_blockSize - m_restSize);
        std::memcpy(m_rest.data() + m_restSize, next, taken);
        m_restSize += taken;
        next += taken;
        count -= taken;
        if (m_restSize < cs_blockSize)
            return;
        Compress(m_state, m_rest.data());
        m_restSize = 0;
    }
    for (; count >= cs_blockSize; next += cs_blockSize, count -= cs_blockSize)
        Compress(m_state, next);
    if (count > 0)
        std::memcpy(m_rest.data(), next, count);
    m_restSize = count;
}

std::string Sha256::Finish()
{
    const std::uint64_t bits = m_total * 8;
    // A one bit, zeros up to 8 bytes before a block's end, the length in bits.
    unsigned char padding[2 * cs_blockSize] = {0x80};
    const std::size_t zeroEnd = m_restSize < 56 ? 56 - m_restSize : 120 - m_restSize;
    for (std::size_t i = 0; i < 8; ++i)
        padding[zeroEnd + i] = static_cast<unsigned char>(bits >> (56 - 8 * i));
    Add(padding, zeroEnd + 8);

    unsigned char digest[32];
    for (std::size_t i = 0; i < sizeof digest; ++i)
        digest[i] = static_cast<unsigned char>(m_state[i / 4] >> (24 - i % 4 * 8));
    return Hexadecimal(digest, sizeof digest);
}

std::string Hexadecimal(const unsigned char* bytes, std::size_t count)
{
    const char* const digits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0xf];
    }
    return text;
}

} // namespace NORXVXA20
