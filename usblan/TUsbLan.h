#pragma once

#include "UtilsExport.h"
#include "platform/qmmusblan/QmmUsbLan.h"

#include <cstdint>
#include <vector>

// What the destructor of TUsbLan does; any other value: nothing.
enum qmmSetType : std::int32_t {
    qmmRestore = 1, // puts each interface back as it was found
    qmmEnable = 2,  // brings all interfaces up
    qmmDisable = 3, // takes all interfaces down
};

// Brings the service processor's LAN-over-USB interfaces up or down, one per node (0-based).
// For the tool's main thread: getInstance creates an instance when m_instance is null and records
// each node's state, the caller deletes it, and the destructor does what sUsbLanType chose.
// Nothing here throws or returns an error: every outcome is a log line. Without the control
// library there are no nodes and nothing is done.
class TUsbLan {
public:
    // m_instance, which it creates when that is null; the caller deletes it.
    UTILS_API static TUsbLan* getInstance();
    // qmmRestore until it is called.
    UTILS_API void sUsbLanType(qmmSetType type);
    // Brings the interfaces up or takes them down, as chosen; may block as long as the library
    // does.
    UTILS_API ~TUsbLan();

    TUsbLan(const TUsbLan&) = delete;
    TUsbLan& operator=(const TUsbLan&) = delete;

    UTILS_API static TUsbLan* m_instance; // cleared by the caller that deletes it

private:
    TUsbLan();
    void initUsbLan();
    void handleUsbLan();
    void enableUsbLan();
    void disableUsbLan();
    void restoreUsbLan();
    void printMsg(int node, int state);
    bool QmmUsbLanLoad();
    void QmmUsbLanUnload();

    void* m_library;
    std::int32_t m_nodeCount;
    std::vector<std::int32_t> m_initialStates;
    qmmSetType m_setType;
    qmmusblan::NodeFunction m_query;
    qmmusblan::NodeFunction m_disable;
    qmmusblan::NodeFunction m_bringUp;
    qmmusblan::GetNodes m_getNodes;
};
