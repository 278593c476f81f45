#pragma once

// What a terminal or console needs for a password.

// Whether standard input is one.
bool HasTerminal();
// The next key, not shown; -1 when there is none. Keys that stand for no character are left out.
int ReadHiddenKey();
// Ends the input when it is the first key.
extern const int kEndOfInputKey;
