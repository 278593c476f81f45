#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class TUsbLan;

// The service processor's LAN-over-USB links around a collection: the constructor brings them up,
// the destructor leaves them as asked. What changes is said in whole lines. One object at a time.
class UsbLinks {
public:
    using Say = std::function<void(const std::string&)>;

    // asked is "restore", "enable" or "disable"; empty: nothing is touched or said. The class's own
    // lines go to the log file, when one is named.
    UsbLinks(std::string asked, std::string log, Say say);
    ~UsbLinks();
    UsbLinks(const UsbLinks&) = delete;
    UsbLinks& operator=(const UsbLinks&) = delete;

private:
    bool OpenLibrary();
    void BringUp();
    std::vector<std::int32_t> States() const;

    const std::string m_asked;
    const std::string m_log;
    const Say m_say;
    void* m_library = nullptr; // our own load of the control library, which only reads
    TUsbLan* m_keep = nullptr; // remembers the states that were found
};
