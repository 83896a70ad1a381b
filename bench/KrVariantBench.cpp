// KrVariant against std::variant holding the same small kinds, and the variant's text of a
// double against snprintf("%.15g").
#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

constexpr int kAssignments = 10000000;
constexpr int kDoubles = 1000000;

// Each round assigns one of the six small kinds, in turn, and reads it back as a double.
void Assign_ZoBase(benchmark::State& state)
{
    for (auto _ : state)
    {
        KrVariant value;
        double sum = 0;
        for (int i = 0; i < kAssignments; ++i)
        {
            switch (i % 6)
            {
                case 0:
                    value = static_cast<unsigned char>(i);
                    break;
                case 1:
                    value = static_cast<short>(i);
                    break;
                case 2:
                    value = i;
                    break;
                case 3:
                    value = static_cast<long long>(i);
                    break;
                case 4:
                    value = static_cast<float>(i);
                    break;
                default:
                    value = static_cast<double>(i);
                    break;
            }
            sum += value.ToDouble();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kAssignments);
}

void Assign_StdVariant(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::variant<unsigned char, short, int, long long, float, double> value;
        double sum = 0;
        for (int i = 0; i < kAssignments; ++i)
        {
            switch (i % 6)
            {
                case 0:
                    value = static_cast<unsigned char>(i);
                    break;
                case 1:
                    value = static_cast<short>(i);
                    break;
                case 2:
                    value = i;
                    break;
                case 3:
                    value = static_cast<long long>(i);
                    break;
                case 4:
                    value = static_cast<float>(i);
                    break;
                default:
                    value = static_cast<double>(i);
                    break;
            }
            sum += std::visit([](auto x) { return static_cast<double>(x); }, value);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kAssignments);
}

// Map coordinates and measures: magnitudes up to a million with six significant decimals.
std::vector<double> doubles()
{
    std::mt19937_64 random(20240229);
    std::uniform_real_distribution<double> spread(-1e6, 1e6);
    std::vector<double> values(kDoubles);
    for (double& value : values) value = spread(random);
    return values;
}

void DoubleToText_ZoBase(benchmark::State& state)
{
    const std::vector<double> values = doubles();
    for (auto _ : state)
    {
        size_t length = 0;
        for (double value : values) length += KrVariant(value).ToString().size();
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * kDoubles);
}

void DoubleToText_Snprintf(benchmark::State& state)
{
    const std::vector<double> values = doubles();
    for (auto _ : state)
    {
        size_t length = 0;
        for (double value : values)
        {
            char text[64];
            const int n = std::snprintf(text, sizeof text, "%.15g", value);
            length += std::string(text, static_cast<size_t>(n)).size();
        }
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * kDoubles);
}

}  // namespace

BENCHMARK(Assign_ZoBase)->Name("Assign/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(Assign_StdVariant)->Name("Assign/StdVariant")->Unit(benchmark::kMillisecond);
BENCHMARK(DoubleToText_ZoBase)->Name("DoubleToText/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(DoubleToText_Snprintf)->Name("DoubleToText/Snprintf")->Unit(benchmark::kMillisecond);
