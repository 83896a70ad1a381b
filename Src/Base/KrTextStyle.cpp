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

constexpr int kOlderDialect = 20031211;
constexpr int kNewerDialect = 20050303;
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
    if (version == 0) version = kNewerDialect;
    if (version == kOlderDialect) return toOlderXML();
    if (version < kNewerDialect) return KrString();
    return toCurrentXML();
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
    if (version == 0) version = kNewerDialect;
    const bool older = version == kOlderDialect;
    m_nStyle = 0;

    KrMarkup markup(xml.Cstr());
    // Each search continues after the element found last, in the writer's order.
    KrString text;
    auto next = [&markup, &text](const char* name)
    {
        if (!markup.FindChildElem(name)) return false;
        text = markup.GetChildData();
        return true;
    };
    auto flag = [&next, &text, this](const char* name, int mask)
    {
        if (next(name)) setBit(mask, Detail::IsTrueText(text));
    };
    auto color = [&next, &text](const char* name, unsigned int& field)
    {
        if (next(name) && Detail::HasRGBPrefix(text)) field = KrStyle::ConvertRGBColor(text);
    };
    auto italicAngle = [&next, &text, this]()
    {
        if (next("pml:ItalicAngle")) SetItalicAngle(KrToolkit::RoundLong(text.ToDouble()));
    };

    if (older)
    {
        if (next("pml:FontName")) m_strFaceName = text;
        if (next("pml:Align")) SetAlign(static_cast<unsigned char>(text.ToInt()));
        flag("pml:Bold", kBold);
        flag("pml:Italic", kItalic);
        italicAngle();
        flag("pml:Stroke", kStrikeOut);
        flag("pml:Underline", kUnderline);
        flag("pml:Shadow", kShadow);
        flag("pml:Outline", kHalo);
        if (next("pml:FontHeight")) m_dHeight = text.ToDouble();
        if (next("pml:FontWidth")) m_dWidth = text.ToDouble();
        if (next("pml:FontWeight")) SetWeight(text.ToInt());
        flag("pml:FixedSize", kFixedSize);
        if (IsFixedSize())
        {
            m_dWidth /= 10.0;
            m_dHeight /= 10.0;
        }
        if (next("pml:FixedTextSize")) SetSizeForFixed(text.ToInt() / 10.0);
        if (next("pml:Rotation")) SetAngle(text.ToDouble());
        color("pml:ForeColor", m_clrFore);
        color("pml:BackColor", m_clrBack);
        if (next("pml:Transparent")) setBit(kBackOpaque, Detail::IsFalseText(text));
        return true;
    }

    if (next("pml:FaceName")) m_strFaceName = text;
    if (next("pml:Align")) SetAlign(alignFromName(text));
    color("pml:ForeColor", m_clrFore);
    color("pml:BackColor", m_clrBack);
    flag("pml:BackOpaque", kBackOpaque);
    if (next("pml:Height")) m_dHeight = text.ToDouble();
    if (next("pml:Width")) m_dWidth = text.ToDouble();
    if (next("pml:Weight")) SetWeight(text.ToInt());
    flag("pml:IsFixedSize", kFixedSize);
    if (next("pml:FixedSize")) SetSizeForFixed(text.ToDouble());
    if (next("pml:Angle")) SetAngle(text.ToDouble());
    flag("pml:Bold", kBold);
    flag("pml:Italic", kItalic);
    italicAngle();
    flag("pml:StrikeOut", kStrikeOut);
    flag("pml:Underline", kUnderline);
    flag("pml:Shadow", kShadow);
    flag("pml:Halo", kHalo);
    return true;
}

}  // namespace KRN
