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
    using KeyValues = std::vector<std::pair<std::string, TCIMValue>>;

    TCIMReference(const boost::shared_ptr<ICIMNamespace>& nameSpace, const std::string& className,
                  const TCIMOptions& options);
    TCIMReference(const std::string& namespaceName, const std::string& className);
    TCIMReference(const TCIMReference& other);
    TCIMReference& operator=(const TCIMReference& other);
    ~TCIMReference();

    // Sets a key. A key of that name, compared without case, gets the new value.
    void AddKeyValue(const std::string& name, const TCIMValue& value);

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
