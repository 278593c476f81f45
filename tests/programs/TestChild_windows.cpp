#include "tests/programs/TestChild.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <process.h>

#include <cstdio>

void UseBinaryStreams()
{
    ::_setmode(_fileno(stdin), _O_BINARY);
    ::_setmode(_fileno(stdout), _O_BINARY);
    ::_setmode(_fileno(stderr), _O_BINARY);
}

bool Hold(const std::string& path)
{
    return ::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr) != INVALID_HANDLE_VALUE;
}

void Leave(const char* program, const char* command, const char* argument)
{
    ::_spawnlp(_P_NOWAIT, program, program, command, argument, nullptr);
}

void PrintInheritance() {}
