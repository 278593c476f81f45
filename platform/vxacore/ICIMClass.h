#pragma once

#include "platform/vxacore/ICIMInstance.h"
#include "platform/vxacore/TCIMValue.h"

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

namespace NORXVXA20 {

// A class of a namespace.
class ICIMClass {
public:
    // Is given one instance and says whether it wants more.
    using InstanceCallback = boost::function<bool(const boost::shared_ptr<ICIMInstance>&)>;

    virtual ~ICIMClass() = default;
    // Calls back once per instance of the class and its subclasses, in the server's order. deep:
    // with the properties that only the subclass has. Throws when the instances cannot be had.
    virtual void EnumerateInstances(const InstanceCallback& callback, bool deep,
                                    const TCIMOptions& options) = 0;
};

} // namespace NORXVXA20
