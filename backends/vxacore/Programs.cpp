#include "backends/vxacore/Alive.h"
#include "common/TVXAException.h"
#include "osdep/Process.h"
#include "platform/vxacore/TOSSpecific.h"

namespace NORXVXA20 {

std::string TOSSpecific::SpawnProcess(std::string commandLine, int limit)
{
    ProcessLimits limits;
    // Without any output: a packer is silent for long only while it works on one big file.
    limits.silence = std::chrono::seconds(limit);
    limits.tick = NotifyAlive;
    ProcessResult result = RunProcess(commandLine, limits);
    if (result.end != EProcessEnd::eOwn)
        throw TVXAException(TVXAStatusCode::eFailed);
    return std::move(result.output);
}

} // namespace NORXVXA20
