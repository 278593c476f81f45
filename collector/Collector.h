#pragma once

#include <chrono>

constexpr std::chrono::milliseconds kSilence{45000};

// The whole program. silence is how long the collecting process may give no sign of life.
int RunCollector(int argc, const char* const* argv, std::chrono::milliseconds silence = kSilence);
