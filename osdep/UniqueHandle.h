#pragma once

#include <utility>

// Owns one handle of a family that Traits describes: its type, its "none" value, how it is closed.
template <typename Traits>
class UniqueHandle {
public:
    using Handle = typename Traits::Handle;

    UniqueHandle() = default;
    explicit UniqueHandle(Handle handle) noexcept : m_handle(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : m_handle(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ~UniqueHandle() { reset(); }

    explicit operator bool() const noexcept { return m_handle != Traits::None(); }
    Handle get() const noexcept { return m_handle; }
    Handle release() noexcept { return std::exchange(m_handle, Traits::None()); }
    void reset(Handle handle = Traits::None()) noexcept
    {
        const Handle old = std::exchange(m_handle, handle);
        if (old != Traits::None())
            Traits::Close(old);
    }

private:
    Handle m_handle = Traits::None();
};
