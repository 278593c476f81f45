#include "collector/ServiceProcessor.h"

#include "backends/spdriver/Availability.h"
#include "backends/vxacore/TransferRecord.h"
#include "ffdc/TQMMFFDC.h"

std::string FindServiceProcessorFault()
{
    const std::string noDevice = NORXVXA20::GetDriverUnavailableReason();
    if (!noDevice.empty())
        return "no way to the service processor: " + noDevice;
    const std::string badKey = NORXVXA20::CheckHostKey(TQMMFFDC::cs_strInbandPath);
    if (!badKey.empty())
        return "the service processor's file server is not trusted: " + badKey;
    return std::string();
}

bool CaptureServiceProcessor(const std::string& directory)
{
    return TQMMFFDC(directory).Capture();
}
