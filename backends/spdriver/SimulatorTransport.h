#pragma once

#include "backends/spdriver/Sockets.h"
#include "backends/spdriver/Transport.h"

// A simulated BMC behind TCP, which speaks as on a virtual machine's serial line (VmCodec.h).
class SimulatorTransport : public Transport {
public:
    struct Limits {
        std::chrono::milliseconds connection{5000};
        std::chrono::milliseconds exchange{kExchangeLimit};
    };

    // address: "host:port".
    explicit SimulatorTransport(std::string address) : SimulatorTransport(std::move(address), {}) {}
    SimulatorTransport(std::string address, Limits limits)
        : m_address(std::move(address)), m_limits(limits)
    {}

    std::string Unavailable() const override;
    std::string Exchange(const Request& request, Answer& answer) const override;

private:
    Socket Open(std::string& fault) const;
    std::string Fault(const std::string& what) const;

    std::string m_address;
    Limits m_limits;
};
