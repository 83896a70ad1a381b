// KrTime: a local calendar date-time held as one double of days since 30 December 1899 00:00
// (the office serial date), with the calendar arithmetic, formatting and parsing around it.
// KrTimeSpan: a signed length in days, the difference of two KrTime values.
// All arithmetic is proleptic Gregorian, local time, whole seconds. The range is 1 January 100
// (-657434.0) to 31 December 9999 (2958465.0).
//   KrTime due(2024, 3, 1, 12, 0, 0);
//   KrTimeSpan left = due - KrTime::GetCurrentTime();
//   KrString text = due.Format("%Y-%m-%d %H:%M");
#pragma once

#include <ctime>

#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

class KRN_API KrTimeSpan
{
public:
    // Half a second in days. Added for rounding, also where a value has already been scaled to
    // hours or minutes: stored results depend on that, keep it.
    static constexpr double HALF_SECOND = 1.0 / 172800.0;

    KrTimeSpan() = default;
    KrTimeSpan(double days) : m_dSpan(days) {}
    KrTimeSpan(int days, int hours, int minutes, int seconds);

    double GetTimeSpan() const { return m_dSpan; }

    int GetDays() const;  // truncated toward zero
    // (int)(days * 24 + HALF_SECOND) and so on: the half second is in days, not in the unit, so
    // 0.99999999 days already counts as 24 hours.
    int GetTotalHours() const;
    int GetTotalMinutes() const;
    int GetTotalSeconds() const;
    // The hour, minute and second parts, rounded to the second; 24, 60 and 60 wrap to 0.
    // A negative span gives negative parts.
    int GetHours() const;
    int GetMinutes() const;
    int GetSeconds() const;

    KrTimeSpan operator+(const KrTimeSpan& other) const
    {
        return KrTimeSpan(m_dSpan + other.m_dSpan);
    }
    KrTimeSpan operator-(const KrTimeSpan& other) const
    {
        return KrTimeSpan(m_dSpan - other.m_dSpan);
    }
    KrTimeSpan& operator+=(const KrTimeSpan& other);
    KrTimeSpan& operator-=(const KrTimeSpan& other);

    // Plain comparison of the doubles, without tolerance.
    unsigned char operator==(const KrTimeSpan& other) const { return m_dSpan == other.m_dSpan; }
    unsigned char operator!=(const KrTimeSpan& other) const { return m_dSpan != other.m_dSpan; }
    unsigned char operator<(const KrTimeSpan& other) const { return m_dSpan < other.m_dSpan; }
    unsigned char operator>(const KrTimeSpan& other) const { return m_dSpan > other.m_dSpan; }
    unsigned char operator<=(const KrTimeSpan& other) const { return m_dSpan <= other.m_dSpan; }
    unsigned char operator>=(const KrTimeSpan& other) const { return m_dSpan >= other.m_dSpan; }

private:
    double m_dSpan = 0.0;
};

// The serial date: the integer part counts days from 30 December 1899 (day 2 is 1 January
// 1900, day -1 is 29 December 1899), the fraction is the time of day. Before day 0 the
// fraction carries the sign of the day but still counts forward from midnight: -1.25 is
// 29 December 1899 06:00 and -1.75 is 18:00 of that day. Ordering and arithmetic account for
// that; the stored double is exchanged with other software as it is.
class KRN_API KrTime
{
public:
    KrTime() = default;
    KrTime(double serialDate) : m_dTime(serialDate) {}  // stored unchecked
    // An invalid date leaves the value at 0.0 (see SetDateTime for what counts as invalid).
    KrTime(int year, int month, int day);
    KrTime(int year, int month, int day, int hour, int minute, int second);
    // Seconds since 1970-01-01 00:00 UTC, converted to local time. A value the runtime cannot
    // convert (before 1970, after the year 3000) leaves the value as it was.
    explicit KrTime(long long unixTime);
    KrTime& operator=(long long unixTime);

    // Local wall-clock time now, to the second.
    static KrTime GetCurrentTime();
    // Milliseconds since the system started, a 32-bit counter that wraps after about 49.7
    // days. It is NOT the millisecond of the current second: use it only for differences.
    static int GetMillisecond();

    double GetTime() const { return m_dTime; }

    // Calendar fields, rounded to the nearest second. A value outside the range gives 0.
    int GetYear() const;
    int GetMonth() const;  // 1-12
    int GetDay() const;    // 1-31
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetDayOfWeek() const;  // 1-7, 1 = Sunday
    int GetDayOfYear() const;  // 1-366

    // strftime of the date. Empty when the text is empty or longer than 127 bytes, and for a
    // value outside the range. Before 1900 the date is formatted with the year 3800 - year and
    // every four-digit occurrence of that year is then replaced by the true year: a two-digit
    // year token ("%y") of such a date shows the substitute year.
    KrString Format(const char* format) const;

    // Parses text by a pattern of its own (not strftime's), one pattern character at a time
    // against a position in the text:
    //   Y  four-digit year        y  two-digit year, taken as is (no century added)
    //   m d H M S  two digits each: month, day, hour, minute, second
    //   X  "HH:MM:SS"             B  a full English month name, any case
    //   b  a three-letter month abbreviation, any case, counted from 0: "Jan" gives month 0,
    //      which is rejected, and every later month lands one month early (deliberate).
    //   space , - :  skip one character of the text, whatever it is
    //   %  ignored, so "%Y" and "Y" are the same
    // Both texts are trimmed of blanks first. Digits that are not a number read as 0. Returns
    // false for an empty pattern, any other pattern character or an unknown month name;
    // otherwise true, also when the fields make an invalid date and the value is unchanged.
    unsigned char ParseDateTime(KrString dateTime, KrString format);

    // == and != compare the stored doubles; the others order by time.
    unsigned char operator==(const KrTime& other) const { return m_dTime == other.m_dTime; }
    unsigned char operator!=(const KrTime& other) const { return m_dTime != other.m_dTime; }
    unsigned char operator<(const KrTime& other) const;
    unsigned char operator>(const KrTime& other) const;
    unsigned char operator<=(const KrTime& other) const;
    unsigned char operator>=(const KrTime& other) const;

    KrTimeSpan operator-(const KrTime& other) const;
    KrTime operator+(const KrTimeSpan& span) const;
    KrTime operator-(const KrTimeSpan& span) const;
    KrTime& operator+=(const KrTimeSpan& span);
    KrTime& operator-=(const KrTimeSpan& span);

private:
    // Sets the value from calendar fields; an invalid date leaves it unchanged. Deliberately
    // loose: year has no lower bound, and hour, minute and second only upper bounds, so
    // negative ones fold into the day (2000-01-01 -1:00 is 1999-12-31 23:00). 29 February is
    // accepted in leap years only.
    void SetDateTime(int year, int month, int day, int hour, int minute, int second);
    // Fills fields with month 1-12, the full year, day of week 1-7 and day of year 1-366;
    // returns false, leaving fields untouched, for a value outside the range.
    bool GetDateTime(std::tm& fields) const;
    // As GetDateTime, in strftime's form (month 0-11, year - 1900, 0-based day counts).
    bool GetStandardTm(std::tm& fields) const;
    std::tm calendarFields() const;  // GetDateTime into zeroed fields
    double GetDoubleValue() const;   // the serial date as a linear count of days
    static double FromDoubleValue(double linear);

    double m_dTime = 0.0;
};

}  // namespace KRN
