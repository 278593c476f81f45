#include "collector/UsbLinks.h"

#include "backends/vxacore/CoreLog.h"
#include "osdep/DynamicLibrary.h"
#include "usblan/TUsbLan.h"

#include <algorithm>
#include <utility>

namespace {

// The debug log while the class is at work; at other times it belongs to the child.
class ScopedLog {
public:
    explicit ScopedLog(const std::string& path)
    {
        if (!path.empty())
            NORXVXA20::OpenCoreLog(path);
    }
    ~ScopedLog() { NORXVXA20::CloseCoreLog(); }
    ScopedLog(const ScopedLog&) = delete;
    ScopedLog& operator=(const ScopedLog&) = delete;
};

qmmSetType SetTypeOf(const std::string& asked)
{
    return asked == "enable" ? qmmEnable : asked == "disable" ? qmmDisable : qmmRestore;
}

const char* Describe(std::int32_t state)
{
    switch (state) {
    case qmmusblan::kEnabled:
        return "enabled";
    case qmmusblan::kDisabled:
        return "disabled";
    case qmmusblan::kEnabledUnacceptable:
        return "enabled without an address that serves";
    case qmmusblan::kDriverNotLoaded:
        return "not there";
    default:
        return "in an error state";
    }
}

// Deletes an instance of the class, which does what it is set to do.
void Finish(TUsbLan* instance, qmmSetType type)
{
    instance->sUsbLanType(type);
    delete instance;
    TUsbLan::m_instance = nullptr;
}

} // namespace

UsbLinks::UsbLinks(std::string asked, std::string log, Say say)
    : m_asked(std::move(asked)), m_log(std::move(log)), m_say(std::move(say))
{
    if (m_asked.empty())
        return;
    if (OpenLibrary() && !States().empty())
        BringUp();
    else
        m_say("no LAN over USB to bring up: " +
              (m_library == nullptr ? std::string(qmmusblan::kLibraryName) + " cannot be used"
                                    : "there is no interface") +
              "; VXA_USBLAN_INTERFACES names the service processor's");
}

UsbLinks::~UsbLinks()
{
    if (m_keep != nullptr) {
        const ScopedLog log(m_log);
        const std::vector<std::int32_t> before = States();
        Finish(m_keep, SetTypeOf(m_asked));
        const std::vector<std::int32_t> after = States();
        for (std::size_t node = 0; node < std::min(before.size(), after.size()); ++node) {
            if (after[node] != before[node])
                m_say("LAN over USB, node " + std::to_string(node) + ": now " +
                      Describe(after[node]));
        }
    }
    if (m_library != nullptr)
        UnloadDynamicLibrary(m_library);
}

// False when there is no library, or one that the class would not take.
bool UsbLinks::OpenLibrary()
{
    m_library = LoadDynamicLibrary(qmmusblan::kLibraryName);
    if (m_library == nullptr)
        return false;
    for (const char* name : {"GetNodes", "QueryQmmLanState", "BringupQmmLan", "DisableQmmLan"}) {
        if (FindLibrarySymbol(m_library, name) != nullptr)
            continue;
        UnloadDynamicLibrary(m_library);
        m_library = nullptr;
        return false;
    }
    return true;
}

void UsbLinks::BringUp()
{
    const ScopedLog log(m_log);
    const std::vector<std::int32_t> found = States();
    // The class acts only when it is destroyed: one instance remembers, another one enables.
    m_keep = TUsbLan::getInstance();
    TUsbLan::m_instance = nullptr;
    Finish(TUsbLan::getInstance(), qmmEnable);
    const std::vector<std::int32_t> now = States();
    for (std::size_t node = 0; node < std::min(found.size(), now.size()); ++node) {
        const std::string prefix =
            "LAN over USB, node " + std::to_string(node) + ": was " + Describe(found[node]);
        if (now[node] != qmmusblan::kEnabled)
            m_say(prefix + ", could not be brought up (" + Describe(now[node]) +
                  "); collecting all the same");
        else if (found[node] != now[node])
            m_say(prefix + ", now " + Describe(now[node]));
    }
}

std::vector<std::int32_t> UsbLinks::States() const
{
    const auto count = FindLibraryFunction<qmmusblan::GetNodes>(m_library, "GetNodes");
    const auto query = FindLibraryFunction<qmmusblan::NodeFunction>(m_library, "QueryQmmLanState");
    std::vector<std::int32_t> states(static_cast<std::size_t>(std::max(count(), 0)));
    for (std::size_t node = 0; node < states.size(); ++node)
        states[node] = query(static_cast<std::int32_t>(node));
    return states;
}
