#include "osdep/DynamicLibrary.h"

#include <dlfcn.h>

void* LoadDynamicLibrary(const char* name)
{
    return ::dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

void* FindLibrarySymbol(void* library, const char* name)
{
    return library != nullptr ? ::dlsym(library, name) : nullptr;
}

void UnloadDynamicLibrary(void* library)
{
    ::dlclose(library);
}
