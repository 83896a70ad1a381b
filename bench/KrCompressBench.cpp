// KrCompress and KrDesEncrypt on 16 MiB blocks: UnZip against zlib's uncompress (and libdeflate's
// zlib decoder when present) and Zip against compress2 (level 6) on a mixed corpus of markup text
// and binary coordinate records; Work against OpenSSL's DES_ecb_encrypt (single) and
// DES_ecb3_encrypt (two-key), both directions.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

#ifdef ZOBASE_BENCH_LIBDEFLATE
#include <libdeflate.h>
#endif
#ifdef ZOBASE_BENCH_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/des.h>
#endif

using namespace KRN;

namespace
{

constexpr size_t kBlock = size_t{16} << 20;
using Bytes = std::vector<unsigned char>;

// Chunks of markup with names and numbers drawn from small vocabularies, alternating with
// records of coordinates along random walks (doubles) and ascending 32-bit ids.
const Bytes& corpus()
{
    static const Bytes data = []
    {
        std::mt19937 rng(2024);
        static const char* const names[] = {"road",   "river", "parcel", "building", "contour",
                                            "forest", "lake",  "rail",   "boundary", "label"};
        Bytes out;
        out.reserve(kBlock + 4096);
        char line[160];
        double x = 500000.0, y = 4200000.0;
        unsigned id = 1;
        while (out.size() < kBlock)
        {
            for (int i = 0; i < 40; ++i)
            {
                const int n = std::snprintf(
                    line, sizeof line,
                    "<Feature id=\"%u\" class=\"%s\" width=\"%.2f\" "
                    "color=\"RGB(%u,%u,%u)\"/>\r\n",
                    static_cast<unsigned>(id + rng() % 1000), names[rng() % 10],
                    (rng() % 400) / 100.0, static_cast<unsigned>(rng() % 8) * 32,
                    static_cast<unsigned>(rng() % 4) * 64, static_cast<unsigned>(rng() % 2) * 255);
                out.insert(out.end(), line, line + n);
            }
            for (int i = 0; i < 200; ++i)
            {
                x += std::round((static_cast<double>(rng() % 2001) - 1000.0)) / 100.0;
                y += std::round((static_cast<double>(rng() % 2001) - 1000.0)) / 100.0;
                const unsigned record = id++;
                const auto* px = reinterpret_cast<const unsigned char*>(&x);
                const auto* py = reinterpret_cast<const unsigned char*>(&y);
                const auto* pid = reinterpret_cast<const unsigned char*>(&record);
                out.insert(out.end(), pid, pid + 4);
                out.insert(out.end(), px, px + 8);
                out.insert(out.end(), py, py + 8);
            }
        }
        out.resize(kBlock);
        return out;
    }();
    return data;
}

const Bytes& packed()
{
    static const Bytes stream = []
    {
        Bytes out(compressBound(kBlock));
        uLongf length = out.size();
        compress2(out.data(), &length, corpus().data(), kBlock, 6);
        out.resize(length);
        std::printf("corpus: %zu bytes, level 6 stream %zu bytes (%.2f)\n", kBlock, out.size(),
                    static_cast<double>(out.size()) / kBlock);
        return out;
    }();
    return stream;
}

void UnZip_ZoBase(benchmark::State& state)
{
    const Bytes& in = packed();
    Bytes out(kBlock);
    for (auto _ : state)
    {
        unsigned int length = static_cast<unsigned int>(out.size());
        if (!KrCompress::UnZip(out.data(), length, in.data(), static_cast<unsigned int>(in.size())))
            state.SkipWithError("UnZip failed");
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

void UnZip_Zlib(benchmark::State& state)
{
    const Bytes& in = packed();
    Bytes out(kBlock);
    for (auto _ : state)
    {
        uLongf length = out.size();
        if (uncompress(out.data(), &length, in.data(), in.size()) != Z_OK)
            state.SkipWithError("uncompress failed");
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

#ifdef ZOBASE_BENCH_LIBDEFLATE
void UnZip_Libdeflate(benchmark::State& state)
{
    const Bytes& in = packed();
    Bytes out(kBlock);
    libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
    for (auto _ : state)
    {
        size_t consumed = 0, length = 0;
        if (libdeflate_zlib_decompress_ex(decompressor, in.data(), in.size(), out.data(),
                                          out.size(), &consumed, &length) != LIBDEFLATE_SUCCESS)
            state.SkipWithError("libdeflate failed");
        benchmark::DoNotOptimize(out.data());
    }
    libdeflate_free_decompressor(decompressor);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}
#endif

void Zip_ZoBase(benchmark::State& state)
{
    Bytes out(compressBound(kBlock));
    for (auto _ : state)
    {
        unsigned int length = static_cast<unsigned int>(out.size());
        KrCompress::Zip(out.data(), length, corpus().data(), static_cast<unsigned int>(kBlock), 6);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

void Zip_Zlib(benchmark::State& state)
{
    Bytes out(compressBound(kBlock));
    for (auto _ : state)
    {
        uLongf length = out.size();
        compress2(out.data(), &length, corpus().data(), kBlock, 6);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

const char kKey[16] = {0x13,
                       0x34,
                       0x57,
                       0x79,
                       static_cast<char>(0x9B),
                       static_cast<char>(0xBC),
                       static_cast<char>(0xDF),
                       static_cast<char>(0xF1),
                       0x01,
                       0x23,
                       0x45,
                       0x67,
                       static_cast<char>(0x89),
                       static_cast<char>(0xAB),
                       static_cast<char>(0xCD),
                       static_cast<char>(0xEF)};

template <int kKeyLength, KrDesEncrypt::WorkMode kMode>
void Des_ZoBase(benchmark::State& state)
{
    std::vector<char> in(corpus().begin(), corpus().end()), out(kBlock);
    for (auto _ : state)
    {
        KrDesEncrypt::Work(out.data(), in.data(), static_cast<int>(kBlock), kKey, kKeyLength,
                           kMode);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

#ifdef ZOBASE_BENCH_OPENSSL
template <bool kTriple, int kDirection>
void Des_OpenSSL(benchmark::State& state)
{
    const Bytes& in = corpus();
    Bytes out(kBlock);
    DES_cblock k1, k2;
    std::memcpy(k1, kKey, 8);
    std::memcpy(k2, kKey + 8, 8);
    DES_key_schedule s1, s2;
    DES_set_key_unchecked(&k1, &s1);
    DES_set_key_unchecked(&k2, &s2);
    for (auto _ : state)
    {
        for (size_t at = 0; at < kBlock; at += 8)
        {
            auto* from =
                reinterpret_cast<const_DES_cblock*>(const_cast<unsigned char*>(in.data() + at));
            auto* to = reinterpret_cast<DES_cblock*>(out.data() + at);
            if (kTriple)
                DES_ecb3_encrypt(from, to, &s1, &s2, &s1, kDirection);
            else
                DES_ecb_encrypt(from, to, &s1, kDirection);
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}
#endif

}  // namespace

BENCHMARK(UnZip_ZoBase)->Name("UnZip16M/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(UnZip_Zlib)->Name("UnZip16M/zlib")->Unit(benchmark::kMillisecond);
#ifdef ZOBASE_BENCH_LIBDEFLATE
BENCHMARK(UnZip_Libdeflate)->Name("UnZip16M/libdeflate")->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(Zip_ZoBase)->Name("Zip16M/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(Zip_Zlib)->Name("Zip16M/zlib")->Unit(benchmark::kMillisecond);
BENCHMARK(Des_ZoBase<8, KrDesEncrypt::Encrypt>)
    ->Name("DesEncrypt16M/ZoBase")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Des_ZoBase<8, KrDesEncrypt::Decrypt>)
    ->Name("DesDecrypt16M/ZoBase")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Des_ZoBase<16, KrDesEncrypt::Encrypt>)
    ->Name("TripleDesEncrypt16M/ZoBase")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Des_ZoBase<16, KrDesEncrypt::Decrypt>)
    ->Name("TripleDesDecrypt16M/ZoBase")
    ->Unit(benchmark::kMillisecond);
#ifdef ZOBASE_BENCH_OPENSSL
BENCHMARK(Des_OpenSSL<false, DES_ENCRYPT>)
    ->Name("DesEncrypt16M/OpenSSL")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Des_OpenSSL<false, DES_DECRYPT>)
    ->Name("DesDecrypt16M/OpenSSL")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Des_OpenSSL<true, DES_ENCRYPT>)
    ->Name("TripleDesEncrypt16M/OpenSSL")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Des_OpenSSL<true, DES_DECRYPT>)
    ->Name("TripleDesDecrypt16M/OpenSSL")
    ->Unit(benchmark::kMillisecond);
#endif
