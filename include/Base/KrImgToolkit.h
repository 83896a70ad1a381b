// KrImgToolkit: stateless helpers for raster images. Bits per pixel and palette sizes of a
// PixelFormat, row sizes padded to 32-, 16- or 8-bit boundaries, and conversions of a colour
// word between RGB and the CMY, YIQ, YUV and YCC spaces (the three channels of the target space
// go in the red, green and blue slots, in that order; alpha is 0).
//   int rowBytes = KrImgToolkit::AlignWidth(PF_24BPP, width);
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrToolkit.h"

namespace KRN
{

class KRN_API KrImgToolkit
{
public:
    virtual ~KrImgToolkit();

    // 1, 4, 8, 16, 24, 32, 48 and 64 bits for the formats of those values; 32 for 320 and 3200,
    // 64 for 6400; any other value counts as 1 bit, here and in the row sizes.
    static unsigned short BitCount(PixelFormat format);
    // 1, 4, 8, 16, 24, 32 and 48 give the format of that value. Deliberately, 64 gives 6400
    // (PF_64BPP_ALPHA) and every other number gives 64 (PF_64BPP).
    static PixelFormat Bit2Format(unsigned short bits);
    // 2, 16 and 256 entries for formats 1, 4 and 8; 0 for every other format.
    static unsigned short PaletteSize(PixelFormat format);

    // Bytes per row: padded to 4 bytes, to 2 bytes, or not padded. Computed in unsigned 32-bit
    // arithmetic, so negative or enormous widths wrap rather than fail.
    static int AlignWidth(PixelFormat format, int width);
    static int AlignWidthWord(PixelFormat format, int width);
    static int AlignWidthByte(PixelFormat format, int width);

    // RGB2CMY and CMY2RGB are one operation: each channel c becomes (256 - c) mod 256, its
    // negation in 8 bits, so 0 stays 0 and 255 becomes 1 (not 255 - c; kept on purpose).
    static int RGB2CMY(int color);
    static int CMY2RGB(int color);
    // Each channel is computed in double, truncated toward zero and reduced to its low 8 bits:
    // values outside 0..255 wrap, there is no clamping. The coefficients are this library's
    // own and differ slightly from some published sets.
    static int RGB2YIQ(int color);
    static int YIQ2RGB(int color);
    static int RGB2YUV(int color);
    static int YUV2RGB(int color);
    static int RGB2YCC(int color);
    static int YCC2RGB(int color);
};

}  // namespace KRN
