#include "collector/Terminal.h"

#include "osdep/VXAOSDep.h"

#include <unistd.h>

const int kEndOfInputKey = 4; // Ctrl-D

bool HasTerminal()
{
    return ::isatty(STDIN_FILENO) != 0;
}

// The library hides each key as it reads it.
HiddenKeys::HiddenKeys() : m_active(true) {}

HiddenKeys::~HiddenKeys() = default;

int HiddenKeys::Next()
{
    return m_active ? NORXVXA20::VXAOSDep::GetCharWithNoEcho() : -1;
}
