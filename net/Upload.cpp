// The upload over FTP.
#include "net/Upload.h"

#include "BuildValues.h"
#include "common/Log.h"
#include "common/TVXAException.h"
#include "osdep/VXAOSDep.h"
#include "platform/vxacore/TOSSpecific.h"

#include <iostream>

using NORXVXA20::TOSSpecific;
using NORXVXA20::TVXAException;
using NORXVXA20::TVXAStatusCode;
using NORXVXA20::VXAOSDep;

namespace {

constexpr const char* kBanner = "                              ***************";
constexpr const char* kDropFolder = "/kserver/toorx/kseries/fdr_upload/";
constexpr int kCountdownSeconds = 10;
constexpr int kNoKey = -1;

void DiscardKeys()
{
    while (TOSSpecific::IsKeyWaiting()) {
        const int key = TOSSpecific::GetKeyboardChar();
        if (key == kNoKey)
            return;
        DebugLog("Eat an input char: " + std::to_string(key));
    }
}

// Warns of the unencrypted channel and counts down, a dot a second. False when a key cancels.
bool MayProceed(bool toService)
{
    EchoMsg("");
    EchoMsg(kBanner);
    EchoMsg(std::string("Attempted data upload to ") + (toService ? "ORX" : "FTP") +
            " server by means of an unencrypted channel will");
    DiscardKeys();
    EchoMsg("proceed in 10 seconds.  Press any key to cancel the attempted upload.");
    EchoMsg(kBanner);
    for (int second = 0; second < kCountdownSeconds; ++second) {
        if (TOSSpecific::IsKeyWaiting() && TOSSpecific::GetKeyboardChar() != kNoKey) {
            EchoMsg("\nUpload cancelled.");
            return false;
        }
        TOSSpecific::USleep(1000);
        std::cout << "." << std::flush;
    }
    return true;
}

// The name after the last separator; the whole path when it has none.
std::string BareName(const std::string& path)
{
    const std::size_t separator = path.rfind(VXAOSDep::gFileSeparator);
    return separator == std::string::npos
               ? path
               : path.substr(separator + VXAOSDep::gFileSeparator.size());
}

std::string FailureLine(const TVXAException& failure, bool toService)
{
    switch (failure.GetStatusCode().GetStatusCode()) {
    case TVXAStatusCode::eCannotConnect:
        return toService ? "ERROR: Couldn't connect to ORX Service."
                         : "ERROR: Couldn't connect to User FTP.";
    case TVXAStatusCode::eNoRoute:
        return "ERROR: Couldn't establish Internet connection.";
    case TVXAStatusCode::eNoTransferLibrary:
        return "ERROR: Couldn't load curl library, verify that libcurl.so is installed.";
    case TVXAStatusCode::ePermissionDenied:
        return "ERROR: Permission Denied.";
    default:
        return std::string("ERROR: FTPFile threw exception ") + failure.what() + ".";
    }
}

void CopyLine(const std::string& line, char* buffer, int size)
{
    if (buffer == nullptr || size <= 0)
        return;
    // Deliberate: no terminator; the caller's buffer is zeroed.
    line.copy(buffer, static_cast<std::size_t>(size) - 1);
}

} // namespace

bool UploadFile(const std::string& localFile, const std::string& ftpServer, bool toService,
                bool warn, char* message, int size)
{
    DebugLog("Entering UploadFile");
    // Deliberate: a cancelled upload leaves no exit line and no result line.
    if (warn && !MayProceed(toService))
        return false;
    const std::string server = toService ? UTILS_UPLOAD_HOST : ftpServer;
    const std::string remoteName = (toService ? kDropFolder : "") + BareName(localFile);
    EchoMsg(toService ? "\nTransferring collected data to ORX Service."
                      : "\nTransferring collected data to FTP Server.");
    bool sent = false;
    std::string line;
    try {
        sent = TOSSpecific::FTPFile(server, localFile, remoteName);
        line = sent ? "Transfer completed." : "ERROR: Transfer failed.";
    } catch (const TVXAException& failure) {
        line = FailureLine(failure, toService);
    }
    EchoMsg(line);
    CopyLine(line, message, size);
    DebugLog("Exiting UploadFile");
    return sent;
}

bool UploadFileToORX(const std::string& localFile, bool warn, char* message, int size)
{
    DebugLog("Entering UploadFileToORX");
    const bool sent = UploadFile(localFile, "", true, warn, message, size);
    DebugLog("Exiting UploadFileToORX");
    return sent;
}
