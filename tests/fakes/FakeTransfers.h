#pragma once

#include <functional>
#include <string>
#include <vector>

// The core library's SFTP copy, FTP upload and probe of a host: each records what it is asked and
// answers as the test says.
struct FakeTransfers {
    struct Copy {
        std::string remote;
        std::string localPath;
        std::string fileName;
    };
    struct Upload {
        std::string server;
        std::string localFile;
        std::string remoteName;
    };

    void Reset() { *this = FakeTransfers(); }

    std::function<bool(const Copy&)> answer; // may throw; none: every copy succeeds
    std::vector<Copy> copies;
    std::function<bool()> uploadAnswer; // the same for uploads
    std::vector<Upload> uploads;
    int probeAnswer = 0;
    std::vector<std::string> probes; // "host:port"
};

inline FakeTransfers gTransfers;
