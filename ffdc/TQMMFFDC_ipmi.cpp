// The three IPMI exchanges with the service processor.
#include "ffdc/TQMMFFDC.h"

#include "common/Log.h"
#include "common/Wipe.h"
#include "platform/spdriver/SPLibrary.h"

#include <array>
#include <optional>

using NORXVXA20::SPLibrary;

namespace {

constexpr unsigned char kResponderAddress = 0x20;
constexpr unsigned char kOemNetworkFunction = 0x3A;
constexpr unsigned char kStartCollection = 0x49;
constexpr unsigned char kQueryCollection = 0x4D;
constexpr unsigned char kGetCredential = 0x79;

constexpr std::size_t kCompletionCode = 4;
constexpr std::size_t kData = 9;

// Request and answer share the frame.
using Frame = std::array<unsigned char, 256>;

Frame Request(unsigned char command)
{
    Frame frame{};
    frame[0] = 0x01;
    frame[1] = kResponderAddress;
    frame[2] = kOemNetworkFunction;
    frame[3] = 0x00; // LUN
    frame[4] = command;
    frame[5] = 1; // data length, 32-bit little-endian
    frame[kData] = 0x01;
    return frame;
}

std::optional<Frame> Fail(const std::string& operation, const std::string& what)
{
    DebugLog("TQMMFFDC::" + operation + "(): " + what);
    return std::nullopt;
}

// One exchange with its entry line; the answer, or nothing after the failure has been logged.
std::optional<Frame> Exchange(const std::string& operation, unsigned char command)
{
    DebugLog("Entering TQMMFFDC::" + operation + "().");
    Frame frame = Request(command);
    int length = static_cast<int>(frame.size());
    SPLibrary* driver = SPLibrary::GetSplibraryInstance(0);
    if (driver == nullptr)
        return Fail(operation, "Error loading SPLibrary.");
    if (!driver->sendIPMICommand(frame.data(), &length, static_cast<int>(frame.size()), true))
        return Fail(operation, "Error sending IPMI command.");
    if (frame[kCompletionCode] != 0)
        return Fail(operation, "Error sending IPMI command #2.");
    return frame;
}

// A length-prefixed string of the answer; position moves behind it. Nothing when it runs past the
// end.
std::optional<std::string> ReadString(const Frame& answer, std::size_t& position)
{
    if (position >= answer.size())
        return std::nullopt;
    const std::size_t length = answer[position];
    const std::size_t begin = position + 1;
    if (length > answer.size() - begin)
        return std::nullopt;
    position = begin + length;
    return std::string(answer.begin() + begin, answer.begin() + position);
}

} // namespace

bool TQMMFFDC::CollectFiles()
{
    if (!Exchange("CollectFiles", kStartCollection))
        return false;
    DebugLog("Exiting TQMMFFDC::CollectFiles().");
    return true;
}

int TQMMFFDC::IsCollectionFinished()
{
    const std::optional<Frame> answer = Exchange("IsCollectionFinished", kQueryCollection);
    if (!answer)
        return -1;
    DebugLog("Exiting TQMMFFDC::IsCollectionFinished().");
    return (*answer)[kData] == 1 ? 1 : 0;
}

bool TQMMFFDC::GetCredential(std::string& user, std::string& password)
{
    std::optional<Frame> answer = Exchange("GetCredential", kGetCredential);
    if (!answer)
        return false;
    std::size_t position = kData;
    std::optional<std::string> newUser = ReadString(*answer, position);
    std::optional<std::string> newPassword;
    if (newUser)
        newPassword = ReadString(*answer, position);
    WipeBytes(answer->data(), answer->size());
    if (!newPassword) {
        DebugLog("TQMMFFDC::GetCredential(): Error reading credential beyond the IPMI answer.");
        return false;
    }
    user.swap(*newUser);
    password.swap(*newPassword);
    DebugLog("Exiting TQMMFFDC::GetCredential().");
    return true;
}
