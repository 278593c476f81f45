#pragma once

#include <cstddef>
#include <string>

// Overwrites bytes in a way that the compiler does not leave out.
inline void WipeBytes(void* bytes, std::size_t count) noexcept
{
    volatile char* next = static_cast<volatile char*>(bytes);
    while (count-- > 0)
        *next++ = 0;
}

inline void WipeBytes(std::string& text) noexcept
{
    WipeBytes(text.data(), text.size());
    text.clear();
}

// Wipes a secret that somebody else owns when the scope is left, however that happens.
class ScopedWipe {
public:
    explicit ScopedWipe(std::string& secret) noexcept : m_secret(secret) {}
    ~ScopedWipe() { WipeBytes(m_secret); }
    ScopedWipe(const ScopedWipe&) = delete;
    ScopedWipe& operator=(const ScopedWipe&) = delete;

private:
    std::string& m_secret;
};
