#pragma once

#include <functional>
#include <string>
#include <vector>

// The core library's SFTP copy: records each request and answers as the test says.
struct FakeTransfers {
    struct Copy {
        std::string remote;
        std::string localPath;
        std::string fileName;
    };

    void Reset();

    std::function<bool(const Copy&)> answer; // may throw; none: every copy succeeds
    std::vector<Copy> copies;
    std::string rootPath = "/tool"; // what GetVXARootPath returns
};

extern FakeTransfers gTransfers;
