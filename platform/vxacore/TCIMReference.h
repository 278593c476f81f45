#pragma once

#include "UtilsExport.h"
#include "platform/vxacore/ICIMNamespace.h"
#include "platform/vxacore/TCIMValue.h"

#include <boost/shared_ptr.hpp>

#include <string>
#include <utility>
#include <vector>

namespace NORXVXA20 {

// An object path: a class of a namespace and, for an instance, its keys. Copied by value; it
// remembers the namespace's name, not the namespace.
class VXACORE_API TCIMReference {
public:
    // Names and values of the keys.
    using KeyValues = std::vector<std::pair<std::string, TCIMValue>>;

    // A class by the namespace that holds it, which must not be null; options have no effect.
    TCIMReference(const boost::shared_ptr<ICIMNamespace>& nameSpace, const std::string& className,
                  const TCIMOptions& options);
    // The same by the namespace's name.
    TCIMReference(const std::string& namespaceName, const std::string& className);
    // Copied with its keys:
    TCIMReference(const TCIMReference& other);
    TCIMReference& operator=(const TCIMReference& other);
    ~TCIMReference();

    // Sets a key. A key of that name, compared without case, gets the new value.
    void AddKeyValue(const std::string& name, const TCIMValue& value);

    // The names as they were given, valid as long as the path:
    const std::string& GetNamespaceName() const;
    const std::string& GetTargetClass() const;
    // In the order in which the keys were added.
    const KeyValues& GetKeyValues() const;
    // For example root/cimv2:Log.Id="1".
    std::string ToString() const;

private:
    std::string m_namespace;
    std::string m_class;
    KeyValues m_keys;
};

} // namespace NORXVXA20
