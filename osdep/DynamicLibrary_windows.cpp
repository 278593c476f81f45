#include "osdep/DynamicLibrary.h"

#include <windows.h>

void* LoadDynamicLibrary(const char* name)
{
    return ::LoadLibraryA(name);
}

void* FindLibrarySymbol(void* library, const char* name)
{
    if (library == nullptr)
        return nullptr;
    return reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(library), name));
}

void UnloadDynamicLibrary(void* library)
{
    ::FreeLibrary(static_cast<HMODULE>(library));
}
