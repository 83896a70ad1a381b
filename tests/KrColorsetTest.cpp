#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

using Colors = std::vector<unsigned int>;

const auto colorsOf = [](const KrColorset& set) { return Colors(set.begin(), set.end()); };

KrColorset setOf(const Colors& colors)
{
    KrColorset set;
    for (unsigned int c : colors) set.Add(c);
    return set;
}

constexpr auto grey = [](unsigned char level) { return KrRGB(level, level, level); };

// A two-colour gradient rounds the offset from `from`, not the blended value: 200 - 0.5 gives 199.
unsigned int stepOracle(unsigned int from, unsigned int to, int i, int count)
{
    unsigned int color = 0;
    for (int shift : {0, 8, 16})
    {
        const int a = (from >> shift) & 0xFF, b = (to >> shift) & 0xFF;
        color |= static_cast<unsigned int>(a + std::lround((b - a) / (count - 1.0) * i)) << shift;
    }
    return color;
}

constexpr unsigned int kRed = KrRGB(255, 0, 0), kBlue = KrRGB(0, 0, 255),
                       kYellow = KrRGB(255, 255, 0);

}  // namespace

TEST(KrColorsetTest, GradientsRoundEachChannelAndPlaceTheirStops)
{
    const unsigned int a = KrRGBA(10, 20, 30, 9), b = KrRGBA(40, 0, 30, 7);
    // clang-format off
    const struct { int count; unsigned int from, to; Colors expected; } cases[] = {
        {5, grey(0), grey(255), {grey(0), grey(64), grey(128), grey(191), grey(255)}},
        {3, kYellow, kRed, {kYellow, KrRGB(255, 127, 0), kRed}},  // -127.5 rounds to -128
        {3, a, b, {KrRGB(10, 20, 30), KrRGB(25, 10, 30), b}},  // only the last keeps alpha
        {3, grey(200), grey(199), {grey(200), grey(199), grey(199)}},  // 200 + R(-0.5)
        {2, a, b, {a, b}}, {1, a, b, {a}}, {0, a, b, {}}, {-7, a, b, {}}};
    // clang-format on
    for (const auto& c : cases)
    {
        KrColorset set = setOf({1, 2, 3});
        EXPECT_EQ(set.MakeGradient(c.count, c.from, c.to), static_cast<int>(c.expected.size()));
        EXPECT_EQ(colorsOf(set), c.expected) << "count " << c.count;
    }
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round)
    {
        const unsigned int from = random() & 0xFFFFFF, to = random() & 0xFFFFFF;
        const int count = 3 + static_cast<int>(random() % 300);
        KrColorset set;
        ASSERT_EQ(set.MakeGradient(count, from, to), count);
        EXPECT_EQ(set[count - 1], to);
        for (int i = 0; i < count - 1; ++i)
            ASSERT_EQ(set[i], stepOracle(from, to, i, count)) << i << "/" << count;
    }
    KrColorset capped;  // every generator stops at 32767 entries
    EXPECT_EQ(capped.MakeGradient(40000, grey(0), kBlue), 32767);
    EXPECT_EQ(capped[32766], kBlue);
    EXPECT_EQ(capped.MakeGradient(40000, setOf({kRed, kBlue, kYellow})), 32767);
    EXPECT_EQ(capped.MakeStockGradient(1 << 30, QZ_STOCK_TERRAIN, 1), 32767);
    EXPECT_EQ(capped.MakeStockGradient(0, QZ_STOCK_TRIAD, 1), 0);
    EXPECT_EQ(capped.MakeRandom(99999, 0, 255, 0, 255, 0, 255, 0), 32767);
    const Colors bwb = {grey(0), grey(255), grey(0)},
                 bwb5 = {0, grey(128), grey(255), grey(128), 0};
    // clang-format off
    const struct { int count; Colors stops, expected; } even[] = {
        {5, bwb, bwb5}, {3, bwb, bwb}, {2, bwb, {0, 0}}, {1, bwb, {0}}, {0, bwb, {}}, {4, {kRed}, {}},
        {4, {}, {}},
        // p = 1 / 3 and 2 / 3 of the way: 85 and 170 of 255.
        {4, {KrRGBA(0, 0, 0, 5), KrRGBA(255, 255, 255, 6)},
         {KrRGBA(0, 0, 0, 5), grey(85), grey(170), KrRGBA(255, 255, 255, 6)}}};
    const struct { Colors stops; std::vector<int> positions; Colors expected; } placed[] = {
        {{0, grey(200)}, {1, 5}, {0, 0, grey(50), grey(100), grey(150), grey(200)}},
        {{kRed, kBlue, grey(9)}, {0, 2, 3}, {kRed, KrRGB(128, 0, 128), kBlue, grey(9)}},
        {{kRed, kBlue, grey(9)}, {0, 0, 1}, {kBlue, grey(9)}},  // the later of two stops wins
        {{kRed, kBlue}, {3, 1}, {}}, {{kRed, kBlue}, {-1, 1}, {}}, {{kRed, kBlue}, {0, 32767}, {}},
        {{kRed, kBlue}, {0}, {}}, {{kRed}, {0}, {}}};
    // clang-format on
    for (const auto& c : even)
    {
        KrColorset set = setOf({7});
        EXPECT_EQ(set.MakeGradient(c.count, setOf(c.stops)), static_cast<int>(c.expected.size()));
        EXPECT_EQ(colorsOf(set), c.expected) << "count " << c.count;
    }
    for (const auto& c : placed)
    {
        KrArray<int> positions;
        for (int p : c.positions) positions.Add(p);
        KrColorset set = setOf({1});
        EXPECT_EQ(set.MakeGradient(setOf(c.stops), positions), static_cast<int>(c.expected.size()));
        EXPECT_EQ(colorsOf(set), c.expected);
    }
    KrColorset self = setOf(bwb);  // the stops may be the set itself
    self.MakeGradient(5, self);
    EXPECT_EQ(colorsOf(self), bwb5);
}

TEST(KrColorsetTest, SaveWritesBareWordsWithoutAlphaAndLoadNeedsTheSize)
{
    KrMemoryStream out, in, shortIn;
    out.Open(KrStreamSave, 64);
    EXPECT_EQ(setOf({KrRGBA(1, 2, 3, 4), 0xFFFFFFFFu, 0}).Save(out), 1);
    ASSERT_EQ(std::vector<unsigned char>(out.GetData(), out.GetData() + out.GetPosition()),
              std::vector<unsigned char>({1, 2, 3, 0, 255, 255, 255, 0, 0, 0, 0, 0}));
    KrColorset unsized, sized, tooMany;
    in.Open(KrStreamLoad, 12, out.GetData());
    EXPECT_EQ(unsized.Load(in) + unsized.GetSize(), 1);
    sized.SetColorSize(3);
    sized.Load(in);
    EXPECT_EQ(colorsOf(sized), Colors({KrRGB(1, 2, 3), 0xFFFFFFu, 0}));
    tooMany.SetColorSize(5);  // a short stream: the status says so, nothing crashes
    shortIn.Open(KrStreamLoad, 12, out.GetData());
    EXPECT_EQ(tooMany.Load(shortIn), 1);
    EXPECT_NE(shortIn.GetStatus(), KrStreamOK);
    EXPECT_TRUE(tooMany[1] == 0xFFFFFFu && tooMany[4] == 0u);
}

// The exact draws, wrapping channels included, are replayed below.
TEST(KrColorsetTest, RandomSetsStayInTheirColoursAndReplayRandFromTheClock)
{
    const auto isGrey = [](unsigned int c) { return (c & 0xFF) * 0x10101 == c; };
    KrColorset grey, blackWhite, yellowRed, blueBlack;
    ASSERT_EQ(grey.MakeRandom(200, 0, 255, 0, 255, 0, 255, 1), 200);
    ASSERT_EQ(blackWhite.MakeStockRandom(300, QZ_STOCK_BLACK_WHITE, 0), 300);
    EXPECT_TRUE(std::all_of(grey.begin(), grey.end(), isGrey));
    EXPECT_TRUE(std::all_of(blackWhite.begin(), blackWhite.end(), isGrey));
    yellowRed.MakeStockRandom(300, 77, 1);  // as style 13, yellow to red
    blueBlack.MakeStockRandom(300, QZ_STOCK_BLUE_BLACK, 0);
    for (unsigned int c : yellowRed) EXPECT_TRUE(KrREDVAL(c) == 255 && KrBLUEVAL(c) == 0);
    for (unsigned int c : blueBlack) EXPECT_TRUE(KrREDVAL(c) == 0 && KrGREENVAL(c) == 0);
    EXPECT_EQ(grey.MakeRandom(40), 40);
    EXPECT_EQ(grey.MakeRandom(-1) + grey.MakeRandom(0, 0, 255, 0, 255, 0, 255, 0), 0);
    EXPECT_EQ(grey.GetSize(), 0);
    // The random sets draw from a generator of the library's own: the numbers srand(seed)/rand()
    // give, seeded with the clock, one draw per channel in red, green, blue order; the caller's
    // rand() sequence goes on as if nothing had happened.
    std::srand(99);
    const int first = std::rand(), second = std::rand();
    std::srand(99);
    EXPECT_EQ(std::rand(), first);
    for (int attempt = 0; attempt < 5; ++attempt)
    {
        const std::time_t before = std::time(nullptr);
        KrColorset set, stock;
        EXPECT_EQ(set.MakeRandom(60, 10, 200, 250, 5, 0, 255, 0) + set.GetSize(), 120);
        stock.MakeRandom(3);                         // through a stock scheme
        if (std::time(nullptr) != before) continue;  // the seed may have moved on
        EXPECT_EQ(std::rand(), second);
        std::srand(static_cast<unsigned int>(before));
        const auto draw = [](int low, int high)
        {
            return static_cast<unsigned char>(
                low + static_cast<int>(std::abs(high - low) * (std::rand() % 32768) / 32767.0));
        };
        for (unsigned int color : set)
        {
            const unsigned char red = draw(10, 200), green = draw(250, 5), blue = draw(0, 255);
            ASSERT_EQ(color, KrRGB(red, green, blue));
        }
        return;
    }
    GTEST_SKIP() << "the clock changed its second during every attempt";
}
