#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

using Colors = std::vector<unsigned int>;
constexpr unsigned int kRed = KrRGB(255, 0, 0);
constexpr unsigned int kWhite = KrRGB(255, 255, 255);
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

KrColorTable tableOf(Colors colors, double floor, double ceiling)
{
    KrColorTable table;
    for (unsigned int c : colors) table.AddColor(c);
    table.SetZFloor(floor);
    table.SetZCeiling(ceiling);
    return table;
}

const auto colorsOf = [](const KrColorset& set) { return Colors(set.begin(), set.end()); };
constexpr auto grey = [](unsigned char v) { return KrRGB(v, v, v); };

}  // namespace

TEST(KrColorTableTest, InterColorOverTheLandRunFollowsEveryChange)
{
    const unsigned int black = KrRGBA(0, 0, 0, 1), white = KrRGBA(255, 255, 255, 2);
    const double big = std::numeric_limits<double>::max();
    // clang-format off
    const Colors bw = {black, white};
    const struct { Colors colors; double floor, ceiling, z; unsigned int want; } cases[] = {
        {{}, 0, 100, 50, kRed},  // red marks a missing table
        {{KrRGBA(1, 2, 3, 4)}, 0, 100, -1e9, KrRGBA(1, 2, 3, 4)},
        {bw, 0, 100, 50, grey(127)},  // 127.5 truncated
        {bw, 0, 100, 100, white}, {bw, 0, 100, -1, black}, {bw, 0, 100, 0, 0},
        {bw, 0, 100, 99.9, grey(254)}, {bw, 0, 100, kNaN, 0}, {bw, 0, 100, kInf, white},
        {{0, KrRGB(100, 0, 0), KrRGB(100, 200, 0)}, 0, 10, 7.5, KrRGB(100, 100, 0)},
        {bw, 100, 0, 50, black},  // floor above ceiling: every z is outside
        {bw, -1e308, 1e308, 1e308 * 0.99, 0},  // the range overflows
        {bw, -big, big, 1.0, 0}, {bw, 0, 1e-310, 5e-311, grey(127)}, {bw, kNaN, kNaN, 3, 0}};
    // clang-format on
    for (const auto& c : cases)
    {
        const KrColorTable table = tableOf(c.colors, c.floor, c.ceiling);
        EXPECT_EQ(table.InterColor(c.z), c.want) << "z " << c.z;
        EXPECT_EQ(table.GetColor(c.z), c.want);
    }
    // Each change in turn, and what the table then looks up: a step left behind shows.
    using T = KrColorTable;
    const char* const xml =
        "<pml:ColorTable><pml:MinZValue>-100</pml:MinZValue><pml:Color>0"
        "</pml:Color><pml:Color>RGB(100,100,100)</pml:Color></pml:ColorTable>";
    KrColorset three;
    for (unsigned char v : {0, 100, 200}) three.Add(grey(v));
    // clang-format off
    const struct { std::function<void(T&)> change; double z; unsigned int want; } steps[] = {
        {[](T& t) { t.AddColor(0); t.Add(200, 200, 200); }, 50, grey(100)},
        {[](T& t) { t.Add(0, 0, 0); }, 50, grey(200)},  // three colours: 50 is the middle one
        {[](T& t) { t.SetZCeiling(200); }, 50, grey(100)}, {[](T& t) { t.SetSize(2); }, 50, grey(50)},
        {[](T& t) { t.CreateGradient(3, 0, grey(100)); }, 50, grey(25)},
        {[&](T& t) { t.FromXML(xml, 0); }, 50, grey(50)},
        {[](T& t) { t.SetWaterLevel(50); }, 50, kRed}, {[](T&) {}, 125, grey(50)},
        {[](T& t) { t.CreateDefault(); }, 50, KrRGB(48, 128, 255)}, {[](T&) {}, -100, KrRGB(0, 0, 128)},
        {[&](T& t) { t.FromColorset(three); }, 125, grey(100)},
        {[](T& t) { t = KrColorTable(t); }, 87.5, grey(50)}};
    // clang-format on
    KrColorTable table = tableOf({}, 0, 100);
    for (size_t i = 0; i < std::size(steps); ++i)
    {
        steps[i].change(table);
        EXPECT_EQ(table.GetColor(steps[i].z), steps[i].want) << "step " << i;
    }
}

TEST(KrColorTableTest, LightRatioAndShading)
{
    KrColorTable table = tableOf({KrRGBA(200, 100, 51, 9)}, 0, 1);
    const float big = std::numeric_limits<float>::max();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    // clang-format off
    const struct { float light[3], normal[3]; float ratio; } cases[] = {
        {{0, 0, 1}, {0, 0, 5}, 1.0f}, {{1, 2, 3}, {-1, -2, -3}, 0.0f}, {{0, 0, 1}, {1, 0, 0}, 0.5f},
        {{0, 0, 1}, {1, 0, 1}, static_cast<float>((std::sqrt(0.5) + 1) / 2)},
        {{big, big, big}, {big, big, big}, 1.0f},  // no overflow to inf / inf
        {{0, 0, 0}, {0, 0, 1}, 0.5f},              // no light: as at right angles
        {{0, 0, 1}, {0, 0, 0}, 0.5f}, {{0, 0, 1}, {nan, 0, 1}, 0.5f}};
    // clang-format on
    for (const auto& c : cases)
    {
        table.SetLightX(c.light[0]);
        table.SetLightY(c.light[1]);
        table.SetLightZ(c.light[2]);
        EXPECT_NEAR(table.GetLightRatio(c.normal), c.ratio, 1e-6);
    }
    // The last case leaves the light straight above.
    const float side[3] = {1, 0, 0}, up[3] = {0, 0, 1}, down[3] = {0, 0, -1};
    EXPECT_EQ(table.GetLightenColor(0, side), KrRGB(100, 50, 26));  // 25.5 rounds up
    EXPECT_EQ(table.GetLightenColor(0, up), KrRGB(200, 100, 51));   // alpha dropped
    EXPECT_EQ(table.GetLightenColor(0, down), 0u);
}

TEST(KrColorTableTest, IndexAccessRampsSwapsAndColourSets)
{
    KrColorTable indexed = tableOf({KrRGBA(1, 2, 3, 4), KrRGB(5, 6, 7)}, 0, 1);
    indexed.SetRed(0, 10);
    indexed.SetGreen(1, 20);
    indexed.SetBlue(1, 30);
    for (int bad : {-1, 2, 1 << 30})  // out of range: nothing written, zeros read
    {
        indexed.SetColor(bad, 5);
        indexed.SetRed(bad, 5);
        EXPECT_EQ(indexed.GetRGB(bad) + indexed.GetRed(bad) + indexed.GetGreen(bad) +
                      indexed.GetBlue(bad),
                  0u);
    }
    EXPECT_EQ(colorsOf(indexed.GetLandColors()), Colors({KrRGBA(10, 2, 3, 4), KrRGB(5, 20, 30)}));

    // Level i * 256 / n in the ramp's channels.
    // clang-format off
    const struct { int (KrColorTable::*create)(); unsigned int level; } ramps[] = {
        {&KrColorTable::CreateGrey, 0x010101}, {&KrColorTable::CreateRed, 1},
        {&KrColorTable::CreateGreen, 0x100}, {&KrColorTable::CreateBlue, 0x10000}};
    // clang-format on
    KrColorTable table;
    for (const auto& [create, level] : ramps)
    {
        table.SetSize(4);
        EXPECT_EQ((table.*create)(), 4);
        EXPECT_EQ(colorsOf(table.GetLandColors()),
                  Colors({0, 64 * level, 128 * level, 192 * level}));
    }
    table.CreateGradient(3, KrRGBA(1, 2, 3, 4), KrRGBA(5, 6, 7, 8));
    table.SwapRedBlue();
    EXPECT_EQ(table.GetRGB(2), KrRGBA(7, 6, 5, 8));
    table.SwapIndex();
    EXPECT_EQ(colorsOf(table.GetLandColors()),
              Colors({KrRGBA(7, 6, 5, 8), KrRGB(5, 4, 3), KrRGB(3, 2, 1)}));

    KrColorset set;
    set.Add(9);
    EXPECT_TRUE(table.ToColorset(set) == 1 && set.GetSize() == 3);
    EXPECT_EQ(table.FromColorset(KrColorset()) + table.ToColorset(set), 0);
    EXPECT_EQ(table.CreateGradient(0, 1, 2) + table.Open("x") + table.Save("x"), 0);
}

TEST(KrColorTableTest, XmlWritesRunAndRangeAndReadsWithFallbacks)
{
    const KrColorTable table = tableOf({KrRGB(1, 2, 3), KrRGBA(255, 0, 128, 9)}, -2, 100.5);
    EXPECT_EQ(std::string(tableOf({}, 1.0 / 3, 0).ToXML(20070521, "Ramp")),
              "<Ramp>\r\n<pml:MaxZValue>0.0000000000</pml:MaxZValue>\r\n"
              "<pml:MinZValue>0.3333333333</pml:MinZValue>\r\n</Ramp>\r\n");
    KrColorTable watered = table;  // water colours, water level and light are not written
    watered.CreateDefault();
    watered.FromColorset(table.GetLandColors());
    watered.SetWaterLevel(3);
    watered.SetLightX(1);
    EXPECT_EQ(watered.ToXML(0, ""), table.ToXML(0, ""));
    EXPECT_EQ(table.ToXML(20070522, ""), "");
    EXPECT_EQ(table.ToXML(0, "bad name"), "");
    const char* const body = "<pml:MinZValue>-5</pml:MinZValue><pml:MaxZValue>7.25</pml:MaxZValue>";
    // clang-format off
    const struct { std::string xml; int version; unsigned char ok; double floor, ceiling; Colors colors; }
    cases[] = {
        {"", 0, 0, 1, 2, {kWhite}}, {"<pml:ColorTable/>", 20070522, 0, 1, 2, {kWhite}},
        {"<Other/>", 0, 0, 1, 2, {kWhite}}, {"not xml", 0, 0, 1, 2, {kWhite}},
        {"<pml:ColorTable>", 0, 0, 1, 2, {kWhite}},
        {"<pml:ColorTable/>", 0, 1, 1, 2, {kWhite}},  // absent elements keep their fields
        {std::string("<pml:ColorTable>") + body + "</pml:ColorTable>", 20031211, 1, -5, 7.25,
         {kWhite}},
        // every Color child counts, read as the colour parser reads it; other children are skipped
        {"<pml:ColorTable><pml:Color>RGB(1, 2, 3)</pml:Color><pml:x/><pml:Color>255</pml:Color>"
         "<pml:Color>junk</pml:Color><pml:Color><a/></pml:Color></pml:ColorTable>", 0, 1, 1, 2,
         {KrRGB(1, 2, 3), 255, 0, 0}},
        {"<pml:ColorTable><pml:MaxZValue>abc</pml:MaxZValue><pml:MinZValue>nan</pml:MinZValue>"
         "</pml:ColorTable>", 0, 1, kNaN, 0, {kWhite}},
        // the range may follow the colours, and the colours need not be adjacent
        {"<pml:ColorTable><pml:Color>RGB(1,2,3)</pml:Color><pml:MinZValue>-1</pml:MinZValue>"
         "<pml:Color>RGB(4,5,6)</pml:Color><pml:MaxZValue>9</pml:MaxZValue></pml:ColorTable>",
         0, 1, -1, 9, {KrRGB(1, 2, 3), KrRGB(4, 5, 6)}}};
    // clang-format on
    for (const auto& c : cases)
    {
        KrColorTable table = tableOf({kWhite}, 1, 2);
        EXPECT_EQ(table.FromXML(c.xml, c.version), c.ok) << c.xml;
        EXPECT_EQ(colorsOf(table.GetLandColors()), c.colors) << c.xml;
        EXPECT_TRUE(table.GetZFloor() == c.floor ||
                    (std::isnan(c.floor) && std::isnan(table.GetZFloor())))
            << c.xml;
        EXPECT_EQ(table.GetZCeiling(), c.ceiling) << c.xml;
        table.GetColor(1.5);  // whatever was read, the lookup stays defined
    }
}
