#include "osdep/Process.h"

#include <algorithm>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kTickInterval(500);

// Follows one program's limits and calls its tick.
class Watch {
public:
    explicit Watch(const ProcessLimits& limits) : m_limits(limits) {}

    void OutputSeen() { m_lastOutput = Clock::now(); }

    // Calls the tick when it is due; false when a limit has been reached.
    bool GoOn()
    {
        const auto now = Clock::now();
        if (m_limits.tick && now - m_lastTick >= kTickInterval) {
            m_lastTick = now;
            m_limits.tick();
        }
        return Left(now) > milliseconds::zero();
    }

    // How long to wait before GoOn has to be asked again.
    milliseconds Slice() const
    {
        return std::clamp(Left(Clock::now()), milliseconds(1), kTickInterval);
    }

private:
    milliseconds Left(Clock::time_point now) const
    {
        milliseconds left = milliseconds::max();
        if (m_limits.total > milliseconds::zero())
            left = std::min(left, Until(m_start, m_limits.total, now));
        if (m_limits.silence > milliseconds::zero())
            left = std::min(left, Until(m_lastOutput, m_limits.silence, now));
        return left;
    }

    static milliseconds Until(Clock::time_point since, milliseconds limit, Clock::time_point now)
    {
        return limit - std::chrono::duration_cast<milliseconds>(now - since);
    }

    const ProcessLimits& m_limits;
    const Clock::time_point m_start = Clock::now();
    Clock::time_point m_lastOutput = m_start;
    Clock::time_point m_lastTick = m_start;
};

} // namespace

bool RunningProcess::ReadToEnd(const ProcessLimits& limits, std::string& output)
{
    Watch watch(limits);
    for (;;) {
        const ERead read = ReadSome(watch.Slice(), output);
        if (read == ERead::eEnd)
            break;
        if (read == ERead::eData)
            watch.OutputSeen();
        if (!watch.GoOn())
            return false;
    }
    // A program may close its output and run on.
    m_output.reset();
    while (!WaitFor(watch.Slice())) {
        if (!watch.GoOn())
            return false;
    }
    return true;
}

ProcessResult RunProcess(const std::string& commandLine, const ProcessLimits& limits)
{
    RunningProcess process = StartProcess(commandLine, true);
    if (!process)
        return {EProcessEnd::eNotStarted, std::string()};
    ProcessResult result{EProcessEnd::eOwn, std::string()};
    if (!process.ReadToEnd(limits, result.output)) {
        process.End();
        result.end = EProcessEnd::eLimit;
    }
    return result;
}
