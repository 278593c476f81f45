#pragma once

#include "backends/spdriver/Transport.h"

// Windows' IPMI driver through its WMI class, for administrators only. Works on a thread with or
// without COM and leaves it as it was. Each step of WMI's ends at the exchange's limit, but for the
// connection to WMI itself, which WMI gives up after two minutes.
class WmiTransport : public Transport {
public:
    explicit WmiTransport(std::chrono::milliseconds limit = kExchangeLimit) : m_limit(limit) {}

    std::string Unavailable() const override;
    std::string Exchange(const Request& request, Answer& answer) const override;

private:
    std::chrono::milliseconds m_limit;
};
