// Colouring a 4096 x 4096 grid of heights: KrColorTable::GetColor per cell against a plain loop
// doing the same linear interpolation over a std::vector of the same 32 terrain colours (index
// by truncation, blend the two neighbours, clamp outside the range).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

constexpr int kSide = 4096;
constexpr double kFloor = 0, kCeiling = 4000;

// A synthetic terrain that also dips below the floor and rises above the ceiling.
const std::vector<float>& heights()
{
    static const std::vector<float> grid = []
    {
        std::vector<float> out(static_cast<size_t>(kSide) * kSide);
        for (int y = 0; y < kSide; ++y)
            for (int x = 0; x < kSide; ++x)
                out[static_cast<size_t>(y) * kSide + x] =
                    static_cast<float>(2100 + 1500 * std::sin(x * 0.0021) * std::cos(y * 0.0017) +
                                       700 * std::sin((x + 2 * y) * 0.011));
        return out;
    }();
    return grid;
}

KrColorTable terrainTable()
{
    KrColorTable table;
    table.CreateStockGradient(32, QZ_STOCK_TERRAIN, 0);
    table.SetZFloor(kFloor);
    table.SetZCeiling(kCeiling);
    return table;
}

void GetColor_ZoBase(benchmark::State& state)
{
    const std::vector<float>& grid = heights();
    const KrColorTable table = terrainTable();
    std::vector<unsigned int> row(kSide);
    for (auto _ : state)
    {
        for (size_t y = 0; y < static_cast<size_t>(kSide); ++y)
        {
            const float* z = grid.data() + y * kSide;
            for (int x = 0; x < kSide; ++x) row[x] = table.GetColor(z[x]);
            benchmark::DoNotOptimize(row.data());
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSide * kSide);
}

unsigned int plainColor(const std::vector<unsigned int>& colors, double lo, double hi, double z)
{
    const int m = static_cast<int>(colors.size());
    if (z < lo) return colors.front();
    if (z >= hi) return colors.back();
    const double p = (z - lo) / ((hi - lo) / (m - 1));
    const int i = static_cast<int>(p);
    const int j = std::min(i + 1, m - 1);
    const double t = p - i;
    const unsigned int a = colors[i], b = colors[j];
    unsigned int out = 0;
    for (int shift = 0; shift < 24; shift += 8)
    {
        const int ca = (a >> shift) & 0xFF, cb = (b >> shift) & 0xFF;
        out |= static_cast<unsigned int>(static_cast<int>(ca + (cb - ca) * t)) << shift;
    }
    return out;
}

void GetColor_PlainLoop(benchmark::State& state)
{
    const std::vector<float>& grid = heights();
    const KrColorTable table = terrainTable();
    const std::vector<unsigned int> colors(table.GetLandColors().begin(),
                                           table.GetLandColors().end());
    std::vector<unsigned int> row(kSide);
    for (auto _ : state)
    {
        for (size_t y = 0; y < static_cast<size_t>(kSide); ++y)
        {
            const float* z = grid.data() + y * kSide;
            for (int x = 0; x < kSide; ++x) row[x] = plainColor(colors, kFloor, kCeiling, z[x]);
            benchmark::DoNotOptimize(row.data());
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSide * kSide);
}

}  // namespace

BENCHMARK(GetColor_ZoBase)->Name("GetColor/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(GetColor_PlainLoop)->Name("GetColor/PlainLoop")->Unit(benchmark::kMillisecond);
