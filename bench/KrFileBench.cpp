// KrFile::Match against glibc fnmatch on the same patterns and names, and KrTime's calendar
// against the C library's broken-down time.
#include <benchmark/benchmark.h>

#include <fnmatch.h>

#include <ctime>
#include <string>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

const char kStars[] = "*a*a*a*a*a*a*a*a*b";

// The pathological case for matchers that retry the rest of the pattern after every star.
void Pathological_ZoBase(benchmark::State& state)
{
    const KrString pattern(kStars);
    const KrString name(std::string(static_cast<size_t>(state.range(0)), 'a'));
    for (auto _ : state) benchmark::DoNotOptimize(KrFile::Match(pattern, name, 0));
}
void Pathological_Fnmatch(benchmark::State& state)
{
    const std::string name(static_cast<size_t>(state.range(0)), 'a');
    for (auto _ : state) benchmark::DoNotOptimize(fnmatch(kStars, name.c_str(), 0));
}

// A typical listing test: a file name against an extension pattern.
void FileName_ZoBase(benchmark::State& state)
{
    const KrString pattern("*.shp");
    const KrString name("roads_2024_final.shp");
    for (auto _ : state) benchmark::DoNotOptimize(KrFile::Match(pattern, name, 3));
}
void FileName_Fnmatch(benchmark::State& state)
{
    for (auto _ : state) benchmark::DoNotOptimize(fnmatch("*.shp", "roads_2024_final.shp", 3));
}

// A name of 64 bytes against a pattern with several wildcards and a class.
const char kLongPattern[] = "*_[0-9][0-9]*_v?.sh?";
const char kLongName[] = "survey/regional_roads_network_export_2024_11_23_final_v2.shp.xml";
void LongName_ZoBase(benchmark::State& state)
{
    const KrString pattern(kLongPattern);
    const KrString name(kLongName);
    for (auto _ : state) benchmark::DoNotOptimize(KrFile::Match(pattern, name, 0));
}
void LongName_Fnmatch(benchmark::State& state)
{
    for (auto _ : state) benchmark::DoNotOptimize(fnmatch(kLongPattern, kLongName, 0));
}

// Serial date to calendar fields, against gmtime_r on the matching seconds.
void Calendar_ZoBase(benchmark::State& state)
{
    double serial = 40000.25;
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(KrTime(serial).GetDay());
        serial += 1.5;
    }
}
void Calendar_Gmtime(benchmark::State& state)
{
    time_t seconds = (40000 - 25569) * 86400LL + 21600;
    for (auto _ : state)
    {
        std::tm fields{};
        gmtime_r(&seconds, &fields);
        benchmark::DoNotOptimize(fields.tm_mday);
        seconds += 129600;
    }
}

}  // namespace

BENCHMARK(Pathological_ZoBase)->Name("Match/ZoBase")->Arg(10000);
BENCHMARK(Pathological_Fnmatch)->Name("Match/Fnmatch")->Arg(10000);
BENCHMARK(FileName_ZoBase)->Name("MatchFileName/ZoBase");
BENCHMARK(FileName_Fnmatch)->Name("MatchFileName/Fnmatch");
BENCHMARK(LongName_ZoBase)->Name("Match64/ZoBase");
BENCHMARK(LongName_Fnmatch)->Name("Match64/Fnmatch");
BENCHMARK(Calendar_ZoBase)->Name("Calendar/ZoBase");
BENCHMARK(Calendar_Gmtime)->Name("Calendar/Gmtime");
