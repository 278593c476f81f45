#include "backends/spdriver/KernelTransport.h"

#include "osdep/FileDescriptor.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

using Clock = std::chrono::steady_clock;

namespace {

constexpr const char* kDeviceNames[] = {"/dev/ipmi0", "/dev/ipmi/0", "/dev/ipmidev/0"};

// A descriptor carries one request only, so any number tells its answer from other messages.
constexpr long kMessageId = 1;

// An open device, or why there is none.
struct Device {
    FileDescriptor descriptor;
    std::string name;
    std::string fault;
};

std::string SystemText(int error)
{
    return std::generic_category().message(error);
}

std::string OpenFault(const std::string& name, int error)
{
    switch (error) {
    case EACCES:
    case EPERM:
        return "not permitted to open the IPMI device " + name + "; root may";
    case ENXIO:
    case ENODEV:
        return "the IPMI device " + name + " has no driver behind it; is ipmi_devintf loaded?";
    case EINVAL:
        return "the driver of the IPMI device " + name + " has found no BMC";
    default:
        return "cannot open the IPMI device " + name + ": " + SystemText(error);
    }
}

std::string Joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

Device OpenDevice(const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        FileDescriptor descriptor(::open(name.c_str(), O_RDWR | O_CLOEXEC));
        const int error = errno;
        if (descriptor)
            return {std::move(descriptor), name, {}};
        if (error != ENOENT)
            return {{}, name, OpenFault(name, error)};
    }
    return {{}, {}, "no IPMI device: there is none of " + Joined(names)};
}

std::string SendFault(const Device& device, int error)
{
    return "the IPMI device " + device.name + " did not take the command: " + SystemText(error);
}

bool Send(const Device& device, const Request& request)
{
    ipmi_system_interface_addr bmc{};
    bmc.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    bmc.channel = IPMI_BMC_CHANNEL;
    bmc.lun = request.lun;
    ipmi_req message{};
    message.addr = reinterpret_cast<unsigned char*>(&bmc);
    message.addr_len = sizeof bmc;
    message.msgid = kMessageId;
    message.msg.netfn = request.networkFunction;
    message.msg.cmd = request.command;
    message.msg.data = const_cast<unsigned char*>(request.data);
    message.msg.data_len = static_cast<unsigned short>(request.length);
    return ::ioctl(device.descriptor.get(), IPMICTL_SEND_COMMAND, &message) == 0;
}

// Waits until a message may be there: 0, or ETIMEDOUT at the deadline, or another errno.
int WaitForMessage(const Device& device, Clock::time_point deadline)
{
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd entry{device.descriptor.get(), POLLIN, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::max<long long>(left, 0)));
        const int error = errno;
        if (ready > 0)
            return 0;
        if (ready == 0)
            return ETIMEDOUT;
        if (error != EINTR)
            return error;
    }
}

enum class Received { kAnswer, kOther, kFailed };

// Takes the next message off the device's queue; the data behind the completion code fill answer.
Received Receive(const Device& device, Answer& answer)
{
    std::array<unsigned char, 1 + kMaxAnswerData> bytes{};
    ipmi_addr from{};
    ipmi_recv message{};
    message.addr = reinterpret_cast<unsigned char*>(&from);
    message.addr_len = sizeof from;
    message.msg.data = bytes.data();
    message.msg.data_len = bytes.size();
    const int result = ::ioctl(device.descriptor.get(), IPMICTL_RECEIVE_MSG_TRUNC, &message);
    const int error = errno;
    Received received = Received::kOther;
    // EMSGSIZE: the message did not fit, and what did is here.
    if (result < 0 && error != EMSGSIZE) {
        received = error == EAGAIN || error == EINTR ? Received::kOther : Received::kFailed;
    } else if (message.recv_type == IPMI_RESPONSE_RECV_TYPE && message.msgid == kMessageId &&
               message.msg.data_len > 0) {
        const std::size_t count = std::min<std::size_t>(message.msg.data_len, bytes.size());
        answer.Set(bytes[0], bytes.data() + 1, count - 1);
        received = Received::kAnswer;
    }
    WipeBytes(bytes.data(), bytes.size());
    errno = error;
    return received;
}

} // namespace

KernelTransport::KernelTransport(std::vector<std::string> names, std::chrono::milliseconds limit)
    : m_names(std::move(names)), m_limit(limit)
{}

std::string KernelTransport::Unavailable() const
{
    const Device device = OpenDevice(m_names);
    if (!device.descriptor)
        return device.fault;
    // Any file can bear the name; only a driver of the right kind knows its own address.
    unsigned int address = 0;
    if (::ioctl(device.descriptor.get(), IPMICTL_GET_MY_ADDRESS_CMD, &address) != 0)
        return device.name + " is no IPMI device";
    return {};
}

std::string KernelTransport::Exchange(const Request& request, Answer& answer) const
{
    const Clock::time_point deadline = Clock::now() + m_limit;
    // Closed at the end of each exchange: an answer that comes too late goes with the descriptor.
    const Device device = OpenDevice(m_names);
    if (!device.descriptor)
        return device.fault;
    if (!Send(device, request))
        return SendFault(device, errno);
    for (;;) {
        if (const int error = WaitForMessage(device, deadline))
            return "no answer from the IPMI device " + device.name + ": " + SystemText(error);
        switch (Receive(device, answer)) {
        case Received::kAnswer:
            return {};
        case Received::kFailed:
            return "no answer from the IPMI device " + device.name + ": " + SystemText(errno);
        case Received::kOther:
            break;
        }
    }
}

std::unique_ptr<Transport> MakeDeviceTransport()
{
    return std::make_unique<KernelTransport>(
        std::vector<std::string>(std::begin(kDeviceNames), std::end(kDeviceNames)));
}
