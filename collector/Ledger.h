#pragma once

#include "collector/ChildProcess.h"
#include "collector/Event.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What is known about one collection, gathered from the collecting process's events.
struct Ledger {
    struct File {
        NORXVXA20::TransferredFile record;
        bool done = false; // otherwise it was begun, and record tells how far it came
    };

    void Take(const Event& event);

    std::optional<std::vector<std::string>> listed; // what the remote directory holds, once known
    std::map<std::string, File> asked;              // what the library asked for, by name
    std::optional<std::string> refused;             // why nothing was begun
    std::optional<bool> returned;                   // what the library returned, once it has
    std::string returnedText;                       // the archive or why there is none
};

struct Outcome {
    int exitCode = 0;
    std::vector<std::string> lines; // for standard error, the summary last
};

// The size of a file, -1 when there is none of that path.
using SizeOfFile = std::function<std::int64_t(const std::string& path)>;

// Compares what arrived with what was listed. Everything counts only when sizeOf finds it on disk
// with the size recorded.
Outcome Conclude(const Ledger& ledger, const ChildEnd& end, const std::string& outputDir,
                 std::chrono::milliseconds silence, const SizeOfFile& sizeOf);

// A name as it may be shown on a terminal: in quotes, control characters as \xNN.
std::string Quoted(const std::string& name);
