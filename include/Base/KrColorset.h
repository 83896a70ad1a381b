// KrColorset: an ordered run of colour words (index 0 first) with generators that fill it: a
// linear gradient between two colours, a gradient through stops, 27 stock gradients and random
// sets. Size, access and editing are those of KrArray<unsigned int>.
//   KrColorset ramp; ramp.MakeStockGradient(64, QZ_STOCK_TERRAIN, 0); unsigned int c = ramp[10];
// Sets lock nothing. The random generators draw from the library's own generator: the numbers
// srand(seed)/rand() would give, without moving the caller's rand() sequence.
#pragma once

#include "Base/KrArray.h"
#include "Base/KrDefs.h"

namespace KRN
{

class KrStream;

// The stock gradients. 0 to 22 run between two colours ("from" then "to"), 23 to 26 through a
// list of stops. Any value outside 0 to 26 behaves as QZ_STOCK_YELLOW_RED (13).
enum tagQZ_ENUM_STOCK_GRADIENT_SET_STYLE : int
{
    QZ_STOCK_BLACK_WHITE = 0,
    QZ_STOCK_RED_WHITE = 1,
    QZ_STOCK_GREEN_WHITE = 2,
    QZ_STOCK_BLUE_WHITE = 3,
    QZ_STOCK_YELLOW_WHITE = 4,
    QZ_STOCK_MAGENTA_WHITE = 5,
    QZ_STOCK_CYAN_WHITE = 6,
    QZ_STOCK_RED_BLACK = 7,
    QZ_STOCK_GREEN_BLACK = 8,
    QZ_STOCK_BLUE_BLACK = 9,
    QZ_STOCK_YELLOW_BLACK = 10,
    QZ_STOCK_MAGENTA_BLACK = 11,
    QZ_STOCK_CYAN_BLACK = 12,
    QZ_STOCK_YELLOW_RED = 13,
    QZ_STOCK_YELLOW_GREEN = 14,
    QZ_STOCK_YELLOW_BLUE = 15,
    QZ_STOCK_GREEN_BLUE = 16,
    QZ_STOCK_GREEN_RED = 17,
    QZ_STOCK_BLUE_RED = 18,
    QZ_STOCK_MAGENTA_RED = 19,
    QZ_STOCK_MAGENTA_BLUE = 20,
    QZ_STOCK_CYAN_BLUE = 21,
    QZ_STOCK_GREEN_CYAN = 22,
    QZ_STOCK_SPECTRUM = 23,   // red, yellow, green, cyan, pink
    QZ_STOCK_TRIAD = 24,      // dark green, orange, purple
    QZ_STOCK_TERRAIN = 25,    // 27 stops from shallow water to bare rock
    QZ_STOCK_HUE_CIRCLE = 26  // red, magenta, blue, cyan, green, yellow, red
};
using KrStockGradientStyle = tagQZ_ENUM_STOCK_GRADIENT_SET_STYLE;

class KRN_API KrColorset : public KrArray<unsigned int>
{
public:
    // Generated runs hold at most this many colours; larger counts are capped.
    static constexpr int kMaxColors = 32767;
    static constexpr int kStockStyles = 27;

    KrColorset() = default;
    KrColorset(const KrColorset&) = default;
    KrColorset(KrColorset&&) noexcept = default;
    KrColorset& operator=(const KrColorset&) = default;
    KrColorset& operator=(KrColorset&&) noexcept = default;
    virtual ~KrColorset();

    // Resizes to n entries; new entries are 0 and a negative n empties the set.
    void SetColorSize(int n) { SetSize(n); }

    // Every generator replaces the whole set and returns its new size; a count below 1 empties
    // the set and returns 0.

    // Linear from `from` to `to`: each channel steps by (to - from) / (count - 1), rounded half
    // away from zero. Entries before the last have alpha 0; the last is `to` itself, alpha
    // included.
    int MakeGradient(int count, unsigned int from, unsigned int to);
    // Through the stops in order, evenly spaced; the first and last entries are the first and
    // last stops. Fewer than two stops empty the set. count equal to the number of stops copies
    // them; 1 gives the first stop, 2 the first and last.
    int MakeGradient(int count, const KrColorset& stops);
    // Stop k is placed at entry positions[k]; the run ends at the last position, entries before
    // the first position take the first stop, and entries between two positions blend the two
    // stops linearly (rounded half away from zero). The set is emptied (0 returned) when there
    // are fewer than two stops, the counts differ, a position is negative or smaller than the
    // one before it, or the last position is kMaxColors or more. Of two stops at one position
    // the later wins.
    int MakeGradient(const KrColorset& stops, const KrArray<int>& positions);
    // One of the stock gradients; with reverse set the run is reversed in place.
    int MakeStockGradient(int count, tagQZ_ENUM_STOCK_GRADIENT_SET_STYLE style,
                          unsigned char reverse);

    // Random colours drawn inside the colour box of a stock gradient: each channel between the
    // smallest and largest value that channel takes in the style's colours (style 0 gives
    // greys). Styles outside 0 to 26 behave as 13. reverse reverses the run. Reseeds the generator
    // from the clock, as MakeRandom does.
    int MakeStockRandom(int count, int style, unsigned char reverse);
    // Seeds the generator with the current time (in seconds), draws r and makes the stock random
    // scheme r % 27, reversed when that number is odd. Two calls within one second therefore
    // give the same colours.
    int MakeRandom(int count);
    // Seeds the generator with the current time, then each entry draws red, green and blue in
    // that order, each low + truncate(|high - low| * (rand() % 32768) / 32767.0). With grey set all
    // three components take the red draw. Note: with low above high a channel can reach past
    // high and wraps modulo 256.
    int MakeRandom(int count, unsigned char redLow, unsigned char redHigh, unsigned char greenLow,
                   unsigned char greenHigh, unsigned char blueLow, unsigned char blueHigh,
                   unsigned char grey);

    // Writes every entry with its alpha byte cleared as a 32-bit value, with no count in front:
    // the owner of the set saves the count. Load reads as many values as the set holds now, so
    // size it first with SetColorSize; alpha bytes are cleared. Both return 1; stream failures
    // show in the stream's status.
    unsigned char Save(KrStream& stream) const;
    unsigned char Load(KrStream& stream);

    // The colours of a stock style (the two ends, or the stops), styles outside 0 to 26 as 13.
    static KrColorset StockColors(int style);
};

}  // namespace KRN
