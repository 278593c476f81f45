#include "usblan/TUsbLan.h"

#include "common/Log.h"
#include "osdep/DynamicLibrary.h"

#include <iostream>
#include <string>

TUsbLan* TUsbLan::m_instance = nullptr;

namespace {

// The code of a state or of a result, with its words in the log.
struct CodeText {
    std::int32_t code;
    const char* text;
};

constexpr CodeText kStateTexts[] = {
    {qmmusblan::kEnabled, "is enable."},
    {qmmusblan::kDisabled, "is disable."},
    {qmmusblan::kEnabledUnacceptable,
     "is enable, but IP configuration is assumed to be unacceptable."},
    {qmmusblan::kDriverNotLoaded, "driver unloaded."},
    {qmmusblan::kError, "Error occurs."},
};

constexpr CodeText kBringUpReasons[] = {
    {qmmusblan::kNoHardware, "hardWare not detected"},
    {qmmusblan::kDriverNotInstalled, "fail to install driver"},
    {qmmusblan::kNoSuchNode, "node index is out of range"},
    {qmmusblan::kNotChanged, "fail to change interface status"},
};

// Deliberate: a driver that cannot be installed is explained for bringing up only.
constexpr CodeText kTakeDownReasons[] = {
    {qmmusblan::kNoHardware, "hardWare not detected"},
    {qmmusblan::kNoSuchNode, "node index is out of range"},
    {qmmusblan::kNotChanged, "fail to change interface status"},
};

// The text of a code; empty when the table has none.
template <std::size_t count>
std::string TextOf(const CodeText (&table)[count], std::int32_t code)
{
    for (const CodeText& entry : table) {
        if (entry.code == code)
            return entry.text;
    }
    return {};
}

std::string TakeUpMessage(std::int32_t result)
{
    if (result == qmmusblan::kOk)
        return "QMM LAN over USB interface is taken up successfully.";
    return "Unable to take up QMM LAN over USB interface since " + TextOf(kBringUpReasons, result) +
           ".";
}

// Without the full stop that ends a failure everywhere but in restoreUsbLan.
std::string TakeDownMessage(std::int32_t result)
{
    if (result == qmmusblan::kOk)
        return "QMM LAN over USB interface is taken down successfully.";
    return "Unable to take down QMM LAN over USB interface since " +
           TextOf(kTakeDownReasons, result);
}

} // namespace

TUsbLan* TUsbLan::getInstance()
{
    if (m_instance == nullptr)
        m_instance = new TUsbLan;
    return m_instance;
}

TUsbLan::TUsbLan()
    : m_library(nullptr), m_nodeCount(0), m_setType(qmmRestore), m_query(nullptr),
      m_disable(nullptr), m_bringUp(nullptr), m_getNodes(nullptr)
{
    initUsbLan();
}

TUsbLan::~TUsbLan()
{
    handleUsbLan();
}

void TUsbLan::sUsbLanType(qmmSetType type)
{
    m_setType = type;
}

void TUsbLan::initUsbLan()
{
    DebugLog("Entering TUsbLan::initUsbLan");
    m_nodeCount = 0;
    if (QmmUsbLanLoad()) {
        m_nodeCount = m_getNodes();
        for (std::int32_t node = 0; node < m_nodeCount; ++node) {
            const std::int32_t state = m_query(node);
            m_initialStates.push_back(state);
            printMsg(node, state);
        }
    } else {
        // On the console only, and under this name on every system.
        std::cout << "Failed to load qmmusblan.dll" << std::endl;
    }
    DebugLog("Exiting TUsbLan::initUsbLan");
}

bool TUsbLan::QmmUsbLanLoad()
{
    m_library = LoadDynamicLibrary(qmmusblan::kLibraryName);
    if (m_library == nullptr)
        return false;
    m_query = FindLibraryFunction<qmmusblan::NodeFunction>(m_library, "QueryQmmLanState");
    m_disable = FindLibraryFunction<qmmusblan::NodeFunction>(m_library, "DisableQmmLan");
    m_bringUp = FindLibraryFunction<qmmusblan::NodeFunction>(m_library, "BringupQmmLan");
    m_getNodes = FindLibraryFunction<qmmusblan::GetNodes>(m_library, "GetNodes");
    const char* missing = m_query == nullptr      ? "QueryQmmLanState"
                          : m_disable == nullptr  ? "DisableQmmLan"
                          : m_bringUp == nullptr  ? "BringupQmmLan"
                          : m_getNodes == nullptr ? "GetNodes"
                                                  : nullptr;
    if (missing == nullptr)
        return true;
    DebugLog(std::string("TUsbLan::QmmUsbLanLoad ERROR: ") + qmmusblan::kLibraryName + " has no " +
             missing);
    UnloadDynamicLibrary(m_library);
    m_library = nullptr;
    return false;
}

// Deliberate: nothing calls it; only restoreUsbLan unloads, by itself.
void TUsbLan::QmmUsbLanUnload()
{
    if (m_library != nullptr)
        UnloadDynamicLibrary(m_library);
}

void TUsbLan::printMsg(int node, int state)
{
    DebugLog("QMM LAN over USB (Node " + std::to_string(node) + ") " + TextOf(kStateTexts, state));
}

void TUsbLan::handleUsbLan()
{
    DebugLog("Entering TUsbLan::handleUsbLan");
    if (m_setType == qmmRestore)
        restoreUsbLan();
    else if (m_setType == qmmEnable)
        enableUsbLan();
    else if (m_setType == qmmDisable)
        disableUsbLan();
    DebugLog("Exiting TUsbLan::handleUsbLan");
}

void TUsbLan::enableUsbLan()
{
    DebugLog("Entering TUsbLan::enableUsbLan");
    for (std::int32_t node = 0; node < m_nodeCount; ++node) {
        const std::int32_t state = m_query(node);
        printMsg(node, state);
        // Deliberate: an interface in the error state counts as up.
        if (state == qmmusblan::kEnabled || state == qmmusblan::kError) {
            DebugLog("QMM LAN over USB interface for node " + std::to_string(node) +
                     " was already enable, no action needed.");
            continue;
        }
        DebugLog("Starting to bring up QMM LAN over USB interface for node " +
                 std::to_string(node) + " ...");
        DebugLog(TakeUpMessage(m_bringUp(node)));
    }
    DebugLog("Exiting TUsbLan::enableUsbLan");
}

void TUsbLan::disableUsbLan()
{
    DebugLog("Entering TUsbLan::disableUsbLan");
    for (std::int32_t node = 0; node < m_nodeCount; ++node) {
        const std::int32_t state = m_query(node);
        printMsg(node, state);
        // Deliberate: an interface in the error state counts as down, too.
        if (state == qmmusblan::kDisabled || state == qmmusblan::kError) {
            DebugLog("QMM LAN over USB interface for node " + std::to_string(node) +
                     " was already disable, no action needed.");
            continue;
        }
        DebugLog("Starting to take down QMM LAN over USB interface for node " +
                 std::to_string(node) + " ...");
        const std::int32_t result = m_disable(node);
        DebugLog(TakeDownMessage(result) + (result != qmmusblan::kOk ? "." : ""));
    }
    DebugLog("Exiting TUsbLan::disableUsbLan");
}

void TUsbLan::restoreUsbLan()
{
    DebugLog("Entering TUsbLan::restoreUsbLan");
    std::string message;
    for (std::int32_t node = 0; node < m_nodeCount; ++node) {
        const std::int32_t initial = m_initialStates[node];
        const std::int32_t state = m_query(node);
        printMsg(node, state);
        if (initial == qmmusblan::kEnabled && state != qmmusblan::kEnabled) {
            DebugLog("Starting to take up QMM LAN over USB interface for node " +
                     std::to_string(node) + " ...");
            message = TakeUpMessage(m_bringUp(node));
        } else if (initial != qmmusblan::kEnabled && state != qmmusblan::kDisabled) {
            // Deliberate: no blank before these dots, and no full stop after a failure's reason.
            DebugLog("Starting to take down QMM LAN over USB interface for node " +
                     std::to_string(node) + "...");
            message = TakeDownMessage(m_disable(node));
        }
        // Deliberate: for an interface left alone the previous node's message is logged again.
        DebugLog(message);
    }
    if (m_library != nullptr)
        UnloadDynamicLibrary(m_library);
    DebugLog("Exiting TUsbLan::restoreUsbLan");
}
