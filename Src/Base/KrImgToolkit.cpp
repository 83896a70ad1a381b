#include "Base/KrImgToolkit.h"

#include "Base/KrCore.h"

namespace KRN
{

namespace
{

unsigned int bitsOf(PixelFormat format)
{
    return KrImgToolkit::BitCount(format);
}

// A channel computed in double: truncated toward zero, then its low 8 bits. The inputs are
// channels of 0..255, so the double never leaves the int range.
unsigned char wrapped(double value)
{
    return static_cast<unsigned char>(static_cast<int>(value));
}

int packed(double first, double second, double third)
{
    return static_cast<int>(KrRGB(wrapped(first), wrapped(second), wrapped(third)));
}

struct Channels
{
    double a;
    double b;
    double c;
};

Channels channelsOf(int color)
{
    const unsigned int word = static_cast<unsigned int>(color);
    return {static_cast<double>(KrREDVAL(word)), static_cast<double>(KrGREENVAL(word)),
            static_cast<double>(KrBLUEVAL(word))};
}

}  // namespace

KrImgToolkit::~KrImgToolkit() = default;

unsigned short KrImgToolkit::BitCount(PixelFormat format)
{
    // The toolkit's table, except that an unknown format counts as one bit here, not zero.
    const int bits = KrToolkit::GetBitCount(format);
    return static_cast<unsigned short>(bits == 0 ? 1 : bits);
}

PixelFormat KrImgToolkit::Bit2Format(unsigned short bits)
{
    switch (bits)
    {
        case 1:
        case 4:
        case 8:
        case 16:
        case 24:
        case 32:
        case 48:
            return static_cast<PixelFormat>(bits);
        case 64:
            return PF_64BPP_ALPHA;
        default:
            return PF_64BPP;
    }
}

unsigned short KrImgToolkit::PaletteSize(PixelFormat format)
{
    switch (format)
    {
        case PF_1BPP:
            return 2;
        case PF_4BPP:
            return 16;
        case PF_8BPP:
            return 256;
        default:
            return 0;
    }
}

int KrImgToolkit::AlignWidth(PixelFormat format, int width)
{
    return static_cast<int>((static_cast<unsigned int>(width) * bitsOf(format) + 31) / 32 * 4);
}

int KrImgToolkit::AlignWidthWord(PixelFormat format, int width)
{
    return static_cast<int>((static_cast<unsigned int>(width) * bitsOf(format) + 15) / 16 * 2);
}

int KrImgToolkit::AlignWidthByte(PixelFormat format, int width)
{
    return static_cast<int>((static_cast<unsigned int>(width) * bitsOf(format) + 7) / 8);
}

int KrImgToolkit::RGB2CMY(int color)
{
    const unsigned int word = static_cast<unsigned int>(color);
    const auto negated = [](unsigned char c) { return static_cast<unsigned char>(256 - c); };
    return static_cast<int>(
        KrRGB(negated(KrREDVAL(word)), negated(KrGREENVAL(word)), negated(KrBLUEVAL(word))));
}

int KrImgToolkit::CMY2RGB(int color)
{
    return RGB2CMY(color);
}

int KrImgToolkit::RGB2YIQ(int color)
{
    const auto [R, G, B] = channelsOf(color);
    return packed(0.299 * R + 0.587 * G + 0.114 * B, 0.596 * R - 0.274 * G - 0.322 * B,
                  0.211 * R - 0.523 * G + 0.312 * B);
}

int KrImgToolkit::YIQ2RGB(int color)
{
    const auto [Y, I, Q] = channelsOf(color);
    return packed(Y + 0.956 * I + 0.621 * Q, Y - 0.272 * I - 0.647 * Q, Y - 1.106 * I - 1.703 * Q);
}

int KrImgToolkit::RGB2YUV(int color)
{
    const auto [R, G, B] = channelsOf(color);
    return packed(0.299 * R + 0.587 * G + 0.114 * B, 0.437 * B - (0.148 * R + 0.289 * G),
                  0.615 * R - 0.515 * G - 0.1 * B);
}

int KrImgToolkit::YUV2RGB(int color)
{
    const auto [Y, U, V] = channelsOf(color);
    return packed(Y + 1.14 * V, Y - 0.395 * U - 0.581 * V, Y + 2.032 * U);
}

int KrImgToolkit::RGB2YCC(int color)
{
    const auto [R, G, B] = channelsOf(color);
    return packed(0.299 * R + 0.587 * G + 0.114 * B, 128 + 0.5 * B - (0.1687 * R + 0.3313 * G),
                  0.5 * R - 0.4187 * G - 0.0813 * B + 128);
}

int KrImgToolkit::YCC2RGB(int color)
{
    const auto [Y, Cb, Cr] = channelsOf(color);
    return packed(Y + 1.402 * (Cr - 128), Y - 0.34414 * (Cb - 128) - 0.71414 * (Cr - 128),
                  Y + 1.772 * (Cb - 128));
}

}  // namespace KRN
