// The download of what the chassis manager collected, and its packing.
#include "ffdc/TCMMFFDC.h"

#include "common/Log.h"
#include "common/TVXAException.h"
#include "common/Wipe.h"
#include "ffdc/Packer.h"
#include "osdep/VXAOSDep.h"
#include "platform/vxacore/TOSSpecific.h"

#include <algorithm>

using NORXVXA20::TOSSpecific;
using NORXVXA20::TVXAException;
using NORXVXA20::VXAOSDep;

namespace {

constexpr char kScheme[] = "sftp://";
constexpr int kPackerLimit = 300; // seconds without output

// The path as one word of the packer's command line.
std::string CommandWord(const std::string& path)
{
    return path.find(' ') == std::string::npos ? path : '"' + path + '"';
}

// False for a path that cannot stand in a command line as one word. The chassis manager's version
// text, which comes from the network, is part of it.
bool IsPackable(const std::string& path)
{
    return std::none_of(path.begin(), path.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte == '"' || byte < 0x20 || byte == 0x7F;
    });
}

} // namespace

void TCMMFFDC::DownloadFFDCData(std::string uri)
{
    DebugLog("Entering TCMMFFDC::DownloadFFDCData");
    if (!uri.empty()) {
        std::string remoteFile;
        std::string remotePath;
        const ScopedWipe wipePath(remotePath);
        const std::size_t slash = uri.rfind('/');
        if (slash != std::string::npos && slash < uri.size() - 1) {
            remoteFile = uri.substr(slash + 1);
            remotePath = uri.substr(0, slash);
        }
        // Deliberate: the first characters go, wherever the scheme stands.
        if (remotePath.find(kScheme) != std::string::npos)
            remotePath.erase(0, sizeof kScheme - 1);
        // Deliberate: a location that names no file is tried all the same.
        if (remotePath.find('@') == std::string::npos)
            remotePath.insert(0, m_strUser + ":" + m_strPassword + "@");
        const std::string localFile = m_strFFDCOutputName + VXAOSDep::gFileSeparator + remoteFile;
        // Deliberate: no colon behind the last label. The logger masks the password.
        DebugLog("Remote Path:" + remotePath + ", Local FileName:" + localFile +
                 ", Remote FileName" + remoteFile);
        try {
            TOSSpecific::sFTPFileFromORX(remotePath, localFile, remoteFile);
        } catch (const TVXAException& e) {
            // Deliberate: the spelling belongs to the message.
            DebugLog(
                std::string("TCMMFFDC::DownloadFFDCData - Exception caugth when sFTPFileFromORX") +
                e.what());
        }
    }
    DebugLog("Exiting TCMMFFDC::DownloadFFDCData");
}

bool TCMMFFDC::ZipFFDCData()
{
    DebugLog("Entering TCMMFFDC::ZipFFDCData");
    bool result = false;
    if (TOSSpecific::ListDir(m_strFFDCOutputName).empty()) {
        SetRetMessage("No FFDC data was collected.");
    } else if (!IsPackable(m_strFFDCOutputName)) {
        SetRetMessage("Fail to ZIP the FFDC data.");
        DebugLog("TCMMFFDC::ZipFFDCData - The name holds a quote or a control byte!");
    } else {
        const std::string command = std::string(kPacker) + " -m -r -j " +
                                    CommandWord(m_strFFDCOutputName + ".zip") + " " +
                                    CommandWord(m_strFFDCOutputName);
        try {
            DebugLog("cmd:" + command);
            const std::string output = TOSSpecific::SpawnProcess(command, kPackerLimit);
            DebugLog("ret:" + output);
            // Deliberate: the packer's exit status is not looked at.
            if (output.find("zip error") != std::string::npos) {
                SetRetMessage("Fail to ZIP the FFDC data.");
                DebugLog("TCMMFFDC::ZipFFDC - Zip FFDC data files failed!");
            } else {
                result = true;
            }
        } catch (const TVXAException& e) {
            // Deliberate: the return message stays as it is.
            DebugLog("TCMMFFDC::ZipFFDCData - Exception caught when SpawnProcess:" + command +
                     ", " + e.what());
        }
    }
    DebugLog("Exiting TCMMFFDC::ZipFFDCData");
    return result;
}
