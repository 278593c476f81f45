#pragma once

#include "UtilsExport.h"

#include <string>

// Questions to the user that wait for ever, for the thread that owns the console.

// Shows prompt without a line end and reads a line, again and again until one is "y", "Y", "n" or
// "N", blanks around it aside. True for yes. At the end of the input it asks once a second.
UTILS_API bool GetChoice(const std::string& prompt);

// Asks for a key and waits until one was pressed; it is consumed.
UTILS_API void PressAnyKeyToContinue();
