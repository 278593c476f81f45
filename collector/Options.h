#pragma once

#include <optional>
#include <string>

// What the command line asks for.
struct Options {
    enum class Command {
        kServiceProcessor, // collect the service processor's FFDC
        kUpload,           // send a file
        kChassis,          // collect a chassis' FFDC into an archive
        kChild,            // make the library call; started by the program itself
    };

    Command command = Command::kServiceProcessor;
    std::string out; // the directory for the files
    std::string log; // the file for the debug log; empty: none
    bool verbose = false;
    std::string
        usbLan;       // what becomes of the LAN-over-USB links: restore, enable, disable; or empty
    std::string file; // to be sent
    std::string ftpServer; // "[user@]host[:port]"
    std::string passwordFile;
    bool toService = false; // to the maker's drop in place of ftpServer
    bool yes = false;       // without the time to cancel
    std::string events;     // the child's channel to its parent, as the operating system names it
    std::string host; // the chassis manager; empty: the child collects from the service processor
    std::string user;
    int port = 0;
    std::string keep; // where the child keeps what arrives
};

// Reads the command line. Nothing after a request that has been answered (help, version) and after
// a fault that has been reported on standard error; exitCode is then the program's result.
std::optional<Options> ReadOptions(int argc, const char* const* argv, int& exitCode);

// The word that makes the program the collecting process; not for users.
extern const char* const kChildCommand;
