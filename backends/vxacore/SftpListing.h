#pragma once

#include "backends/vxacore/SftpConnection.h"

#include <optional>
#include <string>
#include <vector>

namespace NORXVXA20 {

// The names in the connection's directory that a collection asks for: all but those that begin with
// a dot. Nothing when the server does not list it. Throws TVXAException when the server is lost,
// with the cause in reason.
std::optional<std::vector<std::string>> ListNames(SftpConnection& connection,
                                                  const StallClock& clock, std::string& reason);

} // namespace NORXVXA20
