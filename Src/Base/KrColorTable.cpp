#include "Base/KrColorTable.h"

#include <algorithm>
#include <cmath>

#include "Base/KrCore.h"
#include "Base/KrMarkup.h"
#include "Base/KrStyle.h"
#include "Base/KrToolkit.h"
#include "KrStyleXml.h"

namespace KRN
{

namespace
{

constexpr unsigned int kMissingTable = KrRGB(255, 0, 0);
constexpr const char* kRootName = "pml:ColorTable";

double stepOf(int m, double lo, double hi)
{
    return m < 2 ? 0 : (hi - lo) / (m - 1);
}

// Linear lookup of z in a run of m colours spread over lo..hi in steps of stepOf(m, lo, hi).
unsigned int rangeColor(const unsigned int* colors, int m, double lo, double hi, double step,
                        double z)
{
    if (m < 2) return kMissingTable;
    if (z < lo) return colors[0];
    if (z >= hi) return colors[m - 1];
    double p = (z - lo) / step;
    // NaN, overflowing and denormal ranges stay inside the run.
    if (!(p >= 0)) p = 0;
    if (p > m - 1) p = m - 1;
    const int i = static_cast<int>(p);
    const int j = i + 1 < m ? i + 1 : m - 1;
    const double t = p - i;
    const unsigned int a = colors[i];
    const unsigned int b = colors[j];
    // Truncated toward zero, unlike the shading's rounding: the looked-up colours keep the
    // values they have always had.
    const auto mix = [t](unsigned char from, unsigned char to)
    { return static_cast<unsigned char>(static_cast<int>(from + (to - from) * t)); };
    return KrRGB(mix(KrREDVAL(a), KrREDVAL(b)), mix(KrGREENVAL(a), KrGREENVAL(b)),
                 mix(KrBLUEVAL(a), KrBLUEVAL(b)));
}

// A channel times a ratio in 0..1, rounded half away from zero.
unsigned char scaled(unsigned char value, double ratio)
{
    return static_cast<unsigned char>(std::clamp(KrToolkit::RoundLong(value * ratio), 0, 255));
}

KrString fixed10(double value)
{
    KrString text;
    text.Format("%.10f", value);
    return text;
}

}  // namespace

KrColorTable::~KrColorTable() = default;

unsigned int KrColorTable::GetRGB(int index) const
{
    return index >= 0 && index < GetSize() ? m_clrLand.GetData()[index] : 0;
}

void KrColorTable::SetColor(int index, int color)
{
    if (index >= 0 && index < GetSize())
        m_clrLand.GetData()[index] = static_cast<unsigned int>(color);
}

short KrColorTable::GetRed(int index) const
{
    return KrREDVAL(GetRGB(index));
}
short KrColorTable::GetGreen(int index) const
{
    return KrGREENVAL(GetRGB(index));
}
short KrColorTable::GetBlue(int index) const
{
    return KrBLUEVAL(GetRGB(index));
}

void KrColorTable::SetRed(int index, unsigned char value)
{
    if (index >= 0 && index < GetSize())
    {
        unsigned int& color = m_clrLand.GetData()[index];
        color = (color & ~0xFFu) | value;
    }
}

void KrColorTable::SetGreen(int index, unsigned char value)
{
    if (index >= 0 && index < GetSize())
    {
        unsigned int& color = m_clrLand.GetData()[index];
        color = (color & ~0xFF00u) | static_cast<unsigned int>(value) << 8;
    }
}

void KrColorTable::SetBlue(int index, unsigned char value)
{
    if (index >= 0 && index < GetSize())
    {
        unsigned int& color = m_clrLand.GetData()[index];
        color = (color & ~0xFF0000u) | static_cast<unsigned int>(value) << 16;
    }
}

long long KrColorTable::AddColor(unsigned int color)
{
    m_clrLand.Add(color);
    updateSteps();
    return GetSize();
}

long long KrColorTable::Add(unsigned char red, unsigned char green, unsigned char blue)
{
    return AddColor(KrRGB(red, green, blue));
}

unsigned int KrColorTable::InterColor(double z) const
{
    const int n = m_clrLand.GetSize();
    const unsigned int* land = m_clrLand.GetData();
    if (n == 0) return kMissingTable;
    if (n == 1) return land[0];
    if (z < m_dZFloor) return land[0];
    if (z >= m_dZCeiling) return land[n - 1];
    if (!m_bWaterOn) return rangeColor(land, n, m_dZFloor, m_dZCeiling, m_dLandStep, z);
    if (z <= m_dWaterLevel)
        return rangeColor(m_clrWater.GetData(), m_clrWater.GetSize(), m_dZFloor, m_dWaterLevel,
                          m_dWaterStep, z);
    return rangeColor(land, n, m_dWaterLevel, m_dZCeiling, m_dShoreStep, z);
}

void KrColorTable::updateSteps()
{
    m_dLandStep = stepOf(GetSize(), m_dZFloor, m_dZCeiling);
    m_dShoreStep = stepOf(GetSize(), m_dWaterLevel, m_dZCeiling);
    m_dWaterStep = stepOf(m_clrWater.GetSize(), m_dZFloor, m_dWaterLevel);
}

void KrColorTable::SetSize(int n)
{
    m_clrLand.SetSize(n);
    updateSteps();
}

void KrColorTable::SetZFloor(double z)
{
    m_dZFloor = z;
    updateSteps();
}

void KrColorTable::SetZCeiling(double z)
{
    m_dZCeiling = z;
    updateSteps();
}

void KrColorTable::SetWaterLevel(double z)
{
    m_dWaterLevel = z;
    m_bWaterOn = 1;
    updateSteps();
}

unsigned char KrColorTable::GetColor(double z, double& red, double& green, double& blue) const
{
    const unsigned int color = InterColor(z);
    red = KrREDVAL(color) / 255.0;
    green = KrGREENVAL(color) / 255.0;
    blue = KrBLUEVAL(color) / 255.0;
    return 1;
}

float KrColorTable::GetLightRatio(const float normal[3]) const
{
    const double v[3] = {normal[0], normal[1], normal[2]};
    const double l[3] = {m_fLightX, m_fLightY, m_fLightZ};
    const double dot = v[0] * l[0] + v[1] * l[1] + v[2] * l[2];
    const double lengths = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]) *
                           std::sqrt(l[0] * l[0] + l[1] * l[1] + l[2] * l[2]);
    double cosine = dot / lengths;
    if (!std::isfinite(cosine)) cosine = 0;
    return static_cast<float>((std::clamp(cosine, -1.0, 1.0) + 1) * 0.5);
}

unsigned long long KrColorTable::GetLightenColor(double z, const float normal[3]) const
{
    const unsigned int color = InterColor(z);
    const double ratio = GetLightRatio(normal);
    return KrRGB(scaled(KrREDVAL(color), ratio), scaled(KrGREENVAL(color), ratio),
                 scaled(KrBLUEVAL(color), ratio));
}

void KrColorTable::SwapIndex()
{
    unsigned int* data = m_clrLand.GetData();
    if (data != nullptr) std::reverse(data, data + GetSize());
}

void KrColorTable::SwapRedBlue()
{
    for (unsigned int& color : m_clrLand)
        color = (color & 0xFF00FF00u) | (color & 0xFFu) << 16 | (color >> 16 & 0xFFu);
}

namespace
{

// Level i * 256 / n of every entry, placed in the channels of mask (0xFF per channel).
int fillRamp(KrColorset& set, unsigned int mask)
{
    const long long n = set.GetSize();
    long long i = 0;
    for (unsigned int& color : set)
    {
        const unsigned int level = static_cast<unsigned int>(i++ * 256 / n);
        color = (level | level << 8 | level << 16) & mask;
    }
    return static_cast<int>(n);
}

}  // namespace

int KrColorTable::CreateGrey()
{
    return fillRamp(m_clrLand, 0xFFFFFFu);
}
int KrColorTable::CreateRed()
{
    return fillRamp(m_clrLand, 0x0000FFu);
}
int KrColorTable::CreateGreen()
{
    return fillRamp(m_clrLand, 0x00FF00u);
}
int KrColorTable::CreateBlue()
{
    return fillRamp(m_clrLand, 0xFF0000u);
}

int KrColorTable::CreateGradient(int count, unsigned int from, unsigned int to)
{
    m_clrLand.MakeGradient(count, from, to);
    updateSteps();
    return GetSize();
}

int KrColorTable::CreateStockGradient(int count, tagQZ_ENUM_STOCK_GRADIENT_SET_STYLE style,
                                      unsigned char reverse)
{
    m_clrLand.MakeStockGradient(count, style, reverse);
    updateSteps();
    return GetSize();
}

int KrColorTable::CreateDefault()
{
    KrColorset lighter;
    m_clrWater.MakeGradient(16, KrRGB(0, 0, 128), KrRGB(0, 0, 255));
    lighter.MakeGradient(16, KrRGB(0, 0, 255), KrRGB(48, 128, 255));
    m_clrWater.Append(lighter);
    m_clrLand.MakeStockGradient(32, QZ_STOCK_TERRAIN, 0);
    updateSteps();
    return GetSize();
}

unsigned char KrColorTable::ToColorset(KrColorset& set) const
{
    set = m_clrLand;
    return set.GetSize() > 0 ? 1 : 0;
}

unsigned char KrColorTable::FromColorset(const KrColorset& set)
{
    m_clrLand = set;
    updateSteps();
    return GetSize() > 0 ? 1 : 0;
}

KrString KrColorTable::ToXML(int version, const KrString& tag) const
{
    if (!Detail::IsColorTableVersion(version)) return KrString();
    KrMarkup markup;
    markup.AddElem(tag.IsEmpty() ? kRootName : tag.Cstr());
    markup.AddChildElem("pml:MaxZValue", fixed10(m_dZCeiling));
    markup.AddChildElem("pml:MinZValue", fixed10(m_dZFloor));
    for (const unsigned int color : m_clrLand)
        markup.AddChildElem("pml:Color", KrStyle::ConvertRGBColor(color));
    return markup.GetDoc();
}

unsigned char KrColorTable::FromXML(const KrString& xml, int version)
{
    if (xml.IsEmpty() || !Detail::IsColorTableVersion(version)) return 0;
    KrMarkup markup;
    if (!markup.SetDoc(xml.Cstr()) || !markup.FindElem() || markup.GetTagName() != kRootName)
        return 0;
    // The range may stand anywhere among the colours; the colours keep their order.
    Detail::ChildReader child(markup);
    if (child.FromFirst("pml:MaxZValue")) m_dZCeiling = child.Double();
    if (child.FromFirst("pml:MinZValue")) m_dZFloor = child.Double();
    if (child.FromFirst("pml:Color"))
    {
        m_clrLand.RemoveAll();
        do m_clrLand.Add(KrStyle::ConvertRGBColor(child.Text()));
        while (child.Next("pml:Color"));
    }
    updateSteps();
    return 1;
}

int KrColorTable::Open(const char*)
{
    return 0;
}
int KrColorTable::Save(const char*)
{
    return 0;
}

}  // namespace KRN
