#include "tests/fakes/FakeLog.h"

#include "common/TVXAStatusCode.h"
#include "platform/vxacore/TRootObject.h"

#include <algorithm>
#include <map>

namespace {

class RecordingLogger : public NORXVXA20::ILogger {
public:
    void Log(int level, const std::string& message) override
    {
        gLog.records.push_back({level, message});
    }
};

} // namespace

std::vector<std::string> FakeLog::Messages() const
{
    std::vector<std::string> messages;
    for (const auto& [level, message] : records)
        messages.push_back(message);
    return messages;
}

bool FakeLog::Holds(const std::string& message) const
{
    const std::vector<std::string> messages = Messages();
    return std::find(messages.begin(), messages.end(), message) != messages.end();
}

namespace NORXVXA20 {

ILogger* TRootObject::GetCoreLogger()
{
    static RecordingLogger logger;
    if (!gLog.installed || gLog.removeAfter == 0)
        return nullptr;
    if (gLog.removeAfter > 0)
        --gLog.removeAfter;
    return &logger;
}

const std::string& TVXAStatusCode::TranslateStatusCode() const
{
    static std::map<int, std::string> texts;
    return texts[m_code] = "status " + std::to_string(m_code);
}

} // namespace NORXVXA20
