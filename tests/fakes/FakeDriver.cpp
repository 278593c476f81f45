#include "tests/fakes/FakeDriver.h"

#include "platform/spdriver/SPLibrary.h"

#include <algorithm>

namespace {

constexpr int kHeader = 9;
constexpr int kRequestBytes = 15;

} // namespace

std::vector<unsigned char> FakeDriver::Credential(const std::string& user,
                                                  const std::string& password)
{
    std::vector<unsigned char> data;
    for (const std::string& text : {user, password}) {
        data.push_back(static_cast<unsigned char>(text.size()));
        data.insert(data.end(), text.begin(), text.end());
    }
    return data;
}

namespace NORXVXA20 {

SPLibrary* SPLibrary::GetSplibraryInstance(int index)
{
    static SPLibrary instance;
    return gDriver.present && index == 0 ? &instance : nullptr;
}

bool SPLibrary::sendIPMICommand(unsigned char* buffer, int* length, int bufferSize, bool flag)
{
    gDriver.requests.emplace_back(buffer, buffer + kRequestBytes);
    gDriver.parameters.push_back({*length, bufferSize, flag ? 1 : 0});
    std::vector<FakeDriver::Answer>& list = gDriver.answers[buffer[4]];
    const FakeDriver::Answer answer = list.empty() ? FakeDriver::Answer() : list.front();
    if (list.size() > 1)
        list.erase(list.begin());
    if (!answer.sent)
        return false;
    buffer[4] = answer.completionCode;
    std::fill(buffer + kHeader, buffer + bufferSize, static_cast<unsigned char>(0));
    std::copy(answer.data.begin(), answer.data.end(), buffer + kHeader);
    *length = kHeader + static_cast<int>(answer.data.size());
    return true;
}

} // namespace NORXVXA20
