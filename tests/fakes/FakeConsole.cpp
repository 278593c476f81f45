#include "tests/fakes/FakeConsole.h"

#include "platform/vxacore/TOSSpecific.h"

namespace NORXVXA20 {

void TOSSpecific::USleep(unsigned int milliseconds)
{
    gConsole.slept += milliseconds;
    gConsole.sleeps.push_back(milliseconds);
}

bool TOSSpecific::IsKeyWaiting()
{
    return !gConsole.keys.empty() && gConsole.keys.front().atMilliseconds <= gConsole.slept;
}

int TOSSpecific::GetKeyboardChar()
{
    if (gConsole.keys.empty())
        return -1;
    const int code = gConsole.keys.front().code;
    gConsole.keys.pop_front();
    return code;
}

} // namespace NORXVXA20
