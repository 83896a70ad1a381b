// KrUnit names and classifies the length and angle units; KrFraction holds a number as a
// fraction and approximates decimals by fractions of bounded denominator.
//
// A unit code carries its size: a length unit's code is its length in tenths of a millimetre
// (METER is 10000), an angle unit's code is 1000000000 plus its size in radians times 10^8
// (DEGREE is 1001745329). The names are stored vocabulary and are kept exactly as they are,
// spellings included ("MILIMETER", "milimeter(s)"); angle units have the long name "meter(s)",
// and a MILE is 16090000 (1609 m), not the statute mile. Codes below 10, above 1100000000 or
// outside 32 bits take the default answer.
//   KrUnit::UnitConvert(" degree ") == 1001745329;  KrUnit::GetUnitsNameExt(10000) == "m"
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

class KRN_API KrUnit
{
public:
    enum UnitKind : int
    {
        UnitUnknown = -1,
        UnitLength = 10,
        UnitAngle = 20
    };

    // 10 for a length code, 20 for an angle code, -1 for any other code.
    static long long GetUnitType(long long code);
    // The upper- or mixed-case name ("METER", "DEGREE", "Grad"); "METER" for an unknown code.
    static KrString UnitConvert(long long code);
    // The code of a name, trimmed of tab, CR, LF and space and matched ignoring case; 10000
    // (metre) for an unknown name.
    static int UnitConvert(KrString name);
    // "meter(s)", "inch(es)"... of a length code; "meter(s)" for every other code, angles too.
    static KrString GetUnitsName(long long code);
    // "mm", "ft"... of a length code, the name of an angle code ("dg" for DEGREE); "m" for an
    // unknown code.
    static KrString GetUnitsNameExt(long long code);
};

// A fraction numerator/denominator with a sign flag. The flag is 1 for a value that is zero or
// positive and 0 for a negative one: the name GetNegative and its sense differ on purpose.
class KRN_API KrFraction
{
public:
    KrFraction() = default;
    // Stored as given; the flag keeps its low byte.
    KrFraction(int numerator, int denominator, int flag)
        : m_nNumerator(numerator),
          m_nDenominator(denominator),
          m_bSign(static_cast<unsigned char>(flag))
    {
    }
    // Approximates value by an improper fraction of its magnitude with the sign in the flag:
    // the fractional part is rounded to millionths and reduced; a denominator above 20 is then
    // replaced by a smaller one when the fraction closest to the value with a denominator of at
    // most 1, 10, ... 100000 rounds to the same millionths (six rounds, each bounded); a
    // denominator still above maxDenominator becomes maxDenominator, the numerator truncated.
    //   2.5, 16 gives 5/2 flag 1; -0.25 gives 1/4 flag 0; 0.333333 gives 1/3.
    // value is modified: it is left holding the fractional part of its magnitude (0.5 above).
    // Hostile input is defined: a maxDenominator below 1 counts as 1; NaN gives 0/1 flag 1 and
    // leaves value at 0; a magnitude whose numerator passes the int range saturates at
    // INT_MAX (an infinity gives INT_MAX/1 with value left at 0).
    KrFraction(double& value, int maxDenominator);
    KrFraction(const KrFraction&) = default;
    KrFraction& operator=(const KrFraction&) = default;
    virtual ~KrFraction() = default;

    int GetNumerator() const { return m_nNumerator; }
    void SetNumerator(int& numerator) { m_nNumerator = numerator; }
    int GetDenominator() const { return m_nDenominator; }
    void SetDenominator(int& denominator) { m_nDenominator = denominator; }
    // 1 for zero or positive, 0 for negative.
    unsigned char GetNegative() const { return m_bSign; }
    void SetNegative(unsigned char& flag) { m_bSign = flag; }

private:
    int m_nNumerator = 0;
    int m_nDenominator = 1;
    unsigned char m_bSign = 1;
};

}  // namespace KRN
