#pragma once

// Scanning helpers of the reader. All are inline and free of the reader's state, so that its inner
// loops run without calls through the library's symbol table.

#include <array>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace NORXVXA20::xmlscan {

enum ByteClass : unsigned char {
    kNameStart = 1,
    kNameByte = 2,
    kBlank = 4,
    kUpperCase = 8,
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
    return Is(c, kUpperCase) ? static_cast<char>(c | 0x20) : c;
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

// The byte after p, unless p is at the terminator: reading never moves past it.
inline char* Next(char* p)
{
    return *p == '\0' ? p : p + 1;
}

#if defined(__SSE2__)

// Texts and values are searched sixteen bytes at a time. The blocks are aligned: one may begin
// before the token or reach beyond the end of the text, but never into another page, and only bytes
// from the token to the first hit count. The address sanitizer cannot know that, hence the
// exemption.
constexpr std::uintptr_t kBlockSize = 16;

__attribute__((no_sanitize("address"))) inline __m128i LoadBlock(const char* aligned)
{
    return *reinterpret_cast<const __m128i*>(aligned);
}

template <typename Stops>
inline char* FindInBlocks(char* p, const Stops& stops)
{
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(p) % kBlockSize;
    const unsigned int first = stops(LoadBlock(p - offset)) >> offset;
    if (first != 0)
        return p + __builtin_ctz(first);
    p -= offset;
    for (;;) {
        p += kBlockSize;
        const unsigned int hits = stops(LoadBlock(p));
        if (hits != 0)
            return p + __builtin_ctz(hits);
    }
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

#else

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
