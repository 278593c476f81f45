#include "osdep/Console.h"

#include "common/Log.h"
#include "common/Strings.h"
#include "osdep/VXAOSDep.h"
#include "platform/vxacore/TOSSpecific.h"

#include <cstdio>
#include <iostream>

using NORXVXA20::TOSSpecific;

namespace {

constexpr unsigned int kTick = 1000; // milliseconds
constexpr int kNoKey = -1;

// The next key that waits, without waiting for one. A key that cannot be read is none.
int PollKey()
{
    return TOSSpecific::IsKeyWaiting() ? TOSSpecific::GetKeyboardChar() : kNoKey;
}

// Polls once: a key, or none after one tick of sleep.
int NextKey()
{
    const int key = PollKey();
    if (key == kNoKey)
        TOSSpecific::USleep(kTick);
    return key;
}

} // namespace

namespace NORXVXA20 {

bool VXAOSDep::GetChoiceWithTimeout(const std::string& prompt, int ticks)
{
    if (ticks <= 0)
        return false;
    EchoMsg(prompt);
    bool yes = false;
    for (int counter = 0; counter < ticks; ++counter) {
        const int key = NextKey();
        if (key == kNoKey)
            continue;
        yes = key == 'Y' || key == 'y';
        if (yes || key == 'N' || key == 'n') {
            std::cout << (yes ? "Y" : "N") << std::endl;
            break;
        }
        std::cout << "Invalid input." << std::endl;
        EchoMsg(prompt);
        // Deliberate: the time starts over after every wrong key.
        counter = 0;
    }
    std::cout << std::endl;
    return yes;
}

} // namespace NORXVXA20

bool GetChoice(const std::string& prompt)
{
    for (;;) {
        // The end of the input is remembered by the stream and by the C library below it.
        std::cin.clear();
        std::clearerr(stdin);
        std::cout << prompt << std::flush;
        std::string answer;
        const bool read = static_cast<bool>(std::getline(std::cin, answer));
        TrimString(answer);
        if (answer == "y" || answer == "Y")
            return true;
        if (answer == "n" || answer == "N")
            return false;
        // Deliberate: not the wording of the question with a time-out.
        std::cout << "Invalid Input!" << std::endl;
        if (!read)
            TOSSpecific::USleep(kTick);
    }
}

void PressAnyKeyToContinue()
{
    std::cout << std::endl << "Please press ANY key to Continue ..." << std::flush;
    while (NextKey() == kNoKey) {
    }
    std::cout << std::endl;
}
