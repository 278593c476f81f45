#pragma once

#include "backends/vxacore/TransferRecord.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

// What the collecting process tells the one that watches it: one line of JSON an event.
struct Event {
    enum class Kind {
        kAlive,   // nothing but a sign of life
        kListed,  // names: what the remote directory holds
        kBegun,   // file: its name
        kBytes,   // file: its name, the bytes received and expected
        kDone,    // file: everything that is known about it
        kRefused, // text: why the collection was not even begun
        kEnded,   // good: what the library returned; text: the archive or why there is none
    };

    Kind kind = Kind::kAlive;
    std::vector<std::string> names;
    NORXVXA20::TransferredFile file;
    std::string text;
    bool good = false;
};

// The event as one line, with its line end. Names may hold any byte.
std::string EncodeEvent(const Event& event);
// Nothing when line is no event, as the last line of a process that was ended in mid-write.
std::optional<Event> DecodeEvent(const std::string& line);

// Cuts what arrives in pieces into lines.
class LineCutter {
public:
    // Calls onLine for each line that text completes, without its line end.
    void Take(const char* text, std::size_t count,
              const std::function<void(const std::string&)>& onLine);

private:
    std::string m_rest;
};
