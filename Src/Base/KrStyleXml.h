// Text helpers shared by the XML forms of the symbology records: decimal numbers with their
// trailing zeros trimmed, the "TRUE"/"FALSE" flags, and the tenths every size and angle is kept in.
#pragma once

#include <cstdio>

#include "Base/KrString.h"
#include "Base/KrToolkit.h"

namespace KRN::Detail
{

// printf of one double; "%.2f" of 2.40 gives "2.40".
inline KrString FormatDouble(const char* format, double value)
{
    char buffer[64];
    const int length = std::snprintf(buffer, sizeof buffer, format, value);
    if (length >= 0 && length < static_cast<int>(sizeof buffer)) return KrString(buffer, length);
    KrString text;
    text.Format(format, value);  // only huge magnitudes need more room
    return text;
}

// Drops the trailing zeros of the fraction and then a trailing point: 2.40 gives 2.4, 1.00
// gives 1. A text without a point (inf, nan) is left as it is.
inline KrString FormatTrimmed(const char* format, double value)
{
    KrString text = FormatDouble(format, value);
    if (text.find('.') == std::string::npos) return text;
    size_t end = text.find_last_not_of('0');
    if (text[end] == '.') --end;
    text.resize(end + 1);
    return text;
}

inline KrString FormatInt(int value)
{
    char buffer[16];
    const int length = std::snprintf(buffer, sizeof buffer, "%d", value);
    return KrString(buffer, length);
}

inline const char* FlagText(bool flag)
{
    return flag ? "TRUE" : "FALSE";
}
inline bool IsTrueText(const KrString& text)
{
    return text.CompareNoCase("TRUE") == 0;
}
inline bool IsFalseText(const KrString& text)
{
    return text.CompareNoCase("FALSE") == 0;
}
inline bool HasRGBPrefix(const KrString& text)
{
    return text.find("RGB") != std::string::npos || text.find("rgb") != std::string::npos;
}

// A value in units kept in tenths: half away from zero, clamped to the int range, NaN 0.
inline int ToTenths(double value)
{
    return KrToolkit::RoundLong(value * 10.0);
}

}  // namespace KRN::Detail
