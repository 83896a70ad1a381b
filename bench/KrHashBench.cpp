// KrHash<KrString> against std::unordered_map<std::string, std::string> and, when Abseil is
// installed, absl::flat_hash_map<std::string, std::string> on the same 1 M distinct 12-byte
// keys: inserts, hits and misses.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "Base/ZoBase.h"

#ifdef ZOBASE_BENCH_ABSL
#include <absl/container/flat_hash_map.h>
#endif

using namespace KRN;

namespace
{

constexpr int kKeys = 1 << 20;

const std::vector<std::string>& keys(bool missing)
{
    static const auto make = [](unsigned seed)
    {
        std::vector<std::string> out;
        out.reserve(kKeys);
        char text[16];
        for (unsigned i = 0; i < static_cast<unsigned>(kKeys); ++i)
        {
            // 12 bytes: a prefix letter keeps hits and misses disjoint.
            const unsigned int scrambled = i * 2654435761u;  // a bijection: keys stay distinct
            std::snprintf(text, sizeof text, "%c%011u", seed, scrambled);
            out.emplace_back(text, 12);
        }
        return out;
    };
    static const std::vector<std::string> present = make('k');
    static const std::vector<std::string> absent = make('m');
    return missing ? absent : present;
}

const std::vector<KrString>& krKeys(bool missing)
{
    static const std::vector<KrString> present(keys(false).begin(), keys(false).end());
    static const std::vector<KrString> absent(keys(true).begin(), keys(true).end());
    return missing ? absent : present;
}

void Insert_ZoBase(benchmark::State& state)
{
    const auto& k = krKeys(false);
    const KrString value("value");
    for (auto _ : state)
    {
        KrHash<KrString> table;
        for (const KrString& key : k) table.SetAt(key, value);
        benchmark::DoNotOptimize(table.GetCount());
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

template <class Map>
void Insert_Peer(benchmark::State& state)
{
    const auto& k = keys(false);
    const std::string value("value");
    for (auto _ : state)
    {
        Map table;
        for (const std::string& key : k) table[key] = value;
        benchmark::DoNotOptimize(table.size());
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

template <bool kMissing>
void Lookup_ZoBase(benchmark::State& state)
{
    KrHash<KrString> table;
    for (const KrString& key : krKeys(false)) table.SetAt(key, "value");
    const auto& probe = krKeys(kMissing);
    KrString value;
    for (auto _ : state)
    {
        int found = 0;
        for (const KrString& key : probe) found += table.Lookup(key, value);
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

template <class Map, bool kMissing>
void Lookup_Peer(benchmark::State& state)
{
    Map table;
    for (const std::string& key : keys(false)) table[key] = "value";
    const auto& probe = keys(kMissing);
    std::string value;
    for (auto _ : state)
    {
        int found = 0;
        for (const std::string& key : probe)
        {
            auto it = table.find(key);
            if (it != table.end())
            {
                value = it->second;
                ++found;
            }
        }
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

using StdMap = std::unordered_map<std::string, std::string>;

}  // namespace

BENCHMARK(Insert_ZoBase)->Name("Insert1M/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(Insert_Peer<StdMap>)->Name("Insert1M/Std")->Unit(benchmark::kMillisecond);
BENCHMARK(Lookup_ZoBase<false>)->Name("LookupHit1M/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(Lookup_Peer<StdMap, false>)->Name("LookupHit1M/Std")->Unit(benchmark::kMillisecond);
BENCHMARK(Lookup_ZoBase<true>)->Name("LookupMiss1M/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(Lookup_Peer<StdMap, true>)->Name("LookupMiss1M/Std")->Unit(benchmark::kMillisecond);
#ifdef ZOBASE_BENCH_ABSL
using SwissMap = absl::flat_hash_map<std::string, std::string>;
BENCHMARK(Insert_Peer<SwissMap>)->Name("Insert1M/Abseil")->Unit(benchmark::kMillisecond);
BENCHMARK(Lookup_Peer<SwissMap, false>)->Name("LookupHit1M/Abseil")->Unit(benchmark::kMillisecond);
BENCHMARK(Lookup_Peer<SwissMap, true>)->Name("LookupMiss1M/Abseil")->Unit(benchmark::kMillisecond);
#endif
