#pragma once

#include "platform/vxacore/TCIMValue.h"

#include <string>

namespace NORXVXA20 {

// A property of an instance.
class ICIMProperty {
public:
    virtual ~ICIMProperty() = default;
    // The value with its type, as the instance held it when it was enumerated.
    virtual TCIMValue GetValue() const = 0;
    // The value as text; empty when it is null.
    virtual std::string GetValueAsString() const = 0;
};

} // namespace NORXVXA20
