#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
PixelFormat format(int value)
{
    return static_cast<PixelFormat>(value);
}
}  // namespace

TEST(KrImgToolkitTest, BitsAndPaletteSizesPerFormat)
{
    const struct
    {
        int format;
        unsigned short bits, palette;
    } cases[] = {{1, 1, 2},     {4, 4, 16},  {8, 8, 256}, {16, 16, 0},  {24, 24, 0},
                 {32, 32, 0},   {48, 48, 0}, {64, 64, 0}, {320, 32, 0}, {3200, 32, 0},
                 {6400, 64, 0}, {2, 1, 0},   {0, 1, 0},   {-8, 1, 0},   {65, 1, 0}};
    for (const auto& c : cases)
    {
        EXPECT_EQ(KrImgToolkit::BitCount(format(c.format)), c.bits) << c.format;
        EXPECT_EQ(KrImgToolkit::PaletteSize(format(c.format)), c.palette) << c.format;
    }
}

TEST(KrImgToolkitTest, Bit2FormatAnswersSixtyFourTwoWays)
{
    const struct
    {
        unsigned short bits;
        int format;
    } cases[] = {{1, 1},   {4, 4},     {8, 8},   {16, 16}, {24, 24},  {32, 32},
                 {48, 48}, {64, 6400}, {12, 64}, {0, 64},  {320, 64}, {65535, 64}};
    for (const auto& c : cases) EXPECT_EQ(KrImgToolkit::Bit2Format(c.bits), c.format) << c.bits;
}

TEST(KrImgToolkitTest, RowSizes)
{
    EXPECT_EQ(KrImgToolkit::AlignWidth(format(2), 32), 4);
    // Unsigned arithmetic: -1 pixel of 8 bits is 0xFFFFFFF8 bits, +31 wraps to 23.
    EXPECT_EQ(KrImgToolkit::AlignWidth(PF_8BPP, -1), 0);

    // Against rounding up in floating point.
    for (int value : {1, 4, 8, 16, 24, 32, 48, 64, 320, 3200, 6400})
    {
        const double bits = KrImgToolkit::BitCount(format(value));
        for (int width = 0; width < 200; ++width)
        {
            EXPECT_EQ(KrImgToolkit::AlignWidth(format(value), width),
                      4 * std::ceil(width * bits / 32));
            EXPECT_EQ(KrImgToolkit::AlignWidthWord(format(value), width),
                      2 * std::ceil(width * bits / 16));
            EXPECT_EQ(KrImgToolkit::AlignWidthByte(format(value), width),
                      std::ceil(width * bits / 8));
        }
    }
}

TEST(KrImgToolkitTest, CmyNegatesEachChannelInEightBits)
{
    EXPECT_EQ(KrImgToolkit::RGB2CMY(KrRGB(255, 0, 1)), static_cast<int>(KrRGB(1, 0, 255)));
    EXPECT_EQ(KrImgToolkit::CMY2RGB(KrRGBA(128, 2, 254, 77)), static_cast<int>(KrRGB(128, 254, 2)));
    for (int c = 0; c < 256; ++c)
    {
        const int color = static_cast<int>(KrRGB(c, 255 - c, c / 2));
        const int cmy = KrImgToolkit::RGB2CMY(color);
        EXPECT_EQ((KrREDVAL(cmy) + c) % 256, 0);
        EXPECT_EQ(KrImgToolkit::CMY2RGB(cmy), color);
    }
}

TEST(KrImgToolkitTest, ColourSpacesTruncateAndWrapEachChannel)
{
    // Expected values worked by hand from the coefficients; negative channels wrap.
    const struct
    {
        int (*convert)(int);
        unsigned int in, out;
    } cases[] = {
        {KrImgToolkit::RGB2YIQ, KrRGB(0, 0, 255), KrRGB(29, 174, 79)},   // I = -82.11
        {KrImgToolkit::RGB2YUV, KrRGB(255, 0, 0), KrRGB(76, 219, 156)},  // U = -37.74
        {KrImgToolkit::RGB2YCC, KrRGB(0, 255, 0), KrRGB(149, 43, 21)},
        {KrImgToolkit::YIQ2RGB, KrRGB(100, 10, 20), KrRGB(121, 84, 54)},
        {KrImgToolkit::YUV2RGB, KrRGB(100, 10, 20), KrRGB(122, 84, 120)},
        {KrImgToolkit::YCC2RGB, KrRGBA(100, 200, 50, 3), KrRGB(247, 130, 227)},  // R = -9.356
        {KrImgToolkit::RGB2YUV, 0, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(static_cast<unsigned int>(c.convert(static_cast<int>(c.in))), c.out)
            << std::hex << c.in;
}

TEST(KrImgToolkitTest, YccRoundTripStaysWithinThreePerChannel)
{
    for (int r = 40; r <= 215; r += 5)
        for (int g = 40; g <= 215; g += 7)
            for (int b = 40; b <= 215; b += 9)
            {
                const int color = static_cast<int>(KrRGB(r, g, b));
                const unsigned int back =
                    static_cast<unsigned int>(KrImgToolkit::YCC2RGB(KrImgToolkit::RGB2YCC(color)));
                ASSERT_LE(std::abs(KrREDVAL(back) - r), 3);
                ASSERT_LE(std::abs(KrGREENVAL(back) - g), 3);
                ASSERT_LE(std::abs(KrBLUEVAL(back) - b), 3);
            }
}
