#include "Base/KrStyle.h"

#include "Base/KrCompress.h"
#include "Base/KrCore.h"
#include "Base/KrMarkup.h"
#include "Base/KrStream.h"
#include "KrStyleXml.h"

namespace KRN
{

namespace
{

// The geometry types of the per-geometry record and the bytes each one stores.
constexpr int kPointGeometry = 0;
constexpr int kLineGeometry = 1;
constexpr int kRegionGeometry = 2;
constexpr int kPointRecordBytes = 16;
constexpr int kLineRecordBytes = 12;
constexpr int kRegionRecordBytes = 32;
// The whole record before the gradient fields were added to it.
constexpr int kOlderWholeRecordBytes = 36;

constexpr unsigned int kTransparentBack = 0xFFFFFFFFu;

const char* const kGradientNames[] = {"None", "Linear", "Radial", "Conical", "Square"};
constexpr int kGradientCount = sizeof kGradientNames / sizeof kGradientNames[0];

const char* gradientName(unsigned char type)
{
    return type < kGradientCount ? kGradientNames[type] : kGradientNames[0];
}

unsigned char gradientFromName(const KrString& name)
{
    for (int type = 1; type < kGradientCount; ++type)
        if (name.CompareNoCase(kGradientNames[type]) == 0) return static_cast<unsigned char>(type);
    return 0;
}

// Tenths of a double value as written by the newer dialect: "%.2f", trimmed.
KrString tenthsText(int tenths)
{
    return Detail::FormatTrimmed("%.2f", tenths / 10.0);
}

// Colours travel with their alpha cleared. A value that did not arrive leaves the field as it
// was, untouched by the conversion too.
bool loadColor(KrStream& stream, unsigned int& color)
{
    unsigned int raw = 0;
    stream >> raw;
    if (stream.GetStatus() != KrStreamOK) return false;
    color = KrCurrentColortoWinColor(raw);
    return true;
}

// The 16-bit fields are read as unsigned and keep their bits.
void loadShort(KrStream& stream, short& field)
{
    unsigned short raw = static_cast<unsigned short>(field);
    stream >> raw;
    field = static_cast<short>(raw);
}

}  // namespace

KrStyle::KrStyle()
    : m_nMarkerStyle(0),
      m_nMarkerAngle(0),
      m_nMarkerSize(24),
      m_nLineStyle(0),
      m_clrLine(KrRGB(0, 0, 0)),
      m_nLineWidth(1),
      m_nFillStyle(0),
      m_clrFillBack(KrRGB(255, 255, 255)),
      m_clrFillFore(KrRGB(189, 235, 255)),
      m_bFillBackOpaque(1),
      m_nFillOpaqueRate(100),
      m_nFillGradientType(0),
      m_nFillAngle(0),
      m_nFillCenterOffsetX(0),
      m_nFillCenterOffsetY(0),
      m_bScaleBySymbol(0)
{
}

void KrStyle::SetMarkerSize(double size)
{
    m_nMarkerSize = Detail::ToTenths(size);
}
void KrStyle::SetMarkerAngle(double degrees)
{
    m_nMarkerAngle = Detail::ToTenths(degrees);
}
void KrStyle::SetLineWidth(double width)
{
    m_nLineWidth = Detail::ToTenths(width);
}
void KrStyle::SetFillAngle(double degrees)
{
    m_nFillAngle = static_cast<short>(Detail::ToTenths(degrees));
}

// ---------------------------------------------------------------- comparison and hashing

bool KrStyle::operator==(const KrStyle& other) const
{
    return m_clrFillBack == other.m_clrFillBack && m_clrFillFore == other.m_clrFillFore &&
           m_nFillStyle == other.m_nFillStyle && m_clrLine == other.m_clrLine &&
           m_nLineStyle == other.m_nLineStyle && m_nLineWidth == other.m_nLineWidth &&
           m_nMarkerAngle == other.m_nMarkerAngle && m_nMarkerSize == other.m_nMarkerSize &&
           m_nMarkerStyle == other.m_nMarkerStyle && m_bFillBackOpaque == other.m_bFillBackOpaque &&
           m_nFillOpaqueRate == other.m_nFillOpaqueRate &&
           m_nFillGradientType == other.m_nFillGradientType && m_nFillAngle == other.m_nFillAngle &&
           m_nFillCenterOffsetX == other.m_nFillCenterOffsetX &&
           m_nFillCenterOffsetY == other.m_nFillCenterOffsetY;
}

bool KrStyle::IsSameLineStyle(const KrStyle& a, const KrStyle& b)
{
    return a.m_clrLine == b.m_clrLine && a.m_nLineStyle == b.m_nLineStyle &&
           a.m_nLineWidth == b.m_nLineWidth;
}

bool KrStyle::IsSameMarkerStyle(const KrStyle& a, const KrStyle& b)
{
    return a.m_clrLine == b.m_clrLine && a.m_nMarkerAngle == b.m_nMarkerAngle &&
           a.m_nMarkerSize == b.m_nMarkerSize && a.m_nMarkerStyle == b.m_nMarkerStyle;
}

bool KrStyle::IsSameFillStyle(const KrStyle& a, const KrStyle& b)
{
    return a.m_clrFillBack == b.m_clrFillBack && a.m_clrFillFore == b.m_clrFillFore &&
           a.m_nFillStyle == b.m_nFillStyle && a.m_bFillBackOpaque == b.m_bFillBackOpaque &&
           a.m_nFillOpaqueRate == b.m_nFillOpaqueRate &&
           a.m_nFillGradientType == b.m_nFillGradientType && a.m_nFillAngle == b.m_nFillAngle &&
           a.m_nFillCenterOffsetX == b.m_nFillCenterOffsetX &&
           a.m_nFillCenterOffsetY == b.m_nFillCenterOffsetY;
}

bool KrStyle::IsSameDimensionStyle(const KrStyle& a, const KrStyle& b, int type)
{
    switch (type)
    {
        case kPointGeometry:
            return IsSameMarkerStyle(a, b);
        case kLineGeometry:
            return IsSameLineStyle(a, b);
        case kRegionGeometry:
            return IsSameFillStyle(a, b);
        default:
            return a == b;
    }
}

int KrStyle::GetHashCode() const
{
    // An alpha byte on the fore colour is the one trace of it left once the colours are
    // converted; the back colour deliberately enters unconverted.
    const unsigned int foreHasAlpha = m_clrFillFore > KrRGB(255, 255, 255) ? 1u : 0u;
    // Whole degrees, on purpose: the tenths are divided as integers before the conversion, so
    // 12.3 and 12.7 degrees hash alike. Hash values stay what they have always been.
    const int wholeDegrees = m_nMarkerAngle / 10;
    const unsigned int angle =
        static_cast<unsigned int>(KrHashCode::DoubleToHashCode(wholeDegrees));
    unsigned int hash =
        KrCurrentColortoWinColor(m_clrLine) ^ KrCurrentColortoWinColor(m_clrFillFore) ^
        static_cast<unsigned int>(m_nFillStyle) ^ static_cast<unsigned int>(m_nLineWidth) ^
        static_cast<unsigned int>(m_nLineStyle) ^ static_cast<unsigned int>(m_nMarkerSize) ^
        static_cast<unsigned int>(m_nMarkerStyle) ^ angle;
    if (m_bFillBackOpaque)
        hash ^= m_clrFillBack ^ foreHasAlpha;
    else
        hash ^= ~foreHasAlpha;
    return static_cast<int>(hash);
}

// ---------------------------------------------------------------- binary form

bool KrStyle::SaveAll(KrStream& stream) const
{
    stream << m_nMarkerStyle << m_nMarkerSize << m_nMarkerAngle << m_nLineStyle << m_nLineWidth
           << KrCurrentColortoWinColor(m_clrLine) << m_nFillStyle
           << KrCurrentColortoWinColor(m_clrFillFore)
           << (m_bFillBackOpaque ? KrCurrentColortoWinColor(m_clrFillBack) : kTransparentBack)
           << m_nFillOpaqueRate << m_nFillGradientType << m_nFillAngle << m_nFillCenterOffsetX
           << m_nFillCenterOffsetY;
    return stream.GetStatus() == KrStreamOK;
}

bool KrStyle::LoadAll(KrStream& stream, int size)
{
    if (size < kOlderWholeRecordBytes) return false;
    stream >> m_nMarkerStyle >> m_nMarkerSize >> m_nMarkerAngle >> m_nLineStyle >> m_nLineWidth;
    loadColor(stream, m_clrLine);
    stream >> m_nFillStyle;
    loadColor(stream, m_clrFillFore);
    // Written as all ones when transparent; with the alpha cleared on reading that only shows
    // where the conversion keeps the alpha byte, so on this layout the flag stays as it was.
    if (loadColor(stream, m_clrFillBack) && m_clrFillBack == kTransparentBack)
        m_bFillBackOpaque = 0;
    if (size < GetStoreSize()) return true;
    stream >> m_nFillOpaqueRate >> m_nFillGradientType;
    loadShort(stream, m_nFillAngle);
    loadShort(stream, m_nFillCenterOffsetX);
    loadShort(stream, m_nFillCenterOffsetY);
    return true;
}

int KrStyle::Save(KrStream& stream, int type) const
{
    switch (type)
    {
        case kPointGeometry:
            stream << kPointRecordBytes << m_nMarkerStyle << m_nMarkerSize << m_nMarkerAngle
                   << KrCurrentColortoWinColor(m_clrLine);
            return kPointRecordBytes;
        case kLineGeometry:
            stream << kLineRecordBytes << m_nLineStyle << m_nLineWidth
                   << KrCurrentColortoWinColor(m_clrLine);
            return kLineRecordBytes;
        case kRegionGeometry:
            stream << kRegionRecordBytes << m_nLineStyle << m_nLineWidth
                   << KrCurrentColortoWinColor(m_clrLine) << m_nFillStyle
                   << KrCurrentColortoWinColor(m_clrFillFore)
                   << (m_bFillBackOpaque ? KrCurrentColortoWinColor(m_clrFillBack)
                                         : kTransparentBack)
                   << m_nFillOpaqueRate << m_nFillGradientType << m_nFillAngle
                   << m_nFillCenterOffsetX << m_nFillCenterOffsetY;
            return kRegionRecordBytes;
        default:
            stream << 0;
            return 0;
    }
}

int KrStyle::Load(KrStream& stream, int type)
{
    switch (type)
    {
        case kPointGeometry:
            stream >> m_nMarkerStyle >> m_nMarkerSize >> m_nMarkerAngle;
            loadColor(stream, m_clrLine);
            return kPointRecordBytes;
        case kLineGeometry:
            stream >> m_nLineStyle >> m_nLineWidth;
            loadColor(stream, m_clrLine);
            return kLineRecordBytes;
        case kRegionGeometry:
            stream >> m_nLineStyle >> m_nLineWidth;
            loadColor(stream, m_clrLine);
            stream >> m_nFillStyle;
            loadColor(stream, m_clrFillFore);
            if (loadColor(stream, m_clrFillBack) && m_clrFillBack == kTransparentBack)
                m_bFillBackOpaque = 0;
            stream >> m_nFillOpaqueRate >> m_nFillGradientType;
            loadShort(stream, m_nFillAngle);
            loadShort(stream, m_nFillCenterOffsetX);
            loadShort(stream, m_nFillCenterOffsetY);
            return kRegionRecordBytes;
        default:
            return 0;
    }
}

// ---------------------------------------------------------------- XML form

KrString KrStyle::ToXML(int version, const KrString& tag) const
{
    version = Detail::ResolveVersion(version);
    if (!Detail::IsWritableStyleVersion(version)) return KrString();
    const bool older = Detail::IsOlderStyleDialect(version);

    KrMarkup markup;
    const char* root = older ? "pml:GeoStyle" : "pml:Style";
    if (!markup.AddElem(tag.empty() ? root : tag.Cstr())) return KrString();
    auto add = [&markup](const char* name, const KrString& text)
    { markup.AddChildElem(name, text.Cstr()); };
    if (older)
    {
        // Sizes and angles as their raw tenths, the gradient type as its number.
        add("pml:SymbolStyle", Detail::FormatInt(m_nMarkerStyle));
        add("pml:SymbolSize", Detail::FormatInt(m_nMarkerSize));
        add("pml:SymbolAngle", Detail::FormatInt(m_nMarkerAngle));
        add("pml:LineStyle", Detail::FormatInt(m_nLineStyle));
        add("pml:LineWidth", Detail::FormatInt(m_nLineWidth));
        add("pml:LineColor", ConvertRGBColor(m_clrLine));
        add("pml:FillStyle", Detail::FormatInt(m_nFillStyle));
        add("pml:FillForeColor", ConvertRGBColor(m_clrFillFore));
        add("pml:FillBackColor", ConvertRGBColor(m_clrFillBack));
        add("pml:BackTransparent", Detail::FlagText(!m_bFillBackOpaque));
        add("pml:FillOpaqueRate", Detail::FormatInt(m_nFillOpaqueRate));
        add("pml:FillGradientType", Detail::FormatInt(m_nFillGradientType));
        add("pml:FillGradientAngle", Detail::FormatDouble("%f", m_nFillAngle / 10.0));
    }
    else
    {
        // Sizes and angles in their units, the gradient type by name.
        add("pml:MarkerStyle", Detail::FormatInt(m_nMarkerStyle));
        add("pml:MarkerSize", tenthsText(m_nMarkerSize));
        add("pml:MarkerAngle", tenthsText(m_nMarkerAngle));
        add("pml:LineStyle", Detail::FormatInt(m_nLineStyle));
        add("pml:LineWidth", tenthsText(m_nLineWidth));
        add("pml:LineColor", ConvertRGBColor(m_clrLine));
        add("pml:FillStyle", Detail::FormatInt(m_nFillStyle));
        add("pml:FillForeColor", ConvertRGBColor(m_clrFillFore));
        add("pml:FillBackColor", ConvertRGBColor(m_clrFillBack));
        add("pml:FillBackOpaque", Detail::FlagText(m_bFillBackOpaque != 0));
        add("pml:FillOpaqueRate", Detail::FormatInt(m_nFillOpaqueRate));
        add("pml:FillGradientType", gradientName(m_nFillGradientType));
        add("pml:FillAngle", tenthsText(m_nFillAngle));
    }
    add("pml:FillCenterOffsetX", Detail::FormatInt(m_nFillCenterOffsetX));
    add("pml:FillCenterOffsetY", Detail::FormatInt(m_nFillCenterOffsetY));
    return markup.GetDoc();
}

bool KrStyle::FromXML(const KrString& xml, int version)
{
    if (xml.empty()) return false;
    const bool older = Detail::IsOlderStyleDialect(Detail::ResolveVersion(version));

    KrMarkup markup(xml.Cstr());
    // Each search continues after the element found last, in the writer's order.
    Detail::ChildReader child(markup);
    if (child.Next(older ? "pml:SymbolStyle" : "pml:MarkerStyle")) m_nMarkerStyle = child.Int();
    if (older)
    {
        if (child.Next("pml:SymbolSize")) m_nMarkerSize = child.Int();
        if (child.Next("pml:SymbolAngle")) m_nMarkerAngle = child.Int();
    }
    else
    {
        if (child.Next("pml:MarkerSize")) SetMarkerSize(child.Double());
        if (child.Next("pml:MarkerAngle")) SetMarkerAngle(child.Double());
    }
    if (child.Next("pml:LineStyle")) m_nLineStyle = child.Int();
    if (child.Next("pml:LineWidth"))
        m_nLineWidth = older ? child.Int() : Detail::ToTenths(child.Double());
    if (child.Next("pml:LineColor")) m_clrLine = ConvertRGBColor(child.Text());
    if (child.Next("pml:FillStyle")) m_nFillStyle = child.Int();
    if (child.Next("pml:FillForeColor")) m_clrFillFore = ConvertRGBColor(child.Text());
    if (child.Next("pml:FillBackColor")) m_clrFillBack = ConvertRGBColor(child.Text());
    // The older dialect stores the inverse flag.
    if (child.Next(older ? "pml:BackTransparent" : "pml:FillBackOpaque"))
        m_bFillBackOpaque = Detail::IsTrueText(child.Text()) != older ? 1 : 0;
    if (child.Next("pml:FillOpaqueRate"))
        m_nFillOpaqueRate = static_cast<unsigned char>(child.Int());
    if (child.Next("pml:FillGradientType"))
    {
        m_nFillGradientType =
            older ? static_cast<unsigned char>(child.Int()) : gradientFromName(child.Text());
    }
    if (child.Next(older ? "pml:FillGradientAngle" : "pml:FillAngle")) SetFillAngle(child.Double());
    if (child.Next("pml:FillCenterOffsetX")) m_nFillCenterOffsetX = static_cast<short>(child.Int());
    if (child.Next("pml:FillCenterOffsetY")) m_nFillCenterOffsetY = static_cast<short>(child.Int());
    return true;
}

KrString KrStyle::ConvertRGBColor(unsigned int color)
{
    KrString text;
    Detail::FormatInto(text, Detail::kInlineFormatCapacity, "RGB(%d,%d,%d)", KrREDVAL(color),
                       KrGREENVAL(color), KrBLUEVAL(color));
    return text;
}

unsigned int KrStyle::ConvertRGBColor(const KrString& text)
{
    if (!Detail::HasRGBPrefix(text)) return static_cast<unsigned int>(text.ToInt());
    // Components are cut between the commas; a missing comma leaves an empty (zero) part.
    auto part = [&text](int first, int end)
    {
        if (first < 0 || end <= first) return 0;
        return KrString(text.substr(first, end - first)).ToInt();
    };
    const int length = text.GetLength();
    const int comma1 = text.Find(',');
    const int comma2 = comma1 < 0 ? -1 : text.Find(',', comma1 + 1);
    const int red = part(4, comma1);
    const int green = part(comma1 + 1, comma2);
    const int blue = comma2 < 0 ? 0 : part(comma2 + 1, length - 1);
    return KrRGB(static_cast<unsigned char>(red), static_cast<unsigned char>(green),
                 static_cast<unsigned char>(blue));
}

}  // namespace KRN
