#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <numeric>
#include <tuple>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

const double kPi = 3.14159265358979323846;
const double kInf = std::numeric_limits<double>::infinity();

// Name, long name, short name, and the size of the unit from its definition: tenths of a
// millimetre for lengths, radians for angles. The codes are derived from the sizes, not copied.
// clang-format off
const std::tuple<const char*, const char*, const char*, double, double> kUnits[] = {
    {"MILIMETER", "milimeter(s)", "mm", 10, 0}, {"CENTIMETER", "centimeter(s)", "cm", 100, 0},
    {"INCH", "inch(es)", "in", 254, 0}, {"DECIMETER", "decimeter(s)", "dm", 1000, 0},
    {"FOOT", "foot(feet)", "ft", 3048, 0}, {"YARD", "yard(s)", "yd", 9144, 0},
    {"METER", "meter(s)", "m", 10000, 0}, {"KILOMETER", "kilometer(s)", "km", 10000000, 0},
    {"MILE", "mile(s)", "mi", 16090000, 0},  // 1609 m, not the statute mile
    {"Microradian", "meter(s)", "Microradian", 0, 1e-6},
    {"Second_Centesimal", "meter(s)", "Second_Centesimal", 0, kPi / 200 / 10000},
    {"Second", "meter(s)", "Second", 0, kPi / 180 / 3600},
    {"Minute_Centesimal", "meter(s)", "Minute_Centesimal", 0, kPi / 200 / 100},
    {"Minute", "meter(s)", "Minute", 0, kPi / 180 / 60}, {"Grad", "meter(s)", "Grad", 0, kPi / 200},
    {"Mil_6400", "meter(s)", "Mil_6400", 0, 2 * kPi / 6400},
    {"DEGREE", "meter(s)", "dg", 0, kPi / 180}, {"Radian", "meter(s)", "Radian", 0, 1}};
// clang-format on

TEST(KrUnit, EveryUnitIsNamedAndClassifiedAndTheRestTakeTheDefaults)
{
    for (const auto& [name, longName, shortName, tenthsOfMillimetre, radians] : kUnits)
    {
        SCOPED_TRACE(name);
        const long long code = radians == 0 ? static_cast<long long>(tenthsOfMillimetre)
                                            : 1000000000LL + std::llround(radians * 1e8);
        EXPECT_EQ(KrUnit::GetUnitType(code), radians == 0 ? 10 : 20);
        EXPECT_EQ(KrUnit::UnitConvert(code), name);
        EXPECT_EQ(KrUnit::GetUnitsName(code), longName);
        EXPECT_EQ(KrUnit::GetUnitsNameExt(code), shortName);
        EXPECT_EQ(KrUnit::UnitConvert(KrString(name)), code);
        KrString padded = KrString(" \t") + name + "\r\n";
        for (char& c : padded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        EXPECT_EQ(KrUnit::UnitConvert(padded), code);
    }
    // Unknown codes and names take the defaults.
    for (long long code : {5LL, 9LL, 0LL, -10000LL, 12345LL, 1000000000LL, 1100000001LL,
                           0x100000000LL + 10000, LLONG_MIN, LLONG_MAX})
    {
        EXPECT_EQ(KrUnit::GetUnitType(code), -1) << code;
        EXPECT_EQ(KrUnit::UnitConvert(code), "METER") << code;
        EXPECT_EQ(KrUnit::GetUnitsName(code), "meter(s)") << code;
        EXPECT_EQ(KrUnit::GetUnitsNameExt(code), "m") << code;
    }
    for (const char* name : {"metre", "", "   ", "DEG", "MILLIMETER", "meter(s)", "dg", "Mil 6400"})
        EXPECT_EQ(KrUnit::UnitConvert(KrString(name)), 10000) << name;
}

TEST(KrFraction, DecimalsHostileValuesAndSmallFractions)
{
    // Value, largest denominator, numerator, denominator, flag, and what the caller's variable
    // holds afterwards (-1: anything in [0, 1)).
    // clang-format off
    const std::tuple<double, int, int, int, int, double> cases[] = {
        {2.5, 16, 5, 2, 1, 0.5}, {-0.25, 16, 1, 4, 0, 0.25}, {0.0, 16, 0, 1, 1, 0.0},
        {-0.0, 16, 0, 1, 1, 0.0}, {7.0, 16, 7, 1, 1, 0.0}, {0.333333, 100, 1, 3, 1, 0.333333},
        {-1.1, 100, 11, 10, 0, 0.1},
        {0.9999999, 16, 1, 1, 1, 0.9999999},  // rounds up to the next whole number
        {0.05, 10, 0, 10, 1, 0.05},           // 1/20, then cut to tenths
        {3.14159, 1000, 3141, 1000, 1, 0.14159}, {kPi, 1000, 355, 113, 1, kPi - 3},
        {0.1234567, 1000, 10, 81, 1, 0.1234567},  // 0.123457 rounds the same as 10/81
        {2.5, 0, 2, 1, 1, 0.5},  // a largest denominator below 1 counts as 1
        {2.5, -7, 2, 1, 1, 0.5}, {std::numeric_limits<double>::quiet_NaN(), 16, 0, 1, 1, -1},
        {kInf, 16, INT_MAX, 1, 1, -1}, {-kInf, 16, INT_MAX, 1, 0, -1},
        {1e300, 16, INT_MAX, 1, 1, -1}, {-1e300, 16, INT_MAX, 1, 0, -1},
        {2147483647.5, 16, INT_MAX, 2, 1, -1},
        {std::numeric_limits<double>::denorm_min(), 16, 0, 1, 1, -1}};
    // clang-format on
    for (const auto& [input, maxDenominator, numerator, denominator, flag, rest] : cases)
    {
        double value = input;
        const KrFraction f(value, maxDenominator);
        EXPECT_EQ(std::tuple(f.GetNumerator(), f.GetDenominator(), f.GetNegative()),
                  std::tuple(numerator, denominator, flag))
            << input;
        EXPECT_TRUE(value >= 0 && value < 1 &&
                    std::fabs(value - (rest >= 0 ? rest : value)) < 1e-12)
            << input;
    }
    EXPECT_EQ(KrFraction().GetNegative(), 1);             // positive by default
    EXPECT_EQ(KrFraction(3, 4, 0x100).GetNegative(), 0);  // a given flag keeps its low byte
    EXPECT_EQ(KrFraction(3, 4, 0x101).GetNegative(), 1);
    // Every p/q with q <= 100 rounds to millionths that no other such fraction shares, so the
    // refinement must find it again, reduced.
    for (int q = 1; q <= 100; ++q)
        for (int p = 0; p < q; ++p)
        {
            const int g = std::gcd(p, q);
            double value = 3 + static_cast<double>(p) / q;
            const KrFraction f(value, 1000);
            ASSERT_EQ(f.GetDenominator(), q / g) << p << "/" << q;
            ASSERT_EQ(f.GetNumerator(), p / g + 3 * (q / g)) << p << "/" << q;
        }
}

}  // namespace
