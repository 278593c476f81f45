#include "platform/vxacore/TOSSpecific.h"

#include <ctime>

namespace NORXVXA20 {

TCIMDateTime TOSSpecific::GetLocalTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    const auto field = [](int value) { return static_cast<unsigned short>(value); };
    return TCIMDateTime(field(local.tm_year + 1900), field(local.tm_mon + 1), field(local.tm_mday),
                        field(local.tm_hour), field(local.tm_min), field(local.tm_sec));
}

} // namespace NORXVXA20
