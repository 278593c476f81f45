#include "simulators/chassis/Model.h"

#include <algorithm>
#include <cctype>

namespace chassis {

namespace {

constexpr char kDataClass[] = "ORX_ChassisFFDCData";

std::string DataId(std::size_t index)
{
    return "ffdc <" + std::to_string(index + 1) + "> & \"data\"";
}

} // namespace

bool SameName(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

Model::Model(const std::string& version, const std::vector<std::string>& locations)
    : m_classes{{"CIM_ManagedElement", "", {}},
                {"CIM_SoftwareIdentity", "CIM_ManagedElement", {}},
                {"ORX_ChassisSoftware", "CIM_SoftwareIdentity", {}},
                {"ORX_FFDCData", "CIM_ManagedElement", {}},
                {kDataClass, "ORX_FFDCData", {}},
                {"ORX_FFDCService",
                 "CIM_ManagedElement",
                 {"StartDataCollection", "EndDataCollection"}},
                {"ORX_ChassisFFDCService", "ORX_FFDCService", {}}},
      m_locations(locations)
{
    m_instances.push_back({"ORX_ChassisSoftware",
                           {{"InstanceID", "string", "chassis:switch:1"},
                            {"VersionString", "string", "9.9"},
                            {"ElementName", "string", "Geh\xC3\xA4use <switch> & \"Co\""}}});
    m_instances.push_back({"ORX_ChassisSoftware",
                           {{"InstanceID", "string", "chassis:cmm:1"},
                            {"VersionString", "string", version},
                            {"MajorVersion", "uint16", "2"},
                            {"IsEntity", "boolean", "TRUE"}}});
    m_instances.push_back({"ORX_ChassisFFDCService", {{"Name", "string", "ffdc"}}});
    for (std::size_t i = 0; i < locations.size(); ++i)
        m_instances.push_back({kDataClass, {{"InstanceID", "string", DataId(i)}}});
}

const Class* Model::Find(const std::string& name) const
{
    const auto found = std::find_if(m_classes.begin(), m_classes.end(),
                                    [&](const Class& known) { return SameName(known.name, name); });
    return found != m_classes.end() ? &*found : nullptr;
}

bool Model::IsDerived(const std::string& name, const std::string& base) const
{
    const Class* known = Find(name);
    while (known != nullptr && !SameName(known->name, base))
        known = Find(known->base);
    return known != nullptr || base.empty();
}

std::vector<const Class*> Model::Subclasses(const std::string& base, bool deep) const
{
    std::vector<const Class*> found;
    for (const Class& known : m_classes) {
        const bool isChild = SameName(known.base, base);
        const bool isBelow = deep && !SameName(known.name, base) && IsDerived(known.name, base);
        if (isChild || isBelow)
            found.push_back(&known);
    }
    return found;
}

std::vector<const Instance*> Model::Instances(const std::string& className) const
{
    std::vector<const Instance*> found;
    for (const Instance& instance : m_instances) {
        if (IsDerived(instance.className, className))
            found.push_back(&instance);
    }
    return found;
}

bool Model::HasMethod(const Class& known, const std::string& method) const
{
    for (const Class* owner = &known; owner != nullptr; owner = Find(owner->base)) {
        for (const std::string& own : owner->methods) {
            if (SameName(own, method))
                return true;
        }
    }
    return false;
}

const std::string* Model::Location(const std::string& instanceId) const
{
    for (std::size_t i = 0; i < m_locations.size(); ++i) {
        if (DataId(i) == instanceId)
            return &m_locations[i];
    }
    return nullptr;
}

} // namespace chassis
