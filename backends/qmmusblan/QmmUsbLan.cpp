// The control library of the LAN-over-USB interfaces on Linux. It knows only the interfaces that
// VXA_USBLAN_INTERFACES names (comma-separated, node 0 first), because a dock or a tethered phone
// has the same kind of driver and must never be taken down. The list is read, and the interface is
// looked up, at every call.
#include "platform/qmmusblan/QmmUsbLan.h"
#include "UtilsExport.h"
#include "backends/qmmusblan/Node.h"
#include "backends/qmmusblan/Settings.h"

#include <optional>

using qmmusblan::kError;
using qmmusblan::kNoSuchNode;

namespace {

std::optional<std::string> NameOf(std::int32_t node)
{
    const std::vector<std::string> names = NamedNodes();
    if (node < 0 || static_cast<std::size_t>(node) >= names.size())
        return std::nullopt;
    return names[static_cast<std::size_t>(node)];
}

} // namespace

extern "C" UTILS_DECL_EXPORT std::int32_t GetNodes()
{
    return static_cast<std::int32_t>(NamedNodes().size());
}

extern "C" UTILS_DECL_EXPORT std::int32_t QueryQmmLanState(std::int32_t node)
{
    const std::optional<std::string> name = NameOf(node);
    return name ? Node(node, *name).GetState() : kError;
}

extern "C" UTILS_DECL_EXPORT std::int32_t BringupQmmLan(std::int32_t node)
{
    const std::optional<std::string> name = NameOf(node);
    return name ? Node(node, *name).BringUp() : kNoSuchNode;
}

extern "C" UTILS_DECL_EXPORT std::int32_t DisableQmmLan(std::int32_t node)
{
    const std::optional<std::string> name = NameOf(node);
    return name ? Node(node, *name).TakeDown() : kNoSuchNode;
}
