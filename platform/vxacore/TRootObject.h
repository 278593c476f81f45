#pragma once

#include "UtilsExport.h"
#include "platform/vxacore/ILogger.h"

namespace NORXVXA20 {

// Where the tool's log comes from.
class VXACORE_API TRootObject {
public:
    // The installed logger, owned by the core library; null while there is none.
    static ILogger* GetCoreLogger();
};

} // namespace NORXVXA20
