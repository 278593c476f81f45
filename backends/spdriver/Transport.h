#pragma once

#include "backends/spdriver/Frame.h"

#include <chrono>
#include <memory>
#include <string>

// The limit of one exchange from its beginning to its end.
constexpr std::chrono::seconds kExchangeLimit{30};

// A way to the BMC. It holds nothing open between two calls, and never sends a request twice:
// the commands behind it must run exactly once.
class Transport {
public:
    virtual ~Transport() = default;

    // Empty when a request could be sent now; otherwise why not, in one line.
    virtual std::string Unavailable() const = 0;

    // Sends the request and waits for its answer. Empty when there is one, whatever its completion
    // code; otherwise what failed, in one line, with answer untouched.
    virtual std::string Exchange(const Request& request, Answer& answer) const = 0;
};

// The operating system's own way.
std::unique_ptr<Transport> MakeDeviceTransport();
