#include "Base/KrUnit.h"

#include <climits>
#include <cmath>

namespace KRN
{

namespace
{

struct UnitEntry
{
    long long code;
    bool angle;
    const char* name;       // UnitConvert
    const char* longName;   // GetUnitsName
    const char* shortName;  // GetUnitsNameExt
};

// In the order names are matched by UnitConvert(name).
const UnitEntry kUnits[] = {
    {10, false, "MILIMETER", "milimeter(s)", "mm"},
    {100, false, "CENTIMETER", "centimeter(s)", "cm"},
    {1000, false, "DECIMETER", "decimeter(s)", "dm"},
    {10000, false, "METER", "meter(s)", "m"},
    {10000000, false, "KILOMETER", "kilometer(s)", "km"},
    {16090000, false, "MILE", "mile(s)", "mi"},
    {254, false, "INCH", "inch(es)", "in"},
    {9144, false, "YARD", "yard(s)", "yd"},
    {3048, false, "FOOT", "foot(feet)", "ft"},
    {1001745329, true, "DEGREE", "meter(s)", "dg"},
    {1100000000, true, "Radian", "meter(s)", "Radian"},
    {1000029089, true, "Minute", "meter(s)", "Minute"},
    {1000000485, true, "Second", "meter(s)", "Second"},
    {1001570796, true, "Grad", "meter(s)", "Grad"},
    {1000000100, true, "Microradian", "meter(s)", "Microradian"},
    {1000015708, true, "Minute_Centesimal", "meter(s)", "Minute_Centesimal"},
    {1000000157, true, "Second_Centesimal", "meter(s)", "Second_Centesimal"},
    {1000098175, true, "Mil_6400", "meter(s)", "Mil_6400"},
};

constexpr long long kMetre = 10000;
// Codes outside this range name no unit, whatever the table holds.
constexpr long long kLowestUnitCode = 10;
constexpr long long kHighestUnitCode = 1100000000;  // the radian

const UnitEntry* findUnit(long long code)
{
    if (code < kLowestUnitCode || code > kHighestUnitCode) return nullptr;
    for (const UnitEntry& unit : kUnits)
        if (unit.code == code) return &unit;
    return nullptr;
}

constexpr int kMillion = 1000000;
// A fraction whose reduced millionths have a denominator above this is looked for among
// fractions of smaller denominator.
constexpr int kPlainDenominator = 20;

int gcd(int a, int b)
{
    while (b != 0)
    {
        const int rest = a % b;
        a = b;
        b = rest;
    }
    return a;
}

// The fraction in millionths, rounded: 0 to 1000000 for a fraction in [0, 1). The half is added
// before scaling, not after as KrToolkit::RoundLong would, and the last bit of a tie can differ:
// the stored fractions depend on this exact form.
int millionths(double fraction)
{
    const double scaled = std::trunc((fraction + 5e-7) * kMillion);
    if (!(scaled >= 0)) return 0;
    return scaled > kMillion ? kMillion : static_cast<int>(scaled);
}

struct Ratio
{
    long long numerator;
    long long denominator;
};

// The fraction closest to x (0 <= x < 1) whose denominator is at most limit: the last
// continued-fraction convergent within the limit or the best semiconvergent after it. The
// expansion stops after 64 terms whatever x is.
Ratio closestRatio(double x, long long limit)
{
    long long p0 = 0, q0 = 1, p1 = 1, q1 = 0;
    double rest = x;
    for (int term = 0; term < 64; ++term)
    {
        const double whole = std::floor(rest);
        const long long a =
            whole > static_cast<double>(limit) ? limit + 1 : static_cast<long long>(whole);
        const long long q2 = q0 + a * q1;
        if (q2 > limit) break;
        const long long p2 = p0 + a * p1;
        p0 = p1, q0 = q1, p1 = p2, q1 = q2;
        const double fraction = rest - whole;
        if (fraction <= 0) break;
        rest = 1.0 / fraction;
    }
    if (q1 == 0) return Ratio{0, 1};
    const long long k = (limit - q0) / q1;
    const Ratio semi{p0 + k * p1, q0 + k * q1};
    const Ratio last{p1, q1};
    const double semiError = std::fabs(static_cast<double>(semi.numerator) / semi.denominator - x);
    const double lastError = std::fabs(static_cast<double>(last.numerator) / last.denominator - x);
    return semiError < lastError ? semi : last;
}

// Replaces numerator/denominator with a pair of smaller denominator that rounds to the same
// millionths, trying denominators up to 10^round in six rounds.
void refine(double fraction, int nMillionths, int& numerator, int& denominator)
{
    long long limit = 1;
    for (int round = 0; round < 6; ++round, limit *= 10)
    {
        const Ratio proposal = closestRatio(fraction, limit);
        const int g =
            gcd(static_cast<int>(proposal.denominator), static_cast<int>(proposal.numerator));
        const int p = static_cast<int>(proposal.numerator) / g;
        const int q = static_cast<int>(proposal.denominator) / g;
        if (q < denominator && millionths(static_cast<double>(p) / q) == nMillionths)
        {
            numerator = p;
            denominator = q;
        }
    }
}

}  // namespace

long long KrUnit::GetUnitType(long long code)
{
    const UnitEntry* unit = findUnit(code);
    if (unit == nullptr) return UnitUnknown;
    return unit->angle ? UnitAngle : UnitLength;
}

KrString KrUnit::UnitConvert(long long code)
{
    const UnitEntry* unit = findUnit(code);
    return unit != nullptr ? unit->name : "METER";
}

int KrUnit::UnitConvert(KrString name)
{
    name.TrimLeft();
    name.TrimRight();
    for (const UnitEntry& unit : kUnits)
        if (name.CompareNoCase(unit.name) == 0) return static_cast<int>(unit.code);
    return static_cast<int>(kMetre);
}

KrString KrUnit::GetUnitsName(long long code)
{
    const UnitEntry* unit = findUnit(code);
    return unit != nullptr ? unit->longName : "meter(s)";
}

KrString KrUnit::GetUnitsNameExt(long long code)
{
    const UnitEntry* unit = findUnit(code);
    return unit != nullptr ? unit->shortName : "m";
}

KrFraction::KrFraction(double& value, int maxDenominator)
{
    if (maxDenominator < 1) maxDenominator = 1;
    if (std::isnan(value))
    {
        value = 0.0;
        return;
    }
    m_bSign = value < 0 ? 0 : 1;
    if (value < 0) value = -value;
    const double whole = std::isinf(value) ? value : std::trunc(value);
    value = std::isinf(value) ? 0.0 : value - whole;

    const int n = millionths(value);
    const int g = gcd(kMillion, n % kMillion);
    m_nNumerator = n / g;
    m_nDenominator = kMillion / g;
    if (m_nDenominator > kPlainDenominator) refine(value, n, m_nNumerator, m_nDenominator);
    if (m_nDenominator > maxDenominator)
    {
        m_nDenominator = maxDenominator;
        m_nNumerator = static_cast<int>(static_cast<long long>(n) * maxDenominator / kMillion);
    }
    // Exact while the result fits in an int; anything larger saturates.
    const double total = m_nNumerator + static_cast<double>(m_nDenominator) * whole;
    m_nNumerator = total >= static_cast<double>(INT_MAX) ? INT_MAX : static_cast<int>(total);
}

}  // namespace KRN
