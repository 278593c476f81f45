#pragma once

#include "UtilsExport.h"
#include "platform/vxacore/ICIMNamespace.h"

#include <boost/shared_ptr.hpp>

#include <string>

namespace NORXVXA20 {

// Where the namespaces of chassis managers come from; one for the whole process.
class TCMMNamespaceProvider {
public:
    // The provider, made by the first call and shared by all.
    CMMNSP_API static boost::shared_ptr<TCMMNamespaceProvider> GetInstance();
    virtual ~TCMMNamespaceProvider() = default;
    // A new namespace, not connected, which is a TCMMNamespace. shared and options have no effect.
    virtual boost::shared_ptr<ICIMNamespace> AllocateNamespace(const std::string& name, bool shared,
                                                               const TCIMOptions& options) = 0;
};

} // namespace NORXVXA20
