#include "collector/Terminal.h"

#include "osdep/VXAOSDep.h"

#include <unistd.h>

const int kEndOfInputKey = 4; // Ctrl-D

bool HasTerminal()
{
    return ::isatty(STDIN_FILENO) != 0;
}

int ReadHiddenKey()
{
    return NORXVXA20::VXAOSDep::GetCharWithNoEcho();
}
