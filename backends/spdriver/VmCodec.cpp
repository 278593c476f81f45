#include "backends/spdriver/VmCodec.h"

#include <numeric>

namespace {

constexpr unsigned char kMessageEnd = 0xA0;
constexpr unsigned char kEscape = 0xAA;
// Set in an escaped byte, which by that is no mark any more.
constexpr unsigned char kEscapedBit = 0x10;

// A connection carries one request only.
constexpr unsigned char kSequence = 1;

// Positions in an answer; the checksum is its last byte.
constexpr std::size_t kFunctionAndLun = 1;
constexpr std::size_t kCommand = 2;
constexpr std::size_t kCompletionCode = 3;
constexpr std::size_t kData = 4;
constexpr std::size_t kShortestAnswer = 5;

unsigned char FunctionAndLun(unsigned networkFunction, unsigned lun)
{
    return static_cast<unsigned char>(networkFunction << 2 | lun);
}

template <typename Iterator>
unsigned char Sum(Iterator begin, Iterator end)
{
    return std::accumulate(
        begin, end, static_cast<unsigned char>(0),
        [](unsigned char sum, char byte) { return static_cast<unsigned char>(sum + byte); });
}

void AppendEscaped(std::string& line, unsigned char byte)
{
    if (byte == kMessageEnd || byte == kVmControlEnd || byte == kEscape) {
        line += static_cast<char>(kEscape);
        byte |= kEscapedBit;
    }
    line += static_cast<char>(byte);
}

} // namespace

std::string EncodeVmRequest(const Request& request)
{
    std::string message;
    message += static_cast<char>(kSequence);
    message += static_cast<char>(FunctionAndLun(request.networkFunction, request.lun));
    message += static_cast<char>(request.command);
    message.append(reinterpret_cast<const char*>(request.data), request.length);
    message += static_cast<char>(-Sum(message.begin(), message.end()));
    std::string line;
    for (const char byte : message)
        AppendEscaped(line, static_cast<unsigned char>(byte));
    line += static_cast<char>(kMessageEnd);
    return line;
}

VmDecoder::State VmDecoder::Take(unsigned char byte, const Request& request, Answer& answer)
{
    State state = State::kMore;
    switch (byte) {
    case kEscape:
        m_escaped = true;
        return state;
    case kMessageEnd:
        state = EndMessage(request, answer);
        m_count = 0;
        break;
    case kVmControlEnd:
        m_count = 0;
        break;
    default:
        Append(m_escaped ? static_cast<unsigned char>(byte & ~kEscapedBit) : byte);
    }
    m_escaped = false;
    return state;
}

void VmDecoder::Append(unsigned char byte)
{
    if (m_count < m_bytes.size())
        m_bytes[m_count] = byte;
    if (m_count <= m_bytes.size())
        ++m_count;
}

VmDecoder::State VmDecoder::EndMessage(const Request& request, Answer& answer) const
{
    if (m_count > m_bytes.size() || m_count < kShortestAnswer ||
        Sum(m_bytes.begin(), m_bytes.begin() + m_count) != 0)
        return State::kBroken;
    const bool ours =
        m_bytes[0] == kSequence &&
        m_bytes[kFunctionAndLun] == FunctionAndLun(request.networkFunction + 1u, request.lun) &&
        m_bytes[kCommand] == request.command;
    if (!ours)
        return State::kMore;
    answer.Set(m_bytes[kCompletionCode], m_bytes.data() + kData, m_count - kShortestAnswer);
    return State::kAnswer;
}
