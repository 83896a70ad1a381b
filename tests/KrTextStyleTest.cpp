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

std::string crlf(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) text += line + "\r\n";
    return text;
}

// A fixed-size, bold, centred label: every element of both dialects away from its default.
KrTextStyle sampleStyle()
{
    KrTextStyle style;
    style.SetFaceName("Arial & Co");
    style.SetAlign(KrTextStyle::AlignCenter);
    style.SetForeColor(KrRGBA(1, 2, 3, 4));
    style.SetBackColor(KrRGB(255, 128, 0));
    style.SetBackOpaque(1);
    style.SetHeight(1.25);
    style.SetWidth(0.5);
    style.SetWeight(700);
    style.SetFixedSize(1);
    style.SetSizeForFixed(2.5);
    style.SetAngle(-12.3);
    style.SetBold(1);
    style.SetItalicAngle(15.5);
    style.SetUnderline(1);
    style.SetHalo(1);
    return style;
}

}  // namespace

TEST(KrTextStyleTest, AnglesKeepTenthsRoundedOrTruncated)
{
    const struct
    {
        double degrees;
        int angle;
        int italic;
    } cases[] = {{75.0, 750, 600},          {-75.0, -750, -600}, {-12.34, -123, -123},
                 {12.25, 123, 122},         {12.39, 124, 123},   {-0.05, -1, 0},
                 {60.09, 601, 600},         {NAN, 0, 0},         {1e300, INT_MAX, 600},
                 {-INFINITY, INT_MIN, -600}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.degrees);
        KrTextStyle style;
        style.SetAngle(c.degrees);
        style.SetItalicAngle(c.degrees);
        EXPECT_EQ(style.GetAngle(), c.angle / 10.0);
        EXPECT_EQ(style.GetItalicAngle(), c.italic / 10.0);
    }
}

TEST(KrTextStyleTest, StyleWordPacksFlagsAlignmentWeightAndFixedSize)
{
    const struct
    {
        const char* what;
        std::function<void(KrTextStyle&)> set;
        unsigned int word;
    } cases[] = {
        {"bold", [](KrTextStyle& s) { s.SetBold(1); }, 0x100},
        {"italic", [](KrTextStyle& s) { s.SetItalic(2); }, 0x200},
        {"underline", [](KrTextStyle& s) { s.SetUnderline(1); }, 0x400},
        {"strike-out", [](KrTextStyle& s) { s.SetStrikeOut(1); }, 0x800},
        {"fixed size", [](KrTextStyle& s) { s.SetFixedSize(1); }, 0x1000},
        {"back opaque", [](KrTextStyle& s) { s.SetBackOpaque(1); }, 0x2000},
        {"halo", [](KrTextStyle& s) { s.SetHalo(1); }, 0x4000},
        {"shadow", [](KrTextStyle& s) { s.SetShadow(0x80); }, 0x8000},
        {"cleared",
         [](KrTextStyle& s)
         {
             s.SetStyle(-1);
             s.SetBold(0);
             s.SetShadow(0);
         },
         0xFFFF7EFF},
        {"align keeps bold",
         [](KrTextStyle& s)
         {
             s.SetBold(1);
             s.SetAlign(5);
         },
         0x105},
        {"align replaces",
         [](KrTextStyle& s)
         {
             s.SetStyle(0x1FF);
             s.SetAlign(2);
         },
         0x102},
        {"weight 400", [](KrTextStyle& s) { s.SetWeight(400); }, 6u << 16},
        {"weight 100", [](KrTextStyle& s) { s.SetWeight(100); }, 2u << 16},
        {"weight 700", [](KrTextStyle& s) { s.SetWeight(700); }, 11u << 16},
        {"weight replaced",
         [](KrTextStyle& s)
         {
             s.SetStyle(-1);
             s.SetWeight(0);
         },
         0xFF00FFFF},
        {"weight spills", [](KrTextStyle& s) { s.SetWeight(16863); }, 1u << 24},
        {"negative weight", [](KrTextStyle& s) { s.SetWeight(-66); }, 0xFFFF0000},
        {"fixed 2.46", [](KrTextStyle& s) { s.SetSizeForFixed(2.46); }, 25u << 24},
        {"fixed 25.5", [](KrTextStyle& s) { s.SetSizeForFixed(25.5); }, 255u << 24},
        {"fixed wraps", [](KrTextStyle& s) { s.SetSizeForFixed(25.7); }, 1u << 24},
        {"fixed keeps",
         [](KrTextStyle& s)
         {
             s.SetStyle(-1);
             s.SetSizeForFixed(0);
         },
         0x00FFFFFF},
        {"fixed NaN", [](KrTextStyle& s) { s.SetSizeForFixed(NAN); }, 0},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        KrTextStyle style;
        c.set(style);
        EXPECT_EQ(static_cast<unsigned int>(style.GetStyle()), c.word);
    }
}

TEST(KrTextStyleTest, WeightAndFixedSizeReadBackFromTheirBytes)
{
    const struct
    {
        int weight;
        int read;
    } weights[] = {{0, 0},     {100, 100}, {400, 400}, {700, 700},
                   {900, 900}, {32, 0},    {33, 100},  {250, 300}};
    for (const auto& c : weights)
    {
        KrTextStyle style;
        style.SetWeight(c.weight);
        EXPECT_EQ(style.GetWeight(), c.read) << c.weight;
    }
    KrTextStyle style;
    style.SetSizeForFixed(2.46);
    EXPECT_EQ(style.GetSizeForFixed(), 2.5);
    style.SetStyle(-1);
    EXPECT_EQ(style.GetSizeForFixed(), 25.5);
    EXPECT_EQ(style.GetAlign(), 0xFF);
    EXPECT_EQ(style.GetWeight(), 16800);  // 255 * 0.66 = 168.3
}

TEST(KrTextStyleTest, EqualityComparesHeightWithToleranceAndTheRestExactly)
{
    const struct
    {
        const char* what;
        std::function<void(KrTextStyle&)> change;
        bool equal;
    } cases[] = {
        {"height within 1e-10", [](KrTextStyle& s) { s.SetHeight(6.0 * (1 + 1e-12)); }, true},
        {"height", [](KrTextStyle& s) { s.SetHeight(6.001); }, false},
        {"negative zero width", [](KrTextStyle& s) { s.SetWidth(-0.0); }, true},
        {"width", [](KrTextStyle& s) { s.SetWidth(1e-300); }, false},
        {"fore", [](KrTextStyle& s) { s.SetForeColor(0x01000000); }, false},
        {"back", [](KrTextStyle& s) { s.SetBackColor(1); }, false},
        {"angle", [](KrTextStyle& s) { s.SetAngle(0.1); }, false},
        {"italic", [](KrTextStyle& s) { s.SetItalicAngle(-0.1); }, false},
        {"face", [](KrTextStyle& s) { s.SetFaceName("a"); }, false},
        {"style", [](KrTextStyle& s) { s.SetHalo(1); }, false},
    };
    const KrTextStyle base;
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        KrTextStyle other;
        c.change(other);
        EXPECT_EQ(base == other, c.equal);
        EXPECT_EQ(base != other, !c.equal);
        if (c.equal)
        {
            EXPECT_EQ(base.GetHashCode(), other.GetHashCode());
        }
    }
    KrTextStyle copy(sampleStyle());
    EXPECT_TRUE(copy == sampleStyle());
    EXPECT_EQ(copy.GetHashCode(), sampleStyle().GetHashCode());
}

TEST(KrTextStyleTest, DefaultStyleInBothDialects)
{
    const KrTextStyle style;
    EXPECT_EQ(std::string(style.ToXML(0)), crlf({"<pml:TextStyle>",
                                                 "<pml:FaceName/>",
                                                 "<pml:Align>TopLeft</pml:Align>",
                                                 "<pml:ForeColor>RGB(0,0,0)</pml:ForeColor>",
                                                 "<pml:BackColor>RGB(0,0,0)</pml:BackColor>",
                                                 "<pml:BackOpaque>FALSE</pml:BackOpaque>",
                                                 "<pml:Height>6</pml:Height>",
                                                 "<pml:Width>0</pml:Width>",
                                                 "<pml:Weight>0</pml:Weight>",
                                                 "<pml:IsFixedSize>FALSE</pml:IsFixedSize>",
                                                 "<pml:FixedSize>0</pml:FixedSize>",
                                                 "<pml:Angle>0</pml:Angle>",
                                                 "<pml:Bold>FALSE</pml:Bold>",
                                                 "<pml:Italic>FALSE</pml:Italic>",
                                                 "<pml:ItalicAngle>0.00</pml:ItalicAngle>",
                                                 "<pml:StrikeOut>FALSE</pml:StrikeOut>",
                                                 "<pml:Underline>FALSE</pml:Underline>",
                                                 "<pml:Shadow>FALSE</pml:Shadow>",
                                                 "<pml:Halo>FALSE</pml:Halo>",
                                                 "<pml:Charset/>",
                                                 "</pml:TextStyle>"}));
    // An empty face name is written as the GBK name of the Song typeface.
    EXPECT_EQ(std::string(style.ToXML(20031211)),
              crlf({"<pml:TextStyle>",
                    "<pml:FontName>\xCB\xCE\xCC\xE5</pml:FontName>",
                    "<pml:Align>0</pml:Align>",
                    "<pml:Bold>FALSE</pml:Bold>",
                    "<pml:Italic>FALSE</pml:Italic>",
                    "<pml:ItalicAngle>0.00</pml:ItalicAngle>",
                    "<pml:Stroke>FALSE</pml:Stroke>",
                    "<pml:Underline>FALSE</pml:Underline>",
                    "<pml:Shadow>FALSE</pml:Shadow>",
                    "<pml:Outline>FALSE</pml:Outline>",
                    "<pml:FontHeight>6</pml:FontHeight>",
                    "<pml:FontWidth>0</pml:FontWidth>",
                    "<pml:FontWeight>0</pml:FontWeight>",
                    "<pml:FixedSize>FALSE</pml:FixedSize>",
                    "<pml:FixedTextSize>0</pml:FixedTextSize>",
                    "<pml:Rotation>0.00</pml:Rotation>",
                    "<pml:ForeColor>RGB(0,0,0)</pml:ForeColor>",
                    "<pml:BackColor>RGB(0,0,0)</pml:BackColor>",
                    "<pml:Transparent>TRUE</pml:Transparent>",
                    "</pml:TextStyle>"}));
    for (int version : {20031210, 20040101, 20050302, -5})
        EXPECT_EQ(std::string(style.ToXML(version)), "") << version;
    EXPECT_EQ(style.ToXML(20070522), style.ToXML(0));
}

TEST(KrTextStyleTest, SampleStyleInBothDialects)
{
    const KrTextStyle style = sampleStyle();
    EXPECT_EQ(std::string(style.ToXML(0)), crlf({"<pml:TextStyle>",
                                                 "<pml:FaceName>Arial &amp; Co</pml:FaceName>",
                                                 "<pml:Align>Center</pml:Align>",
                                                 "<pml:ForeColor>RGB(1,2,3)</pml:ForeColor>",
                                                 "<pml:BackColor>RGB(255,128,0)</pml:BackColor>",
                                                 "<pml:BackOpaque>TRUE</pml:BackOpaque>",
                                                 "<pml:Height>1.25</pml:Height>",
                                                 "<pml:Width>0.5</pml:Width>",
                                                 "<pml:Weight>700</pml:Weight>",
                                                 "<pml:IsFixedSize>TRUE</pml:IsFixedSize>",
                                                 "<pml:FixedSize>2.5</pml:FixedSize>",
                                                 "<pml:Angle>-12.3</pml:Angle>",
                                                 "<pml:Bold>TRUE</pml:Bold>",
                                                 "<pml:Italic>FALSE</pml:Italic>",
                                                 "<pml:ItalicAngle>15.50</pml:ItalicAngle>",
                                                 "<pml:StrikeOut>FALSE</pml:StrikeOut>",
                                                 "<pml:Underline>TRUE</pml:Underline>",
                                                 "<pml:Shadow>FALSE</pml:Shadow>",
                                                 "<pml:Halo>TRUE</pml:Halo>",
                                                 "<pml:Charset/>",
                                                 "</pml:TextStyle>"}));
    // Fixed-size text: heights and widths ten times larger.
    EXPECT_EQ(std::string(style.ToXML(20031211)),
              crlf({"<pml:TextStyle>",
                    "<pml:FontName>Arial &amp; Co</pml:FontName>",
                    "<pml:Align>10</pml:Align>",
                    "<pml:Bold>TRUE</pml:Bold>",
                    "<pml:Italic>FALSE</pml:Italic>",
                    "<pml:ItalicAngle>15.50</pml:ItalicAngle>",
                    "<pml:Stroke>FALSE</pml:Stroke>",
                    "<pml:Underline>TRUE</pml:Underline>",
                    "<pml:Shadow>FALSE</pml:Shadow>",
                    "<pml:Outline>TRUE</pml:Outline>",
                    "<pml:FontHeight>12.5</pml:FontHeight>",
                    "<pml:FontWidth>5</pml:FontWidth>",
                    "<pml:FontWeight>700</pml:FontWeight>",
                    "<pml:FixedSize>TRUE</pml:FixedSize>",
                    "<pml:FixedTextSize>25</pml:FixedTextSize>",
                    "<pml:Rotation>-12.30</pml:Rotation>",
                    "<pml:ForeColor>RGB(1,2,3)</pml:ForeColor>",
                    "<pml:BackColor>RGB(255,128,0)</pml:BackColor>",
                    "<pml:Transparent>FALSE</pml:Transparent>",
                    "</pml:TextStyle>"}));
    // An alignment without a name is written as an empty element.
    KrTextStyle unnamed;
    unnamed.SetAlign(12);
    EXPECT_NE(std::string(unnamed.ToXML(0)).find("\r\n<pml:Align/>\r\n"), std::string::npos);
    EXPECT_NE(std::string(unnamed.ToXML(20031211)).find(">12</pml:Align>"), std::string::npos);
}

TEST(KrTextStyleTest, ReadingClearsTheStyleWordAndKeepsAbsentFields)
{
    KrTextStyle style = sampleStyle();
    EXPECT_TRUE(style.FromXML("<pml:TextStyle><pml:Italic>true</pml:Italic></pml:TextStyle>"));
    EXPECT_EQ(style.GetStyle(), 0x200);  // bold, halo, alignment, weight and sizes are gone
    EXPECT_EQ(std::string(style.GetFaceName()), "Arial & Co");
    EXPECT_EQ(style.GetForeColor(), KrRGBA(1, 2, 3, 4));
    EXPECT_EQ(style.GetHeight(), 1.25);
    EXPECT_EQ(style.GetAngle(), -12.3);
    for (const char* text : {"", "garbage", "<a><b>"})
    {
        KrTextStyle other = sampleStyle();
        EXPECT_TRUE(other.FromXML(text)) << text;
        EXPECT_EQ(other.GetStyle(), 0) << text;
        other.SetStyle(sampleStyle().GetStyle());
        EXPECT_TRUE(other == sampleStyle()) << text;
    }
}

TEST(KrTextStyleTest, ReadingTakesEachElementByItsDialect)
{
    const int older = 20031211;
    const struct
    {
        const char* children;
        int version;
        std::function<bool(const KrTextStyle&)> holds;
    } cases[] = {
        {"<pml:Align>center</pml:Align>", 0,
         [](const KrTextStyle& s) { return s.GetAlign() == 10; }},
        {"<pml:Align>Middle</pml:Align>", 0,
         [](const KrTextStyle& s) { return s.GetAlign() == 0; }},
        {"<pml:Align>10</pml:Align>", 0, [](const KrTextStyle& s) { return s.GetAlign() == 0; }},
        {"<pml:Align>266</pml:Align>", older,
         [](const KrTextStyle& s) { return s.GetAlign() == 10; }},
        {"<pml:ForeColor>255</pml:ForeColor>", 0,
         [](const KrTextStyle& s) { return s.GetForeColor() == 7u; }},
        {"<pml:ForeColor>rgb(1,2,3)</pml:ForeColor>", 0,
         [](const KrTextStyle& s) { return s.GetForeColor() == KrRGB(1, 2, 3); }},
        {"<pml:BackColor>255</pml:BackColor>", older,
         [](const KrTextStyle& s) { return s.GetBackColor() == 7u; }},
        {"<pml:Height>7.5e-3</pml:Height>", 0,
         [](const KrTextStyle& s) { return s.GetHeight() == 7.5e-3; }},
        {"<pml:Weight>650</pml:Weight>", 0,
         [](const KrTextStyle& s) { return s.GetStyle() == 10 << 16; }},
        {"<pml:FixedSize>2.46</pml:FixedSize>", 0,
         [](const KrTextStyle& s) { return s.GetSizeForFixed() == 2.5; }},
        {"<pml:FixedTextSize>25</pml:FixedTextSize>", older,
         [](const KrTextStyle& s) { return s.GetSizeForFixed() == 2.5; }},
        {"<pml:Angle>12.25</pml:Angle>", 0,
         [](const KrTextStyle& s) { return s.GetAngle() == 12.3; }},
        {"<pml:Rotation>12.25</pml:Rotation>", older,
         [](const KrTextStyle& s) { return s.GetAngle() == 12.3; }},
        {"<pml:Rotation>12.25</pml:Rotation>", 0,
         [](const KrTextStyle& s) { return s.GetAngle() == 0.5; }},
        {"<pml:ItalicAngle>12.34</pml:ItalicAngle>", 0,
         [](const KrTextStyle& s) { return s.GetItalicAngle() == 12; }},
        {"<pml:ItalicAngle>-12.5</pml:ItalicAngle>", older,
         [](const KrTextStyle& s) { return s.GetItalicAngle() == -13; }},
        {"<pml:ItalicAngle>1e300</pml:ItalicAngle>", 0,
         [](const KrTextStyle& s) { return s.GetItalicAngle() == 60; }},
        {"<pml:BackOpaque>TRUE</pml:BackOpaque>", 0,
         [](const KrTextStyle& s) { return s.IsBackOpaque() == 1; }},
        {"<pml:Transparent>false</pml:Transparent>", older,
         [](const KrTextStyle& s) { return s.IsBackOpaque() == 1; }},
        {"<pml:Transparent>no</pml:Transparent>", older,
         [](const KrTextStyle& s) { return s.IsBackOpaque() == 0; }},
        {"<pml:Stroke>TRUE</pml:Stroke><pml:Outline>TRUE</pml:Outline>", older,
         [](const KrTextStyle& s) { return s.GetStyle() == 0x4800; }},
        {"<pml:StrikeOut>TRUE</pml:StrikeOut><pml:Halo>TRUE</pml:Halo>", 0,
         [](const KrTextStyle& s) { return s.GetStyle() == 0x4800; }},
        {"<pml:Stroke>TRUE</pml:Stroke><pml:Outline>TRUE</pml:Outline>", 0,
         [](const KrTextStyle& s) { return s.GetStyle() == 0; }},
        // The older dialect keeps fixed-size heights ten times larger, even when they are absent.
        {"<pml:FontHeight>25</pml:FontHeight><pml:FontWidth>5</pml:FontWidth><pml:FixedSize>TRUE</"
         "pml:FixedSize>",
         older, [](const KrTextStyle& s) { return s.GetHeight() == 2.5 && s.GetWidth() == 0.5; }},
        {"<pml:FixedSize>TRUE</pml:FixedSize>", older,
         [](const KrTextStyle& s) { return s.GetHeight() == 0.6 && s.GetWidth() == 0.25; }},
        {"<pml:FontName>Song</pml:FontName><pml:FontHeight>25</pml:FontHeight>", older,
         [](const KrTextStyle& s) { return s.GetFaceName() == "Song" && s.GetHeight() == 25; }},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.children);
        KrTextStyle style;
        style.SetForeColor(7);
        style.SetBackColor(7);
        style.SetAngle(0.5);
        style.SetWidth(2.5);
        EXPECT_TRUE(style.FromXML(std::string("<t>") + c.children + "</t>", c.version));
        EXPECT_TRUE(c.holds(style));
    }
}

// ---------------------------------------------------------------- round trips

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

TEST(KrTextStyleTest, ValuesOutsideTheRoundTripReadBackAsDocumented)
{
    KrTextStyle style;
    style.SetItalicAngle(12.3);  // tenths of the italic angle are read as whole degrees
    style.SetAlign(12);          // an alignment without a name reads as top left
    style.SetWeight(66);         // byte 1 reads as 100, which stores 2
    style.SetForeColor(KrRGBA(1, 2, 3, 4));
    KrTextStyle read;
    ASSERT_TRUE(read.FromXML(style.ToXML(0), 0));
    EXPECT_EQ(read.GetItalicAngle(), 12.0);
    EXPECT_EQ(read.GetAlign(), 0);
    EXPECT_EQ(read.GetStyle() >> 16, 2);
    EXPECT_EQ(read.GetForeColor(), KrRGB(1, 2, 3));
    ASSERT_TRUE(read.FromXML(KrTextStyle().ToXML(20031211), 20031211));
    EXPECT_EQ(std::string(read.GetFaceName()), "\xCB\xCE\xCC\xE5");
}
