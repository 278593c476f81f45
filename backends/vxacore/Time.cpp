#include "backends/vxacore/Alive.h"
#include "platform/vxacore/TOSSpecific.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace NORXVXA20 {

void TOSSpecific::USleep(unsigned int milliseconds)
{
    using namespace std::chrono;
    const auto end = steady_clock::now() + std::chrono::milliseconds(milliseconds);
    NotifyAlive();
    for (auto now = steady_clock::now(); now < end; now = steady_clock::now()) {
        std::this_thread::sleep_until(std::min(end, now + seconds(1)));
        NotifyAlive();
    }
}

TCIMDateTime::TCIMDateTime(unsigned short year, unsigned short month, unsigned int day,
                           unsigned short hour, unsigned short minute, unsigned short second)
    : m_year(year), m_month(month), m_day(day), m_hour(hour), m_minute(minute), m_second(second)
{}

unsigned short TCIMDateTime::GetYear() const
{
    return m_year;
}
unsigned short TCIMDateTime::GetMonth() const
{
    return m_month;
}
unsigned int TCIMDateTime::GetDay() const
{
    return m_day;
}
unsigned short TCIMDateTime::GetHour() const
{
    return m_hour;
}
unsigned short TCIMDateTime::GetMinute() const
{
    return m_minute;
}
unsigned short TCIMDateTime::GetSecond() const
{
    return m_second;
}

} // namespace NORXVXA20
