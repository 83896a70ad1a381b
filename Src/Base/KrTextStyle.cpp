#include "Base/KrTextStyle.h"

#include <cmath>
#include <cstring>
#include <string>

#include "Base/KrCompress.h"
#include "Base/KrCore.h"
#include "Base/KrMarkup.h"
#include "Base/KrStyle.h"
#include "KrStyleXml.h"

namespace KRN
{

namespace
{

constexpr int kItalicLimit = 600;  // tenths of a degree

const char* const kAlignNames[] = {"TopLeft",        "TopCenter",     "TopRight",   "BaselineLeft",
                                   "BaselineCenter", "BaselineRight", "BottomLeft", "BottomCenter",
                                   "BottomRight",    "CenterLeft",    "Center",     "CenterRight"};
constexpr int kAlignCount = sizeof kAlignNames / sizeof kAlignNames[0];

// The GBK name of the Song typeface, written in place of an empty face name by the older dialect.
const char kSongTypeface[] = "\xCB\xCE\xCC\xE5";

unsigned char alignFromName(const KrString& name)
{
    for (int align = 0; align < kAlignCount; ++align)
        if (name.CompareNoCase(kAlignNames[align]) == 0) return static_cast<unsigned char>(align);
    return 0;
}

unsigned int mix(unsigned int hash, unsigned int value)
{
    return hash * 31u + value;
}

// A flag is set only by a child reading "TRUE"; any other text clears it.
void readFlag(Detail::ChildReader& child, const char* name, KrTextStyle& style,
              void (KrTextStyle::*set)(unsigned char))
{
    if (child.Next(name)) (style.*set)(Detail::IsTrueText(child.Text()) ? 1 : 0);
}

// Only an "RGB(r,g,b)" text replaces the colour; a bare number is ignored.
void readColor(Detail::ChildReader& child, const char* name, unsigned int& color)
{
    if (child.Next(name) && Detail::HasRGBPrefix(child.Text()))
        color = KrStyle::ConvertRGBColor(child.Text());
}

}  // namespace

KrTextStyle::KrTextStyle()
    : m_clrFore(KrRGB(0, 0, 0)),
      m_clrBack(KrRGB(0, 0, 0)),
      m_nAngle(0),
      m_nItalicAngle(0),
      m_dWidth(0.0),
      m_dHeight(6.0),
      m_nStyle(0)
{
}

KrTextStyle::~KrTextStyle() = default;

void KrTextStyle::SetAngle(double degrees)
{
    m_nAngle = Detail::ToTenths(degrees);
}

void KrTextStyle::SetItalicAngle(double degrees)
{
    const double tenths = degrees * 10.0;
    if (std::isnan(tenths))
        m_nItalicAngle = 0;
    else if (tenths >= kItalicLimit)
        m_nItalicAngle = kItalicLimit;
    else if (tenths <= -kItalicLimit)
        m_nItalicAngle = -kItalicLimit;
    else
        m_nItalicAngle = static_cast<int>(tenths);
}

void KrTextStyle::SetAlign(unsigned char align)
{
    m_nStyle = (m_nStyle & ~0xFF) | align;
}

int KrTextStyle::GetWeight() const
{
    const unsigned int stored = static_cast<unsigned int>(m_nStyle) >> 16 & 0xFF;
    return KrToolkit::RoundLong(stored * 0.66) * 100;
}

void KrTextStyle::SetWeight(int weight)
{
    const unsigned int stored = static_cast<unsigned int>(KrToolkit::RoundLong(weight / 66.0));
    const unsigned int word = (static_cast<unsigned int>(m_nStyle) & ~0x00FF0000u) | stored << 16;
    m_nStyle = static_cast<int>(word);
}

void KrTextStyle::SetSizeForFixed(double size)
{
    const unsigned int tenths = static_cast<unsigned int>(Detail::ToTenths(size));
    const unsigned int word = (static_cast<unsigned int>(m_nStyle) & 0x00FFFFFFu) | tenths << 24;
    m_nStyle = static_cast<int>(word);
}

bool KrTextStyle::operator==(const KrTextStyle& other) const
{
    return m_clrFore == other.m_clrFore && m_clrBack == other.m_clrBack &&
           m_nAngle == other.m_nAngle && m_nItalicAngle == other.m_nItalicAngle &&
           m_dWidth == other.m_dWidth && krequal(m_dHeight, other.m_dHeight) &&
           m_strFaceName == other.m_strFaceName && m_nStyle == other.m_nStyle;
}

int KrTextStyle::GetHashCode() const
{
    // Both zeros compare equal, so they must hash alike.
    const double width = m_dWidth == 0.0 ? 0.0 : m_dWidth;
    unsigned long long widthBits;
    std::memcpy(&widthBits, &width, sizeof widthBits);
    unsigned int hash = mix(m_clrFore, m_clrBack);
    hash = mix(hash, static_cast<unsigned int>(m_nAngle));
    hash = mix(hash, static_cast<unsigned int>(m_nItalicAngle));
    hash = mix(hash, static_cast<unsigned int>(widthBits ^ widthBits >> 32));
    // The library's own string hash: std::hash differs between 32- and 64-bit hosts.
    hash = mix(hash, static_cast<unsigned int>(KrHashCode::FastStringToHashCode(m_strFaceName)));
    hash = mix(hash, static_cast<unsigned int>(m_nStyle));
    return static_cast<int>(hash);
}

// ---------------------------------------------------------------- XML form

KrString KrTextStyle::ToXML(int version) const
{
    version = Detail::ResolveVersion(version);
    if (!Detail::IsWritableStyleVersion(version)) return KrString();
    return Detail::IsOlderStyleDialect(version) ? toOlderXML() : toCurrentXML();
}

KrString KrTextStyle::toCurrentXML() const
{
    KrMarkup markup;
    markup.AddElem("pml:TextStyle");
    auto add = [&markup](const char* name, const char* text) { markup.AddChildElem(name, text); };
    const unsigned char align = GetAlign();
    add("pml:FaceName", m_strFaceName.Cstr());
    add("pml:Align", align < kAlignCount ? kAlignNames[align] : "");
    add("pml:ForeColor", KrStyle::ConvertRGBColor(m_clrFore));
    add("pml:BackColor", KrStyle::ConvertRGBColor(m_clrBack));
    add("pml:BackOpaque", Detail::FlagText(IsBackOpaque()));
    add("pml:Height", Detail::FormatTrimmed("%.16f", m_dHeight));
    add("pml:Width", Detail::FormatTrimmed("%.16f", m_dWidth));
    add("pml:Weight", Detail::FormatInt(GetWeight()));
    add("pml:IsFixedSize", Detail::FlagText(IsFixedSize()));
    add("pml:FixedSize", Detail::FormatTrimmed("%.2f", GetSizeForFixed()));
    add("pml:Angle", Detail::FormatTrimmed("%.2f", GetAngle()));
    add("pml:Bold", Detail::FlagText(IsBold()));
    add("pml:Italic", Detail::FlagText(IsItalic()));
    add("pml:ItalicAngle", Detail::FormatDouble("%.2f", GetItalicAngle()));
    add("pml:StrikeOut", Detail::FlagText(IsStrikeOut()));
    add("pml:Underline", Detail::FlagText(IsUnderline()));
    add("pml:Shadow", Detail::FlagText(IsShadow()));
    add("pml:Halo", Detail::FlagText(IsHalo()));
    add("pml:Charset", nullptr);
    return markup.GetDoc();
}

KrString KrTextStyle::toOlderXML() const
{
    KrMarkup markup;
    markup.AddElem("pml:TextStyle");
    auto add = [&markup](const char* name, const char* text) { markup.AddChildElem(name, text); };
    // Fixed-size text keeps its sizes ten times larger in this dialect.
    const double scale = IsFixedSize() ? 10.0 : 1.0;
    add("pml:FontName", m_strFaceName.empty() ? kSongTypeface : m_strFaceName.Cstr());
    add("pml:Align", Detail::FormatInt(GetAlign()));
    add("pml:Bold", Detail::FlagText(IsBold()));
    add("pml:Italic", Detail::FlagText(IsItalic()));
    add("pml:ItalicAngle", Detail::FormatDouble("%.2f", GetItalicAngle()));
    add("pml:Stroke", Detail::FlagText(IsStrikeOut()));
    add("pml:Underline", Detail::FlagText(IsUnderline()));
    add("pml:Shadow", Detail::FlagText(IsShadow()));
    add("pml:Outline", Detail::FlagText(IsHalo()));
    add("pml:FontHeight", Detail::FormatTrimmed("%.12f", m_dHeight * scale));
    add("pml:FontWidth", Detail::FormatTrimmed("%.12f", m_dWidth * scale));
    add("pml:FontWeight", Detail::FormatInt(GetWeight()));
    add("pml:FixedSize", Detail::FlagText(IsFixedSize()));
    add("pml:FixedTextSize", Detail::FormatInt(static_cast<unsigned int>(m_nStyle) >> 24));
    add("pml:Rotation", Detail::FormatDouble("%.2f", GetAngle()));
    add("pml:ForeColor", KrStyle::ConvertRGBColor(m_clrFore));
    add("pml:BackColor", KrStyle::ConvertRGBColor(m_clrBack));
    add("pml:Transparent", Detail::FlagText(!IsBackOpaque()));
    return markup.GetDoc();
}

bool KrTextStyle::FromXML(const KrString& xml, int version)
{
    m_nStyle = 0;
    KrMarkup markup(xml.Cstr());
    if (Detail::IsOlderStyleDialect(Detail::ResolveVersion(version)))
        fromOlderXML(markup);
    else
        fromCurrentXML(markup);
    return true;
}

// Each search continues after the element found last, in the writer's order.
void KrTextStyle::fromCurrentXML(KrMarkup& markup)
{
    Detail::ChildReader child(markup);
    if (child.Next("pml:FaceName")) m_strFaceName = child.Text();
    if (child.Next("pml:Align")) SetAlign(alignFromName(child.Text()));
    readColor(child, "pml:ForeColor", m_clrFore);
    readColor(child, "pml:BackColor", m_clrBack);
    readFlag(child, "pml:BackOpaque", *this, &KrTextStyle::SetBackOpaque);
    if (child.Next("pml:Height")) m_dHeight = child.Double();
    if (child.Next("pml:Width")) m_dWidth = child.Double();
    if (child.Next("pml:Weight")) SetWeight(child.Int());
    readFlag(child, "pml:IsFixedSize", *this, &KrTextStyle::SetFixedSize);
    if (child.Next("pml:FixedSize")) SetSizeForFixed(child.Double());
    if (child.Next("pml:Angle")) SetAngle(child.Double());
    readFlag(child, "pml:Bold", *this, &KrTextStyle::SetBold);
    readFlag(child, "pml:Italic", *this, &KrTextStyle::SetItalic);
    if (child.Next("pml:ItalicAngle")) SetItalicAngle(KrToolkit::RoundLong(child.Double()));
    readFlag(child, "pml:StrikeOut", *this, &KrTextStyle::SetStrikeOut);
    readFlag(child, "pml:Underline", *this, &KrTextStyle::SetUnderline);
    readFlag(child, "pml:Shadow", *this, &KrTextStyle::SetShadow);
    readFlag(child, "pml:Halo", *this, &KrTextStyle::SetHalo);
}

void KrTextStyle::fromOlderXML(KrMarkup& markup)
{
    Detail::ChildReader child(markup);
    if (child.Next("pml:FontName")) m_strFaceName = child.Text();
    if (child.Next("pml:Align")) SetAlign(static_cast<unsigned char>(child.Int()));
    readFlag(child, "pml:Bold", *this, &KrTextStyle::SetBold);
    readFlag(child, "pml:Italic", *this, &KrTextStyle::SetItalic);
    if (child.Next("pml:ItalicAngle")) SetItalicAngle(KrToolkit::RoundLong(child.Double()));
    readFlag(child, "pml:Stroke", *this, &KrTextStyle::SetStrikeOut);
    readFlag(child, "pml:Underline", *this, &KrTextStyle::SetUnderline);
    readFlag(child, "pml:Shadow", *this, &KrTextStyle::SetShadow);
    readFlag(child, "pml:Outline", *this, &KrTextStyle::SetHalo);
    if (child.Next("pml:FontHeight")) m_dHeight = child.Double();
    if (child.Next("pml:FontWidth")) m_dWidth = child.Double();
    if (child.Next("pml:FontWeight")) SetWeight(child.Int());
    readFlag(child, "pml:FixedSize", *this, &KrTextStyle::SetFixedSize);
    // Fixed-size text keeps its sizes ten times larger in this dialect.
    if (IsFixedSize())
    {
        m_dWidth /= 10.0;
        m_dHeight /= 10.0;
    }
    if (child.Next("pml:FixedTextSize")) SetSizeForFixed(child.Int() / 10.0);
    if (child.Next("pml:Rotation")) SetAngle(child.Double());
    readColor(child, "pml:ForeColor", m_clrFore);
    readColor(child, "pml:BackColor", m_clrBack);
    // The inverse flag: only "FALSE" makes the back opaque.
    if (child.Next("pml:Transparent")) SetBackOpaque(Detail::IsFalseText(child.Text()) ? 1 : 0);
}

}  // namespace KRN
