// Draws the colour generators into one PNG: the 27 stock gradients as labelled bands, then a
// hill-shaded rendering of a synthetic island coloured by the default colour table (water run
// below sea level, terrain ramp above).
//   symbology [output.png]
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

constexpr int kWidth = 920;
constexpr int kLabelWidth = 220;
constexpr int kBandHeight = 20;
constexpr int kBandGap = 2;
constexpr int kTitleHeight = 30;
constexpr int kTerrainHeight = 520;
constexpr unsigned int kBackground = KrRGB(32, 32, 36);
constexpr unsigned int kInk = KrRGB(235, 235, 235);

class Canvas
{
public:
    Canvas(int width, int height)
        : m_width(width), m_height(height), m_pixels(size_t(width) * height * 3)
    {
    }

    void Set(int x, int y, unsigned int color)
    {
        if (x < 0 || y < 0 || x >= m_width || y >= m_height) return;
        unsigned char* p = &m_pixels[(size_t(y) * m_width + x) * 3];
        p[0] = KrREDVAL(color);
        p[1] = KrGREENVAL(color);
        p[2] = KrBLUEVAL(color);
    }
    void Fill(int x0, int y0, int w, int h, unsigned int color)
    {
        for (int y = y0; y < y0 + h; ++y)
            for (int x = x0; x < x0 + w; ++x) Set(x, y, color);
    }
    bool WritePng(const char* path) const
    {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        image.width = static_cast<png_uint_32>(m_width);
        image.height = static_cast<png_uint_32>(m_height);
        image.format = PNG_FORMAT_RGB;
        const bool ok = png_image_write_to_file(&image, path, 0, m_pixels.data(), 0, nullptr) != 0;
        if (!ok) std::fprintf(stderr, "symbology: %s\n", image.message);
        png_image_free(&image);
        return ok;
    }

private:
    int m_width;
    int m_height;
    std::vector<unsigned char> m_pixels;
};

// A 5 x 7 bitmap font: each row is five bits, the leftmost pixel in bit 4.
struct Glyph
{
    char c;
    unsigned char rows[7];
};
constexpr Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'C', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'F', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'G', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'J', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'K', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'Q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}},
    {'W', {0x11, 0x11, 0x11, 0x15, 0x15, 0x15, 0x0A}},
    {'X', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'Y', {0x11, 0x11, 0x11, 0x0A, 0x04, 0x04, 0x04}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
};

const Glyph* glyphOf(char c)
{
    for (const Glyph& g : kFont)
        if (g.c == c) return &g;
    return nullptr;  // a blank
}

// Text in capitals at (x, y), each font pixel drawn as a scale x scale block.
void drawText(Canvas& canvas, int x, int y, const std::string& text, int scale, unsigned int color)
{
    for (char c : text)
    {
        if (const Glyph* g = glyphOf(c))
            for (int row = 0; row < 7; ++row)
                for (int col = 0; col < 5; ++col)
                    if (g->rows[row] >> (4 - col) & 1)
                        canvas.Fill(x + col * scale, y + row * scale, scale, scale, color);
        x += 6 * scale;
    }
}

const char* const kStyleNames[27] = {
    "BLACK-WHITE", "RED-WHITE",   "GREEN-WHITE",  "BLUE-WHITE",  "YELLOW-WHITE", "MAGENTA-WHITE",
    "CYAN-WHITE",  "RED-BLACK",   "GREEN-BLACK",  "BLUE-BLACK",  "YELLOW-BLACK", "MAGENTA-BLACK",
    "CYAN-BLACK",  "YELLOW-RED",  "YELLOW-GREEN", "YELLOW-BLUE", "GREEN-BLUE",   "GREEN-RED",
    "BLUE-RED",    "MAGENTA-RED", "MAGENTA-BLUE", "CYAN-BLUE",   "GREEN-CYAN",   "SPECTRUM",
    "TRIAD",       "TERRAIN",     "HUE CIRCLE"};

int drawGradients(Canvas& canvas, int top)
{
    drawText(canvas, 10, top + 8, "STOCK GRADIENTS 0-26", 2, kInk);
    top += kTitleHeight;
    const int bandWidth = kWidth - kLabelWidth - 10;
    for (int style = 0; style < 27; ++style)
    {
        const int y = top + style * (kBandHeight + kBandGap);
        drawText(canvas, 10, y + 3, std::to_string(style) + " " + kStyleNames[style], 2, kInk);
        KrColorset ramp;
        ramp.MakeStockGradient(bandWidth, static_cast<KrStockGradientStyle>(style), 0);
        for (int x = 0; x < ramp.GetSize(); ++x)
            canvas.Fill(kLabelWidth + x, y, 1, kBandHeight, ramp[x]);
    }
    return top + 27 * (kBandHeight + kBandGap);
}

// Smooth pseudo-random values on an integer lattice, blended with a smoothstep: value noise.
double latticeValue(int x, int y)
{
    unsigned int h =
        static_cast<unsigned int>(x) * 374761393u + static_cast<unsigned int>(y) * 668265263u;
    h = (h ^ (h >> 13)) * 1274126177u;
    return ((h ^ (h >> 16)) & 0xFFFF) / 65535.0;
}

double valueNoise(double x, double y)
{
    const int x0 = static_cast<int>(std::floor(x)), y0 = static_cast<int>(std::floor(y));
    const auto smooth = [](double t) { return t * t * (3 - 2 * t); };
    const double tx = smooth(x - x0), ty = smooth(y - y0);
    const double top =
        latticeValue(x0, y0) + (latticeValue(x0 + 1, y0) - latticeValue(x0, y0)) * tx;
    const double bottom =
        latticeValue(x0, y0 + 1) + (latticeValue(x0 + 1, y0 + 1) - latticeValue(x0, y0 + 1)) * tx;
    return top + (bottom - top) * ty;
}

// Heights in metres for x, y in 0..1: an island (a dome roughened by five octaves of noise)
// with a mountain ridge and a flooded basin in the south-east.
double terrainHeight(double x, double y)
{
    const double dx = (x - 0.5) * 2.0, dy = (y - 0.5) * 2.2;
    const double island = 1.0 - std::sqrt(dx * dx + dy * dy);
    double noise = 0, amplitude = 0.5, frequency = 4;
    for (int octave = 0; octave < 5; ++octave, amplitude *= 0.5, frequency *= 2.1)
        noise += amplitude * (valueNoise(x * frequency * 1.77, y * frequency) - 0.5);
    const double ridge =
        0.55 * std::exp(-std::pow((y - 0.62 + 0.35 * x) * 8.0, 2)) * std::max(island, 0.0);
    const double basin =
        -0.45 * std::exp(-(std::pow((x - 0.74) * 8, 2) + std::pow((y - 0.72) * 7, 2)));
    return 3000.0 * (0.75 * island + 1.1 * noise + ridge + basin) - 300.0;
}

int drawTerrain(Canvas& canvas, int top)
{
    drawText(canvas, 10, top + 8,
             "HILL-SHADED COLOUR TABLE. WATER BELOW 0 M. LIGHT FROM NORTH-WEST", 2, kInk);
    top += kTitleHeight;
    KrColorTable table;
    table.CreateDefault();
    table.SetZFloor(-3000);
    table.SetZCeiling(3600);
    table.SetWaterLevel(0);
    table.SetLightX(-1);
    table.SetLightY(1);
    table.SetLightZ(1.2f);

    const int width = kWidth - 20, height = kTerrainHeight;
    const double cell = 8.0;  // metres per pixel, which sets how steep the slopes look
    std::vector<double> h(size_t(width + 2) * (height + 2));
    auto at = [&](int x, int y) -> double& { return h[size_t(y + 1) * (width + 2) + (x + 1)]; };
    for (int y = -1; y <= height; ++y)
        for (int x = -1; x <= width; ++x)
            at(x, y) = terrainHeight(x / double(width), y / double(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
        {
            const double z = at(x, y);
            // Image rows grow southwards, so north is -y: the normal's y is the southward slope.
            float normal[3] = {static_cast<float>((at(x - 1, y) - at(x + 1, y)) / (2 * cell)),
                               static_cast<float>((at(x, y + 1) - at(x, y - 1)) / (2 * cell)),
                               1.0f};
            if (z <= 0) normal[0] = normal[1] = 0;  // the water surface is flat
            canvas.Set(10 + x, top + y,
                       static_cast<unsigned int>(table.GetLightenColor(z, normal)));
        }

    // The table's own ramp under the picture: water then land, floor to ceiling.
    const int barTop = top + height + 8;
    for (int x = 0; x < width; ++x)
    {
        const double z =
            table.GetZFloor() + (table.GetZCeiling() - table.GetZFloor()) * x / (width - 1);
        canvas.Fill(10 + x, barTop, 1, 14, table.GetColor(z));
    }
    drawText(canvas, 10, barTop + 20, "-3000 M", 2, kInk);
    drawText(canvas, 10 + width * 3000 / 6600 - 6, barTop + 20, "0", 2, kInk);
    drawText(canvas, 10 + width - 7 * 12, barTop + 20, "3600 M", 2, kInk);
    return barTop + 44;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string path = argc > 1 ? argv[1] : "symbology.png";
    const int height =
        kTitleHeight + 27 * (kBandHeight + kBandGap) + 16 + kTitleHeight + kTerrainHeight + 52;
    Canvas canvas(kWidth, height);
    canvas.Fill(0, 0, kWidth, height, kBackground);
    const int next = drawGradients(canvas, 6);
    drawTerrain(canvas, next + 10);
    if (!canvas.WritePng(path.c_str())) return 1;
    std::printf("symbology: wrote %s (%d x %d)\n", path.c_str(), kWidth, height);
    return 0;
}
