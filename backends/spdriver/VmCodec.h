#pragma once

#include "backends/spdriver/Frame.h"

#include <string>

// How IPMI messages travel on the simulator's serial line for virtual machines: sequence number,
// network function and LUN, command, data, a checksum that makes all bytes add up to 0, then a
// mark. Marks inside are escaped. Control messages end with a mark of their own; one greets a new
// client.
constexpr unsigned char kVmControlEnd = 0xA1;

// The bytes of a request on the line.
std::string EncodeVmRequest(const Request& request);

// Takes the bytes that arrive and puts them together.
class VmDecoder {
public:
    VmDecoder() = default;
    VmDecoder(const VmDecoder&) = delete;
    VmDecoder& operator=(const VmDecoder&) = delete;
    ~VmDecoder() { WipeBytes(m_bytes.data(), m_bytes.size()); }

    enum class State { kMore, kAnswer, kBroken };

    // kAnswer: the byte ended the answer to request, and answer holds it. kBroken: it ended a
    // message whose checksum is wrong, or that is too long or too short to be one.
    // kMore: not yet, or a message that is not the answer has ended.
    State Take(unsigned char byte, const Request& request, Answer& answer);

private:
    State EndMessage(const Request& request, Answer& answer) const;
    void Append(unsigned char byte);

    std::array<unsigned char, 1024> m_bytes{};
    std::size_t m_count = 0; // beyond the array's size: too long
    bool m_escaped = false;
};
