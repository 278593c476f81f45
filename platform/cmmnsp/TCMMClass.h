#pragma once

#include "platform/vxacore/ICIMClass.h"
#include "platform/vxacore/TCIMReference.h"

#include <map>
#include <string>

namespace NORXVXA20 {

// A class of a chassis manager's namespace.
class TCMMClass : public ICIMClass {
public:
    // Calls a method of the object at path and returns when its work is done, which may take many
    // minutes; the call is sent once and never repeated. out gets the output parameters, sorted by
    // name. Returns the method's own return value, whatever it says; null when there is none.
    virtual TCIMValue InvokeMethod(const TCIMReference& path, const std::string& method,
                                   const std::map<std::string, TCIMValue>& in,
                                   std::map<std::string, TCIMValue>& out,
                                   const TCIMOptions& options) = 0;
};

} // namespace NORXVXA20
