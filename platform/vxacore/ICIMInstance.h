#pragma once

#include "platform/vxacore/ICIMProperty.h"
#include "platform/vxacore/TCIMValue.h"

#include <boost/shared_ptr.hpp>

#include <string>

namespace NORXVXA20 {

// An instance as it was enumerated; it is not read again.
class ICIMInstance {
public:
    virtual ~ICIMInstance() = default;
    // The property of that name, compared without case; empty when the instance has none.
    virtual boost::shared_ptr<ICIMProperty> GetProperty(const std::string& name,
                                                        const TCIMOptions& options) = 0;
};

} // namespace NORXVXA20
