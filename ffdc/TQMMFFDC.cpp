#include "ffdc/TQMMFFDC.h"

#include "BuildValues.h"
#include "common/Log.h"
#include "common/Wipe.h"
#include "osdep/VXAOSDep.h"
#include "platform/vxacore/TOSSpecific.h"

#include <cstdio>
#include <iostream>
#include <utility>

using NORXVXA20::TOSSpecific;
using NORXVXA20::VXAOSDep;

int const TQMMFFDC::cs_iTimeout = 360;
const char* const TQMMFFDC::cs_strInbandPath = UTILS_INBAND_ADDRESS ":115/download/ffdc";

namespace {

constexpr int kPollSeconds = 5;

// The remote location in the form that the SFTP copy takes. The listing has already refused
// credentials for which this is too long.
std::string RemoteLocation(const std::string& user, const std::string& password)
{
    char buffer[128] = {};
    std::snprintf(buffer, sizeof buffer, "%s:%s@%s", user.c_str(), password.c_str(),
                  TQMMFFDC::cs_strInbandPath);
    std::string location = buffer;
    WipeBytes(buffer, sizeof buffer);
    return location;
}

void CopyFiles(const std::string& user, const std::string& password,
               const std::vector<std::string>& names, const std::string& outputDir)
{
    for (const std::string& name : names) {
        DebugLog("TQMMFFDC::Capture(): Getting file = " + name);
        std::string remote = RemoteLocation(user, password);
        const ScopedWipe wipeRemote(remote);
        const std::string localPath = outputDir + VXAOSDep::gFileSeparator + name;
        TOSSpecific::sFTPFileFromORX(remote, localPath, name);
        // Deliberate: said of every file, also of one that could not be copied.
        EchoMsg("Captured QMM FFDC data: " + localPath);
    }
}

} // namespace

TQMMFFDC::TQMMFFDC(std::string outputDir)
    : m_outputDir(std::move(outputDir)), m_curlLibrary(nullptr), m_curl(nullptr)
{
    // Deliberate: these are the lines of InitCurl, not lines of the constructor's own.
    DebugLog("Entering TQMMFFDC::InitCurl().");
    DebugLog("Exiting TQMMFFDC::InitCurl().");
}

TQMMFFDC::TQMMFFDC(const TQMMFFDC& other) = default;
TQMMFFDC& TQMMFFDC::operator=(const TQMMFFDC& other) = default;
// Deliberate: libcurl is neither cleaned up nor unloaded here; copies share its handles.
TQMMFFDC::~TQMMFFDC() = default;

// Polls until the service processor is ready, a dot a poll. False when it does not get so far.
bool TQMMFFDC::WaitForCollection()
{
    std::cout << "In progress";
    for (int elapsed = 0;; elapsed += kPollSeconds) {
        std::cout << "." << std::flush;
        TOSSpecific::USleep(kPollSeconds * 1000);
        const int finished = IsCollectionFinished();
        if (finished == -1) {
            // Deliberate: the dots get no line end.
            DebugLog("TQMMFFDC::Capture(): Error invoking IsCollectionFinished().");
            return false;
        }
        // Deliberate: the limit is tested before the answer, which no longer counts then.
        if (elapsed >= cs_iTimeout) {
            std::cout << "\n";
            EchoMsg("\nTimeout getting QMM FFDC, please try to run VXA again to fix the problem.");
            return false;
        }
        if (finished != 0) {
            std::cout << "\n";
            return true;
        }
    }
}

bool TQMMFFDC::Capture()
{
    DebugLog("Entering TQMMFFDC::Capture().");
    EchoMsg("Running QMM FFDC(First Failure Data Capture) collection.");
    if (!CollectFiles()) {
        EchoMsg("Failed collecting QMM FFDC data.");
        return false;
    }
    if (!WaitForCollection())
        return false;

    std::string user;
    std::string password;
    const ScopedWipe wipeUser(user);
    const ScopedWipe wipePassword(password);
    if (!GetCredential(user, password)) {
        EchoMsg("Failed getting QMM credential.");
        return false;
    }
    if (!InitCurl()) {
        // Deliberate: without UinitCurl, so a library that loaded stays loaded.
        EchoMsg("Failed getting QMM FFDC data.");
        return false;
    }
    std::vector<std::string> names;
    if (!GetFileNames(user, password, names)) {
        EchoMsg("Failed getting QMM FFDC data files.");
        UinitCurl();
        return false;
    }
    UinitCurl();

    try {
        CopyFiles(user, password, names, m_outputDir);
    } catch (...) {
        EchoMsg("Failed transfering QMM FFDC data files."); // Deliberate: the spelling.
        return false;
    }
    DebugLog("Exiting TQMMFFDC::Capture().");
    return true;
}
