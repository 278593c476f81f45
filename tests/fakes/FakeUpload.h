#pragma once

#include <functional>
#include <string>
#include <vector>

// The core library's FTP upload and its probe of a host: both record and answer as the test says.
struct FakeUpload {
    struct Request {
        std::string server;
        std::string localFile;
        std::string remoteName;
    };

    void Reset();

    std::function<bool()> answer; // may throw; none: every upload succeeds
    std::vector<Request> requests;
    int probeAnswer = 0;
    std::vector<std::string> probes; // "host:port"
};

extern FakeUpload gUpload;
