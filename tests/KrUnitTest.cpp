#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <numeric>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

struct Unit
{
    const char* name;
    const char* longName;
    const char* shortName;
    double tenthsOfMillimetre;  // length units
    double radians;             // angle units
};

const double kPi = 3.14159265358979323846;

// Sizes from their definitions; the codes are derived from these, not copied from the table.
const Unit kUnits[] = {
    {"MILIMETER", "milimeter(s)", "mm", 10, 0},
    {"CENTIMETER", "centimeter(s)", "cm", 100, 0},
    {"INCH", "inch(es)", "in", 254, 0},
    {"DECIMETER", "decimeter(s)", "dm", 1000, 0},
    {"FOOT", "foot(feet)", "ft", 3048, 0},
    {"YARD", "yard(s)", "yd", 9144, 0},
    {"METER", "meter(s)", "m", 10000, 0},
    {"KILOMETER", "kilometer(s)", "km", 10000000, 0},
    {"MILE", "mile(s)", "mi", 16090000, 0},  // 1609 m, not the statute mile
    {"Microradian", "meter(s)", "Microradian", 0, 1e-6},
    {"Second_Centesimal", "meter(s)", "Second_Centesimal", 0, kPi / 200 / 10000},
    {"Second", "meter(s)", "Second", 0, kPi / 180 / 3600},
    {"Minute_Centesimal", "meter(s)", "Minute_Centesimal", 0, kPi / 200 / 100},
    {"Minute", "meter(s)", "Minute", 0, kPi / 180 / 60},
    {"Mil_6400", "meter(s)", "Mil_6400", 0, 2 * kPi / 6400},
    {"Grad", "meter(s)", "Grad", 0, kPi / 200},
    {"DEGREE", "meter(s)", "dg", 0, kPi / 180},
    {"Radian", "meter(s)", "Radian", 0, 1},
};

long long codeOf(const Unit& unit)
{
    if (unit.radians == 0) return static_cast<long long>(unit.tenthsOfMillimetre);
    return 1000000000LL + std::llround(unit.radians * 1e8);
}

KrString lowered(const char* name)
{
    KrString text(name);
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

TEST(KrUnit, EveryUnitIsNamedAndClassified)
{
    for (const Unit& unit : kUnits)
    {
        const long long code = codeOf(unit);
        SCOPED_TRACE(unit.name);
        EXPECT_EQ(KrUnit::GetUnitType(code), unit.radians == 0 ? 10 : 20);
        EXPECT_EQ(KrUnit::UnitConvert(code), unit.name);
        EXPECT_EQ(KrUnit::GetUnitsName(code), unit.longName);
        EXPECT_EQ(KrUnit::GetUnitsNameExt(code), unit.shortName);
        EXPECT_EQ(KrUnit::UnitConvert(KrString(unit.name)), code);
        EXPECT_EQ(KrUnit::UnitConvert(" \t" + lowered(unit.name) + "\r\n"), code);
    }
}

TEST(KrUnit, UnknownCodesAndNamesTakeTheDefaults)
{
    const long long codes[] = {5,         9,          0,          -10000,
                               12345,     1000000000, 1100000001, 0x100000000LL + 10000,
                               LLONG_MIN, LLONG_MAX};
    for (long long code : codes)
    {
        SCOPED_TRACE(code);
        EXPECT_EQ(KrUnit::GetUnitType(code), -1);
        EXPECT_EQ(KrUnit::UnitConvert(code), "METER");
        EXPECT_EQ(KrUnit::GetUnitsName(code), "meter(s)");
        EXPECT_EQ(KrUnit::GetUnitsNameExt(code), "m");
    }
    const char* names[] = {"metre", "", "   ", "DEG", "MILLIMETER", "meter(s)", "dg", "Mil 6400"};
    for (const char* name : names) EXPECT_EQ(KrUnit::UnitConvert(KrString(name)), 10000) << name;
}

TEST(KrFraction, DecimalsFromTheExamples)
{
    struct Case
    {
        double value;
        int maxDenominator;
        int numerator, denominator;
        unsigned char flag;
        double rest;  // what the caller's variable holds afterwards
    };
    const Case cases[] = {
        {2.5, 16, 5, 2, 1, 0.5},
        {-0.25, 16, 1, 4, 0, 0.25},
        {0.0, 16, 0, 1, 1, 0.0},
        {-0.0, 16, 0, 1, 1, 0.0},
        {7.0, 16, 7, 1, 1, 0.0},
        {0.333333, 100, 1, 3, 1, 0.333333},
        {-1.1, 100, 11, 10, 0, 0.1},
        {0.9999999, 16, 1, 1, 1, 0.9999999},  // rounds up to the next whole number
        {0.05, 10, 0, 10, 1, 0.05},           // 1/20, then cut to tenths
        {3.14159, 1000, 3141, 1000, 1, 0.14159},
        {kPi, 1000, 355, 113, 1, kPi - 3},
        {0.1234567, 1000, 10, 81, 1, 0.1234567},  // 0.123457 rounds the same as 10/81
        {2.5, 0, 2, 1, 1, 0.5},                   // a largest denominator below 1 counts as 1
        {2.5, -7, 2, 1, 1, 0.5},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.value);
        double value = c.value;
        const KrFraction f(value, c.maxDenominator);
        EXPECT_EQ(f.GetNumerator(), c.numerator);
        EXPECT_EQ(f.GetDenominator(), c.denominator);
        EXPECT_EQ(f.GetNegative(), c.flag);
        EXPECT_NEAR(value, c.rest, 1e-12);
    }
}

TEST(KrFraction, SmallFractionsComeBackExactly)
{
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

TEST(KrFraction, HostileValuesAreDefined)
{
    struct Case
    {
        double value;
        int numerator, denominator;
        unsigned char flag;
    };
    const double inf = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {std::numeric_limits<double>::quiet_NaN(), 0, 1, 1},
        {inf, INT_MAX, 1, 1},
        {-inf, INT_MAX, 1, 0},
        {1e300, INT_MAX, 1, 1},
        {-1e300, INT_MAX, 1, 0},
        {2147483647.5, INT_MAX, 2, 1},
        {std::numeric_limits<double>::denorm_min(), 0, 1, 1},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.value);
        double value = c.value;
        const KrFraction f(value, 16);
        EXPECT_EQ(f.GetNumerator(), c.numerator);
        EXPECT_EQ(f.GetDenominator(), c.denominator);
        EXPECT_EQ(f.GetNegative(), c.flag);
        EXPECT_TRUE(value >= 0 && value < 1);
    }
}

TEST(KrFraction, DefaultFlagIsPositiveAndGivenFlagsKeepTheirLowByte)
{
    EXPECT_EQ(KrFraction().GetNegative(), 1);
    EXPECT_EQ(KrFraction(3, 4, 0x100).GetNegative(), 0);
    EXPECT_EQ(KrFraction(3, 4, 0x101).GetNegative(), 1);
}

}  // namespace
