#pragma once

#include <functional>
#include <string>
#include <vector>

// The core library's SFTP copy, FTP upload and probe of a host: each records what it is asked and
// answers as the test says.
struct FakeTransfers {
    void Reset() { *this = FakeTransfers(); }

    // Of copies and uploads. May throw; none: all succeed.
    std::function<bool(const std::string& localPath)> answer;
    std::vector<std::string> copies; // "server|local path|name there"
    int probeAnswer = 0;
    std::vector<std::string> probes; // "host:port"
};

inline FakeTransfers gTransfers;
