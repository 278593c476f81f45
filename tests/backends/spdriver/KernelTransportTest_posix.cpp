#include "backends/spdriver/KernelTransport.h"

#include "osdep/FileDescriptor.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <deque>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<unsigned char>;

// A driver behind a FIFO that stands for the device: one byte in it for each message that waits.
struct FakeKernel {
    struct Message {
        int type = IPMI_RESPONSE_RECV_TYPE;
        long idOffset = 0;
        Bytes bytes;
    };

    std::deque<Message> answers; // come when a request is sent
    std::vector<Bytes> requests; // network function, LUN, command, data
    long id = 0;
    bool active = false;
};
FakeKernel gKernel;

int Fail(int error)
{
    errno = error;
    return -1;
}

int TakeRequest(int descriptor, const ipmi_req& request)
{
    const auto& to = *reinterpret_cast<const ipmi_system_interface_addr*>(request.addr);
    Bytes bytes{request.msg.netfn, to.lun, request.msg.cmd};
    bytes.insert(bytes.end(), request.msg.data, request.msg.data + request.msg.data_len);
    gKernel.requests.push_back(bytes);
    gKernel.id = request.msgid;
    const std::string waiting(gKernel.answers.size(), '.');
    return ::write(descriptor, waiting.data(), waiting.size()) < 0 ? -1 : 0;
}

int GiveAnswer(int descriptor, ipmi_recv& received)
{
    char byte = 0;
    if (::read(descriptor, &byte, 1) != 1)
        return -1;
    const FakeKernel::Message message = gKernel.answers.front();
    gKernel.answers.pop_front();
    received.recv_type = message.type;
    received.msgid = gKernel.id + message.idOffset;
    const std::size_t room = received.msg.data_len;
    received.msg.data_len =
        static_cast<unsigned short>(std::min<std::size_t>(room, message.bytes.size()));
    std::copy_n(message.bytes.begin(), received.msg.data_len, received.msg.data);
    return message.bytes.size() > room ? Fail(EMSGSIZE) : 0;
}

} // namespace

extern "C" int __real_ioctl(int descriptor, unsigned long request, void* argument);
extern "C" int __wrap_ioctl(int descriptor, unsigned long request, void* argument)
{
    if (!gKernel.active)
        return __real_ioctl(descriptor, request, argument);
    switch (request) {
    case IPMICTL_SEND_COMMAND:
        return TakeRequest(descriptor, *static_cast<const ipmi_req*>(argument));
    case IPMICTL_RECEIVE_MSG_TRUNC:
        return GiveAnswer(descriptor, *static_cast<ipmi_recv*>(argument));
    default:
        return 0;
    }
}

namespace {

const unsigned char kData[] = {1};
const Request kRequest{0x3A, 2, 0x4D, kData, 1};

class KernelTransportTest : public ::testing::Test {
protected:
    KernelTransportTest() { gKernel = {}; }
    ~KernelTransportTest() override { gKernel = {}; }

    std::string Device()
    {
        const std::string path = folder / "ipmi0";
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        gKernel.active = true;
        return path;
    }

    TemporaryDirectory folder;
    Answer answer;
};

TEST_F(KernelTransportTest, TheFirstDeviceThatExistsTellsWhatIsWrong)
{
    const std::string missing = folder / "missing";
    const std::string file = folder.Write("file", "");
    EXPECT_EQ(KernelTransport({missing, file}).Unavailable(), file + " is no IPMI device");
    EXPECT_THAT(KernelTransport({file}).Exchange(kRequest, answer),
                HasSubstr(file + " did not take the command"));

    // Opening a local socket gives the errno of a device node that no driver serves.
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string node = folder / "node";
    node.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_THAT(KernelTransport({node, file}).Unavailable(),
                StartsWith("the IPMI device " + node + " has no driver behind it"));
}

TEST_F(KernelTransportTest, OnlyTheAnswerToTheOwnRequestCounts)
{
    KernelTransport transport({Device()});
    gKernel.answers = {{IPMI_ASYNC_EVENT_RECV_TYPE, 0, {0, 1}},
                       {IPMI_RESPONSE_RECV_TYPE, 1, {0, 2}},
                       {IPMI_RESPONSE_RECV_TYPE, 0, {0xC1, 3, 4}}};
    EXPECT_EQ(transport.Unavailable(), "");
    EXPECT_EQ(transport.Exchange(kRequest, answer), "");
    EXPECT_EQ(answer.completionCode, 0xC1);
    EXPECT_THAT(Bytes(answer.data.begin(), answer.data.begin() + answer.length), ElementsAre(3, 4));
    EXPECT_THAT(gKernel.requests, ElementsAre(Bytes{0x3A, 2, 0x4D, 1}));
    gKernel.answers = {{IPMI_RESPONSE_RECV_TYPE, 0, Bytes(272, 0x5A)}};
    EXPECT_EQ(transport.Exchange(kRequest, answer), "");
    EXPECT_EQ(answer.length, 247u) << "what does not fit is cut";
    EXPECT_EQ(answer.data.back(), 0x5A);
}

TEST_F(KernelTransportTest, FailuresAreToldAndTheCommandIsSentOnce)
{
    const std::string device = Device();
    gKernel.answers = {{IPMI_ASYNC_EVENT_RECV_TYPE, 0, {0}}};
    EXPECT_EQ(KernelTransport({device}, 200ms).Exchange(kRequest, answer),
              "no answer from the IPMI device " + device + ": Connection timed out");
    EXPECT_EQ(gKernel.requests.size(), 1u);
}

} // namespace
