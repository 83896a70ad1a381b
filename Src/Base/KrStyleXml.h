// The XML forms of the symbology records (KrStyle, KrTextStyle, KrColorTable) share this: the
// dialect version numbers and how a caller's version picks one, the cursor that walks a record's
// children, and the texts of numbers and flags (decimals with trailing zeros trimmed, "TRUE" and
// "FALSE", sizes and angles kept in tenths).
#pragma once

#include <cstddef>
#include <string>

#include "Base/KrMarkup.h"
#include "Base/KrString.h"
#include "Base/KrToolkit.h"
#include "KrFormatLoop.h"

namespace KRN::Detail
{

// ---------------------------------------------------------------- dialects

// The two dialects of the style records. Version 0 asks for the newer one.
constexpr int kOlderStyleDialect = 20031211;
constexpr int kNewerStyleDialect = 20050303;
// The colour table's form serves every version below this one; version 0 asks for the one before.
constexpr int kColorTableVersionLimit = 20070522;
constexpr int kColorTableDefaultVersion = kColorTableVersionLimit - 1;

// The version a caller asked for, with 0 standing for the default one.
inline int ResolveVersion(int version, int defaultVersion = kNewerStyleDialect)
{
    return version == 0 ? defaultVersion : version;
}
// A resolved style version that asks for the older dialect.
inline bool IsOlderStyleDialect(int version)
{
    return version == kOlderStyleDialect;
}
// A resolved style version a writer knows: the older dialect, or the newer one and later.
inline bool IsWritableStyleVersion(int version)
{
    return IsOlderStyleDialect(version) || version >= kNewerStyleDialect;
}
inline bool IsColorTableVersion(int version)
{
    return ResolveVersion(version, kColorTableDefaultVersion) < kColorTableVersionLimit;
}

// ---------------------------------------------------------------- reading children

// Walks the children of a record's root. Next continues after the child found last, so a reader
// that asks in the writer's order reads each child once; FromFirst searches from the first child
// again, for children that may stand anywhere.
class ChildReader
{
public:
    explicit ChildReader(KrMarkup& markup) : m_markup(markup) {}

    bool Next(const char* name)
    {
        if (!m_markup.FindChildElem(name)) return false;
        m_text = m_markup.GetChildData();
        return true;
    }
    bool FromFirst(const char* name)
    {
        m_markup.ResetChildPos();
        return Next(name);
    }
    // The text of the child found last.
    const KrString& Text() const { return m_text; }
    int Int() const { return m_text.ToInt(); }
    double Double() const { return m_text.ToDouble(); }

private:
    KrMarkup& m_markup;
    KrString m_text;
};

// ---------------------------------------------------------------- texts

inline KrString FormatDouble(const char* format, double value)
{
    return FormatValue<KrString>(format, value);
}
inline KrString FormatInt(int value)
{
    return FormatValue<KrString>("%d", value);
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
