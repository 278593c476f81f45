#include "backends/vxacore/Alive.h"
#include "platform/vxacore/TOSSpecific.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace NORXVXA20 {

void TOSSpecific::USleep(unsigned int milliseconds)
{
    using namespace std::chrono;
    const auto end = steady_clock::now() + std::chrono::milliseconds(milliseconds);
    NotifyAlive();
    for (auto now = steady_clock::now(); now < end; now = steady_clock::now()) {
        std::this_thread::sleep_until(std::min(end, now + seconds(1)));
        NotifyAlive();
    }
}

} // namespace NORXVXA20
