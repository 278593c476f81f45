#pragma once

#include <optional>
#include <string>

// What the command line asks for.
struct Options {
    enum class Command {
        kServiceProcessor, // collect the service processor's FFDC
        kChild,            // make the library call; started by the program itself
    };

    Command command = Command::kServiceProcessor;
    std::string out; // the directory for the files
    std::string log; // the file for the debug log; empty: none
    bool verbose = false;
    std::string events; // the child's channel to its parent, as the operating system names it
};

// Reads the command line. Nothing after a request that has been answered (help, version) and after
// a fault that has been reported on standard error; exitCode is then the program's result.
std::optional<Options> ReadOptions(int argc, const char* const* argv, int& exitCode);

// The word that makes the program the collecting process; not for users.
extern const char* const kChildCommand;
