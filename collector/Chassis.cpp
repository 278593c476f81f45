#include "collector/Chassis.h"

#include "common/TVXAException.h"
#include "ffdc/Packer.h"
#include "ffdc/TCMMFFDC.h"
#include "platform/vxacore/TOSSpecific.h"

namespace {

constexpr int kPackerLimit = 30; // seconds

} // namespace

std::string FindChassisFault()
{
    try {
        NORXVXA20::TOSSpecific::SpawnProcess(std::string(kPacker) + " -v", kPackerLimit);
    } catch (const NORXVXA20::TVXAException&) {
        return std::string("the packer, the program ") + kPacker + ", cannot be run";
    }
    return std::string();
}

ChassisResult CollectChassis(const ChassisAccess& access, const std::string& directory)
{
    TCMMFFDC ffdc(directory, access.user, access.password, access.host, access.port);
    ChassisResult result;
    try {
        std::string archive;
        result.good = ffdc.RunFFDCCollection(archive);
        result.text = result.good ? archive : ffdc.GetRetMessage();
    } catch (const std::exception& e) {
        result.text = ffdc.GetRetMessage() + " (" + e.what() + ")";
    }
    return result;
}
