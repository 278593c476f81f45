#pragma once

#include <windows.h>

#include <utility>
#include <vector>

// The handles that a new process inherits, and no others, whatever the caller's other threads do.
// Windows.
class InheritedHandles {
public:
    // Each of them inheritable, and none of them twice.
    explicit InheritedHandles(std::vector<HANDLE> handles) : m_handles(std::move(handles))
    {
        SIZE_T size = 0;
        ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        m_storage.resize(size);
        m_good = ::InitializeProcThreadAttributeList(List(), 1, 0, &size) != 0 &&
                 ::UpdateProcThreadAttribute(List(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                             m_handles.data(), m_handles.size() * sizeof(HANDLE),
                                             nullptr, nullptr) != 0;
    }
    InheritedHandles(const InheritedHandles&) = delete;
    InheritedHandles& operator=(const InheritedHandles&) = delete;
    ~InheritedHandles() { ::DeleteProcThreadAttributeList(List()); }

    explicit operator bool() const { return m_good; }
    LPPROC_THREAD_ATTRIBUTE_LIST List()
    {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_storage.data());
    }

private:
    std::vector<HANDLE> m_handles;
    std::vector<char> m_storage;
    bool m_good = false;
};
