// The chassis manager's FFDC method, called once per data instance.
#include "ffdc/TCMMFFDC.h"

#include "common/Log.h"
#include "common/TVXAException.h"
#include "platform/cmmnsp/TCMMClass.h"
#include "platform/cmmnsp/TCMMNamespace.h"
#include "platform/vxacore/TAddToVectorCallback.h"

#include <boost/pointer_cast.hpp>

#include <map>
#include <vector>

using NORXVXA20::ICIMClass;
using NORXVXA20::ICIMInstance;
using NORXVXA20::TAddToVectorCallback;
using NORXVXA20::TCIMOptions;
using NORXVXA20::TCIMReference;
using NORXVXA20::TCIMValue;
using NORXVXA20::TCMMClass;
using NORXVXA20::TVXAException;
using NORXVXA20::TVXAStatusCode;

namespace {

using Parameters = std::map<std::string, TCIMValue>;

constexpr char kNamespace[] = "root/cimv2";
constexpr char kDataBaseClass[] = "ORX_FFDCData";
constexpr char kServiceBaseClass[] = "ORX_FFDCService";
constexpr unsigned char kDecimal = 10;

} // namespace

bool TCMMFFDC::InvokeFFDCMethod()
{
    DebugLog("Entering TCMMFFDC::InvokeFFDCMethod");
    bool result = false;
    try {
        result = CollectEveryInstance();
    } catch (const TVXAException& e) {
        DebugLog(std::string("TCMMFFDC::InvokeFFDCMethod - TVXAEXCEPTION: ") + e.what());
        // Deliberate: also in place of a message set before the exception.
        SetRetMessage("Fail to invoke the FFDC method on CMM.");
        throw TVXAException(TVXAStatusCode::eFailed);
    } catch (...) {
        DebugLog("TCMMFFDC::InvokeFFDCMethod - EXCEPTION: Run FFDC service failed");
        SetRetMessage("Invoke the FFDC method on CMM failed.");
        throw TVXAException(TVXAStatusCode::eFailed);
    }
    DebugLog("Exiting TCMMFFDC::InvokeFFDCMethod");
    return result;
}

// False when the chassis manager has no data instance.
bool TCMMFFDC::CollectEveryInstance()
{
    const TCIMOptions options;
    std::vector<std::string> dataNames;
    std::vector<std::string> serviceNames;
    m_pNamespace->EnumerateClassNames(kNamespace, kDataBaseClass, dataNames, true);
    m_pNamespace->EnumerateClassNames(kNamespace, kServiceBaseClass, serviceNames, true);
    if (dataNames.empty() || serviceNames.empty()) {
        SetRetMessage("Fail to enumerate the classes \"ORX_FFDCData\" and \"ORX_FFDCService\" from "
                      "CMM.");
        throw TVXAException(TVXAStatusCode::eFailed);
    }

    const TCIMReference servicePath(m_pNamespace, serviceNames.front(), options);
    TCIMReference dataPath(m_pNamespace, dataNames.front(), options);
    const boost::shared_ptr<ICIMClass> dataClass =
        m_pNamespace->GetClass(dataNames.front(), options);
    std::vector<boost::shared_ptr<ICIMInstance>> instances;
    dataClass->EnumerateInstances(TAddToVectorCallback<ICIMInstance>(instances), true, options);
    const auto service = boost::dynamic_pointer_cast<TCMMClass>(
        m_pNamespace->GetClass(serviceNames.front(), options));
    if (instances.empty()) {
        SetRetMessage("No instance of class ORX_FFDCData was enumerated from CMM.");
        return false;
    }

    // Deliberate: a location outlives its instance, so one without a location of its own has the
    // previous file downloaded again.
    std::string uri;
    for (const boost::shared_ptr<ICIMInstance>& instance : instances) {
        const std::string instanceId =
            instance->GetProperty("InstanceID", options)->GetValue().ToString(kDecimal);
        TCIMValue key;
        key.Set(instanceId);
        // Deliberate: one path for all instances; the key takes the next instance's value.
        dataPath.AddKeyValue("InstanceID", key);
        StartDataCollection(service, servicePath, dataPath, uri);
        if (uri.empty())
            DebugLog("TCMMFFDC::InvokeFFDCMethod - Do not get the sftp URI this time!");
        else
            DownloadFFDCData(uri);
        EndDataCollection(service, servicePath);
    }
    return true;
}

// Has the data instance at dataPath collected. uri gets the first output parameter by name, and
// stays as it is when there is none.
void TCMMFFDC::StartDataCollection(const boost::shared_ptr<TCMMClass>& service,
                                   const TCIMReference& servicePath, const TCIMReference& dataPath,
                                   std::string& uri)
{
    Parameters in;
    Parameters out;
    in["DataCollectionType"] = TCIMValue(dataPath);
    in["RequestedScheme"] = TCIMValue("0x8002"); // Deliberate: the text, not the number.
    in["InitializationNeeded"] = TCIMValue(true);
    service->InvokeMethod(servicePath, "StartDataCollection", in, out, TCIMOptions());
    if (!out.empty())
        uri = out.begin()->second.ToString(kDecimal);
}

void TCMMFFDC::EndDataCollection(const boost::shared_ptr<TCMMClass>& service,
                                 const TCIMReference& servicePath)
{
    Parameters out;
    try {
        service->InvokeMethod(servicePath, "EndDataCollection", Parameters(), out, TCIMOptions());
    } catch (...) {
        DebugLog("TCMMFFDC::InvokeFFDCMethod - Invoke method EndDataCollection failed!!!!");
    }
}
