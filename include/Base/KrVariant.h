// KrVariant: one field value of one of nine kinds, or nothing. Byte, short, int, 64-bit
// integer, float, double and date-time live inline in an 8-byte union and never allocate; a
// string or a binary block is a private heap copy that the variant owns.
//   KrVariant v(2.5);            // v.ToString() == "2.5", v.ToInt() == 3
//   v = KrString("12");          // v.ToLong() == 12
//
// Things callers trip over:
// - Kinds never convert when compared: KrVariant(1) == KrVariant((short)1) is false, and < between
//   different kinds is false both ways.
// - Two Null variants are each less than the other (and equal): < is not a strict weak order on
//   Null, nor on binary blocks, where a block is only ever less than a strictly longer one.
// - ToLong of a float or double goes through a 32-bit integer, so 5e9 does not survive.
// - Float, double and time compare with plain floating ==, not krequal; a NaN equals nothing,
//   except the very same variant object.
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrString.h"

// Keeps the release of an owned string or block out of the small kinds' path.
#if defined(__GNUC__)
#define KRN_VARIANT_UNLIKELY(x) __builtin_expect(!!(x), 0)
#define KRN_VARIANT_COLD __attribute__((cold))
#else
#define KRN_VARIANT_UNLIKELY(x) (x)
#define KRN_VARIANT_COLD
#endif

namespace KRN
{

class KrMemoryStream;
class KrTime;

class KRN_API KrVariant
{
public:
    enum VarType : int
    {
        Null = 0,
        Byte = 1,
        Short = 2,
        Integer = 3,
        Long = 4,
        Float = 5,
        Double = 6,
        Time = 7,    // a serial date, as KrTime::GetTime() gives it
        Binary = 8,  // an owned KrMemoryStream opened for loading over a private copy
        String = 9   // an owned heap KrString
    };

    union VarValue
    {
        unsigned char bVal;
        short sVal;
        int nVal;
        long long lVal;
        float fVal;
        double dVal;
        KrMemoryStream* pStream;
        KrString* pString;
    };

    KrVariant() { m_value.lVal = 0; }
    KrVariant(unsigned char value) { setInline(Byte).bVal = value; }
    KrVariant(short value) { setInline(Short).sVal = value; }
    KrVariant(int value) { setInline(Integer).nVal = value; }
    KrVariant(long long value) { setInline(Long).lVal = value; }
    // int64_t is long here, not long long: it is held as a Long too.
    KrVariant(long value) { setInline(Long).lVal = value; }
    KrVariant(float value) { setInline(Float).fVal = value; }
    KrVariant(double value) { setInline(Double).dVal = value; }
    KrVariant(const KrTime& value);
    KrVariant(const KrString& value);
    // A copy of nSize bytes; a null pData or an nSize of 0 or less gives an empty block.
    KrVariant(const unsigned char* pData, int nSize);
    KrVariant(const KrVariant& other);
    // Takes over other's value; other becomes Null.
    KrVariant(KrVariant&& other) noexcept;
    ~KrVariant()
    {
        if (KRN_VARIANT_UNLIKELY(m_nType >= Binary)) releaseOwned(m_nType, m_value);
    }

    void Set(unsigned char value) { reset(Byte).bVal = value; }
    void Set(short value) { reset(Short).sVal = value; }
    void Set(int value) { reset(Integer).nVal = value; }
    void Set(long long value) { reset(Long).lVal = value; }
    void Set(long value) { reset(Long).lVal = value; }
    void Set(float value) { reset(Float).fVal = value; }
    void Set(double value) { reset(Double).dVal = value; }
    void Set(const KrTime& value);
    // Allocation failure leaves the kind String with no string, which reads as empty.
    void Set(const KrString& value);
    // As the constructor: null data or a size of 0 or less gives an empty block.
    void Set(const unsigned char* pData, int nSize);

    const KrVariant& operator=(unsigned char value) { return Set(value), *this; }
    const KrVariant& operator=(short value) { return Set(value), *this; }
    const KrVariant& operator=(int value) { return Set(value), *this; }
    const KrVariant& operator=(long long value) { return Set(value), *this; }
    const KrVariant& operator=(long value) { return Set(value), *this; }
    const KrVariant& operator=(float value) { return Set(value), *this; }
    const KrVariant& operator=(double value) { return Set(value), *this; }
    const KrVariant& operator=(const KrTime& value) { return Set(value), *this; }
    const KrVariant& operator=(const KrString& value) { return Set(value), *this; }
    // Strings and blocks are copied; the kind is taken over even when other's string or block
    // is missing (then this one's is missing too).
    const KrVariant& operator=(const KrVariant& other);
    const KrVariant& operator=(KrVariant&& other) noexcept;

    // Frees an owned string or block; the kind becomes Null.
    void Clear() { reset(Null); }

    VarType GetType() const { return m_nType; }
    VarValue& GetValue() { return m_value; }
    const VarValue& GetValue() const { return m_value; }

    // Numbers widen; a string is parsed; Null and Binary give 0.0.
    double ToDouble() const
    {
        switch (m_nType)
        {
            case Byte:
                return m_value.bVal;
            case Short:
                return m_value.sVal;
            case Integer:
                return m_value.nVal;
            case Long:
                return static_cast<double>(m_value.lVal);
            case Float:
                return m_value.fVal;
            case Double:
            case Time:
                return m_value.dVal;
            case String:
                return stringToDouble(m_value.pString);
            default:
                return 0.0;
        }
    }
    // A 64-bit integer keeps its low 32 bits. Float and double round half away from zero, a
    // time truncates toward zero. NaN gives 0; doubles beyond the int range saturate to
    // INT_MIN or INT_MAX. A string is parsed in base 10; Null and Binary give 0.
    int ToInt() const;
    // Float and double round as ToInt, to a 32-bit integer, then widen: values outside the
    // 32-bit range saturate there and do not survive. A time truncates to a 64-bit integer
    // (saturating; NaN gives 0).
    long long ToLong() const;
    // Byte and short "%hd", int "%d", long decimal, float "%g", double "%lf" with trailing zeros
    // trimmed to one decimal at least ("2.5", "3.0", "100.0"), time "%Y-%m-%d %X", string a
    // copy; Null and Binary give an empty text. A text longer than the string's inline capacity
    // is the only allocation a small kind makes here.
    KrString ToString() const;

    unsigned char operator==(const KrVariant& other) const;
    unsigned char operator!=(const KrVariant& other) const { return !(*this == other); }
    // Within one kind only: Null is always less; bytes unsigned, the other integers signed;
    // floating kinds by <; binary blocks only when a's block is strictly shorter and its first
    // differing byte is smaller (a proper prefix is not less); strings by case-sensitive Compare.
    unsigned char operator<(const KrVariant& other) const;

private:
    VarValue& setInline(VarType type)
    {
        m_nType = type;
        m_value.lVal = 0;
        return m_value;
    }
    // Releases the owned object of the previous kind, then takes the new kind.
    VarValue& reset(VarType type)
    {
        if (KRN_VARIANT_UNLIKELY(m_nType >= Binary)) releaseOwned(m_nType, m_value);
        return setInline(type);
    }
    // Static, so that a variant of the small kinds can live in registers.
    KRN_VARIANT_COLD static void releaseOwned(VarType type, VarValue value) noexcept;
    static double stringToDouble(const KrString* pString);
    void copyFrom(const KrVariant& other);

    VarType m_nType = Null;
    VarValue m_value;
};

}  // namespace KRN

#undef KRN_VARIANT_UNLIKELY
#undef KRN_VARIANT_COLD
