// The three IPMI exchanges with the service processor.
#include "ffdc/TQMMFFDC.h"

#include "common/Log.h"
#include "common/Wipe.h"
#include "platform/spdriver/SPLibrary.h"

#include <array>

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

bool Fail(const std::string& operation, const std::string& what)
{
    DebugLog("TQMMFFDC::" + operation + "(): " + what);
    return false;
}

// One exchange with its entry line; frame gets the answer. False after the failure has been logged.
bool Exchange(const std::string& operation, unsigned char command, Frame& frame)
{
    DebugLog("Entering TQMMFFDC::" + operation + "().");
    frame = Request(command);
    int length = static_cast<int>(frame.size());
    SPLibrary* driver = SPLibrary::GetSplibraryInstance(0);
    if (driver == nullptr)
        return Fail(operation, "Error loading SPLibrary.");
    if (!driver->sendIPMICommand(frame.data(), &length, static_cast<int>(frame.size()), true))
        return Fail(operation, "Error sending IPMI command.");
    return frame[kCompletionCode] == 0 || Fail(operation, "Error sending IPMI command #2.");
}

// Reads the two length-prefixed strings of the answer. False, with both arguments untouched, when
// they run past its end.
bool ReadCredential(const Frame& answer, std::string& user, std::string& password)
{
    const std::size_t userBegin = kData + 1;
    const std::size_t userEnd = userBegin + answer[kData];
    if (userEnd >= answer.size())
        return false;
    const std::size_t passwordBegin = userEnd + 1;
    const std::size_t passwordEnd = passwordBegin + answer[userEnd];
    if (passwordEnd > answer.size())
        return false;
    user.assign(answer.begin() + userBegin, answer.begin() + userEnd);
    password.assign(answer.begin() + passwordBegin, answer.begin() + passwordEnd);
    return true;
}

} // namespace

bool TQMMFFDC::CollectFiles()
{
    Frame answer;
    if (!Exchange("CollectFiles", kStartCollection, answer))
        return false;
    DebugLog("Exiting TQMMFFDC::CollectFiles().");
    return true;
}

int TQMMFFDC::IsCollectionFinished()
{
    Frame answer;
    if (!Exchange("IsCollectionFinished", kQueryCollection, answer))
        return -1;
    DebugLog("Exiting TQMMFFDC::IsCollectionFinished().");
    return answer[kData] == 1 ? 1 : 0;
}

bool TQMMFFDC::GetCredential(std::string& user, std::string& password)
{
    Frame answer;
    if (!Exchange("GetCredential", kGetCredential, answer))
        return false;
    const bool isWhole = ReadCredential(answer, user, password);
    WipeBytes(answer.data(), answer.size());
    if (!isWhole)
        return Fail("GetCredential", "Error reading credential beyond the IPMI answer.");
    DebugLog("Exiting TQMMFFDC::GetCredential().");
    return true;
}
