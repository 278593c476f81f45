#pragma once

#include <string>

namespace NORXVXA20 {

// The HTTP proxy that the user has configured. The other members count only when useProxy is set.
struct HTTPProxyInfo {
    bool useProxy = false; // false: the connection is direct
    // As the user wrote them; a proxy without log-in has neither user nor password:
    std::string host;
    std::string port;
    std::string user;
    std::string password;
};

} // namespace NORXVXA20
