// A control library with two nodes that live in its memory. It tells on standard output what it is
// asked to change, and when it is unloaded.
#include "UtilsExport.h"

#include <cstdint>
#include <cstdio>

namespace {

struct Hardware {
    std::int32_t states[2] = {1, 2};
    ~Hardware()
    {
        std::puts("unloaded");
        std::fflush(stdout);
    }
} hardware;

std::int32_t Change(const char* way, std::int32_t node, std::int32_t state)
{
    std::printf("%s %d\n", way, static_cast<int>(node));
    std::fflush(stdout);
    hardware.states[node] = state;
    return 0;
}

} // namespace

extern "C" UTILS_DECL_EXPORT std::int32_t GetNodes()
{
    return 2;
}

extern "C" UTILS_DECL_EXPORT std::int32_t QueryQmmLanState(std::int32_t node)
{
    return hardware.states[node];
}

extern "C" UTILS_DECL_EXPORT std::int32_t BringupQmmLan(std::int32_t node)
{
    return Change("up", node, 1);
}

extern "C" UTILS_DECL_EXPORT std::int32_t DisableQmmLan(std::int32_t node)
{
    return Change("down", node, 2);
}
