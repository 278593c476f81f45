#pragma once

#include "collector/ChildProcess.h"
#include "collector/Options.h"

// The child: makes the library call and reports what happens.

// How the parent starts it. password is for a chassis manager.
ChildCommand CollectingProcess(const Options& options, const std::string& password,
                               std::chrono::milliseconds silence);

// What it does; its exit code.
int RunCollectingProcess(const Options& options);
