#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "Base/ZoBase.h"

using namespace KRN;
using Img = KrImgToolkit;

// Bits per pixel are the toolkit's, an unknown format counting as one bit; the row sizes against
// rounding up in floating point, the palette as 2^bits for the indexed formats.
TEST(KrImgToolkitTest, BitsPalettesAndRowSizesPerFormat)
{
    for (int number : {1, 4, 8, 16, 24, 32, 48, 64, 320, 3200, 6400, 2, 0, -8})
    {
        const auto format = static_cast<PixelFormat>(number);
        const int known = KrToolkit::GetBitCount(format), bits = known ? known : 1;
        EXPECT_EQ(Img::BitCount(format), bits) << number;
        EXPECT_EQ(Img::PaletteSize(format), number == bits && bits <= 8 ? 1 << bits : 0);
        for (int width = 0; width < 200; ++width)
        {
            EXPECT_EQ(Img::AlignWidth(format, width), 4 * std::ceil(width * bits / 32.0));
            EXPECT_EQ(Img::AlignWidthWord(format, width), 2 * std::ceil(width * bits / 16.0));
            EXPECT_EQ(Img::AlignWidthByte(format, width), std::ceil(width * bits / 8.0));
        }
    }
    // Unsigned arithmetic: -1 pixel of 8 bits is 0xFFFFFFF8 bits, +31 wraps to 23.
    EXPECT_EQ(Img::AlignWidth(PF_8BPP, -1), 0);
    // A bit count that is a format of its own names it; 64 bits means the alpha format, anything
    // else 64 bits.
    for (int bits = 0; bits <= 65535; ++bits)
    {
        const auto format = static_cast<PixelFormat>(bits);
        const bool plain = bits != 64 && bits > 0 && KrToolkit::GetBitCount(format) == bits;
        const PixelFormat other = bits == 64 ? PF_64BPP_ALPHA : PF_64BPP;
        EXPECT_EQ(Img::Bit2Format(static_cast<unsigned short>(bits)), plain ? format : other);
    }
}

TEST(KrImgToolkitTest, ColourSpacesTruncateAndWrapEachChannelAndRoundTrip)
{
    // Expected values worked by hand from the coefficients; negative channels wrap.
    // clang-format off
    const struct { int (*convert)(int); unsigned int in, out; } cases[] = {
        {Img::RGB2YIQ, KrRGB(0, 0, 255), KrRGB(29, 174, 79)},   // I = -82.11
        {Img::RGB2YUV, KrRGB(255, 0, 0), KrRGB(76, 219, 156)},  // U = -37.74
        {Img::RGB2YCC, KrRGB(0, 255, 0), KrRGB(149, 43, 21)},
        {Img::YIQ2RGB, KrRGB(100, 10, 20), KrRGB(121, 84, 54)},
        {Img::YUV2RGB, KrRGB(100, 10, 20), KrRGB(122, 84, 120)},
        {Img::YCC2RGB, KrRGBA(100, 200, 50, 3), KrRGB(247, 130, 227)},  // R = -9.356
        {Img::RGB2YUV, 0, 0}, {Img::RGB2CMY, KrRGB(255, 0, 1), KrRGB(1, 0, 255)},
        {Img::CMY2RGB, KrRGBA(128, 2, 254, 77), KrRGB(128, 254, 2)}};
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(static_cast<unsigned int>(c.convert(static_cast<int>(c.in))), c.out)
            << std::hex << c.in;
    for (int c = 0; c < 256; ++c)  // CMY negates each channel in eight bits
    {
        const int color = static_cast<int>(KrRGB(c, 255 - c, c / 2)), cmy = Img::RGB2CMY(color);
        EXPECT_EQ((KrREDVAL(cmy) + c) % 256, 0);
        EXPECT_EQ(Img::CMY2RGB(cmy), color);
    }
    // Away from the clipped edges YCC comes back within three per channel.
    for (int r = 40; r <= 215; r += 5)
        for (int g = 40; g <= 215; g += 7)
            for (int b = 40; b <= 215; b += 9)
            {
                const int back = Img::YCC2RGB(Img::RGB2YCC(static_cast<int>(KrRGB(r, g, b))));
                ASSERT_LE(std::max({std::abs(KrREDVAL(back) - r), std::abs(KrGREENVAL(back) - g),
                                    std::abs(KrBLUEVAL(back) - b)}),
                          3);
            }
}
