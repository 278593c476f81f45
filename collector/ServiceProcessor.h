#pragma once

#include <string>

// The collector's view of the service processor: the one source that knows the library.

// Why its files cannot be collected now, found without changing anything there; empty when nothing
// speaks against it.
std::string FindServiceProcessorFault();

// Collects into an existing directory; what TQMMFFDC::Capture returns. Blocks, and cannot be
// interrupted.
bool CaptureServiceProcessor(const std::string& directory);
