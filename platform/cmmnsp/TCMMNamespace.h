#pragma once

#include "platform/vxacore/ICIMNamespace.h"

#include <string>

namespace NORXVXA20 {

// A CIM namespace of a chassis manager. For one thread at a time.
class TCMMNamespace : public ICIMNamespace {
public:
    // Opens the connection; an old one is dropped. Throws on failure, also when the log-in is
    // refused or the chassis manager does not know the namespace.
    virtual void connect(const std::string& host, const std::string& user,
                         const std::string& password, int port) = 0;
    // Harmless without a connection.
    virtual void disconnect() = 0;
};

} // namespace NORXVXA20
