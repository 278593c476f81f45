#pragma once

#include <optional>
#include <string>

// Passwords from where nobody else can read them: never from the command line.

// The first line of a file, or of standard input for "-", where a terminal does not show what is
// typed. Nothing when there is none.
std::optional<std::string> ReadPassword(const std::string& path);

// Asks on the terminal, which does not show what is typed. Nothing where standard input is no
// terminal, or when the user gives up (Ctrl-C, or at once Ctrl-D, on Windows Ctrl-Z).
std::optional<std::string> AskPassword(const std::string& prompt);
