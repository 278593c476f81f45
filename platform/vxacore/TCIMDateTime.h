#pragma once

#include "UtilsExport.h"

namespace NORXVXA20 {

// A point in local time, field by field; month and day count from 1.
class VXACORE_API TCIMDateTime {
public:
    // The fields are kept as given, unchecked.
    TCIMDateTime(unsigned short year, unsigned short month, unsigned int day, unsigned short hour,
                 unsigned short minute, unsigned short second);
    // The fields, the year with its century, the hour from 0 to 23:
    unsigned short GetYear() const;
    unsigned short GetMonth() const;
    unsigned int GetDay() const;
    unsigned short GetHour() const;
    unsigned short GetMinute() const;
    unsigned short GetSecond() const;

private:
    unsigned short m_year;
    unsigned short m_month;
    unsigned int m_day;
    unsigned short m_hour;
    unsigned short m_minute;
    unsigned short m_second;
};

} // namespace NORXVXA20
