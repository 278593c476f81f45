#pragma once

#include <map>
#include <string>
#include <vector>

// The service-processor driver: answers each command from its list, the last one again and again.
struct FakeDriver {
    struct Answer {
        unsigned char completionCode = 0;
        std::vector<unsigned char> data;
        bool sent = true; // false: the transport fails
    };

    void Reset() { *this = FakeDriver(); }
    // Data of a credential answer: two strings, each behind its length.
    static std::vector<unsigned char> Credential(const std::string& user,
                                                 const std::string& password);

    bool present = true;
    std::map<unsigned char, std::vector<Answer>> answers; // by command
    std::vector<std::vector<unsigned char>> requests;     // the first 15 bytes of each
    std::vector<std::vector<int>> parameters;             // length, size and flag of each
};

inline FakeDriver gDriver;
