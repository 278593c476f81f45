#pragma once

// Scanning helpers of the reader. All are inline and free of the reader's state, so that its inner
// loops run without calls through the library's symbol table.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace NORXVXA20::xmlscan {

constexpr char kLowerBit = 0x20; // sets a letter in lower case
constexpr std::ptrdiff_t kWordSize = 8;

enum ByteClass : unsigned char {
    kNameStart = 1,
    kNameByte = 2,
    kBlank = 4,
    kUpperCase = kLowerBit,
};

constexpr std::array<unsigned char, 256> MakeByteClasses()
{
    std::array<unsigned char, 256> classes{};
    for (unsigned int c = 'A'; c <= 'Z'; ++c) {
        classes[c] = kNameStart | kNameByte | kUpperCase;
        classes[c | 0x20] = kNameStart | kNameByte;
    }
    for (unsigned char c : {'_', ':'})
        classes[c] = kNameStart | kNameByte;
    for (unsigned char c : {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '.', '-'})
        classes[c] = kNameByte;
    for (unsigned char c : {' ', '\t', '\r', '\n'})
        classes[c] = kBlank;
    return classes;
}

// One table look-up per byte in place of a chain of comparisons.
inline constexpr std::array<unsigned char, 256> kByteClasses = MakeByteClasses();

inline unsigned char ClassOf(char c)
{
    return kByteClasses[static_cast<unsigned char>(c)];
}

inline bool Is(char c, ByteClass wanted)
{
    return (ClassOf(c) & wanted) != 0;
}

inline char Lower(char c)
{
    return static_cast<char>(c | (ClassOf(c) & kUpperCase));
}

inline char* SkipBlanks(char* p)
{
    while (Is(*p, kBlank))
        ++p;
    return p;
}

inline char* SkipNameBytes(char* p)
{
    while (Is(*p, kNameByte))
        ++p;
    return p;
}

// Names are short: two overlapping loads compare most of them without a call.
inline bool SameBytes(const char* a, const char* b, std::size_t length)
{
    const auto same = [&](auto word, std::size_t at) {
        auto other = word;
        std::memcpy(&word, a + at, sizeof word);
        std::memcpy(&other, b + at, sizeof other);
        return word == other;
    };
    if (length > 16)
        return std::memcmp(a, b, length) == 0;
    if (length >= 8)
        return same(std::uint64_t{}, 0) && same(std::uint64_t{}, length - 8);
    if (length >= 4)
        return same(std::uint32_t{}, 0) && same(std::uint32_t{}, length - 4);
    for (; length != 0; --length) {
        if (a[length - 1] != b[length - 1])
            return false;
    }
    return true;
}

// The byte after p, unless p is at the terminator: reading never moves past it.
inline char* Next(char* p)
{
    return *p == '\0' ? p : p + 1;
}

// Moves p past the next mark, or leaves it where it is.
inline bool MovePast(char*& p, const char* mark)
{
    char* const found = std::strstr(p, mark);
    if (found == nullptr)
        return false;
    p = found + std::strlen(mark);
    return true;
}

#if defined(__SSE2__)

// Texts and values are searched sixteen bytes at a time. A block may reach beyond the end of the
// text, but never into another page, and only its bytes up to the first hit count. The address
// sanitizer cannot know that, hence the exemption.
constexpr std::uintptr_t kBlockSize = 16;
constexpr std::uintptr_t kPageSize = 4096;

__attribute__((no_sanitize("address"))) inline __m128i LoadAligned(const char* p)
{
    return *reinterpret_cast<const __m128i*>(p);
}

__attribute__((no_sanitize("address"))) inline __m128i LoadAnywhere(const char* p)
{
    return *reinterpret_cast<const __m128i_u*>(p);
}

template <typename Stops>
inline unsigned int FirstHits(const char* p, const Stops& stops)
{
    // From p itself where the page allows it: an aligned block would begin before the token, and
    // have to wait for the byte that was just restored there after a handler call.
    const auto address = reinterpret_cast<std::uintptr_t>(p);
    if (address % kPageSize <= kPageSize - kBlockSize)
        return stops(LoadAnywhere(p));
    return stops(LoadAligned(p - address % kBlockSize)) >> (address % kBlockSize);
}

template <typename Stops>
inline char* FindInBlocks(char* p, const Stops& stops)
{
    unsigned int hits = FirstHits(p, stops);
    if (hits == 0) {
        p -= reinterpret_cast<std::uintptr_t>(p) % kBlockSize;
        do {
            p += kBlockSize;
            hits = stops(LoadAligned(p));
        } while (hits == 0);
    }
    return p + static_cast<unsigned int>(__builtin_ctz(hits));
}

// The next "<", "&" or terminator.
inline char* FindTextEnd(char* p)
{
    const __m128i less = _mm_set1_epi8('<');
    const __m128i ampersand = _mm_set1_epi8('&');
    return FindInBlocks(p, [&](__m128i block) {
        const __m128i found = _mm_or_si128(
            _mm_cmpeq_epi8(block, _mm_setzero_si128()),
            _mm_or_si128(_mm_cmpeq_epi8(block, less), _mm_cmpeq_epi8(block, ampersand)));
        return static_cast<unsigned int>(_mm_movemask_epi8(found));
    });
}

// The next byte that is quote, "<", "&" or the terminator.
inline char* FindValueStop(char* p, char quote)
{
    const __m128i less = _mm_set1_epi8('<');
    const __m128i ampersand = _mm_set1_epi8('&');
    const __m128i quotes = _mm_set1_epi8(quote);
    return FindInBlocks(p, [&](__m128i block) {
        const __m128i found = _mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi8(block, _mm_setzero_si128()), _mm_cmpeq_epi8(block, quotes)),
            _mm_or_si128(_mm_cmpeq_epi8(block, less), _mm_cmpeq_epi8(block, ampersand)));
        return static_cast<unsigned int>(_mm_movemask_epi8(found));
    });
}

// Lowers the first length of eight bytes at once; attribute names are rarely longer.
inline void LowerInWord(char* p, std::size_t length)
{
    alignas(16) static constexpr char kMasks[2 * kWordSize] = {
        kLowerBit, kLowerBit, kLowerBit, kLowerBit, kLowerBit, kLowerBit, kLowerBit, kLowerBit};
    auto* const word = reinterpret_cast<__m128i*>(p);
    const __m128i bytes = _mm_loadl_epi64(word);
    const __m128i mask =
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kMasks + kWordSize - length));
    const __m128i upper = _mm_and_si128(_mm_cmpgt_epi8(bytes, _mm_set1_epi8('A' - 1)),
                                        _mm_cmplt_epi8(bytes, _mm_set1_epi8('Z' + 1)));
    const __m128i lowered = _mm_and_si128(upper, mask);
    // Names mostly are in lower case already, and a text not written to stays clean in the cache.
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(lowered, _mm_setzero_si128())) != 0xFFFF)
        _mm_storel_epi64(word, _mm_or_si128(bytes, lowered));
}

#else

inline void LowerInWord(char* p, std::size_t length)
{
    for (std::size_t i = 0; i < length; ++i)
        p[i] = Lower(p[i]);
}

inline char* FindTextEnd(char* p)
{
    while (*p != '\0' && *p != '<' && *p != '&')
        ++p;
    return p;
}

inline char* FindValueStop(char* p, char quote)
{
    while (*p != '\0' && *p != '<' && *p != '&' && *p != quote)
        ++p;
    return p;
}

#endif

} // namespace NORXVXA20::xmlscan
