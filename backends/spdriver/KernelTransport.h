#pragma once

#include "backends/spdriver/Transport.h"

#include <vector>

// The kernel's IPMI device. Of the names the first one that exists counts, whatever its state, so
// that the fault that is told is the one to be mended.
class KernelTransport : public Transport {
public:
    explicit KernelTransport(std::vector<std::string> names,
                             std::chrono::milliseconds limit = kExchangeLimit);

    std::string Unavailable() const override;
    std::string Exchange(const Request& request, Answer& answer) const override;

private:
    std::vector<std::string> m_names;
    std::chrono::milliseconds m_limit;
};
