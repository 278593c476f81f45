#pragma once

#include "UtilsExport.h"

#include <string>

// Writes message, unchanged, to the tool's log at level 3. Without a logger nothing happens; a
// logger may be installed or removed between two calls.
UTILS_API void DebugLog(const std::string& message);

// Writes message and a line end to standard output, flushes it, and logs message as DebugLog does.
UTILS_API void EchoMsg(const std::string& message);
