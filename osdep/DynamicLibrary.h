#pragma once

// The one loader of libraries that are found by name at run time. A handle is a plain pointer,
// null for none, because classes with a fixed layout keep it; the caller unloads it.

// Loads a library by file name or path; null when that fails.
void* LoadDynamicLibrary(const char* name);
// The address of an exported symbol; null when the library has none of that name or is null.
void* FindLibrarySymbol(void* library, const char* name);
void UnloadDynamicLibrary(void* library);

// The same as a function pointer of the wanted type.
template <typename Function>
Function FindLibraryFunction(void* library, const char* name)
{
    return reinterpret_cast<Function>(FindLibrarySymbol(library, name));
}
