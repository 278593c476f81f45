// The object, its connection, the naming of the output and the whole run.
#include "ffdc/TCMMFFDC.h"

#include "common/Log.h"
#include "common/TVXAException.h"
#include "common/Wipe.h"
#include "osdep/VXAOSDep.h"
#include "platform/cmmnsp/TCMMNamespace.h"
#include "platform/cmmnsp/TCMMNamespaceProvider.h"
#include "platform/vxacore/TAddToVectorCallback.h"
#include "platform/vxacore/TOSSpecific.h"

#include <boost/pointer_cast.hpp>

#include <cstdio>
#include <utility>
#include <vector>

using NORXVXA20::ICIMClass;
using NORXVXA20::ICIMInstance;
using NORXVXA20::TAddToVectorCallback;
using NORXVXA20::TCIMDateTime;
using NORXVXA20::TCIMOptions;
using NORXVXA20::TCMMNamespace;
using NORXVXA20::TCMMNamespaceProvider;
using NORXVXA20::TOSSpecific;
using NORXVXA20::TVXAException;
using NORXVXA20::TVXAStatusCode;
using NORXVXA20::VXAOSDep;

// No pointer of this class is tested for null: using an empty shared pointer ends in the core
// library's assertion handler, which throws, and every step below has a handler around it.

namespace {

constexpr int kDefaultPort = 5988;

// YYYYMMDD-HHMMSS.
std::string Stamp(const TCIMDateTime& time)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04u%02u%02u-%02u%02u%02u", unsigned{time.GetYear()},
                  unsigned{time.GetMonth()}, time.GetDay(), unsigned{time.GetHour()},
                  unsigned{time.GetMinute()}, unsigned{time.GetSecond()});
    return buffer;
}

} // namespace

TCMMFFDC::TCMMFFDC(std::string outputDir, std::string user, std::string password, std::string host,
                   int port)
    : m_strOutputDir(std::move(outputDir)), m_strHost(std::move(host)), m_strUser(std::move(user)),
      m_strPassword(std::move(password)), m_iPort(port == 0 ? kDefaultPort : port)
{}

TCMMFFDC::TCMMFFDC(const TCMMFFDC& other) = default;
TCMMFFDC& TCMMFFDC::operator=(const TCMMFFDC& other) = default;

TCMMFFDC::~TCMMFFDC()
{
    try {
        // Deliberate: also without a connection; that is logged as a failure.
        m_pNamespace->disconnect();
    } catch (...) {
        DebugLog("TCMMFFDC::~TCMMFFDC - CMMNamespace disconnect failed");
    }
    WipeBytes(m_strPassword);
}

// Deliberate: the failures name the operation "GetNamespace".
void TCMMFFDC::GetCMMNamespace()
{
    DebugLog("Entering TCMMFFDC::GetCMMNamespace");
    try {
        m_pNamespace = boost::dynamic_pointer_cast<TCMMNamespace>(
            TCMMNamespaceProvider::GetInstance()->AllocateNamespace("root/cimv2", false,
                                                                    TCIMOptions()));
    } catch (...) {
        DebugLog("TCMMFFDC::GetNamespace - Exception: Allocate CMM namespace failed");
        SetRetMessage("Fail to allocate CMM namespace.");
        throw TVXAException(TVXAStatusCode::eCannotConnect);
    }
    try {
        m_pNamespace->connect(m_strHost, m_strUser, m_strPassword, m_iPort);
    } catch (...) {
        DebugLog("TCMMFFDC::GetNamespace - Exception: CMMNamespace connect failed");
        SetRetMessage("Fail to connect to CMM.");
        throw TVXAException(TVXAStatusCode::eCannotConnect);
    }
    DebugLog("Exiting TCMMFFDC::GetCMMNamespace");
}

// The firmware version of the first software identity that belongs to the chassis manager.
std::string TCMMFFDC::GetCMMVersion()
{
    const TCIMOptions options;
    const boost::shared_ptr<ICIMClass> identity =
        m_pNamespace->GetClass("CIM_SoftwareIdentity", options);
    std::vector<boost::shared_ptr<ICIMInstance>> instances;
    identity->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, options);
    for (const boost::shared_ptr<ICIMInstance>& instance : instances) {
        const std::string id = instance->GetProperty("InstanceID", options)->GetValueAsString();
        if (id.find("cmm") != std::string::npos)
            return instance->GetProperty("VersionString", options)->GetValueAsString();
    }
    return "Unknown";
}

void TCMMFFDC::InitFFDCOutputName()
{
    DebugLog("Entering TCMMFFDC::InitFFDCOutputName");
    std::string version = "Unknown";
    try {
        version = GetCMMVersion();
    } catch (...) {
        // Deliberate: no blank before the dash.
        DebugLog("TCMMFFDC::InitFFDCOutputName- Exception: Get CMM version failed");
    }
    // Deliberate: the version enters the name as the chassis sent it; the packer's command and the
    // removal of the directory are what has to cope with it.
    m_strFFDCOutputName = m_strOutputDir + VXAOSDep::gFileSeparator + "FFDC_" + version + "_" +
                          Stamp(TOSSpecific::GetLocalTime());
    try {
        if (!TOSSpecific::DirExists(m_strFFDCOutputName))
            TOSSpecific::CreateDir(m_strFFDCOutputName);
    } catch (const TVXAException& e) {
        // Deliberate: the spelling belongs to the message.
        DebugLog(std::string("TCMMFFDC::InitFFDCOutputName - Exception caugth when create dir,") +
                 e.what());
    }
    DebugLog("Exiting TCMMFFDC::InitFFDCOutputName");
}

void TCMMFFDC::Initialize()
{
    GetCMMNamespace();
    InitFFDCOutputName();
}

bool TCMMFFDC::RunFFDCCollection(std::string& zipPath)
{
    DebugLog("Entering TCMMFFDC::RunFFDCCollection");
    bool result = false;
    // Deliberate: what these throw leaves without clean-up, so that what arrived is kept.
    Initialize();
    if (InvokeFFDCMethod() && ZipFFDCData()) {
        zipPath = m_strFFDCOutputName + ".zip";
        result = true;
    }
    try {
        if (TOSSpecific::DirExists(m_strFFDCOutputName))
            VXAOSDep::RemoveDir(m_strFFDCOutputName);
    } catch (const TVXAException& e) {
        // Deliberate: the spelling belongs to the message.
        DebugLog(std::string("TCMMFFDC::RunFFDCCollection - Exception caugth when remove dir,") +
                 e.what());
    }
    DebugLog("Exiting TCMMFFDC::RunFFDCCollection");
    return result;
}

std::string TCMMFFDC::GetRetMessage()
{
    return m_strRetMessage;
}

void TCMMFFDC::SetRetMessage(const std::string& message)
{
    m_strRetMessage = message;
}
