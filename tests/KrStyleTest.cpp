#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

using Bytes = std::vector<unsigned char>;

Bytes savedBytes(const std::function<void(KrStream&)>& save)
{
    KrMemoryStream stream;
    stream.Open(KrStreamSave, 8);
    save(stream);
    EXPECT_EQ(stream.GetStatus(), KrStreamOK);
    return Bytes(stream.GetData(), stream.GetData() + stream.GetLength());
}

// Every field away from its default; the colours carry alpha bytes that the binary form drops.
KrStyle sampleStyle()
{
    KrStyle style;
    style.SetMarkerStyle(7);
    style.SetMarkerSize(2.4);
    style.SetMarkerAngle(-1.5);
    style.SetLineStyle(3);
    style.SetLineWidth(0.25);
    style.SetLineColor(KrRGBA(1, 2, 3, 0x80));
    style.SetFillStyle(5);
    style.SetFillForeColor(KrRGB(189, 235, 255));
    style.SetFillBackColor(KrRGBA(0x10, 0x20, 0x30, 0xFF));
    style.SetFillOpaqueRate(50);
    style.SetFillGradientType(2);
    style.SetFillAngle(45.5);
    style.SetFillCenterOffsetX(-2);
    style.SetFillCenterOffsetY(300);
    return style;
}

const Bytes kSampleRegion = {0x03, 0,    0,  0, 0x03, 0,    0,    0,    0x01, 0x02, 0x03,
                             0,    0x05, 0,  0, 0,    0xBD, 0xEB, 0xFF, 0,    0x10, 0x20,
                             0x30, 0,    50, 2, 0xC7, 0x01, 0xFE, 0xFF, 0x2C, 0x01};

Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::string crlf(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) text += line + "\r\n";
    return text;
}

const std::string kDefaultNewer = crlf(
    {"<pml:Style>", "<pml:MarkerStyle>0</pml:MarkerStyle>", "<pml:MarkerSize>2.4</pml:MarkerSize>",
     "<pml:MarkerAngle>0</pml:MarkerAngle>", "<pml:LineStyle>0</pml:LineStyle>",
     "<pml:LineWidth>0.1</pml:LineWidth>", "<pml:LineColor>RGB(0,0,0)</pml:LineColor>",
     "<pml:FillStyle>0</pml:FillStyle>", "<pml:FillForeColor>RGB(189,235,255)</pml:FillForeColor>",
     "<pml:FillBackColor>RGB(255,255,255)</pml:FillBackColor>",
     "<pml:FillBackOpaque>TRUE</pml:FillBackOpaque>",
     "<pml:FillOpaqueRate>100</pml:FillOpaqueRate>",
     "<pml:FillGradientType>None</pml:FillGradientType>", "<pml:FillAngle>0</pml:FillAngle>",
     "<pml:FillCenterOffsetX>0</pml:FillCenterOffsetX>",
     "<pml:FillCenterOffsetY>0</pml:FillCenterOffsetY>", "</pml:Style>"});

const std::string kDefaultOlder =
    crlf({"<pml:GeoStyle>", "<pml:SymbolStyle>0</pml:SymbolStyle>",
          "<pml:SymbolSize>24</pml:SymbolSize>", "<pml:SymbolAngle>0</pml:SymbolAngle>",
          "<pml:LineStyle>0</pml:LineStyle>", "<pml:LineWidth>1</pml:LineWidth>",
          "<pml:LineColor>RGB(0,0,0)</pml:LineColor>", "<pml:FillStyle>0</pml:FillStyle>",
          "<pml:FillForeColor>RGB(189,235,255)</pml:FillForeColor>",
          "<pml:FillBackColor>RGB(255,255,255)</pml:FillBackColor>",
          "<pml:BackTransparent>FALSE</pml:BackTransparent>",
          "<pml:FillOpaqueRate>100</pml:FillOpaqueRate>",
          "<pml:FillGradientType>0</pml:FillGradientType>",
          "<pml:FillGradientAngle>0.000000</pml:FillGradientAngle>",
          "<pml:FillCenterOffsetX>0</pml:FillCenterOffsetX>",
          "<pml:FillCenterOffsetY>0</pml:FillCenterOffsetY>", "</pml:GeoStyle>"});

}  // namespace

// ---------------------------------------------------------------- accessors

TEST(KrStyleTest, DoubleSettersKeepTenthsRoundedHalfAwayFromZero)
{
    const struct
    {
        double value;
        int tenths;
    } cases[] = {{0.25, 3},           {-0.25, -3},         {0.24, 2},
                 {-0.24, -2},         {0.04, 0},           {-0.04, 0},
                 {0.05, 1},           {2.4, 24},           {214748364.7, INT_MAX},
                 {1e300, INT_MAX},    {-1e300, INT_MIN},   {NAN, 0},
                 {INFINITY, INT_MAX}, {-INFINITY, INT_MIN}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.value);
        KrStyle style;
        style.SetMarkerSize(c.value);
        style.SetMarkerAngle(c.value);
        style.SetLineWidth(c.value);
        EXPECT_EQ(style.GetMarkerSize(), c.tenths / 10.0);
        EXPECT_EQ(style.GetMarkerAngle(), c.tenths / 10.0);
        EXPECT_EQ(style.GetLineWidth(), c.tenths / 10.0);
    }
}

TEST(KrStyleTest, FillAngleKeepsTheLowSixteenBitsOfItsTenths)
{
    const struct
    {
        double degrees;
        double stored;
    } cases[] = {{45.25, 45.3}, {-45.25, -45.3}, {3276.7, 3276.7}, {3276.8, -3276.8},
                 {6553.6, 0.0}, {NAN, 0.0},      {1e300, -0.1}};
    for (const auto& c : cases)
    {
        KrStyle style;
        style.SetFillAngle(c.degrees);
        EXPECT_EQ(style.GetFillAngle(), c.stored) << c.degrees;
    }
}

// ---------------------------------------------------------------- comparison and hashing

TEST(KrStyleTest, EachComparisonLooksAtItsOwnFields)
{
    // Expected: operator==, IsSameLineStyle, IsSameMarkerStyle, IsSameFillStyle.
    const struct
    {
        const char* field;
        std::function<void(KrStyle&)> change;
        bool all, line, marker, fill;
    } cases[] = {
        {"marker style", [](KrStyle& s) { s.SetMarkerStyle(1); }, false, true, false, true},
        {"marker size", [](KrStyle& s) { s.SetMarkerSize(1); }, false, true, false, true},
        {"marker angle", [](KrStyle& s) { s.SetMarkerAngle(1); }, false, true, false, true},
        {"line style", [](KrStyle& s) { s.SetLineStyle(1); }, false, false, true, true},
        {"line width", [](KrStyle& s) { s.SetLineWidth(1); }, false, false, true, true},
        {"line colour", [](KrStyle& s) { s.SetLineColor(1); }, false, false, false, true},
        {"line colour alpha", [](KrStyle& s) { s.SetLineColor(0x01000000); }, false, false, false,
         true},
        {"fill style", [](KrStyle& s) { s.SetFillStyle(1); }, false, true, true, false},
        {"fore colour", [](KrStyle& s) { s.SetFillForeColor(1); }, false, true, true, false},
        {"back colour", [](KrStyle& s) { s.SetFillBackColor(1); }, false, true, true, false},
        {"back opaque", [](KrStyle& s) { s.SetFillBackOpaque(0); }, false, true, true, false},
        {"opaque rate", [](KrStyle& s) { s.SetFillOpaqueRate(1); }, false, true, true, false},
        {"gradient", [](KrStyle& s) { s.SetFillGradientType(1); }, false, true, true, false},
        {"fill angle", [](KrStyle& s) { s.SetFillAngle(1); }, false, true, true, false},
        {"offset x", [](KrStyle& s) { s.SetFillCenterOffsetX(1); }, false, true, true, false},
        {"offset y", [](KrStyle& s) { s.SetFillCenterOffsetY(1); }, false, true, true, false},
        {"scale by symbol", [](KrStyle& s) { s.SetScaleBySymbol(1); }, true, true, true, true},
    };
    const KrStyle base;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.field);
        KrStyle other;
        c.change(other);
        EXPECT_EQ(base == other, c.all);
        EXPECT_EQ(base != other, !c.all);
        EXPECT_EQ(KrStyle::IsSameLineStyle(base, other), c.line);
        EXPECT_EQ(KrStyle::IsSameMarkerStyle(base, other), c.marker);
        EXPECT_EQ(KrStyle::IsSameFillStyle(base, other), c.fill);
        EXPECT_EQ(KrStyle::IsSameDimensionStyle(base, other, 0), c.marker);
        EXPECT_EQ(KrStyle::IsSameDimensionStyle(base, other, 1), c.line);
        EXPECT_EQ(KrStyle::IsSameDimensionStyle(base, other, 2), c.fill);
        EXPECT_EQ(KrStyle::IsSameDimensionStyle(base, other, 7), c.all);
        if (c.all)
        {
            EXPECT_EQ(base.GetHashCode(), other.GetHashCode());
        }
    }
}

TEST(KrStyleTest, HashCodeFollowsTheStoredFormula)
{
    // Default: fore 0xFFEBBD ^ back 0xFFFFFF ^ width 1 ^ size 24; the angle, styles and line
    // colour are 0, and so is the alpha test on the fore colour.
    KrStyle style;
    EXPECT_EQ(style.GetHashCode(), 0x145B);
    // The angle enters as the hash of its whole degrees (90.0: 0x40568000), so 90.5 hashes alike.
    style.SetMarkerAngle(90.0);
    EXPECT_EQ(style.GetHashCode(), 0x145B ^ 0x40568000);
    style.SetMarkerAngle(90.5);
    EXPECT_EQ(style.GetHashCode(), 0x145B ^ 0x40568000);
    style.SetMarkerAngle(0);
    // An alpha byte on the fore colour is converted away but flips the last bit.
    style.SetFillForeColor(KrRGBA(189, 235, 255, 1));
    EXPECT_EQ(style.GetHashCode(), 0x145B ^ 1);
    // Not opaque: the back colour is left out and the alpha test enters inverted.
    KrStyle clear;
    clear.SetFillBackOpaque(0);
    EXPECT_EQ(clear.GetHashCode(), static_cast<int>(0xFFEBBDu ^ 1 ^ 24 ^ 0xFFFFFFFFu));
    KrStyle otherBack = clear;
    otherBack.SetFillBackColor(KrRGB(1, 2, 3));
    EXPECT_EQ(clear.GetHashCode(), otherBack.GetHashCode());
}

// ---------------------------------------------------------------- binary form

TEST(KrStyleTest, BinaryLayoutsOfEveryForm)
{
    const KrStyle style = sampleStyle();
    const Bytes marker = {0x07, 0, 0, 0, 0x18, 0, 0, 0, 0xF1, 0xFF, 0xFF, 0xFF};
    const Bytes lineColor = {0x01, 0x02, 0x03, 0};
    const struct
    {
        const char* form;
        std::function<void(KrStream&)> save;
        Bytes expected;
    } cases[] = {
        {"all", [&](KrStream& s) { EXPECT_TRUE(style.SaveAll(s)); },
         concat({marker,
                 {0x03, 0, 0, 0, 0x03, 0, 0, 0},
                 lineColor,
                 Bytes(kSampleRegion.begin() + 12, kSampleRegion.end())})},
        {"point", [&](KrStream& s) { EXPECT_EQ(style.Save(s, 0), 16); },
         concat({{16, 0, 0, 0}, marker, lineColor})},
        {"line", [&](KrStream& s) { EXPECT_EQ(style.Save(s, 1), 12); },
         concat({{12, 0, 0, 0}, Bytes(kSampleRegion.begin(), kSampleRegion.begin() + 12)})},
        {"region", [&](KrStream& s) { EXPECT_EQ(style.Save(s, 2), 32); },
         concat({{32, 0, 0, 0}, kSampleRegion})},
        {"other", [&](KrStream& s) { EXPECT_EQ(style.Save(s, 3), 0); }, {0, 0, 0, 0}},
        {"negative", [&](KrStream& s) { EXPECT_EQ(style.Save(s, -1), 0); }, {0, 0, 0, 0}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.form);
        EXPECT_EQ(savedBytes(c.save), c.expected);
    }
    EXPECT_EQ(savedBytes([&](KrStream& s) { style.SaveAll(s); }).size(),
              static_cast<size_t>(KrStyle::GetStoreSize()));
}

TEST(KrStyleTest, TransparentBackIsWrittenAsAllOnes)
{
    KrStyle style = sampleStyle();
    style.SetFillBackOpaque(0);
    const Bytes all = savedBytes([&](KrStream& s) { style.SaveAll(s); });
    EXPECT_EQ(Bytes(all.begin() + 32, all.begin() + 36), Bytes(4, 0xFF));
    const Bytes region = savedBytes([&](KrStream& s) { style.Save(s, 2); });
    EXPECT_EQ(Bytes(region.begin() + 24, region.begin() + 28), Bytes(4, 0xFF));
}

// The example expects a saved transparent back to load back transparent; the reading rule
// clears the alpha byte before it looks for all ones, and that rule holds.
TEST(KrStyleTest, TransparentBackLoadsAsOpaqueWhite_AlgorithmsHoldOverExample)
{
    KrStyle transparent;
    transparent.SetFillBackOpaque(0);
    for (int form : {-1, 2})
    {
        SCOPED_TRACE(form);
        Bytes bytes = savedBytes(
            [&](KrStream& s)
            {
                if (form < 0)
                    transparent.SaveAll(s);
                else
                    transparent.Save(s, form);
            });
        if (form >= 0) bytes.erase(bytes.begin(), bytes.begin() + 4);  // the caller reads the count
        auto load = [&](KrStyle& target)
        {
            KrMemoryStream in;
            in.Open(KrStreamLoad, static_cast<unsigned int>(bytes.size()), bytes.data());
            if (form < 0)
                EXPECT_TRUE(target.LoadAll(in, 44));
            else
                EXPECT_EQ(target.Load(in, form), 32);
            EXPECT_EQ(in.GetStatus(), KrStreamOK);
        };
        KrStyle opaque;
        opaque.SetFillBackColor(KrRGB(1, 2, 3));
        load(opaque);
        EXPECT_EQ(opaque.GetFillBackColor(), 0x00FFFFFFu);
        EXPECT_EQ(opaque.GetFillBackOpaque(), 1);
        // Reading never sets the flag: a target that is already transparent stays so.
        KrStyle already;
        already.SetFillBackOpaque(0);
        load(already);
        EXPECT_EQ(already.GetFillBackOpaque(), 0);
    }
}

TEST(KrStyleTest, LoadAllReadsTheOlderRecordOrTheWholeOne)
{
    const Bytes bytes = savedBytes([](KrStream& s) { sampleStyle().SaveAll(s); });
    const struct
    {
        int size;
        bool result;
        unsigned long long consumed;
        bool gradient;
    } cases[] = {{35, false, 0, false}, {36, true, 36, false}, {40, true, 36, false},
                 {43, true, 36, false}, {44, true, 44, true},  {1000, true, 44, true}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.size);
        Bytes data = bytes;
        KrMemoryStream in;
        in.Open(KrStreamLoad, static_cast<unsigned int>(data.size()), data.data());
        KrStyle style;
        EXPECT_EQ(style.LoadAll(in, c.size), c.result);
        EXPECT_EQ(in.GetPosition(), c.consumed);
        EXPECT_EQ(style.GetMarkerStyle(), c.result ? 7 : 0);
        EXPECT_EQ(style.GetFillBackColor(),
                  c.result ? KrRGB(0x10, 0x20, 0x30) : KrRGB(255, 255, 255));
        EXPECT_EQ(style.GetFillAngle(), c.gradient ? 45.5 : 0.0);
        EXPECT_EQ(style.GetFillCenterOffsetX(), c.gradient ? -2 : 0);
        EXPECT_EQ(style.GetFillOpaqueRate(), c.gradient ? 50 : 100);
    }
}

TEST(KrStyleTest, LoadReadsWhatSaveWroteAfterTheCountAndReportsItsSize)
{
    const KrStyle source = sampleStyle();
    const struct
    {
        int type;
        int size;
        std::function<bool(const KrStyle&, const KrStyle&)> same;
    } cases[] = {{0, 16, KrStyle::IsSameMarkerStyle},
                 {1, 12, KrStyle::IsSameLineStyle},
                 {2, 32,
                  [](const KrStyle& a, const KrStyle& b)
                  { return KrStyle::IsSameLineStyle(a, b) && KrStyle::IsSameFillStyle(a, b); }},
                 {3, 0, [](const KrStyle& a, const KrStyle&) { return a == KrStyle(); }}};
    KrStyle expected = source;
    expected.SetLineColor(KrRGB(1, 2, 3));  // alpha bytes are not stored
    expected.SetFillBackColor(KrRGB(0x10, 0x20, 0x30));
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.type);
        Bytes bytes = savedBytes([&](KrStream& s) { source.Save(s, c.type); });
        KrMemoryStream in;
        in.Open(KrStreamLoad, static_cast<unsigned int>(bytes.size()), bytes.data());
        int count = -1;
        in >> count;
        EXPECT_EQ(count, c.size);
        KrStyle loaded;
        EXPECT_EQ(loaded.Load(in, c.type), c.size);
        EXPECT_EQ(in.GetPosition(), 4u + c.size);
        EXPECT_TRUE(c.same(loaded, expected));
    }
}

TEST(KrStyleTest, TruncatedDataSetsTheStreamStatusAndKeepsTheRest)
{
    Bytes bytes = savedBytes([](KrStream& s) { sampleStyle().SaveAll(s); });
    for (unsigned int length : {0u, 3u, 20u, 29u, 43u})
    {
        SCOPED_TRACE(length);
        KrMemoryStream in;
        in.Open(KrStreamLoad, length, bytes.data());
        KrStyle style;
        style.SetFillForeColor(KrRGBA(9, 9, 9, 9));
        EXPECT_TRUE(style.LoadAll(in, 44));
        EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
        // The fore colour lies at bytes 28-31: kept whole (alpha too) when it did not arrive.
        EXPECT_EQ(style.GetFillForeColor(),
                  length >= 32 ? KrRGB(189, 235, 255) : KrRGBA(9, 9, 9, 9));
        EXPECT_EQ(style.GetMarkerStyle(), length >= 4 ? 7 : 0);
    }
}

// ---------------------------------------------------------------- XML form

TEST(KrStyleTest, DefaultStyleInBothDialects)
{
    const KrStyle style;
    const struct
    {
        int version;
        const char* tag;
        std::string expected;
    } cases[] = {
        {0, "", kDefaultNewer},
        {20050303, "", kDefaultNewer},
        {20070522, "", kDefaultNewer},
        {20031211, "", kDefaultOlder},
        {20040101, "", ""},
        {20050302, "", ""},
        {20031210, "", ""},
        {-1, "", ""},
        {0, "a b", ""},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.version);
        EXPECT_EQ(std::string(style.ToXML(c.version, c.tag)), c.expected);
    }
}

TEST(KrStyleTest, SampleStyleInBothDialects)
{
    KrStyle style = sampleStyle();
    style.SetFillBackOpaque(0);
    style.SetMarkerAngle(-100);
    EXPECT_EQ(
        std::string(style.ToXML(0, "Symbol")),
        crlf({"<Symbol>", "<pml:MarkerStyle>7</pml:MarkerStyle>",
              "<pml:MarkerSize>2.4</pml:MarkerSize>", "<pml:MarkerAngle>-100</pml:MarkerAngle>",
              "<pml:LineStyle>3</pml:LineStyle>", "<pml:LineWidth>0.3</pml:LineWidth>",
              "<pml:LineColor>RGB(1,2,3)</pml:LineColor>", "<pml:FillStyle>5</pml:FillStyle>",
              "<pml:FillForeColor>RGB(189,235,255)</pml:FillForeColor>",
              "<pml:FillBackColor>RGB(16,32,48)</pml:FillBackColor>",
              "<pml:FillBackOpaque>FALSE</pml:FillBackOpaque>",
              "<pml:FillOpaqueRate>50</pml:FillOpaqueRate>",
              "<pml:FillGradientType>Radial</pml:FillGradientType>",
              "<pml:FillAngle>45.5</pml:FillAngle>",
              "<pml:FillCenterOffsetX>-2</pml:FillCenterOffsetX>",
              "<pml:FillCenterOffsetY>300</pml:FillCenterOffsetY>", "</Symbol>"}));
    style.SetFillAngle(-0.1);
    style.SetFillGradientType(9);
    EXPECT_EQ(
        std::string(style.ToXML(20031211)),
        crlf({"<pml:GeoStyle>", "<pml:SymbolStyle>7</pml:SymbolStyle>",
              "<pml:SymbolSize>24</pml:SymbolSize>", "<pml:SymbolAngle>-1000</pml:SymbolAngle>",
              "<pml:LineStyle>3</pml:LineStyle>", "<pml:LineWidth>3</pml:LineWidth>",
              "<pml:LineColor>RGB(1,2,3)</pml:LineColor>", "<pml:FillStyle>5</pml:FillStyle>",
              "<pml:FillForeColor>RGB(189,235,255)</pml:FillForeColor>",
              "<pml:FillBackColor>RGB(16,32,48)</pml:FillBackColor>",
              "<pml:BackTransparent>TRUE</pml:BackTransparent>",
              "<pml:FillOpaqueRate>50</pml:FillOpaqueRate>",
              "<pml:FillGradientType>9</pml:FillGradientType>",
              "<pml:FillGradientAngle>-0.100000</pml:FillGradientAngle>",
              "<pml:FillCenterOffsetX>-2</pml:FillCenterOffsetX>",
              "<pml:FillCenterOffsetY>300</pml:FillCenterOffsetY>", "</pml:GeoStyle>"}));
    EXPECT_NE(std::string(style.ToXML(0)).find("<pml:FillGradientType>None<"), std::string::npos);
}

TEST(KrStyleTest, ReadingTakesEachElementByItsDialect)
{
    // Each row: one child element, the version it is read with, and what the older dialect
    // (raw tenths and numbers) then writes for the field.
    const int older = 20031211;
    const struct
    {
        const char* child;
        int version;
        const char* written;
    } cases[] = {
        {"<pml:MarkerSize>2.45</pml:MarkerSize>", 0, "<pml:SymbolSize>25<"},
        {"<pml:MarkerSize>-2.45</pml:MarkerSize>", 0, "<pml:SymbolSize>-25<"},
        {"<pml:SymbolSize>245</pml:SymbolSize>", older, "<pml:SymbolSize>245<"},
        {"<pml:SymbolSize>2.45</pml:SymbolSize>", older, "<pml:SymbolSize>2<"},
        {"<pml:MarkerSize>x</pml:MarkerSize>", 0, "<pml:SymbolSize>0<"},
        {"<pml:MarkerSize>nan</pml:MarkerSize>", 0, "<pml:SymbolSize>0<"},
        {"<pml:MarkerAngle>1e999</pml:MarkerAngle>", 0, "<pml:SymbolAngle>2147483647<"},
        {"<pml:MarkerAngle>-1e999</pml:MarkerAngle>", 0, "<pml:SymbolAngle>-2147483648<"},
        {"<pml:LineWidth>7</pml:LineWidth>", older, "<pml:LineWidth>7<"},
        {"<pml:LineWidth>7</pml:LineWidth>", 20070522, "<pml:LineWidth>70<"},
        {"<pml:LineWidth>7</pml:LineWidth>", 20040101, "<pml:LineWidth>70<"},
        {"<pml:LineColor>255</pml:LineColor>", 0, "<pml:LineColor>RGB(255,0,0)<"},
        {"<pml:LineColor>rgb(1, 2, 3)</pml:LineColor>", 0, "<pml:LineColor>RGB(1,2,3)<"},
        {"<pml:FillBackOpaque>false</pml:FillBackOpaque>", 0, "<pml:BackTransparent>TRUE<"},
        {"<pml:FillBackOpaque>yes</pml:FillBackOpaque>", 0, "<pml:BackTransparent>TRUE<"},
        {"<pml:FillBackOpaque>True</pml:FillBackOpaque>", 0, "<pml:BackTransparent>FALSE<"},
        {"<pml:BackTransparent>true</pml:BackTransparent>", older, "<pml:BackTransparent>TRUE<"},
        {"<pml:BackTransparent>yes</pml:BackTransparent>", older, "<pml:BackTransparent>FALSE<"},
        {"<pml:BackTransparent>TRUE</pml:BackTransparent>", 0, "<pml:BackTransparent>FALSE<"},
        {"<pml:FillOpaqueRate>300</pml:FillOpaqueRate>", 0, "<pml:FillOpaqueRate>44<"},
        {"<pml:FillGradientType>cONICAL</pml:FillGradientType>", 0, "<pml:FillGradientType>3<"},
        {"<pml:FillGradientType>Square</pml:FillGradientType>", 0, "<pml:FillGradientType>4<"},
        {"<pml:FillGradientType>3</pml:FillGradientType>", 0, "<pml:FillGradientType>0<"},
        {"<pml:FillGradientType>260</pml:FillGradientType>", older, "<pml:FillGradientType>4<"},
        {"<pml:FillGradientType>Linear</pml:FillGradientType>", older, "<pml:FillGradientType>0<"},
        {"<pml:FillAngle>-12.25</pml:FillAngle>", 0, "<pml:FillGradientAngle>-12.300000<"},
        {"<pml:FillGradientAngle>-12.25</pml:FillGradientAngle>", older, "Angle>-12.300000<"},
        {"<pml:FillAngle>-12.25</pml:FillAngle>", older, "<pml:FillGradientAngle>0.000000<"},
        {"<pml:FillAngle>3276.8</pml:FillAngle>", 0, "<pml:FillGradientAngle>-3276.800000<"},
        {"<pml:FillCenterOffsetX>70000</pml:FillCenterOffsetX>", 0, "<pml:FillCenterOffsetX>4464<"},
        {"<pml:FillCenterOffsetY> -5x</pml:FillCenterOffsetY>", 0, "<pml:FillCenterOffsetY>-5<"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.child);
        KrStyle style;
        EXPECT_TRUE(style.FromXML(std::string("<any>") + c.child + "</any>", c.version));
        EXPECT_NE(std::string(style.ToXML(older)).find(c.written), std::string::npos);
    }
}

TEST(KrStyleTest, AbsentOrMisplacedElementsLeaveTheirFields)
{
    KrStyle style = sampleStyle();
    const KrStyle before = style;
    EXPECT_FALSE(style.FromXML("", 0));
    for (const char* text : {"<pml:Style/>", "<pml:Style>", "not xml", "<a><b>1</b></a>"})
    {
        EXPECT_TRUE(style.FromXML(text, 0)) << text;
        EXPECT_TRUE(style == before) << text;
    }
    // The names of one dialect are not read by the other; the shared ones are.
    KrStyle newer;
    EXPECT_TRUE(
        newer.FromXML("<s><pml:SymbolSize>99</pml:SymbolSize><pml:FillOpaqueRate>7"
                      "</pml:FillOpaqueRate><pml:FillGradientAngle>9</pml:FillGradientAngle></s>",
                      0));
    EXPECT_EQ(newer.GetMarkerSize(), 2.4);
    EXPECT_EQ(newer.GetFillOpaqueRate(), 7);
    EXPECT_EQ(newer.GetFillAngle(), 0.0);
    KrStyle older;
    EXPECT_TRUE(
        older.FromXML("<s><pml:MarkerSize>99</pml:MarkerSize><pml:FillBackOpaque>FALSE"
                      "</pml:FillBackOpaque><pml:FillOpaqueRate>7</pml:FillOpaqueRate>"
                      "<pml:FillAngle>9</pml:FillAngle></s>",
                      20031211));
    EXPECT_EQ(older.GetMarkerSize(), 2.4);
    EXPECT_EQ(older.GetFillBackOpaque(), 1);
    EXPECT_EQ(older.GetFillOpaqueRate(), 7);
    EXPECT_EQ(older.GetFillAngle(), 0.0);

    // Each search starts after the element found last: one placed before it is not seen.
    KrStyle misplaced;
    EXPECT_TRUE(misplaced.FromXML(
        "<s><pml:FillStyle>4</pml:FillStyle><pml:LineStyle>9</pml:LineStyle></s>"));
    EXPECT_EQ(misplaced.GetLineStyle(), 9);
    EXPECT_EQ(misplaced.GetFillStyle(), 0);
    KrStyle ordered;
    EXPECT_TRUE(
        ordered.FromXML("<s><pml:LineStyle>9</pml:LineStyle><pml:FillStyle>4</pml:FillStyle></s>"));
    EXPECT_EQ(ordered.GetLineStyle(), 9);
    EXPECT_EQ(ordered.GetFillStyle(), 4);
}

TEST(KrStyleTest, ConvertRGBColorBothWays)
{
    const struct
    {
        unsigned int color;
        const char* text;
    } written[] = {{KrRGB(0, 0, 0), "RGB(0,0,0)"},
                   {KrRGB(189, 235, 255), "RGB(189,235,255)"},
                   {0xFFFFFFFFu, "RGB(255,255,255)"}};
    for (const auto& c : written) EXPECT_EQ(std::string(KrStyle::ConvertRGBColor(c.color)), c.text);

    const struct
    {
        const char* text;
        unsigned int color;
    } read[] = {{"255", 255u},
                {"-1", 0xFFFFFFFFu},
                {"", 0u},
                {"RGB(1,2,3)", KrRGB(1, 2, 3)},
                {"rgb(10, 20, 30)", KrRGB(10, 20, 30)},
                {"RGB(300,-1,256)", KrRGB(44, 255, 0)},
                {"xRGB(1,2,3)", KrRGB(0, 2, 3)},
                {"RGB(", 0u},
                {"RGB(7,8", KrRGB(7, 0, 0)},
                {"RGB(,,)", 0u},
                {"Rgb(1,2,3)", 0u}};
    for (const auto& c : read)
        EXPECT_EQ(KrStyle::ConvertRGBColor(KrString(c.text)), c.color) << c.text;
}

// ---------------------------------------------------------------- round trips

namespace
{

// Alpha bytes are neither written to XML nor kept by the binary form, so they are left out.
KrStyle randomStyle(std::mt19937& random, bool gradientNamed)
{
    auto any = [&random]() { return static_cast<int>(random()); };
    auto color = [&random]() { return static_cast<unsigned int>(random()) & 0x00FFFFFFu; };
    KrStyle style;
    style.SetMarkerStyle(any());
    style.SetMarkerSize(any() / 10.0);
    style.SetMarkerAngle(any() / 10.0);
    style.SetLineStyle(any());
    style.SetLineColor(color());
    style.SetLineWidth(any() / 10.0);
    style.SetFillStyle(any());
    style.SetFillForeColor(color());
    style.SetFillBackColor(color());
    style.SetFillBackOpaque(static_cast<unsigned char>(random() & 1));
    style.SetFillOpaqueRate(static_cast<unsigned char>(random()));
    // The newer dialect names gradients 0-4 only; any other reads back as none.
    style.SetFillGradientType(static_cast<unsigned char>(random() % (gradientNamed ? 5 : 256)));
    style.SetFillAngle(static_cast<short>(random()) / 10.0);
    style.SetFillCenterOffsetX(static_cast<short>(random()));
    style.SetFillCenterOffsetY(static_cast<short>(random()));
    return style;
}

}  // namespace

TEST(KrStyleTest, RandomStylesSurviveXmlInBothDialects)
{
    std::mt19937 random(14u);
    for (int i = 0; i < 500; ++i)
    {
        for (int version : {0, 20031211})
        {
            const KrStyle style = randomStyle(random, version == 0);
            KrStyle read;
            ASSERT_TRUE(read.FromXML(style.ToXML(version), version));
            ASSERT_TRUE(read == style) << style.ToXML(version).Cstr();
        }
    }
}

// A transparent back reads back as opaque white (see above), so the binary round trip holds
// for opaque backs only; the scale-by-symbol flag is not stored and not compared.
TEST(KrStyleTest, RandomOpaqueStylesSurviveSaveAndLoad)
{
    std::mt19937 random(15u);
    for (int i = 0; i < 500; ++i)
    {
        KrStyle style = randomStyle(random, false);
        style.SetFillBackOpaque(1);
        const int type = i % 4;
        Bytes bytes = savedBytes(
            [&](KrStream& s)
            {
                style.SaveAll(s);
                style.Save(s, type);
            });
        KrMemoryStream in;
        in.Open(KrStreamLoad, static_cast<unsigned int>(bytes.size()), bytes.data());
        KrStyle whole;
        ASSERT_TRUE(whole.LoadAll(in, KrStyle::GetStoreSize()));
        ASSERT_TRUE(whole == style);
        int count = 0;
        in >> count;
        KrStyle part;
        ASSERT_EQ(part.Load(in, type), count);
        ASSERT_TRUE(KrStyle::IsSameDimensionStyle(part, style, type) || type == 3);
        if (type == 2)
        {
            ASSERT_TRUE(KrStyle::IsSameLineStyle(part, style));
        }
        ASSERT_EQ(in.GetStatus(), KrStreamOK);
        ASSERT_EQ(in.GetPosition(), bytes.size());
    }
}
