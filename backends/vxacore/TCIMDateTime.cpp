#include "platform/vxacore/TCIMDateTime.h"

namespace NORXVXA20 {

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
