#include "backends/spdriver/SimulatorTransport.h"

#include "backends/spdriver/VmCodec.h"

#include <thread>

using Clock = std::chrono::steady_clock;

namespace {

// Between two attempts on a simulator that is still busy with its last client.
constexpr std::chrono::milliseconds kPause{20};

// Splits "host:port" at the last colon; an IPv6 address may stand in brackets.
bool SplitAddress(const std::string& address, std::string& host, std::string& port)
{
    const std::size_t colon = address.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == address.size())
        return false;
    host = address.substr(0, colon);
    port = address.substr(colon + 1);
    if (host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    return true;
}

// Receives up to the end of the first control message: above 0, or kClosed or kTooLate.
int AwaitGreeting(const Socket& socket, Deadline deadline)
{
    unsigned char byte = 0;
    int count = 0;
    do
        count = ReceiveSome(socket, &byte, 1, deadline);
    while (count > 0 && byte != kVmControlEnd);
    return count;
}

// Receives until the answer is complete; empty, or what failed.
std::string AwaitAnswer(const Socket& socket, const Request& request, Answer& answer,
                        Deadline deadline)
{
    VmDecoder decoder;
    for (;;) {
        unsigned char byte = 0;
        const int count = ReceiveSome(socket, &byte, 1, deadline);
        if (count == kTooLate)
            return "no answer in time";
        if (count == kClosed)
            return "connection closed before the answer";
        switch (decoder.Take(byte, request, answer)) {
        case VmDecoder::State::kAnswer:
            return {};
        case VmDecoder::State::kBroken:
            return "damaged answer";
        case VmDecoder::State::kMore:
            break;
        }
    }
}

} // namespace

// The simulator serves one client at a time and hangs up on others; the one that it serves is
// greeted. Before the greeting nothing has been sent, so another attempt does no harm.
Socket SimulatorTransport::Open(std::string& fault) const
{
    std::string host, port;
    if (!SplitAddress(m_address, host, port)) {
        fault = "the address is no host:port";
        return {};
    }
    const Deadline deadline = Clock::now() + m_limits.connection;
    do {
        Socket socket = ConnectTo(host, port, deadline, fault);
        if (!socket)
            return {};
        const int greeting = AwaitGreeting(socket, deadline);
        if (greeting > 0)
            return socket;
        fault = greeting == kClosed ? "it is busy with another client" : "it does not greet";
        std::this_thread::sleep_for(kPause);
    } while (Clock::now() < deadline);
    return {};
}

std::string SimulatorTransport::Fault(const std::string& what) const
{
    return "the IPMI simulator at " + m_address + ": " + what;
}

std::string SimulatorTransport::Unavailable() const
{
    std::string fault;
    return Open(fault) ? "" : Fault(fault);
}

std::string SimulatorTransport::Exchange(const Request& request, Answer& answer) const
{
    const Deadline deadline = Clock::now() + m_limits.exchange;
    std::string fault;
    const Socket socket = Open(fault);
    if (!socket)
        return Fault(fault);
    if (!SendAll(socket, EncodeVmRequest(request), deadline))
        return Fault("the command could not be sent");
    fault = AwaitAnswer(socket, request, answer, deadline);
    return fault.empty() ? fault : Fault(fault);
}
