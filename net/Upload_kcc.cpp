// The upload through the maker's customer-care library.
#include "net/Upload.h"

#include "BuildValues.h"
#include "common/Log.h"
#include "osdep/DynamicLibrary.h"
#include "platform/kccupload/KccUpload.h"
#include "platform/vxacore/TOSSpecific.h"
#include "platform/vxacore/TRootObject.h"

#include <iostream>

using NORXVXA20::HTTPProxyInfo;
using NORXVXA20::ILogger;
using NORXVXA20::TOSSpecific;
using NORXVXA20::TRootObject;

namespace {

constexpr int kAnswerSeconds = 10;
constexpr int kNoKey = -1;

bool IsWebHostReachable(const HTTPProxyInfo& proxy)
{
    if (proxy.useProxy)
        return true;
    const int code = TOSSpecific::DetectHostnameAvailable(UTILS_WEB_HOST, "80");
    if (code == 0)
        return true;
    EchoMsg("Internet connection is not available. Output results couldn't be uploaded to ORX "
            "website. ");
    DebugLog("Could not find " UTILS_WEB_HOST ", return code is " + std::to_string(code));
    return false;
}

// The next key of the console, or none after a second without one.
int NextKey()
{
    const int key = TOSSpecific::IsKeyWaiting() ? TOSSpecific::GetKeyboardChar() : kNoKey;
    if (key == kNoKey)
        TOSSpecific::USleep(1000);
    return key;
}

// Asks whether to upload; silence is a yes.
bool IsUploadWanted()
{
    EchoMsg("Internet connection is available, do you want to upload output results to ORX "
            "website? (default is 'Y' in 10 seconds without selecting)(Y/N)");
    for (int second = 0; second < kAnswerSeconds; ++second) {
        const int key = NextKey();
        if (key == 'Y' || key == 'y') {
            EchoMsg("You have selected 'Y'");
            return true;
        }
        if (key == 'N' || key == 'n') {
            EchoMsg("You have selected 'N'");
            return false;
        }
        if (key == kNoKey)
            continue;
        EchoMsg("You haven't input the right key!");
        // Deliberate: two blanks before the bracket when the question is repeated.
        EchoMsg("Internet connection is available, do you want to upload output results to ORX "
                "website?  (default is 'Y' in 10 seconds without selecting)(Y/N)");
        second = 0; // Deliberate: this pass counts, so nine more seconds follow.
    }
    return true;
}

// The library's result; its failure result also when it, or its entry point, is missing.
int Submit(const HTTPProxyInfo& proxy, const std::string& file)
{
    void* const library = LoadDynamicLibrary(kccupload::kLibraryName);
    if (library == nullptr) {
        DebugLog(std::string("UploadFileByKCC ERROR: Failed to load ") + kccupload::kLibraryName);
        return kccupload::kFailed;
    }
    int result = kccupload::kFailed;
    const auto submit =
        FindLibraryFunction<kccupload::StatusReportSubmit>(library, "KCCStatusReportSubmit");
    if (submit != nullptr)
        // Deliberate: fixed texts, whatever the system.
        result = submit(proxy, file, "data/orx.vxa-direct.vxa", "", "orx/kseries", "5.20",
                        "Windows XP", "QSA project");
    else
        DebugLog(std::string("UploadFileByKCC ERROR: ") + kccupload::kLibraryName +
                 " has no KCCStatusReportSubmit");
    UnloadDynamicLibrary(library);
    return result;
}

} // namespace

int UploadFileByKCC(const HTTPProxyInfo& proxy, std::string file)
{
    DebugLog("Entering UploadFileByKCC");
    if (!IsWebHostReachable(proxy))
        return -1;
    if (!IsUploadWanted())
        return -2;
    std::cout << "\n\n";
    EchoMsg("Prepare to upload data.....");
    if (Submit(proxy, file) == kccupload::kFailed) {
        if (ILogger* logger = TRootObject::GetCoreLogger())
            logger->Log(0, "When upload VXA result through KCC has some problems.");
        EchoMsg("Transfer failed.");
        return -1;
    }
    EchoMsg("Upload " + file + " file successfully.");
    DebugLog("Exiting UploadFileByKCC");
    return 0;
}
