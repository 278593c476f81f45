#include "platform/spdriver/SPLibrary.h"

#include "backends/spdriver/Availability.h"
#include "backends/spdriver/DriverLog.h"
#include "backends/spdriver/SimulatorTransport.h"

#include <cstdlib>

namespace NORXVXA20 {

namespace {

std::unique_ptr<Transport> ChooseTransport()
{
    const char* simulator = std::getenv("VXA_IPMI_SIMULATOR");
    if (simulator != nullptr && *simulator != '\0')
        return std::make_unique<SimulatorTransport>(simulator);
    return MakeDeviceTransport();
}

bool Fail(const std::string& why)
{
    WarnOfDriver(why);
    return false;
}

} // namespace

SPLibrary* SPLibrary::GetSplibraryInstance(int index)
{
    // It has no state: each call looks for the device afresh.
    static SPLibrary instance;
    if (index != 0 || !GetDriverUnavailableReason().empty())
        return nullptr;
    return &instance;
}

bool SPLibrary::sendIPMICommand(unsigned char* buffer, int* length, int bufferSize, bool)
{
    const std::optional<Request> request = ReadRequest(buffer, length, bufferSize);
    if (!request)
        return Fail("the buffer holds no request");
    Answer answer;
    const std::string fault = ChooseTransport()->Exchange(*request, answer);
    if (!fault.empty())
        return Fail(fault);
    StoreAnswer(answer, buffer, length, bufferSize);
    return true;
}

std::string GetDriverUnavailableReason()
{
    return ChooseTransport()->Unavailable();
}

} // namespace NORXVXA20
