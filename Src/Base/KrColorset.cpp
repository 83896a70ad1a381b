#include "Base/KrColorset.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "Base/KrCore.h"
#include "Base/KrStream.h"
#include "Base/KrToolkit.h"
#include "Base/Platform/KrPlatformSystem.h"

namespace KRN
{

namespace
{

struct StockPair
{
    unsigned int from;
    unsigned int to;
};

constexpr unsigned int kBlack = KrRGB(0, 0, 0);
constexpr unsigned int kWhite = KrRGB(255, 255, 255);
constexpr unsigned int kRed = KrRGB(255, 0, 0);
constexpr unsigned int kGreen = KrRGB(0, 255, 0);
constexpr unsigned int kBlue = KrRGB(0, 0, 255);
constexpr unsigned int kYellow = KrRGB(255, 255, 0);
constexpr unsigned int kMagenta = KrRGB(255, 0, 255);
constexpr unsigned int kCyan = KrRGB(0, 255, 255);

// The two-colour styles, QZ_STOCK_BLACK_WHITE to QZ_STOCK_GREEN_CYAN, indexed by style.
constexpr StockPair kStockPairs[] = {
    {kBlack, kWhite},   {kRed, kWhite},     {kGreen, kWhite}, {kBlue, kWhite},  {kYellow, kWhite},
    {kMagenta, kWhite}, {kCyan, kWhite},    {kRed, kBlack},   {kGreen, kBlack}, {kBlue, kBlack},
    {kYellow, kBlack},  {kMagenta, kBlack}, {kCyan, kBlack},  {kYellow, kRed},  {kYellow, kGreen},
    {kYellow, kBlue},   {kGreen, kBlue},    {kGreen, kRed},   {kBlue, kRed},    {kMagenta, kRed},
    {kMagenta, kBlue},  {kCyan, kBlue},     {kGreen, kCyan}};
// The styles from here on run through a list of stops.
constexpr int kFirstStopStyle = QZ_STOCK_SPECTRUM;
static_assert(std::size(kStockPairs) == kFirstStopStyle, "one colour pair per two-colour style");
// What a style number out of range stands for.
constexpr int kFallbackStyle = QZ_STOCK_YELLOW_RED;

constexpr unsigned int kSpectrumStops[] = {KrRGB(255, 0, 0), KrRGB(255, 255, 0), KrRGB(0, 196, 64),
                                           KrRGB(0, 255, 255), KrRGB(255, 0, 198)};
constexpr unsigned int kTriadStops[] = {KrRGB(0, 96, 27), KrRGB(253, 124, 0), KrRGB(111, 21, 108)};
constexpr unsigned int kTerrainStops[] = {
    KrRGB(170, 240, 233), KrRGB(177, 242, 207), KrRGB(176, 245, 179), KrRGB(206, 250, 177),
    KrRGB(240, 252, 179), KrRGB(222, 237, 147), KrRGB(151, 209, 96),  KrRGB(73, 181, 54),
    KrRGB(21, 150, 47),   KrRGB(18, 130, 63),   KrRGB(82, 143, 56),   KrRGB(134, 158, 46),
    KrRGB(184, 171, 35),  KrRGB(237, 181, 14),  KrRGB(232, 144, 2),   KrRGB(204, 93, 2),
    KrRGB(196, 51, 2),    KrRGB(145, 18, 1),    KrRGB(120, 9, 1),     KrRGB(115, 23, 5),
    KrRGB(112, 31, 7),    KrRGB(110, 40, 10),   KrRGB(105, 46, 13),   KrRGB(120, 67, 35),
    KrRGB(138, 94, 66),   KrRGB(150, 119, 101), KrRGB(166, 153, 146)};
constexpr unsigned int kHueCircleStops[] = {
    KrRGB(255, 0, 0), KrRGB(255, 0, 255), KrRGB(0, 0, 255), KrRGB(0, 255, 255),
    KrRGB(0, 255, 0), KrRGB(255, 255, 0), KrRGB(255, 0, 0)};

int normalisedStyle(int style)
{
    return style >= 0 && style < KrColorset::kStockStyles ? style : kFallbackStyle;
}

unsigned char channel(unsigned int color, int which)
{
    return static_cast<unsigned char>(color >> (8 * which) & 0xFF);
}

// Channel-wise a + (b - a) * t, rounded half away from zero; alpha 0.
unsigned int blend(unsigned int a, unsigned int b, double t)
{
    unsigned char out[3];
    for (int c = 0; c < 3; ++c)
    {
        const double from = channel(a, c);
        out[c] =
            static_cast<unsigned char>(KrToolkit::RoundLong(from + (channel(b, c) - from) * t));
    }
    return KrRGB(out[0], out[1], out[2]);
}

int cappedCount(int count)
{
    return std::min(count, KrColorset::kMaxColors);
}

void reverseInPlace(KrColorset& set)
{
    unsigned int* data = set.GetData();
    if (data != nullptr) std::reverse(data, data + set.GetSize());
}

// A draw of the library's generator in the 0 to 32767 range the formulas assume.
int draw15()
{
    return Platform::NextRandom() % 32768;
}

// Every random set starts from the clock, so two sets made within one second are alike.
void seedFromClock()
{
    Platform::SeedRandom(static_cast<unsigned int>(Platform::SecondsSinceEpoch()));
}

unsigned char drawChannel(unsigned char low, unsigned char high)
{
    const int span = std::abs(static_cast<int>(high) - static_cast<int>(low));
    return static_cast<unsigned char>(low + static_cast<int>(span * draw15() / 32767.0));
}

}  // namespace

KrColorset::~KrColorset() = default;

int KrColorset::MakeGradient(int count, unsigned int from, unsigned int to)
{
    if (count < 1)
    {
        RemoveAll();
        return 0;
    }
    if (count <= 2)
    {
        SetSize(count);
        unsigned int* data = GetData();
        data[0] = from;
        if (count == 2) data[1] = to;
        return count;
    }
    count = cappedCount(count);
    SetSize(count);
    unsigned int* data = GetData();
    double step[3];
    for (int c = 0; c < 3; ++c)
        step[c] = (channel(to, c) - static_cast<double>(channel(from, c))) / (count - 1);
    for (int i = 0; i < count - 1; ++i)
    {
        unsigned char out[3];
        for (int c = 0; c < 3; ++c)
            out[c] =
                static_cast<unsigned char>(channel(from, c) + KrToolkit::RoundLong(step[c] * i));
        data[i] = KrRGB(out[0], out[1], out[2]);
    }
    data[count - 1] = to;
    return count;
}

int KrColorset::MakeGradient(int count, const KrColorset& stopSet)
{
    // The stops may be this very set.
    const std::vector<unsigned int> stops(stopSet.begin(), stopSet.end());
    const int m = static_cast<int>(stops.size());
    if (count < 1 || m < 2)
    {
        RemoveAll();
        return 0;
    }
    count = cappedCount(count);
    SetSize(count);
    unsigned int* data = GetData();
    if (count == m)
    {
        std::copy(stops.begin(), stops.end(), data);
        return count;
    }
    data[0] = stops.front();
    if (count == 1) return count;
    for (int i = 1; i < count - 1; ++i)
    {
        const double p = static_cast<double>(i) * (m - 1) / (count - 1);
        const int k = static_cast<int>(p);
        const double f = p - k;
        data[i] = std::fabs(f) < 1e-10 ? stops[k] : blend(stops[k], stops[k + 1], f);
    }
    data[count - 1] = stops.back();
    return count;
}

int KrColorset::MakeGradient(const KrColorset& stopSet, const KrArray<int>& positionArray)
{
    const std::vector<unsigned int> stops(stopSet.begin(), stopSet.end());
    const std::vector<int> positions(positionArray.begin(), positionArray.end());
    const size_t m = stops.size();
    bool valid =
        m >= 2 && positions.size() == m && positions.front() >= 0 && positions.back() < kMaxColors;
    for (size_t k = 1; valid && k < m; ++k) valid = positions[k] >= positions[k - 1];
    if (!valid)
    {
        RemoveAll();
        return 0;
    }
    const int count = positions.back() + 1;
    SetSize(count);
    unsigned int* data = GetData();
    std::fill(data, data + positions.front(), stops.front());
    for (size_t k = 0; k + 1 < m; ++k)
    {
        const int first = positions[k];
        const int span = positions[k + 1] - first;
        for (int i = 0; i < span; ++i)
            data[first + i] =
                i == 0 ? stops[k] : blend(stops[k], stops[k + 1], static_cast<double>(i) / span);
    }
    data[count - 1] = stops.back();
    return count;
}

KrColorset KrColorset::StockColors(int style)
{
    style = normalisedStyle(style);
    KrColorset colors;
    if (style < kFirstStopStyle)
    {
        colors.Add(kStockPairs[style].from);
        colors.Add(kStockPairs[style].to);
        return colors;
    }
    const auto fill = [&colors](const auto& stops)
    { colors.Append(stops, static_cast<int>(std::size(stops))); };
    switch (style)
    {
        case QZ_STOCK_SPECTRUM:
            fill(kSpectrumStops);
            break;
        case QZ_STOCK_TRIAD:
            fill(kTriadStops);
            break;
        case QZ_STOCK_TERRAIN:
            fill(kTerrainStops);
            break;
        default:
            fill(kHueCircleStops);
            break;
    }
    return colors;
}

int KrColorset::MakeStockGradient(int count, tagQZ_ENUM_STOCK_GRADIENT_SET_STYLE style,
                                  unsigned char reverse)
{
    const int stock = normalisedStyle(style);
    const KrColorset colors = StockColors(stock);
    if (stock < kFirstStopStyle)
        MakeGradient(count, colors[0], colors[1]);
    else
        MakeGradient(count, colors);
    if (reverse) reverseInPlace(*this);
    return GetSize();
}

int KrColorset::MakeStockRandom(int count, int style, unsigned char reverse)
{
    const KrColorset colors = StockColors(style);
    unsigned char low[3] = {255, 255, 255};
    unsigned char high[3] = {0, 0, 0};
    for (const unsigned int color : colors)
    {
        for (int c = 0; c < 3; ++c)
        {
            low[c] = std::min(low[c], channel(color, c));
            high[c] = std::max(high[c], channel(color, c));
        }
    }
    const unsigned char grey = normalisedStyle(style) == QZ_STOCK_BLACK_WHITE ? 1 : 0;
    MakeRandom(count, low[0], high[0], low[1], high[1], low[2], high[2], grey);
    if (reverse) reverseInPlace(*this);
    return GetSize();
}

int KrColorset::MakeRandom(int count)
{
    seedFromClock();
    const int scheme = Platform::NextRandom() % kStockStyles;
    return MakeStockRandom(count, scheme, scheme % 2 == 1 ? 1 : 0);
}

int KrColorset::MakeRandom(int count, unsigned char redLow, unsigned char redHigh,
                           unsigned char greenLow, unsigned char greenHigh, unsigned char blueLow,
                           unsigned char blueHigh, unsigned char grey)
{
    if (count < 1)
    {
        RemoveAll();
        return 0;
    }
    seedFromClock();
    count = cappedCount(count);
    SetSize(count);
    for (unsigned int& color : *this)
    {
        const unsigned char red = drawChannel(redLow, redHigh);
        const unsigned char green = drawChannel(greenLow, greenHigh);
        const unsigned char blue = drawChannel(blueLow, blueHigh);
        color = grey ? KrRGB(red, red, red) : KrRGB(red, green, blue);
    }
    return count;
}

unsigned char KrColorset::Save(KrStream& stream) const
{
    for (const unsigned int color : *this) stream << KrCurrentColortoWinColor(color);
    return 1;
}

unsigned char KrColorset::Load(KrStream& stream)
{
    for (unsigned int& color : *this)
    {
        unsigned int value = color;
        stream >> value;
        color = KrCurrentColortoWinColor(value);
    }
    return 1;
}

}  // namespace KRN
