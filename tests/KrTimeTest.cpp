#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
// Serial day of 1 January 1970.
const long long kUnixEpochSerial = 25569;

struct Civil
{
    long long year;
    int month;
    int day;
};

// The oracle: the proleptic Gregorian calendar by eras of 400 years, counted from 1970.
Civil civilFromDays(long long z)
{
    z += 719468;
    const long long era = (z >= 0 ? z : z - 146096) / 146097;
    const long long doe = z - era * 146097;
    const long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const long long mp = (5 * doy + 2) / 153;
    const int day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    return Civil{yoe + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

long long daysFromCivil(long long y, int m, int d)
{
    y -= m <= 2 ? 1 : 0;
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const long long yoe = y - era * 400;
    const long long doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

long long serialOf(long long y, int m, int d) { return daysFromCivil(y, m, d) + kUnixEpochSerial; }

// Serial date of a day and a second of that day, in the negative-day convention.
double serialAt(long long day, int secondOfDay)
{
    const double t = secondOfDay / 86400.0;
    return day >= 0 ? static_cast<double>(day) + t : static_cast<double>(day) - t;
}

// Sets TZ for the lifetime of the object.
struct ScopedTimeZone
{
    const bool had = std::getenv("TZ") != nullptr;
    const std::string saved = had ? std::getenv("TZ") : "";
    explicit ScopedTimeZone(const char* zone) { setenv("TZ", zone, 1); tzset(); }
    ~ScopedTimeZone() { had ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ"); tzset(); }
};

void expectFields(const KrTime& t, long long y, int m, int d, int hh, int mm, int ss,
                  const char* what)
{
    EXPECT_EQ((std::vector<long long>{t.GetYear(), t.GetMonth(), t.GetDay(), t.GetHour(),
                                      t.GetMinute(), t.GetSecond()}),
              (std::vector<long long>{y, m, d, hh, mm, ss})) << what;
}
}  // namespace

TEST(KrTimeTest, EveryDayOfSampleYearsAgreesWithTheOracle)
{
    const int ranges[][2] = {{1, 1}, {100, 100}, {1899, 1900}, {1999, 2001}, {9999, 9999}};
    for (const auto& range : ranges)
    {
        const long long first = serialOf(range[0], 1, 1);
        const long long last = serialOf(range[1], 12, 31);
        int dayOfYear = 0;
        for (long long serial = first; serial <= last; ++serial)
        {
            const Civil c = civilFromDays(serial - kUnixEpochSerial);
            dayOfYear = c.month == 1 && c.day == 1 ? 1 : dayOfYear + 1;
            const std::string what = std::to_string(c.year * 10000 + c.month * 100 + c.day);
            ASSERT_EQ(KrTime(static_cast<int>(c.year), c.month, c.day).GetTime(),
                      static_cast<double>(serial)) << what;
            const KrTime t(static_cast<double>(serial));
            if (c.year < 100)
            {
                // Before the range every field reads 0.
                EXPECT_EQ(t.GetYear(), 0) << what;
                EXPECT_EQ(t.GetDayOfWeek(), 0) << what;
                continue;
            }
            expectFields(t, c.year, c.month, c.day, 0, 0, 0, what.c_str());
            // 1 January 1970 was a Thursday; 1 = Sunday.
            const long long weekday = ((serial - kUnixEpochSerial + 4) % 7 + 7) % 7;
            ASSERT_EQ(t.GetDayOfWeek(), weekday + 1) << what;
            ASSERT_EQ(t.GetDayOfYear(), dayOfYear) << what;
        }
    }
}

TEST(KrTimeTest, RandomInstantsRoundTripThroughTheCalendar)
{
    std::mt19937_64 random(7);
    std::uniform_int_distribution<long long> days(-657433, 2958464);  // both end days excluded
    std::uniform_int_distribution<int> seconds(0, 86399);
    for (int i = 0; i < 20000; ++i)
    {
        const long long day = days(random);
        const int second = seconds(random);
        const Civil c = civilFromDays(day - kUnixEpochSerial);
        const int hh = second / 3600, mm = second / 60 % 60, ss = second % 60;
        const KrTime built(static_cast<int>(c.year), c.month, c.day, hh, mm, ss);
        ASSERT_NEAR(built.GetTime(), serialAt(day, second), 1e-9) << day << " " << second;
        expectFields(KrTime(serialAt(day, second)), c.year, c.month, c.day, hh, mm, ss,
                     (std::to_string(day) + " " + std::to_string(second)).c_str());
    }
}

TEST(KrTimeTest, SetDateTimeAcceptsAndRejects)
{
    struct Case { int y, mo, d, h, mi, s; double expected; };  // -99: rejected, the value stays 0
    // Valid whole days are checked by the calendar walk above.
    const Case cases[] = {
        {1899, 12, 29, 6, 0, 0, -1.25}, {1899, 12, 29, 18, 0, 0, -1.75},
        {1900, 2, 29, 0, 0, 0, -99}, {2001, 2, 29, 0, 0, 0, -99}, {2000, 2, 30, 0, 0, 0, -99},
        {10000, 1, 1, 0, 0, 0, -99}, {2000, 0, 1, 0, 0, 0, -99}, {2000, 13, 1, 0, 0, 0, -99},
        {2000, 1, 0, 0, 0, 0, -99}, {2000, 1, 1, 24, 0, 0, -99}, {2000, 1, 1, 0, 60, 0, -99},
        {2000, 1, 1, 0, 0, 60, -99},
        // The looseness that is kept: negative clock fields fold into the day.
        {2000, 1, 1, -1, 0, 0, 36526.0 - 1.0 / 24}, {2000, 1, 1, 0, -30, 0, 36526.0 - 30.0 / 1440},
    };
    for (const Case& c : cases)
    {
        const KrTime t(c.y, c.mo, c.d, c.h, c.mi, c.s);
        const double expected = c.expected == -99 ? 0.0 : c.expected;
        EXPECT_NEAR(t.GetTime(), expected, 1e-12)
            << c.y << "-" << c.mo << "-" << c.d << " " << c.h << ":" << c.mi;
    }
    expectFields(KrTime(2000, 1, 1, -1, 0, 0), 1999, 12, 31, 23, 0, 0, "an hour before 2000");
}

TEST(KrTimeTest, NegativeSerialDatesOrderAndAddByTime)
{
    const KrTime morning(-1.25), evening(-1.75);
    EXPECT_TRUE(morning < evening && evening > morning && morning <= evening);
    EXPECT_FALSE(morning >= evening || morning == evening || !(morning != evening));
    EXPECT_DOUBLE_EQ((evening - morning).GetTimeSpan(), 0.5);
    EXPECT_DOUBLE_EQ((morning + KrTimeSpan(0.5)).GetTime(), -1.75);
    EXPECT_DOUBLE_EQ((evening - KrTimeSpan(0.5)).GetTime(), -1.25);
    // Crossing day 0 in both directions.
    EXPECT_DOUBLE_EQ((KrTime(-1.75) + KrTimeSpan(0.5)).GetTime(), 0.25);
    EXPECT_DOUBLE_EQ((KrTime(0.25) - KrTimeSpan(0.5)).GetTime(), -1.75);
    KrTime t(-2.5);
    t += KrTimeSpan(1.0);
    EXPECT_DOUBLE_EQ(t.GetTime(), -1.5);
    t -= KrTimeSpan(2.0);
    EXPECT_DOUBLE_EQ(t.GetTime(), -3.5);
}

TEST(KrTimeTest, RoundingToTheSecond)
{
    // Just under a second boundary rounds up, also across midnight and for negative days.
    expectFields(KrTime(2.0 + 59.6 / 86400), 1900, 1, 1, 0, 1, 0, "59.6 s");
    expectFields(KrTime(3.0 - 0.2 / 86400), 1900, 1, 2, 0, 0, 0, "just before midnight");
    expectFields(KrTime(-1.0 - 59.6 / 86400), 1899, 12, 29, 0, 1, 0, "negative day");
}

// The range test compares the stored double with the serial dates of the first and last
// midnight, so a time of day on 31 December 9999 (or 1 January 100, whose fraction makes the
// value more negative) is already outside, although the data model reads it as that day.
TEST(KrTimeTest, OutOfRangeValuesReadAsZeroAndFormatEmpty)
{
    for (double v : {2958465.5, -657434.5, 2958466.0, -657435.0, 1e300, -1e300,
                     std::numeric_limits<double>::quiet_NaN()})
    {
        const KrTime t(v);
        expectFields(t, 0, 0, 0, 0, 0, 0, std::to_string(v).c_str());
        EXPECT_EQ(t.GetDayOfYear(), 0);
        EXPECT_EQ(t.Format("%Y"), "");
    }
}

TEST(KrTimeTest, FormatUsesStrftimeAndRepairsYearsBefore1900)
{
    const std::tuple<KrTime, const char*, const char*> cases[] = {
        {KrTime(2008, 3, 5, 10, 20, 30), "%Y-%m-%d %H:%M:%S", "2008-03-05 10:20:30"},
        {KrTime(2008, 3, 5, 10, 0, 0), "%Y_%m_%d_%H", "2008_03_05_10"},
        {KrTime(2008, 3, 5, 10, 20, 30), "%a %b %j", "Wed Mar 065"},
        {KrTime(1800, 1, 1), "%Y", "1800"}, {KrTime(1800, 1, 1), "%Y/%m/%d", "1800/01/01"},
        {KrTime(100, 1, 1), "%Y", "0100"},
        // Only four-digit years are repaired: the two-digit year shows the substitute 2000.
        {KrTime(1800, 1, 1), "%y", "00"},
        // A four-digit group equal to the substitute year is replaced too.
        {KrTime(1800, 1, 1, 20, 0, 0), "%Y %H%M", "1800 1800"}, {KrTime(2008, 3, 5), "", ""},
    };
    for (const auto& [time, format, expected] : cases)
        EXPECT_EQ(time.Format(format), expected) << format;
    EXPECT_EQ(KrTime(2008, 3, 5).Format(nullptr), "");
    EXPECT_EQ(KrTime(2008, 3, 5).Format(std::string(127, 'x').c_str()), KrString('x', 127));
    EXPECT_EQ(KrTime(2008, 3, 5).Format(std::string(128, 'x').c_str()), "");
}

TEST(KrTimeTest, ParseDateTimeFollowsItsPatternLanguage)
{
    const double unchanged = 12345.0, day = KrTime(2008, 3, 5).GetTime(),
                 full = KrTime(2008, 3, 5, 10, 20, 30).GetTime();
    const std::tuple<const char*, const char*, unsigned char, double> cases[] = {
        {"2008-03-05 10:20:30", "%Y-%m-%d %H:%M:%S", 1, full},
        {"  2008-03-05 10:20:30  ", "  Y-m-d H:M:S ", 1, full},
        {"20080305102030", "YmdHMS", 1, full}, {"2008-03-05 10:20:30", "Y-m-d X", 1, full},
        // A skip takes any character; no century is added.
        {"2008.03.05", "Y-m-d", 1, day}, {"08-03-05", "y-m-d", 1, KrTime(8, 3, 5).GetTime()},
        {"05 March 2008", "d B Y", 1, day}, {"05 march, 2008", "d B, Y", 1, day},
        {"05 Marc 2008", "d B Y", 0, unchanged},
        // "b" counts months from 0: January is rejected, February lands in January.
        {"05 Jan 2008", "d b Y", 1, unchanged},
        {"05 Feb 2008", "d b Y", 1, KrTime(2008, 1, 5).GetTime()},
        {"05 DEC 2008", "d b Y", 1, KrTime(2008, 11, 5).GetTime()},
        {"05 Xyz 2008", "d b Y", 0, unchanged}, {"2008/03/05", "Y/m/d", 0, unchanged},
        // 'z' is past the accepted range.
        {"2008", "Yz", 0, unchanged}, {"2008", "", 0, unchanged},
        // An invalid date (or month 0) returns true and keeps the value.
        {"2008-02-30", "Y-m-d", 1, unchanged}, {"2008", "Y", 1, unchanged},
        // The day starts at 1; the text may run out; what is not a number reads 0.
        {"2008-03", "Y-m", 1, KrTime(2008, 3, 1).GetTime()}, {"2008-03-05", "Y-m-d H:M:S", 1, day},
        {"abcd-03-05", "Y-m-d", 1, KrTime(0, 3, 5).GetTime()},
    };
    for (const auto& [text, pattern, result, expected] : cases)
    {
        KrTime t(unchanged);
        EXPECT_EQ(t.ParseDateTime(text, pattern), result) << text << " / " << pattern;
        EXPECT_DOUBLE_EQ(t.GetTime(), expected) << text << " / " << pattern;
    }
}

TEST(KrTimeTest, SpanGettersRoundWithTheHalfSecondInDays)
{
    // days, hours, minutes, seconds, total hours, total minutes, total seconds
    const std::pair<KrTimeSpan, std::vector<int>> cases[] = {
        {KrTimeSpan(1, 2, 3, 4), {1, 2, 3, 4, 26, 1563, 93784}},
        {KrTimeSpan(0.99999999), {0, 0, 0, 59, 24, 1439, 86399}},
        {KrTimeSpan(0.5), {0, 12, 0, 0, 12, 720, 43200}},
        // Negative spans: the half second pulls toward zero, and whole units leave a zero part.
        {KrTimeSpan(-0.25), {0, -5, 0, 0, -5, -359, -21599}},
        {KrTimeSpan(0, 0, 0, 59), {0, 0, 0, 59, 0, 0, 59}},
        {KrTimeSpan(2.0), {2, 0, 0, 0, 48, 2880, 172800}},
    };
    for (const auto& [span, expected] : cases)
        EXPECT_EQ((std::vector<int>{span.GetDays(), span.GetHours(), span.GetMinutes(),
                                    span.GetSeconds(), span.GetTotalHours(), span.GetTotalMinutes(),
                                    span.GetTotalSeconds()}),
                  expected) << span.GetTimeSpan();
    EXPECT_DOUBLE_EQ(KrTimeSpan(1, 2, 3, 4).GetTimeSpan(), 2 / 24.0 + 1 + 3 / 1440.0 + 4 / 86400.0);
    EXPECT_EQ(KrTimeSpan(1e300).GetDays(), 2147483647);  // saturates instead of overflowing
    EXPECT_EQ(KrTimeSpan(std::numeric_limits<double>::quiet_NaN()).GetTotalHours(), 0);

    KrTimeSpan s(1.0);
    s += KrTimeSpan(0.5);
    s -= KrTimeSpan(0.25);
    EXPECT_DOUBLE_EQ(s.GetTimeSpan(), 1.25);
    EXPECT_TRUE(KrTimeSpan(0.1) + KrTimeSpan(0.2) != KrTimeSpan(0.3));  // no tolerance
    EXPECT_TRUE(KrTimeSpan(-1.0) < KrTimeSpan(0.5));
}

TEST(KrTimeTest, UnixTimeConvertsToLocalTime)
{
    ScopedTimeZone utc("UTC0");
    EXPECT_DOUBLE_EQ(KrTime(0LL).GetTime(), 25569.0);
    expectFields(KrTime(1234567890LL), 2009, 2, 13, 23, 31, 30, "1234567890");
    {
        ScopedTimeZone east("XST-2");  // two hours east of UTC
        expectFields(KrTime(1234567890LL), 2009, 2, 14, 1, 31, 30, "1234567890 at +2");
    }
    // Values the runtime conversion refuses leave the value as it was.
    KrTime t(77.0);
    t = -1LL;
    EXPECT_EQ(t.GetTime(), 77.0);
    t = 32535216000LL;  // 1 January 3001
    EXPECT_EQ(t.GetTime(), 77.0);
    t = 32535215999LL;
    expectFields(t, 3000, 12, 31, 23, 59, 59, "last convertible second");
    EXPECT_EQ(KrTime(-5LL).GetTime(), 0.0);
}

TEST(KrTimeTest, CurrentTimeIsLocalWallClockTime)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const KrTime expected(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                          local.tm_min, local.tm_sec);
    const KrTimeSpan difference = KrTime::GetCurrentTime() - expected;
    EXPECT_GE(difference.GetTotalSeconds(), 0);
    EXPECT_LE(difference.GetTotalSeconds(), 2);

    const int before = KrTime::GetMillisecond();
    timespec pause{0, 20 * 1000 * 1000};
    nanosleep(&pause, nullptr);
    const int elapsed = KrTime::GetMillisecond() - before;
    EXPECT_GE(elapsed, 19);
    EXPECT_LT(elapsed, 5000);
}
