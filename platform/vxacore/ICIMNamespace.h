#pragma once

#include "platform/vxacore/ICIMClass.h"
#include "platform/vxacore/TCIMValue.h"

#include <boost/shared_ptr.hpp>

#include <string>
#include <vector>

namespace NORXVXA20 {

// A CIM namespace. Every operation throws on failure, also while there is no connection.
class ICIMNamespace {
public:
    virtual ~ICIMNamespace() = default;
    // As given when it was allocated, for example "root/cimv2"; valid as long as the namespace.
    virtual const std::string& GetName() const = 0;
    // The class of that name. It keeps the namespace alive.
    virtual boost::shared_ptr<ICIMClass> GetClass(const std::string& className,
                                                  const TCIMOptions& options) = 0;
    // Puts the names of the subclasses of className into names, without className itself; deep:
    // at every depth. True when there is at least one.
    virtual bool EnumerateClassNames(const std::string& namespaceName, const std::string& className,
                                     std::vector<std::string>& names, bool deep) = 0;
};

} // namespace NORXVXA20
