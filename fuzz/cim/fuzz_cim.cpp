// Entry of the fuzzer. The first byte chooses the request ("0" to "3"), the rest is the body of its
// answer, whose message ID is 7. A body is either read or refused with CimFailure, nothing else.

#include "backends/cmmnsp/CimAnswer.h"
#include "backends/cmmnsp/CimFailure.h"
#include "backends/cmmnsp/CimRequest.h"

#include <cstdlib>

using namespace NORXVXA20;

namespace {

CimRequest RequestOf(unsigned int choice)
{
    switch (choice % 4) {
    case 0:
        return MakeClassNamesRequest("root/cimv2", "C", true);
    case 1:
        return MakeClassRequest("root/cimv2", "C", false);
    case 2:
        return MakeInstancesRequest("root/cimv2", "C", true);
    default:
        return MakeMethodRequest(TCIMReference("root/cimv2", "C"), "Run", {});
    }
}

// What a caller does with an answer; a text that came in may go out again.
void Use(const CimAnswer& answer)
{
    std::map<std::string, TCIMValue> values = answer.outputs;
    for (const CimInstance& instance : answer.instances)
        values.insert(instance.properties.begin(), instance.properties.end());
    for (const auto& [name, value] : values) {
        if (name.empty() || value.ToString(10).size() > (1u << 24))
            std::abort();
    }
    MakeMethodRequest(TCIMReference("root/cimv2", "C"), "Run", values);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    try {
        Use(ReadCimAnswer(std::string(data + 1, data + size), RequestOf(data[0] - '0'), "7"));
    } catch (const CimFailure&) {
    }
    return 0;
}
