#include "backends/vxacore/StallClock.h"

#include <cstdlib>

namespace NORXVXA20 {

namespace {

constexpr double kStallLimit = 30; // seconds

} // namespace

StallClock::Seconds StallClock::DefaultLimit()
{
    const char* const text = std::getenv("VXA_STALL_SECONDS");
    const double seconds = text != nullptr ? std::strtod(text, nullptr) : 0;
    return Seconds(seconds > 0 ? seconds : kStallLimit);
}

} // namespace NORXVXA20
