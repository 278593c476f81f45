#include "platform/vxacore/TOSSpecific.h"

#include <windows.h>

namespace NORXVXA20 {

TCIMDateTime TOSSpecific::GetLocalTime()
{
    SYSTEMTIME local{};
    ::GetLocalTime(&local);
    return TCIMDateTime(local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute,
                        local.wSecond);
}

} // namespace NORXVXA20
