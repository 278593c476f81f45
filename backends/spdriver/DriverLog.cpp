#include "backends/spdriver/DriverLog.h"

#include "platform/vxacore/ILogger.h"
#include "platform/vxacore/TRootObject.h"

namespace {

constexpr int kWarningLevel = 1;

} // namespace

void WarnOfDriver(const std::string& what)
{
    if (NORXVXA20::ILogger* logger = NORXVXA20::TRootObject::GetCoreLogger())
        logger->Log(kWarningLevel, "SPLibrary: " + what);
}
