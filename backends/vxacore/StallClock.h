#pragma once

#include <chrono>

namespace NORXVXA20 {

// The time for which a server has sent or taken nothing new, and how long that may last.
class StallClock {
public:
    using Seconds = std::chrono::duration<double>;

    // VXA_STALL_SECONDS, or 30.
    static Seconds DefaultLimit();

    explicit StallClock(Seconds limit) : m_limit(limit) {}

    void Restart() { m_last = std::chrono::steady_clock::now(); }
    Seconds Silence() const { return std::chrono::steady_clock::now() - m_last; }
    Seconds Limit() const { return m_limit; }
    bool HasRunOut() const { return Silence() >= m_limit; }
    // From here on a connection that has been there all the time is not waited for any longer.
    bool IsHalfOver() const { return Silence() >= m_limit / 2; }

private:
    Seconds m_limit;
    std::chrono::steady_clock::time_point m_last = std::chrono::steady_clock::now();
};

} // namespace NORXVXA20
