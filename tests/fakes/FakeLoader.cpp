#include "tests/fakes/FakeLoader.h"

#include "osdep/DynamicLibrary.h"

void* LoadDynamicLibrary(const char* name)
{
    gLoader.calls.push_back(std::string("load ") + name);
    const auto found = gLoader.libraries.find(name);
    return found != gLoader.libraries.end() ? &found->second : nullptr;
}

void* FindLibrarySymbol(void* library, const char* name)
{
    gLoader.calls.push_back(std::string("find ") + name);
    if (library == nullptr)
        return nullptr;
    const auto& exports = *static_cast<const FakeLoader::Exports*>(library);
    const auto found = exports.find(name);
    return found != exports.end() ? found->second : nullptr;
}

void UnloadDynamicLibrary(void*)
{
    gLoader.calls.emplace_back("unload");
}
