#include "collector/Chassis.h"

#include "common/TVXAException.h"
#include "ffdc/TCMMFFDC.h"
#include "platform/vxacore/TOSSpecific.h"

namespace {

constexpr int kPackerLimit = 30; // seconds

} // namespace

std::string FindChassisFault()
{
    try {
        NORXVXA20::TOSSpecific::SpawnProcess("zip -v", kPackerLimit);
    } catch (const NORXVXA20::TVXAException&) {
        return "the packer, the program zip, cannot be run";
    }
    return std::string();
}

ChassisResult CollectChassis(const ChassisAccess& access, const std::string& directory)
{
    TCMMFFDC ffdc(directory, access.user, access.password, access.host, access.port);
    ChassisResult result;
    std::string archive;
    try {
        result.good = ffdc.RunFFDCCollection(archive);
        result.text = result.good ? archive : ffdc.GetRetMessage();
    } catch (const std::exception& e) {
        result.text = ffdc.GetRetMessage() + " (" + e.what() + ")";
    }
    return result;
}
