#pragma once

#include <string>

// The collector's view of the chassis manager: the one source that knows this part of the library.

struct ChassisAccess {
    std::string host;
    std::string user;
    std::string password;
    int port = 0; // 0: the usual one
};

struct ChassisResult {
    bool good = false;
    std::string text; // the archive's path when good, else why not
};

// Why nothing can be collected now, found without a word to the chassis manager; empty when nothing
// speaks against it.
std::string FindChassisFault();

// Collects into an archive in an existing directory. Blocks, and cannot be interrupted.
ChassisResult CollectChassis(const ChassisAccess& access, const std::string& directory);
