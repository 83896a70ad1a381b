#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <tuple>
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

KrMemoryStream& openLoad(KrMemoryStream& stream, Bytes& bytes, size_t length = SIZE_MAX)
{
    stream.Open(KrStreamLoad, static_cast<unsigned int>(std::min(length, bytes.size())),
                bytes.data());
    return stream;
}

// Every field away from its default; the colours carry alpha bytes that neither form keeps.
KrStyle sampleStyle()
{
    KrStyle style;
    style.SetMarkerStyle(7);
    style.SetMarkerAngle(-1.5);
    style.SetLineStyle(3);
    style.SetLineWidth(0.25);
    style.SetLineColor(KrRGBA(1, 2, 3, 0x80));
    style.SetFillStyle(5);
    style.SetFillBackColor(KrRGBA(0x10, 0x20, 0x30, 0xFF));
    style.SetFillOpaqueRate(50);
    style.SetFillGradientType(2);
    style.SetFillAngle(45.5);
    style.SetFillCenterOffsetX(-2);
    style.SetFillCenterOffsetY(300);
    return style;
}

}  // namespace

TEST(KrStyleTest, DoubleSettersKeepTenthsRoundedHalfAwayFromZero)
{
    // clang-format off
    const struct { double value; int tenths; short fillTenths; } cases[] = {
        {0.25, 3, 3}, {-0.25, -3, -3}, {0.24, 2, 2}, {-0.04, 0, 0}, {0.05, 1, 1}, {45.25, 453, 453},
        {3276.8, 32768, -32768}, {1e300, INT_MAX, -1}, {-INFINITY, INT_MIN, 0}, {NAN, 0, 0}};
    // clang-format on
    for (const auto& c : cases)
    {
        KrStyle style;
        style.SetMarkerSize(c.value);
        style.SetMarkerAngle(c.value);
        style.SetLineWidth(c.value);
        style.SetFillAngle(c.value);  // 16 bits of tenths: the low bits are kept
        const double tenths = c.tenths / 10.0;
        EXPECT_EQ(std::tuple(style.GetMarkerSize(), style.GetMarkerAngle(), style.GetLineWidth(),
                             style.GetFillAngle()),
                  std::tuple(tenths, tenths, tenths, c.fillTenths / 10.0))
            << c.value;
    }
}

TEST(KrStyleTest, EachComparisonLooksAtItsOwnFields)
{
    // Expected, one digit each: operator==, IsSameLineStyle, IsSameMarkerStyle, IsSameFillStyle.
    using S = KrStyle;
    // clang-format off
    const struct { std::function<void(S&)> change; const char* same; } cases[] = {
        {[](S& s) { s.SetMarkerStyle(1); }, "0101"}, {[](S& s) { s.SetMarkerSize(1); }, "0101"},
        {[](S& s) { s.SetMarkerAngle(1); }, "0101"}, {[](S& s) { s.SetLineStyle(1); }, "0011"},
        {[](S& s) { s.SetLineWidth(1); }, "0011"}, {[](S& s) { s.SetLineColor(1u << 24); }, "0001"},
        {[](S& s) { s.SetFillStyle(1); }, "0110"}, {[](S& s) { s.SetFillForeColor(1); }, "0110"},
        {[](S& s) { s.SetFillBackColor(1); }, "0110"}, {[](S& s) { s.SetFillBackOpaque(0); }, "0110"},
        {[](S& s) { s.SetFillOpaqueRate(1); }, "0110"},
        {[](S& s) { s.SetFillGradientType(1); }, "0110"}, {[](S& s) { s.SetFillAngle(1); }, "0110"},
        {[](S& s) { s.SetFillCenterOffsetX(1); }, "0110"},
        {[](S& s) { s.SetFillCenterOffsetY(1); }, "0110"},
        {[](S& s) { s.SetScaleBySymbol(1); }, "1111"}};
    // clang-format on
    const KrStyle base;
    for (size_t i = 0; i < std::size(cases); ++i)
    {
        KrStyle other;
        cases[i].change(other);
        const auto same = [&](int type)
        { return S::IsSameDimensionStyle(base, other, type) ? '1' : '0'; };
        EXPECT_EQ(std::string({same(7), same(1), same(0), same(2)}), cases[i].same) << i;
        EXPECT_EQ(base == other, same(7) == '1') << i;
        EXPECT_TRUE(!(base == other) || base.GetHashCode() == other.GetHashCode()) << i;
    }
}

// The bytes of every form are kept in tests/fixtures/style.bin; here each form reads back. A
// transparent back is written as all ones, but reading clears the alpha byte before it looks for
// all ones: it loads back as opaque white.
TEST(KrStyleTest, EachFormAndLoadAllReadBackWhatTheyWrote)
{
    // Forms 0-2 after their count; any other writes a zero count and reads nothing.
    for (const auto& [type, size, opaque] :
         {std::tuple{-1, 0, 1}, {0, 16, 1}, {1, 12, 1}, {2, 32, 1}, {2, 32, 0}, {3, 0, 1}})
    {
        SCOPED_TRACE(testing::Message() << type << (opaque ? "" : " transparent"));
        KrStyle style = sampleStyle(), expected = style, loaded;
        style.SetFillBackOpaque(static_cast<unsigned char>(opaque));
        expected.SetLineColor(KrRGB(1, 2, 3));  // alpha bytes are not stored
        expected.SetFillBackColor(opaque ? KrRGB(16, 32, 48) : KrRGB(255, 255, 255));
        Bytes form =
            savedBytes([&, t = type, n = size](KrStream& s) { EXPECT_EQ(style.Save(s, t), n); });
        KrMemoryStream in;
        int count = -1;
        openLoad(in, form) >> count;
        EXPECT_TRUE(count == size && form.size() == 4u + size);
        EXPECT_EQ(loaded.Load(in, type), count);
        EXPECT_TRUE(in.GetPosition() == form.size() && in.GetStatus() == KrStreamOK);
        const KrStyle& want = size ? expected : KrStyle();  // nothing read: the default style
        EXPECT_TRUE(KrStyle::IsSameDimensionStyle(loaded, want, size ? type : 9));
        EXPECT_TRUE(type != 2 || KrStyle::IsSameLineStyle(loaded, expected));
    }
    Bytes bytes = savedBytes([](KrStream& s) { sampleStyle().SaveAll(s); });
    // LoadAll takes the older 36-byte record or the whole 44; less is refused.
    for (const auto& [size, consumed] :
         {std::pair{35, 0}, {36, 36}, {43, 36}, {44, 44}, {1000, 44}})
    {
        KrMemoryStream in;
        KrStyle style;
        EXPECT_EQ(style.LoadAll(openLoad(in, bytes), size), consumed > 0) << size;
        EXPECT_EQ(std::tuple(in.GetPosition(), style.GetMarkerStyle(), style.GetFillBackColor(),
                             style.GetFillAngle(), style.GetFillCenterOffsetY()),
                  std::tuple(static_cast<unsigned long long>(consumed), consumed ? 7 : 0,
                             consumed ? KrRGB(16, 32, 48) : KrRGB(255, 255, 255),
                             consumed == 44 ? 45.5 : 0.0, consumed == 44 ? 300 : 0))
            << size;
    }
    // Short data: the stream's status tells, and a field that did not arrive keeps its value
    // (the fore colour lies at bytes 28-31 and keeps its alpha too).
    for (size_t length : {0u, 3u, 29u, 43u})
    {
        KrMemoryStream in;
        KrStyle style;
        style.SetFillForeColor(KrRGBA(9, 9, 9, 9));
        EXPECT_TRUE(style.LoadAll(openLoad(in, bytes, length), 44));
        EXPECT_EQ(
            std::tuple(in.GetStatus(), style.GetFillForeColor(), style.GetMarkerStyle()),
            std::tuple(KrStreamLoadError, length >= 32 ? KrRGB(189, 235, 255) : KrRGBA(9, 9, 9, 9),
                       length >= 4 ? 7 : 0))
            << length;
    }
}

// The documents both dialects write are kept in tests/fixtures/.
TEST(KrStyleTest, WritersKnowTheirVersionsAndReadersTheirDialects)
{
    const KrStyle style;
    KrStyle sample = sampleStyle();
    sample.SetFillGradientType(9);  // the older dialect writes the number, the newer one no name
    EXPECT_NE(std::string(sample.ToXML(0)).find("<pml:FillGradientType>None<"), std::string::npos);
    EXPECT_NE(std::string(sample.ToXML(20031211)).find(">9</pml:FillGradientType>"),
              std::string::npos);
    EXPECT_EQ(style.ToXML(20070522), style.ToXML(0));
    for (int version : {20040101, 20050302, 20031210, -1})
        EXPECT_EQ(std::string(style.ToXML(version)), "");
    EXPECT_EQ(std::string(style.ToXML(0, "a b")), "");  // not an element name
    // Each row: one child element and its text, the version it is read with, and what the older
    // dialect (raw tenths and numbers) then writes for the field.
    const int older = 20031211;
    // clang-format off
    const struct { const char* element, *text; int version; const char* written; } cases[] = {
        {"MarkerSize", "2.45", 0, "SymbolSize>25"}, {"MarkerSize", "-2.45", 0, "SymbolSize>-25"},
        {"SymbolSize", "245", older, "SymbolSize>245"}, {"SymbolSize", "2.45", older, "SymbolSize>2"},
        {"MarkerSize", "x", 0, "SymbolSize>0"}, {"MarkerSize", "nan", 0, "SymbolSize>0"},
        {"MarkerAngle", "1e999", 0, "SymbolAngle>2147483647"},
        {"MarkerAngle", "-1e999", 0, "SymbolAngle>-2147483648"},
        {"LineWidth", "7", older, "LineWidth>7"}, {"LineWidth", "7", 20070522, "LineWidth>70"},
        {"LineWidth", "7", 20040101, "LineWidth>70"}, {"LineColor", "255", 0, "LineColor>RGB(255,0,0)"},
        {"LineColor", "rgb(1, 2, 3)", 0, "LineColor>RGB(1,2,3)"},
        {"FillBackOpaque", "yes", 0, "BackTransparent>TRUE"},
        {"FillBackOpaque", "True", 0, "BackTransparent>FALSE"},
        {"BackTransparent", "true", older, "BackTransparent>TRUE"},
        {"BackTransparent", "yes", older, "BackTransparent>FALSE"},
        {"BackTransparent", "TRUE", 0, "BackTransparent>FALSE"},
        {"FillOpaqueRate", "300", 0, "FillOpaqueRate>44"},
        {"FillGradientType", "cONICAL", 0, "FillGradientType>3"},
        {"FillGradientType", "3", 0, "FillGradientType>0"},
        {"FillGradientType", "260", older, "FillGradientType>4"},
        {"FillGradientType", "Linear", older, "FillGradientType>0"},
        {"FillAngle", "-12.25", 0, "FillGradientAngle>-12.300000"},
        {"FillGradientAngle", "-12.25", older, "FillGradientAngle>-12.300000"},
        {"FillAngle", "-12.25", older, "FillGradientAngle>0.000000"},
        {"FillCenterOffsetX", "70000", 0, "FillCenterOffsetX>4464"},
        {"FillCenterOffsetY", " -5x", 0, "FillCenterOffsetY>-5"}};
    // clang-format on
    for (const auto& c : cases)
    {
        const std::string element = std::string("pml:") + c.element;
        KrStyle style;
        EXPECT_TRUE(style.FromXML("<any><" + element + ">" + c.text + "</" + element + "></any>",
                                  c.version));
        EXPECT_NE(std::string(style.ToXML(older)).find(std::string("<pml:") + c.written + "<"),
                  std::string::npos)
            << element << " " << c.text;
    }
    // Absent or misplaced elements leave their fields.
    const KrStyle before = sampleStyle();
    KrStyle edited = before;
    EXPECT_FALSE(edited.FromXML("", 0));
    for (const char* text : {"<pml:Style/>", "<pml:Style>", "not xml", "<a><b>1</b></a>"})
        EXPECT_TRUE(edited.FromXML(text, 0) && edited == before) << text;
    // Each search starts after the element found last: one placed before it is not seen.
    for (const auto& [xml, fillStyle] :
         {std::pair{"<s><pml:FillStyle>4</pml:FillStyle><pml:LineStyle>9</pml:LineStyle></s>", 0},
          {"<s><pml:LineStyle>9</pml:LineStyle><pml:FillStyle>4</pml:FillStyle></s>", 4}})
    {
        KrStyle read;
        EXPECT_TRUE(read.FromXML(xml) && read.GetLineStyle() == 9);
        EXPECT_EQ(read.GetFillStyle(), fillStyle);
    }
    EXPECT_EQ(std::string(KrStyle::ConvertRGBColor(0xFFFFFFFFu)), "RGB(255,255,255)");
    // clang-format off
    const struct { const char* text; unsigned int color; } read[] = {
        {"255", 255u}, {"-1", 0xFFFFFFFFu}, {"", 0u}, {"Rgb(1,2,3)", 0u},
        {"RGB(1,2,3)", KrRGB(1, 2, 3)}, {"rgb(10, 20, 30)", KrRGB(10, 20, 30)},
        {"RGB(300,-1,256)", KrRGB(44, 255, 0)}, {"xRGB(1,2,3)", KrRGB(0, 2, 3)}, {"RGB(", 0u},
        {"RGB(7,8", KrRGB(7, 0, 0)}, {"RGB(,,)", 0u}};
    // clang-format on
    for (const auto& c : read)
        EXPECT_EQ(KrStyle::ConvertRGBColor(KrString(c.text)), c.color) << c.text;
}

// Random styles come from random bytes of the whole binary record, so every field takes any
// value it can hold; alpha bytes are not kept there, nor in XML, and the newer dialect names
// gradients 0-4 only. A transparent back is saved as all ones, but reading clears the alpha byte
// before it looks for all ones: it loads back as opaque white, the opacity flag left as it was.
TEST(KrStyleTest, RandomStylesSurviveXmlInBothDialectsAndSaveAndLoad)
{
    std::mt19937 random(14u);
    for (int i = 0; i < 1000; ++i)
    {
        const int version = i % 2 ? 20031211 : 0;
        Bytes record(KrStyle::GetStoreSize());
        for (unsigned char& byte : record) byte = static_cast<unsigned char>(random());
        record[23] = record[31] = record[35] = 0;  // the colours' alpha bytes
        KrMemoryStream source;
        KrStyle style, read, loaded;
        ASSERT_TRUE(style.LoadAll(openLoad(source, record), KrStyle::GetStoreSize()));
        if (version == 0) style.SetFillGradientType(style.GetFillGradientType() % 5);
        style.SetFillBackOpaque(static_cast<unsigned char>(random() & 1));
        ASSERT_TRUE(read.FromXML(style.ToXML(version), version));
        ASSERT_TRUE(read == style) << style.ToXML(version).Cstr();
        Bytes bytes = savedBytes([&](KrStream& s) { style.SaveAll(s); });
        KrMemoryStream in;
        ASSERT_TRUE(loaded.LoadAll(openLoad(in, bytes), KrStyle::GetStoreSize()));
        ASSERT_EQ(in.GetStatus(), KrStreamOK);
        if (!style.GetFillBackOpaque()) style.SetFillBackColor(KrRGB(255, 255, 255));
        style.SetFillBackOpaque(1);
        ASSERT_TRUE(loaded == style);
    }
}
