#include "backends/spdriver/Transport.h"

namespace {

constexpr const char* kNoTransport =
    "no transport to the service processor on Windows; VXA_IPMI_SIMULATOR names a simulator";

class NoTransport : public Transport {
public:
    std::string Unavailable() const override { return kNoTransport; }
    std::string Exchange(const Request&, Answer&) const override { return kNoTransport; }
};

} // namespace

std::unique_ptr<Transport> MakeDeviceTransport()
{
    return std::make_unique<NoTransport>();
}
