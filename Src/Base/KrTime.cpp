#include "Base/KrTime.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "Base/Platform/KrPlatformTime.h"

namespace KRN
{

namespace
{
const double HALF_SECOND = KrTimeSpan::HALF_SECOND;
// Serial dates of 1 January 100 and 31 December 9999, both at midnight.
const double kMinSerialDate = -657434.0;
const double kMaxSerialDate = 2958465.0;
// Day number (from 1 January of year 0) of 30 December 1899.
const long long kDaysTo1899_12_30 = 693959;
// Days before month m, m = 1..13.
const int kMonthDays[13] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};

bool isLeapYear(long long year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr double kSecondsPerDay = 86400.0;
constexpr long long kDaysPer400Years = 146097;
constexpr long long kDaysPerCentury = 36524;  // a century whose first year has no leap day
constexpr long long kDaysPer4Years = 1461;

// A day number (from 1 January of year 0) as a year and the day of that year (from 0), with
// what the month lookup needs: whether the year is the first of a four-year block that has a
// leap day (only such a year has one).
struct YearAndDay
{
    long long year;
    long long dayOfYear;
    bool leapYear;
};

// Splits into 400-year blocks, centuries, four-year blocks and years. The first century of a
// block has one day more, and the first four years of a century other than the first have no
// leap day.
YearAndDay splitDayNumber(long long absolute)
{
    const long long q400 = absolute / kDaysPer400Years;
    long long r = absolute - q400 * kDaysPer400Years;
    bool leap4 = true;
    const long long century = (r - 1) / kDaysPerCentury;
    long long q4 = 0;
    long long d4 = 0;
    if (century != 0)
    {
        r = (r - 1) % kDaysPerCentury;
        q4 = (r + 1) / kDaysPer4Years;
        leap4 = q4 != 0;
        d4 = leap4 ? (r + 1) % kDaysPer4Years : r;
    }
    else
    {
        q4 = r / kDaysPer4Years;
        d4 = r % kDaysPer4Years;
    }

    long long y4 = 0;
    if (leap4)
    {
        y4 = (d4 - 1) / 365;
        if (y4 != 0) d4 = (d4 - 1) % 365;
    }
    else
    {
        y4 = d4 / 365;
        d4 = d4 % 365;
    }
    return {q400 * 400 + century * 100 + q4 * 4 + y4, d4, y4 == 0 && leap4};
}

void monthAndDay(const YearAndDay& split, int& month, int& day)
{
    long long d = split.dayOfYear;
    if (split.leapYear && d == 59)
    {
        month = 2;
        day = 29;
        return;
    }
    if (split.leapYear && d >= 60) --d;
    ++d;
    month = static_cast<int>(d / 32) + 1;
    while (d > kMonthDays[month]) ++month;
    day = static_cast<int>(d) - kMonthDays[month - 1];
}

// Truncation toward zero that saturates instead of overflowing (NaN gives 0).
int truncToInt(double value)
{
    if (!(value == value)) return 0;
    if (value >= 2147483647.0) return 2147483647;
    if (value <= -2147483648.0) return -2147483647 - 1;
    return static_cast<int>(value);
}

double fractionOf(double value)
{
    double whole = 0.0;
    return std::modf(value, &whole);
}

// Rounds a scaled fraction to a clock part: (int)((fraction + HALF_SECOND) * unit), with the
// full unit wrapping to 0.
int clockPart(double fraction, int unit)
{
    const int part = truncToInt((fraction + HALF_SECOND) * unit);
    return part >= unit ? part - unit : part;
}
}  // namespace

// ---------------------------------------------------------------- KrTimeSpan

KrTimeSpan::KrTimeSpan(int days, int hours, int minutes, int seconds)
    : m_dSpan(hours / 24.0 + days + minutes / 1440.0 + seconds / kSecondsPerDay)
{
}

int KrTimeSpan::GetDays() const
{
    return truncToInt(m_dSpan);
}
int KrTimeSpan::GetTotalHours() const
{
    return truncToInt(m_dSpan * 24 + HALF_SECOND);
}
int KrTimeSpan::GetTotalMinutes() const
{
    return truncToInt(m_dSpan * 24 * 60 + HALF_SECOND);
}
int KrTimeSpan::GetTotalSeconds() const
{
    return truncToInt(m_dSpan * 24 * 60 * 60 + HALF_SECOND);
}
int KrTimeSpan::GetHours() const
{
    return clockPart(fractionOf(m_dSpan), 24);
}
int KrTimeSpan::GetMinutes() const
{
    return clockPart(fractionOf(m_dSpan * 24), 60);
}
int KrTimeSpan::GetSeconds() const
{
    return clockPart(fractionOf(m_dSpan * 24 * 60), 60);
}

KrTimeSpan& KrTimeSpan::operator+=(const KrTimeSpan& other)
{
    m_dSpan += other.m_dSpan;
    return *this;
}

KrTimeSpan& KrTimeSpan::operator-=(const KrTimeSpan& other)
{
    m_dSpan -= other.m_dSpan;
    return *this;
}

// ---------------------------------------------------------------- construction and clock

KrTime::KrTime(int year, int month, int day)
{
    SetDateTime(year, month, day, 0, 0, 0);
}

KrTime::KrTime(int year, int month, int day, int hour, int minute, int second)
{
    SetDateTime(year, month, day, hour, minute, second);
}

KrTime::KrTime(long long unixTime)
{
    *this = unixTime;
}

KrTime& KrTime::operator=(long long unixTime)
{
    std::tm local{};
    if (Platform::ToLocalTime(unixTime, local))
        SetDateTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                    local.tm_min, local.tm_sec);
    return *this;
}

KrTime KrTime::GetCurrentTime()
{
    return KrTime(Platform::CurrentUnixTime());
}

int KrTime::GetMillisecond()
{
    return static_cast<int>(Platform::TickCountMs());
}

// ---------------------------------------------------------------- calendar

void KrTime::SetDateTime(int year, int month, int day, int hour, int minute, int second)
{
    if (year > 9999 || static_cast<unsigned int>(month) - 1u > 11u) return;
    int daysInMonth = kMonthDays[month] - kMonthDays[month - 1];
    // The extra day is granted only to the very date that needs it.
    if (isLeapYear(year) && month == 2 && day == 29) ++daysInMonth;
    if (day < 1 || day > daysInMonth || hour > 23 || minute > 59 || second > 59) return;

    const long long y = year;
    long long n = y * 365 + y / 4 - y / 100 + y / 400 + kMonthDays[month - 1] + day;
    if (month <= 2 && isLeapYear(year)) --n;
    n -= kDaysTo1899_12_30;
    const double t =
        (static_cast<double>(hour) * 3600 + static_cast<double>(minute) * 60 + second) /
        kSecondsPerDay;
    m_dTime = n >= 0 ? static_cast<double>(n) + t : static_cast<double>(n) - t;
}

bool KrTime::GetDateTime(std::tm& fields) const
{
    // Written as a negated range test so that NaN is outside too.
    if (!(m_dTime <= kMaxSerialDate && m_dTime >= kMinSerialDate)) return false;

    const double rounded = m_dTime > 0 ? m_dTime + HALF_SECOND : m_dTime - HALF_SECOND;
    const long long days = static_cast<long long>(rounded);
    const double magnitude = std::fabs(rounded);
    const int secsInDay = static_cast<int>((magnitude - std::floor(magnitude)) * kSecondsPerDay);

    const long long absolute = days + kDaysTo1899_12_30;
    const int dayOfWeek = static_cast<int>((absolute - 1) % 7) + 1;
    const YearAndDay split = splitDayNumber(absolute);
    const int year = static_cast<int>(split.year);
    const int dayOfYear = static_cast<int>(split.dayOfYear) + 1;
    int month = 0;
    int day = 0;
    monthAndDay(split, month, day);

    fields.tm_year = year;
    fields.tm_mon = month;
    fields.tm_mday = day;
    fields.tm_wday = dayOfWeek;
    fields.tm_yday = dayOfYear;
    fields.tm_sec = secsInDay % 60;
    fields.tm_min = secsInDay / 60 % 60;
    fields.tm_hour = secsInDay / 3600;
    return true;
}

bool KrTime::GetStandardTm(std::tm& fields) const
{
    if (!GetDateTime(fields)) return false;
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    fields.tm_wday -= 1;
    fields.tm_yday -= 1;
    return true;
}

std::tm KrTime::calendarFields() const
{
    std::tm fields{};
    GetDateTime(fields);
    return fields;
}

int KrTime::GetYear() const
{
    return calendarFields().tm_year;
}
int KrTime::GetMonth() const
{
    return calendarFields().tm_mon;
}
int KrTime::GetDay() const
{
    return calendarFields().tm_mday;
}
int KrTime::GetHour() const
{
    return calendarFields().tm_hour;
}
int KrTime::GetMinute() const
{
    return calendarFields().tm_min;
}
int KrTime::GetSecond() const
{
    return calendarFields().tm_sec;
}
int KrTime::GetDayOfWeek() const
{
    return calendarFields().tm_wday;
}
int KrTime::GetDayOfYear() const
{
    return calendarFields().tm_yday;
}

// ---------------------------------------------------------------- formatting and parsing

KrString KrTime::Format(const char* format) const
{
    std::tm fields{};
    if (format == nullptr || !GetStandardTm(fields)) return KrString();
    const int year = fields.tm_year + 1900;
    if (year < 1900) fields.tm_year = 1900 - year;

    char buffer[128];
    if (Platform::FormatTime(buffer, sizeof buffer, format, fields) == 0) return KrString();
    KrString text(buffer);
    if (year < 1900)
    {
        char substitute[16];
        char actual[16];
        std::snprintf(substitute, sizeof substitute, "%04d", 3800 - year);
        std::snprintf(actual, sizeof actual, "%04d", year);
        text.Replace(substitute, actual);
    }
    return text;
}

namespace
{
const char* const kMonthNames[12] = {"January",   "February", "March",    "April",
                                     "May",       "June",     "July",     "August",
                                     "September", "October",  "November", "December"};

bool isAsciiLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// 1-based month of a full month name, 0 when there is none.
int fullMonthNumber(const KrString& word)
{
    for (int i = 0; i < 12; ++i)
        if (word.CompareNoCase(kMonthNames[i]) == 0) return i + 1;
    return 0;
}

// 0-based month of a three-letter abbreviation, -1 when there is none.
int abbreviatedMonthIndex(const KrString& word)
{
    for (int i = 0; i < 12; ++i)
        if (word.CompareNoCase(KrString(kMonthNames[i], 3)) == 0) return i;
    return -1;
}

// The text being parsed, the reading position in it and the fields read so far.
struct DateTimeFields
{
    const KrString& text;
    int length;
    int p = 0;
    int year = 0, month = 0, day = 1, hour = 0, minute = 0, second = 0;

    // Reads what one format byte stands for; false for a byte that is no format or a month
    // name that is not there.
    bool read(char c)
    {
        int width = 0;
        if (int* field = numericField(c, width))
        {
            *field = number(p, width);
            advance(width);
            return true;
        }
        switch (c)
        {
            case ' ':
            case ',':
            case '-':
            case ':':
                advance(1);
                return true;
            case '%':
                return true;
            case 'X':
                hour = number(p, 2);
                minute = number(p + 3, 2);
                second = number(p + 6, 2);
                advance(8);
                return true;
            case 'B':
                return readMonthName();
            case 'b':
                return readMonthAbbreviation();
            default:
                return false;
        }
    }

private:
    // The text's length is never checked: reads past its end give short or empty numbers.
    int number(int at, int count) const { return text.Mid(at, count).ToInt(10); }
    void advance(int count) { p = p + count < length ? p + count : length; }

    // The field a numeric format byte fills, with its width; null for any other byte.
    int* numericField(char c, int& width)
    {
        width = c == 'Y' ? 4 : 2;
        switch (c)
        {
            case 'Y':
            case 'y':
                return &year;
            case 'm':
                return &month;
            case 'd':
                return &day;
            case 'H':
                return &hour;
            case 'M':
                return &minute;
            case 'S':
                return &second;
            default:
                return nullptr;
        }
    }

    bool readMonthName()
    {
        int end = p;
        while (end < length && isAsciiLetter(text[end])) ++end;
        month = fullMonthNumber(text.Mid(p, end - p));
        p = end;
        return month != 0;
    }

    bool readMonthAbbreviation()
    {
        month = abbreviatedMonthIndex(text.Mid(p, 3));
        advance(3);
        return month >= 0;
    }
};
}  // namespace

unsigned char KrTime::ParseDateTime(KrString dateTime, KrString format)
{
    dateTime.TrimLeft().TrimRight();
    format.TrimLeft().TrimRight();
    if (format.IsEmpty()) return 0;

    DateTimeFields fields{dateTime, dateTime.GetLength()};
    for (const char c : static_cast<const std::string&>(format))
        if (c < 32 || c > 121 || !fields.read(c)) return 0;
    SetDateTime(fields.year, fields.month, fields.day, fields.hour, fields.minute, fields.second);
    return 1;
}

// ---------------------------------------------------------------- ordering and arithmetic

double KrTime::GetDoubleValue() const
{
    if (m_dTime >= 0) return m_dTime;
    const double whole = std::ceil(m_dTime);
    return whole - (m_dTime - whole);
}

double KrTime::FromDoubleValue(double linear)
{
    if (linear >= 0) return linear;
    const double whole = std::floor(linear);
    return whole + (whole - linear);
}

unsigned char KrTime::operator<(const KrTime& other) const
{
    return GetDoubleValue() < other.GetDoubleValue();
}
unsigned char KrTime::operator>(const KrTime& other) const
{
    return GetDoubleValue() > other.GetDoubleValue();
}
unsigned char KrTime::operator<=(const KrTime& other) const
{
    return GetDoubleValue() <= other.GetDoubleValue();
}
unsigned char KrTime::operator>=(const KrTime& other) const
{
    return GetDoubleValue() >= other.GetDoubleValue();
}

KrTimeSpan KrTime::operator-(const KrTime& other) const
{
    return KrTimeSpan(GetDoubleValue() - other.GetDoubleValue());
}

KrTime KrTime::operator+(const KrTimeSpan& span) const
{
    return KrTime(FromDoubleValue(GetDoubleValue() + span.GetTimeSpan()));
}

KrTime KrTime::operator-(const KrTimeSpan& span) const
{
    return KrTime(FromDoubleValue(GetDoubleValue() - span.GetTimeSpan()));
}

KrTime& KrTime::operator+=(const KrTimeSpan& span)
{
    return *this = *this + span;
}
KrTime& KrTime::operator-=(const KrTimeSpan& span)
{
    return *this = *this - span;
}

}  // namespace KRN
