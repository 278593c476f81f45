#pragma once

#include "collector/Options.h"

// The upload of one file, in this process; its exit code.
int RunUpload(const Options& options);
