#include "backends/spdriver/Frame.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr std::size_t kResponder = 1;
constexpr std::size_t kNetworkFunction = 2;
constexpr std::size_t kLun = 3;
constexpr std::size_t kCommand = 4; // in the answer: the completion code
constexpr std::size_t kLength = 5;  // 32-bit little-endian

constexpr unsigned char kBmcAddress = 0x20;
constexpr unsigned char kMaxNetworkFunction = 0x3F;
constexpr unsigned char kMaxLun = 3;

std::uint32_t ReadLength(const unsigned char* buffer)
{
    std::uint32_t length = 0;
    for (std::size_t i = 0; i < sizeof length; ++i)
        length |= std::uint32_t{buffer[kLength + i]} << (8 * i);
    return length;
}

void WriteLength(unsigned char* buffer, std::uint32_t length)
{
    for (std::size_t i = 0; i < sizeof length; ++i)
        buffer[kLength + i] = static_cast<unsigned char>(length >> (8 * i));
}

} // namespace

void Answer::Set(unsigned char code, const unsigned char* bytes, std::size_t count)
{
    completionCode = code;
    length = std::min(count, data.size());
    std::copy_n(bytes, length, data.begin());
}

std::optional<Request> ReadRequest(const unsigned char* buffer, const int* length, int bufferSize)
{
    if (buffer == nullptr || length == nullptr || bufferSize <= static_cast<int>(kFrameHeader))
        return std::nullopt;
    const std::uint32_t count = ReadLength(buffer);
    if (count > static_cast<std::size_t>(bufferSize) - kFrameHeader)
        return std::nullopt;
    if (buffer[kResponder] != kBmcAddress || buffer[kNetworkFunction] > kMaxNetworkFunction ||
        buffer[kLun] > kMaxLun)
        return std::nullopt;
    return Request{buffer[kNetworkFunction], buffer[kLun], buffer[kCommand], buffer + kFrameHeader,
                   count};
}

void StoreAnswer(const Answer& answer, unsigned char* buffer, int* length, int bufferSize)
{
    const std::size_t room = static_cast<std::size_t>(bufferSize) - kFrameHeader;
    const std::size_t count = std::min(answer.length, room);
    buffer[kCommand] = answer.completionCode;
    WriteLength(buffer, static_cast<std::uint32_t>(count));
    // The request's data must not pass for the answer's, where the answer is shorter.
    std::fill_n(buffer + kFrameHeader, room, static_cast<unsigned char>(0));
    std::copy_n(answer.data.begin(), count, buffer + kFrameHeader);
    *length = static_cast<int>(kFrameHeader + count);
}
