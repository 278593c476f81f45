#pragma once

#include "common/Wipe.h"

#include <array>
#include <cstddef>
#include <optional>

// The caller's buffer, which request and answer share: SPLibrary.h shows its layout.

constexpr std::size_t kFrameHeader = 9;
// The most data bytes that an answer in a buffer of the usual 256 bytes holds.
constexpr std::size_t kMaxAnswerData = 256 - kFrameHeader;

// A request to the BMC; the data stay the caller's.
struct Request {
    unsigned char networkFunction; // 0..0x3F
    unsigned char lun;             // 0..3
    unsigned char command;
    const unsigned char* data;
    std::size_t length;
};

// The answer: what is longer is cut off. Wiped when it goes, because it may hold a credential.
struct Answer {
    unsigned char completionCode = 0;
    std::array<unsigned char, kMaxAnswerData> data{};
    std::size_t length = 0;

    Answer() = default;
    Answer(const Answer&) = delete;
    Answer& operator=(const Answer&) = delete;
    ~Answer() { WipeBytes(data.data(), data.size()); }

    void Set(unsigned char code, const unsigned char* bytes, std::size_t count);
};

// The request in the buffer; nothing when an argument is null, the data run past the buffer, or no
// BMC could be meant: another responder than 0x20, a network function or LUN out of range.
std::optional<Request> ReadRequest(const unsigned char* buffer, const int* length, int bufferSize);

// Stores the answer over the request: completion code, length and data. What else follows the
// header becomes 0, and data beyond bufferSize are cut off.
void StoreAnswer(const Answer& answer, unsigned char* buffer, int* length, int bufferSize);
