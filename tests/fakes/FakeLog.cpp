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
    for (const Record& record : records)
        messages.push_back(record.message);
    return messages;
}

bool FakeLog::Holds(const std::string& message) const
{
    return std::any_of(records.begin(), records.end(),
                       [&](const Record& record) { return record.message == message; });
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
