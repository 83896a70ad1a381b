#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <iterator>
#include <random>
#include <regex>
#include <string>
#include <utility>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// Only what both dialects carry exactly: colours without alpha, widths in eighths (exact in
// "%.12f" and through the older dialect's factor of ten), whole-degree italic angles (read back
// rounded to degrees), named alignments, weights of whole hundreds, a face name (an empty one
// reads back as the Song typeface from the older dialect).
KrTextStyle randomStyle(std::mt19937& random)
{
    auto color = [&random]() { return static_cast<unsigned int>(random()) & 0x00FFFFFFu; };
    KrTextStyle style;
    style.SetForeColor(color());
    style.SetBackColor(color());
    style.SetAngle(static_cast<int>(random() % 72001) / 10.0 - 3600.0);
    style.SetItalicAngle(static_cast<int>(random() % 121) - 60.0);
    style.SetWidth(static_cast<int>(random() % 4096) / 8.0);
    style.SetHeight(static_cast<int>(random() % 4096 + 1) / 8.0 + (random() % 1000) * 1e-6);
    const char* const faces[] = {"Arial", "Times New Roman", "a<b>&c", "\xCB\xCE\xCC\xE5"};
    style.SetFaceName(faces[random() % 4]);
    style.SetStyle(static_cast<int>(random() & 0xFF00));
    style.SetAlign(static_cast<unsigned char>(random() % 12));
    style.SetWeight(static_cast<int>(random() % 10) * 100);
    style.SetSizeForFixed(static_cast<int>(random() % 256) / 10.0);
    return style;
}

}  // namespace

TEST(KrTextStyleTest, AnglesAndTheStyleWordKeepWhatTheirSettersGive)
{
    // clang-format off
    const struct { double degrees; int angle; int italic; } angles[] = {
        {75.0, 750, 600}, {-75.0, -750, -600}, {-12.34, -123, -123}, {12.25, 123, 122},
        {12.39, 124, 123}, {-0.05, -1, 0}, {60.09, 601, 600}, {NAN, 0, 0}, {1e300, INT_MAX, 600},
        {-INFINITY, INT_MIN, -600}};
    // clang-format on
    for (const auto& c : angles)
    {
        SCOPED_TRACE(c.degrees);
        KrTextStyle style;
        style.SetAngle(c.degrees);
        style.SetItalicAngle(c.degrees);
        EXPECT_EQ(style.GetAngle(), c.angle / 10.0);
        EXPECT_EQ(style.GetItalicAngle(), c.italic / 10.0);
    }
    using S = KrTextStyle;
    // clang-format off
    const struct { std::function<void(S&)> set; unsigned int word; } cases[] = {
        {[](S& s) { s.SetBold(1); }, 0x100},       {[](S& s) { s.SetItalic(2); }, 0x200},
        {[](S& s) { s.SetUnderline(1); }, 0x400},  {[](S& s) { s.SetStrikeOut(1); }, 0x800},
        {[](S& s) { s.SetFixedSize(1); }, 0x1000}, {[](S& s) { s.SetBackOpaque(1); }, 0x2000},
        {[](S& s) { s.SetHalo(1); }, 0x4000},      {[](S& s) { s.SetShadow(0x80); }, 0x8000},
        {[](S& s) { s.SetStyle(-1); s.SetBold(0); s.SetShadow(0); }, 0xFFFF7EFF},
        {[](S& s) { s.SetBold(1); s.SetAlign(5); }, 0x105},
        {[](S& s) { s.SetStyle(0x1FF); s.SetAlign(2); }, 0x102},
        {[](S& s) { s.SetWeight(400); }, 6u << 16}, {[](S& s) { s.SetWeight(100); }, 2u << 16},
        {[](S& s) { s.SetWeight(700); }, 11u << 16}, {[](S& s) { s.SetWeight(-66); }, 0xFFFF0000},
        {[](S& s) { s.SetStyle(-1); s.SetWeight(0); }, 0xFF00FFFF},
        {[](S& s) { s.SetWeight(16863); }, 1u << 24},  // 255.5 rounds to 256: spills over
        {[](S& s) { s.SetSizeForFixed(2.46); }, 25u << 24},
        {[](S& s) { s.SetSizeForFixed(25.5); }, 255u << 24},
        {[](S& s) { s.SetSizeForFixed(25.7); }, 1u << 24},  // 257 tenths: the low byte
        {[](S& s) { s.SetSizeForFixed(NAN); }, 0},
        {[](S& s) { s.SetStyle(-1); s.SetSizeForFixed(0); }, 0x00FFFFFF}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i)
    {
        KrTextStyle style;
        cases[i].set(style);
        EXPECT_EQ(static_cast<unsigned int>(style.GetStyle()), cases[i].word) << i;
    }
    KrTextStyle style;
    for (const auto& [weight, read] : {std::pair{0, 0}, {32, 0}, {33, 100}, {250, 300}, {900, 900}})
    {
        style.SetWeight(weight);
        EXPECT_EQ(style.GetWeight(), read) << weight;
    }
    style.SetSizeForFixed(2.46);
    EXPECT_EQ(style.GetSizeForFixed(), 2.5);
    style.SetStyle(-1);
    EXPECT_EQ(style.GetSizeForFixed(), 25.5);
    EXPECT_EQ(style.GetAlign(), 0xFF);
    EXPECT_EQ(style.GetWeight(), 16800);  // 255 * 0.66 = 168.3
}

TEST(KrTextStyleTest, EqualityComparesHeightWithToleranceAndTheRestExactly)
{
    using S = KrTextStyle;
    // clang-format off
    const struct { std::function<void(S&)> change; bool equal; } cases[] = {
        {[](S& s) { s.SetHeight(6.0 * (1 + 1e-12)); }, true},
        {[](S& s) { s.SetHeight(6.001); }, false},
        {[](S& s) { s.SetWidth(-0.0); }, true},      {[](S& s) { s.SetWidth(1e-300); }, false},
        {[](S& s) { s.SetForeColor(1u << 24); }, false}, {[](S& s) { s.SetBackColor(1); }, false},
        {[](S& s) { s.SetAngle(0.1); }, false},      {[](S& s) { s.SetItalicAngle(-0.1); }, false},
        {[](S& s) { s.SetFaceName("a"); }, false},   {[](S& s) { s.SetHalo(1); }, false}};
    // clang-format on
    const KrTextStyle base;
    for (size_t i = 0; i < std::size(cases); ++i)
    {
        KrTextStyle other;
        cases[i].change(other);
        EXPECT_EQ(base == other, cases[i].equal) << i;
        EXPECT_TRUE(!cases[i].equal || base.GetHashCode() == other.GetHashCode()) << i;
    }
}

// The documents both dialects write are kept in tests/fixtures/.
TEST(KrTextStyleTest, WritersKnowTheirVersionsAndReadersTheirDialects)
{
    const KrTextStyle style;
    for (int version : {20031210, 20040101, 20050302, -5})
        EXPECT_EQ(std::string(style.ToXML(version)), "");
    EXPECT_EQ(style.ToXML(20070522), style.ToXML(0));
    KrTextStyle aligned;
    aligned.SetAlign(12);  // an alignment without a name is written as an empty element
    EXPECT_NE(std::string(aligned.ToXML(0)).find("\r\n<pml:Align/>\r\n"), std::string::npos);
    EXPECT_NE(std::string(aligned.ToXML(20031211)).find(">12</pml:Align>"), std::string::npos);
    // Reading clears the style word (flags, alignment, weight, fixed size) and keeps the fields
    // that are absent.
    std::mt19937 random(5u);
    const KrTextStyle sample = randomStyle(random);
    ASSERT_NE(sample.GetStyle() & ~0x200, 0);
    KrTextStyle read = sample;
    EXPECT_TRUE(read.FromXML("<pml:TextStyle><pml:Italic>true</pml:Italic></pml:TextStyle>"));
    EXPECT_EQ(read.GetStyle(), 0x200);
    read.SetStyle(sample.GetStyle());
    EXPECT_TRUE(read == sample);
    for (const char* text : {"", "garbage", "<a><b>"})
    {
        KrTextStyle other = sample;
        EXPECT_TRUE(other.FromXML(text) && other.GetStyle() == 0) << text;
    }
    // Each row: children as "Name>text" separated by ';', the version they are read with, and
    // what the current dialect then writes. The style starts with colours RGB(7,0,0), angle 0.5
    // and width 2.5. Fixed-size text keeps its sizes ten times larger, even when they are absent.
    const int older = 20031211;
    // clang-format off
    const struct { const char* children; int version; const char* written; } cases[] = {
        {"Align>center", 0, "Align>Center"}, {"Align>Middle", 0, "Align>TopLeft"},
        {"Align>10", 0, "Align>TopLeft"}, {"Align>266", older, "Align>Center"},
        {"ForeColor>255", 0, "ForeColor>RGB(7,0,0)"},
        {"ForeColor>rgb(1,2,3)", 0, "ForeColor>RGB(1,2,3)"},
        {"BackColor>255", older, "BackColor>RGB(7,0,0)"}, {"Height>7.5e-3", 0, "Height>0.0075"},
        {"Weight>650", 0, "Weight>700"}, {"FixedSize>2.46", 0, "FixedSize>2.5"},
        {"FixedTextSize>25", older, "FixedSize>2.5"}, {"Angle>12.25", 0, "Angle>12.3"},
        {"Rotation>12.25", older, "Angle>12.3"}, {"Rotation>12.25", 0, "Angle>0.5"},
        {"ItalicAngle>12.34", 0, "ItalicAngle>12.00"},
        {"ItalicAngle>-12.5", older, "ItalicAngle>-13.00"},
        {"ItalicAngle>1e300", 0, "ItalicAngle>60.00"}, {"BackOpaque>tRUE", 0, "BackOpaque>TRUE"},
        {"Transparent>false", older, "BackOpaque>TRUE"},
        {"Transparent>no", older, "BackOpaque>FALSE"}, {"Stroke>true", older, "StrikeOut>TRUE"},
        {"Outline>TRUE", older, "Halo>TRUE"}, {"Stroke>TRUE", 0, "StrikeOut>FALSE"},
        {"FontName>Song", older, "FaceName>Song"}, {"FontWidth>5", older, "Width>5"},
        {"FontHeight>25;FixedSize>TRUE", older, "Height>2.5"},
        {"FixedSize>TRUE", older, "Width>0.25"}};
    // clang-format on
    for (const auto& c : cases)
    {
        const std::string children =
            std::regex_replace(c.children, std::regex("(\\w+)>([^;]*);?"), "<pml:$1>$2</pml:$1>");
        KrTextStyle style;
        style.SetForeColor(7);
        style.SetBackColor(7);
        style.SetAngle(0.5);
        style.SetWidth(2.5);
        EXPECT_TRUE(style.FromXML("<t>" + children + "</t>", c.version));
        EXPECT_NE(std::string(style.ToXML(0)).find(std::string("<pml:") + c.written + "<"),
                  std::string::npos)
            << children;
    }
}

TEST(KrTextStyleTest, RandomStylesSurviveXmlInBothDialects)
{
    std::mt19937 random(1412u);
    for (int i = 0; i < 500; ++i)
    {
        for (int version : {0, 20031211})
        {
            const KrTextStyle style = randomStyle(random);
            KrTextStyle read;
            ASSERT_TRUE(read.FromXML(style.ToXML(version), version));
            ASSERT_TRUE(read == style) << style.ToXML(version).Cstr();
        }
    }
}
