#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"
#include "ScopedEnvironment.h"

using namespace KRN;

namespace
{
// Serial day of 1 January 1970.
const long long kUnixEpochSerial = 25569;

// The oracle: the C library's UTC calendar (proleptic Gregorian) on a 64-bit time_t.
std::tm civil(long long serial)
{
    const std::time_t t = (serial - kUnixEpochSerial) * 86400;
    std::tm tm{};
    return *gmtime_r(&t, &tm);
}
long long serialOf(int year, int month, int day)
{
    std::tm tm{};
    tm.tm_year = year - 1900, tm.tm_mon = month - 1, tm.tm_mday = day;
    return timegm(&tm) / 86400 + kUnixEpochSerial;
}

std::vector<long long> fields(const KrTime& t)
{
    return {t.GetYear(), t.GetMonth(), t.GetDay(), t.GetHour(), t.GetMinute(), t.GetSecond()};
}
}  // namespace

// Each day gets another second of the day; before day 0 the fraction counts backwards, so
// -1.25 is 6:00 on 29 December 1899. The first and last day of the range take midnight only.
TEST(KrTimeTest, EveryDayOfSampleYearsAgreesWithTheOracle)
{
    for (const auto& [first, last] :
         {std::pair{1, 1}, {100, 100}, {1899, 1900}, {1999, 2001}, {9999, 9999}})
        for (long long day = serialOf(first, 1, 1); day <= serialOf(last, 12, 31); ++day)
        {
            SCOPED_TRACE(day);
            const std::tm c = civil(day);
            const bool edge = day == serialOf(100, 1, 1) || day == serialOf(9999, 12, 31);
            const int year = c.tm_year + 1900, hh = edge ? 0 : c.tm_yday % 24,
                      mm = edge ? 0 : c.tm_mday * 7 % 60,
                      ss = edge ? 0 : static_cast<int>(day % 60 + 60) % 60;
            const double fraction = (hh * 3600 + mm * 60 + ss) / 86400.0;
            const double serial = day >= 0 ? day + fraction : day - fraction;
            ASSERT_NEAR(KrTime(year, c.tm_mon + 1, c.tm_mday, hh, mm, ss).GetTime(), serial, 1e-9);
            // Before the range every field reads 0; the day of the week counts from 1 = Sunday.
            const KrTime t(serial);
            const bool out = year < 100;
            ASSERT_EQ(fields(t),
                      (out ? std::vector<long long>(6, 0)
                           : std::vector<long long>{year, c.tm_mon + 1, c.tm_mday, hh, mm, ss}));
            ASSERT_EQ(std::make_pair(t.GetDayOfWeek(), t.GetDayOfYear()),
                      out ? std::make_pair(0, 0) : std::make_pair(c.tm_wday + 1, c.tm_yday + 1));
        }
}

// 0 is rejected. The looseness that is kept: negative clock fields fold into the day.
TEST(KrTimeTest, SetDateTimeRoundingRangeArithmeticAcrossDayZeroAndSpans)
{
    // clang-format off
    const struct { int y, mo, d, h, mi, s; double expected; } cases[] = {
        {1899, 12, 29, 6, 0, 0, -1.25}, {1899, 12, 29, 18, 0, 0, -1.75}, {1900, 2, 29, 0, 0, 0, 0},
        {2001, 2, 29, 0, 0, 0, 0}, {2000, 2, 30, 0, 0, 0, 0}, {10000, 1, 1, 0, 0, 0, 0},
        {2000, 0, 1, 0, 0, 0, 0}, {2000, 13, 1, 0, 0, 0, 0}, {2000, 1, 0, 0, 0, 0, 0},
        {2000, 1, 1, 24, 0, 0, 0}, {2000, 1, 1, 0, 60, 0, 0}, {2000, 1, 1, 0, 0, 60, 0},
        {2000, 1, 1, -1, 0, 0, 36526.0 - 1.0 / 24}, {2000, 1, 1, 0, -30, 0, 36526.0 - 30.0 / 1440}};
    // clang-format on
    for (const auto& c : cases)
        EXPECT_NEAR(KrTime(c.y, c.mo, c.d, c.h, c.mi, c.s).GetTime(), c.expected, 1e-12)
            << c.y << "-" << c.mo << "-" << c.d << " " << c.h << ":" << c.mi;

    const KrTime morning(-1.25), evening(-1.75);
    EXPECT_TRUE(morning < evening && evening > morning && morning <= evening);
    EXPECT_FALSE(morning >= evening || morning == evening || !(morning != evening));
    KrTime t(-2.5);
    KrTimeSpan s(1.0);
    // clang-format off
    const std::pair<double, double> sums[] = {
        {(evening - morning).GetTimeSpan(), 0.5}, {(morning + KrTimeSpan(0.5)).GetTime(), -1.75},
        {(evening + KrTimeSpan(0.5)).GetTime(), 0.25},
        {(KrTime(0.25) - KrTimeSpan(0.5)).GetTime(), -1.75},
        {(t += KrTimeSpan(1.0)).GetTime(), -1.5}, {(t -= KrTimeSpan(2.0)).GetTime(), -3.5},
        {(s += KrTimeSpan(0.5)).GetTimeSpan(), 1.5}, {(s -= KrTimeSpan(0.25)).GetTimeSpan(), 1.25}};
    // clang-format on
    for (const auto& [sum, expected] : sums) EXPECT_DOUBLE_EQ(sum, expected);

    // Just under a second boundary rounds up, also across midnight and for negative days. The
    // range test compares the stored double with the first and last midnight, so a time of day on
    // 31 December 9999 (or 1 January 100, whose fraction makes the value more negative) is out.
    const std::vector<long long> none(6, 0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // clang-format off
    const std::pair<double, std::vector<long long>> rounding[] = {
        {2.0 + 59.6 / 86400, {1900, 1, 1, 0, 1, 0}}, {3.0 - 0.2 / 86400, {1900, 1, 2, 0, 0, 0}},
        {-1.0 - 59.6 / 86400, {1899, 12, 29, 0, 1, 0}}, {2958465.5, none}, {-657434.5, none},
        {2958466.0, none}, {-657435.0, none}, {1e300, none}, {-1e300, none}, {nan, none}};
    // clang-format on
    for (const auto& [serial, expected] : rounding)
    {
        EXPECT_EQ(fields(KrTime(serial)), expected) << serial;
        EXPECT_EQ(KrTime(serial).Format("%Y").empty(), expected == none) << serial;
    }

    // Span getters round with the half second in days. Negative spans: the half second pulls
    // toward zero, and whole units leave a zero part.
    // days, hours, minutes, seconds, total hours, total minutes, total seconds
    const int kMax = 2147483647;
    // clang-format off
    const std::pair<KrTimeSpan, std::vector<int>> spans[] = {
        {KrTimeSpan(1, 2, 3, 4), {1, 2, 3, 4, 26, 1563, 93784}},
        {KrTimeSpan(2.0), {2, 0, 0, 0, 48, 2880, 172800}},
        {KrTimeSpan(0.99999999), {0, 0, 0, 59, 24, 1439, 86399}},
        {KrTimeSpan(0, 0, 0, 59), {0, 0, 0, 59, 0, 0, 59}},
        {KrTimeSpan(-0.25), {0, -5, 0, 0, -5, -359, -21599}},
        {KrTimeSpan(1e300), {kMax, 0, 0, 0, kMax, kMax, kMax}},
        {KrTimeSpan(nan), {0, 0, 0, 0, 0, 0, 0}}};
    // clang-format on
    for (const auto& [span, expected] : spans)
        EXPECT_EQ((std::vector<int>{span.GetDays(), span.GetHours(), span.GetMinutes(),
                                    span.GetSeconds(), span.GetTotalHours(), span.GetTotalMinutes(),
                                    span.GetTotalSeconds()}),
                  expected)
            << span.GetTimeSpan();
    EXPECT_TRUE(KrTimeSpan(0.1) + KrTimeSpan(0.2) != KrTimeSpan(0.3));  // no tolerance
}

TEST(KrTimeTest, FormatUsesStrftimeAndParseFollowsItsPatternLanguage)
{
    const KrTime plain(2008, 3, 5), stamp(2008, 3, 5, 10, 20, 30), old(1800, 1, 1);
    const std::string x127(127, 'x'), x128(128, 'x');
    // Only four-digit years are repaired: the two-digit year shows the substitute 2000, and a
    // four-digit group equal to the substitute year is replaced too.
    // clang-format off
    const std::tuple<KrTime, const char*, const char*> formats[] = {
        {stamp, "%Y-%m-%d %H:%M:%S", "2008-03-05 10:20:30"}, {stamp, "%a %b %j", "Wed Mar 065"},
        {old, "%Y/%m/%d", "1800/01/01"}, {KrTime(100, 1, 1), "%Y", "0100"}, {old, "%y", "00"},
        {KrTime(1800, 1, 1, 20, 0, 0), "%Y %H%M", "1800 1800"}, {plain, "", ""},
        {plain, nullptr, ""}, {plain, x127.c_str(), x127.c_str()}, {plain, x128.c_str(), ""}};
    // clang-format on
    for (const auto& [time, format, expected] : formats)
        EXPECT_EQ(time.Format(format), expected) << (format ? format : "null");

    // A skip takes any character; no century is added; 'z' is past the accepted range. "b" counts
    // months from 0: January is rejected, February lands in January. An invalid date (or month 0)
    // returns true and keeps the value. The day starts at 1; the text may run out; what is not a
    // number reads 0.
    const double unchanged = 12345.0, day = plain.GetTime(), full = stamp.GetTime();
    // clang-format off
    const std::tuple<const char*, const char*, unsigned char, double> cases[] = {
        {"2008-03-05 10:20:30", "%Y-%m-%d %H:%M:%S", 1, full},
        {"  2008-03-05 10:20:30  ", "  Y-m-d H:M:S ", 1, full},
        {"20080305102030", "YmdHMS", 1, full}, {"2008-03-05 10:20:30", "Y-m-d X", 1, full},
        {"2008.03.05", "Y-m-d", 1, day}, {"08-03-05", "y-m-d", 1, KrTime(8, 3, 5).GetTime()},
        {"05 march, 2008", "d B, Y", 1, day}, {"05 Marc 2008", "d B Y", 0, unchanged},
        {"05 Jan 2008", "d b Y", 1, unchanged},
        {"05 Feb 2008", "d b Y", 1, KrTime(2008, 1, 5).GetTime()},
        {"05 DEC 2008", "d b Y", 1, KrTime(2008, 11, 5).GetTime()},
        {"05 Xyz 2008", "d b Y", 0, unchanged}, {"2008/03/05", "Y/m/d", 0, unchanged},
        {"2008", "Yz", 0, unchanged}, {"2008", "", 0, unchanged},
        {"2008-02-30", "Y-m-d", 1, unchanged}, {"2008", "Y", 1, unchanged},
        {"2008-03", "Y-m", 1, KrTime(2008, 3, 1).GetTime()}, {"2008-03-05", "Y-m-d H:M:S", 1, day},
        {"abcd-03-05", "Y-m-d", 1, KrTime(0, 3, 5).GetTime()}};
    // clang-format on
    for (const auto& [text, pattern, result, expected] : cases)
    {
        KrTime t(unchanged);
        EXPECT_EQ(t.ParseDateTime(text, pattern), result) << text << " / " << pattern;
        EXPECT_DOUBLE_EQ(t.GetTime(), expected) << text << " / " << pattern;
    }
}

// Values the runtime conversion refuses leave the value as it was.
TEST(KrTimeTest, UnixAndCurrentTimesAreLocalTime)
{
    // TZ is put back, and the runtime rereads it, whatever happens below.
    const std::shared_ptr<void> reread(nullptr, [](void*) { tzset(); });
    ScopedEnvironment zone("TZ", "UTC0");
    tzset();
    EXPECT_EQ(fields(KrTime(1234567890LL)), (std::vector<long long>{2009, 2, 13, 23, 31, 30}));
    KrTime t(77.0);
    t = -1LL;
    t = 32535216000LL;  // 1 January 3001
    EXPECT_EQ(t.GetTime(), 77.0);
    EXPECT_EQ(fields(KrTime(32535215999LL)), (std::vector<long long>{3000, 12, 31, 23, 59, 59}));
    zone.Set("TZ", "XST-2");  // two hours east of UTC
    tzset();
    EXPECT_EQ(fields(KrTime(1234567890LL)), (std::vector<long long>{2009, 2, 14, 1, 31, 30}));

    // The unix time conversion is checked above; here the clock itself.
    const KrTime now(static_cast<long long>(std::time(nullptr)));
    const int difference = (KrTime::GetCurrentTime() - now).GetTotalSeconds();
    EXPECT_TRUE(difference >= 0 && difference <= 2) << difference;
    // The sleep is the wait being measured.
    const int before = KrTime::GetMillisecond();
    KrThread::sleep(20000000);
    const int elapsed = KrTime::GetMillisecond() - before;
    EXPECT_TRUE(elapsed >= 19 && elapsed < 5000) << elapsed;
}
