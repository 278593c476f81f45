#include "collector/Terminal.h"

#include "osdep/VXAOSDep.h"

#include <unistd.h>

const int kEndOfInputKey = 4; // Ctrl-D

bool HasTerminal()
{
    return ::isatty(STDIN_FILENO) != 0;
}

// The library hides each key as it reads it.
struct HiddenKeys::State {};

HiddenKeys::HiddenKeys() = default;

HiddenKeys::~HiddenKeys() = default;

int HiddenKeys::Next()
{
    return NORXVXA20::VXAOSDep::GetCharWithNoEcho();
}
