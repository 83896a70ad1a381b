// Compression, hash codes and block encryption: three small static utility classes.
// KrHashCode turns scalars and strings into the 32-bit codes that stored tables depend on; the
// values are part of the data format and never change.
#pragma once

#include "Base/KrDefs.h"

namespace KRN
{

class KrString;

class KRN_API KrHashCode
{
public:
    virtual ~KrHashCode();

    static int BoolToHashCode(unsigned char b);  // 1 when b is non-zero, else 0
    static int ByteToHashCode(unsigned char b);  // b
    static int ShortToHashCode(short s);         // s | s << 16, s sign-extended: -1 gives -1
    static int LONGToHashCode(long long n);      // the low 32 bits of n
    // The pointer's 32-bit value; a 64-bit pointer gives its low 32 bits XOR its high 32 bits.
    static int PointerToHashCode(void* p);
    // 0 for both signed zeros, otherwise the IEEE 754 bit pattern of f.
    static int FloatToHashCode(float f);
    // 0 for both signed zeros, otherwise the high 32 bits XOR the low 32 bits of the pattern.
    static int DoubleToHashCode(double d);

    // Two interleaved accumulators over the stored bytes, each byte taken as a signed char.
    // The empty string gives 757602046.
    static int FastStringToHashCode(const KrString& s);
    // The same accumulators over the string's UCS-2LE form (converted from its charset), read
    // as little-endian 32-bit words of two UTF-16 units each.
    static int StringToHashCode(const KrString& s);
};

}  // namespace KRN
