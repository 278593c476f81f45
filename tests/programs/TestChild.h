#pragma once

#include <string>

// What the test child does differently on each system.

// Standard input and output pass bytes unchanged.
void UseBinaryStreams();
// Keeps path locked until this process ends; false when another one holds it.
bool Hold(const std::string& path);
// Starts program with the given arguments, sharing this process's output, and does not wait for it.
void Leave(const char* program, const char* command, const char* argument);
// Prints what this process inherited: ignored and blocked signals, open files beyond the standard
// three.
void PrintInheritance();
