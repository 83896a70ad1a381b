// KrString and KrArray against the plain standard-library code doing the same work.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// A text of `size` bytes made of words, with the searched word only at the very end.
std::string corpus(size_t size)
{
    std::string text;
    text.reserve(size + 16);
    const char* words[] = {"road ", "river ", "field ", "town ", "bridge, ", "lake "};
    for (size_t i = 0; text.size() < size; ++i) text += words[i % 6];
    text += "needle";
    return text;
}

void Find_ZoBase(benchmark::State& state)
{
    const KrString text(corpus(static_cast<size_t>(state.range(0))));
    for (auto _ : state) benchmark::DoNotOptimize(text.Find("needle", 0));
}
void Find_Std(benchmark::State& state)
{
    const std::string text(corpus(static_cast<size_t>(state.range(0))));
    for (auto _ : state)
    {
        const size_t found = text.find("needle", 0);
        benchmark::DoNotOptimize(found == std::string::npos ? -1 : static_cast<int>(found));
    }
}

void Replace_ZoBase(benchmark::State& state)
{
    const KrString text(corpus(static_cast<size_t>(state.range(0))));
    for (auto _ : state)
    {
        KrString work(text);
        benchmark::DoNotOptimize(work.Replace("road", "highway"));
    }
}
// The plain loop: replace in place and resume after the inserted text.
void Replace_Std(benchmark::State& state)
{
    const std::string text(corpus(static_cast<size_t>(state.range(0))));
    for (auto _ : state)
    {
        std::string work(text);
        int count = 0;
        for (size_t p = work.find("road"); p != std::string::npos;
             p = work.find("road", p + 7), ++count)
            work.replace(p, 4, "highway");
        benchmark::DoNotOptimize(count);
    }
}

void Split_ZoBase(benchmark::State& state)
{
    const KrString text(corpus(static_cast<size_t>(state.range(0))));
    KrArray<KrString> pieces;
    const KrString delimiter(" ");
    for (auto _ : state) benchmark::DoNotOptimize(text.Split(pieces, delimiter, true));
}
void Split_Std(benchmark::State& state)
{
    const std::string text(corpus(static_cast<size_t>(state.range(0))));
    std::vector<std::string> pieces;
    for (auto _ : state)
    {
        pieces.clear();
        size_t from = 0;
        for (size_t at = text.find(' '); at != std::string::npos; at = text.find(' ', from))
        {
            pieces.emplace_back(text, from, at - from);
            from = at + 1;
        }
        pieces.emplace_back(text, from);
        benchmark::DoNotOptimize(pieces.size());
    }
}

void Format_ZoBase(benchmark::State& state)
{
    KrString out;
    for (auto _ : state)
    {
        out.Format("layer %s has %d features covering %.3f km2", "roads", 12345, 678.25);
        benchmark::DoNotOptimize(out.data());
    }
}
// The plain growth loop over std::string with the same starting capacity.
void Format_Std(benchmark::State& state)
{
    std::string out;
    const char* format = "layer %s has %d features covering %.3f km2";
    for (auto _ : state)
    {
        size_t capacity = std::char_traits<char>::length(format) + 128;
        for (;;)
        {
            out.resize(capacity);
            const int n = std::snprintf(&out[0], capacity + 1, format, "roads", 12345, 678.25);
            if (n >= 0 && static_cast<size_t>(n) <= capacity)
            {
                out.resize(static_cast<size_t>(n));
                break;
            }
            capacity = n < 0 ? capacity * 2 : static_cast<size_t>(n);
        }
        benchmark::DoNotOptimize(out.data());
    }
}

void ArrayAdd_ZoBase(benchmark::State& state)
{
    for (auto _ : state)
    {
        KrArray<int> values;
        for (int i = 0; i < state.range(0); ++i) values.Add(i);
        benchmark::DoNotOptimize(values.GetData());
    }
}
void ArrayAdd_Std(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::vector<int> values;
        for (int i = 0; i < state.range(0); ++i) values.push_back(i);
        benchmark::DoNotOptimize(values.data());
    }
}

}  // namespace

BENCHMARK(Find_ZoBase)->Name("Find/ZoBase")->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(Find_Std)->Name("Find/Std")->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(Replace_ZoBase)->Name("Replace/ZoBase")->Arg(1 << 10)->Arg(1 << 16);
BENCHMARK(Replace_Std)->Name("Replace/Std")->Arg(1 << 10)->Arg(1 << 16);
BENCHMARK(Split_ZoBase)->Name("Split/ZoBase")->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(Split_Std)->Name("Split/Std")->Arg(1 << 10)->Arg(1 << 20);
BENCHMARK(Format_ZoBase)->Name("Format/ZoBase");
BENCHMARK(Format_Std)->Name("Format/Std");
BENCHMARK(ArrayAdd_ZoBase)->Name("ArrayAdd/ZoBase")->Arg(1000)->Arg(1000000);
BENCHMARK(ArrayAdd_Std)->Name("ArrayAdd/Std")->Arg(1000)->Arg(1000000);
