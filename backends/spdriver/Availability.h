#pragma once

#include "UtilsExport.h"

#include <string>

namespace NORXVXA20 {

// Why SPLibrary has no instance at this moment, in one line for a person: no device, a device
// without a driver or a BMC behind it, not permitted, the simulator out of reach. Empty when there
// is one. Looks afresh at each call; nothing is sent to the service processor.
SPDRIVER_API std::string GetDriverUnavailableReason();

} // namespace NORXVXA20
