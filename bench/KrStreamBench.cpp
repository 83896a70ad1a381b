// The serialisation streams against the plain code doing the same work: values appended to and
// read back from a std::vector, memcpy for bulk saves, and for files unbuffered C stdio, whose
// every fwrite/fread of a block is one write/read call.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

constexpr unsigned int kValues = 16u << 20;  // 16 M unsigned int, 64 MiB on the wire
constexpr unsigned int kBlock = 1u << 20;    // file transfers move 1 MiB blocks
constexpr unsigned int kFileBlocks = 256;    // 256 MiB files
constexpr unsigned int kFileCache = 1u << 20;

std::vector<unsigned char> wireOfCounting()
{
    std::vector<unsigned char> bytes;
    bytes.reserve(kValues * 4ull);
    for (unsigned int i = 0; i < kValues; ++i)
        for (int shift = 0; shift < 32; shift += 8)
            bytes.push_back(static_cast<unsigned char>(i >> shift));
    return bytes;
}

void SaveUInt_ZoBase(benchmark::State& state)
{
    for (auto _ : state)
    {
        KrMemoryStream out;
        out.Open(KrStreamSave, 1u << 20);
        for (unsigned int i = 0; i < kValues; ++i) out << i;
        benchmark::DoNotOptimize(out.GetData());
    }
}
void SaveUInt_Vector(benchmark::State& state)
{
    for (auto _ : state)
    {
        std::vector<unsigned char> out;
        for (unsigned int i = 0; i < kValues; ++i)
        {
            out.push_back(static_cast<unsigned char>(i));
            out.push_back(static_cast<unsigned char>(i >> 8));
            out.push_back(static_cast<unsigned char>(i >> 16));
            out.push_back(static_cast<unsigned char>(i >> 24));
        }
        benchmark::DoNotOptimize(out.data());
    }
}

void LoadUInt_ZoBase(benchmark::State& state)
{
    std::vector<unsigned char> wire = wireOfCounting();
    std::vector<unsigned int> values(kValues);
    for (auto _ : state)
    {
        KrMemoryStream in;
        in.Open(KrStreamLoad, static_cast<unsigned int>(wire.size()), wire.data());
        for (unsigned int i = 0; i < kValues; ++i) in >> values[i];
        benchmark::DoNotOptimize(values.data());
        if (in.GetStatus() != KrStreamOK) state.SkipWithError("load failed");
    }
}
// Like any reader of stored data, the loop checks that four bytes remain before each value.
void LoadUInt_Vector(benchmark::State& state)
{
    const std::vector<unsigned char> wire = wireOfCounting();
    std::vector<unsigned int> values(kValues);
    for (auto _ : state)
    {
        size_t pos = 0;
        for (unsigned int i = 0; i < kValues; ++i)
        {
            if (pos + 4 > wire.size()) break;
            values[i] = wire[pos] | wire[pos + 1] << 8 | wire[pos + 2] << 16 |
                        static_cast<unsigned int>(wire[pos + 3]) << 24;
            pos += 4;
        }
        benchmark::DoNotOptimize(values.data());
    }
}

// The per-value load against the loop a reader would inline by hand over the same bytes:
// every value checked against the end, summed so that nothing is stored per value.
void LoadSum_ZoBase(benchmark::State& state)
{
    std::vector<unsigned char> wire = wireOfCounting();
    for (auto _ : state)
    {
        KrMemoryStream in;
        in.Open(KrStreamLoad, static_cast<unsigned int>(wire.size()), wire.data());
        unsigned int sum = 0;
        for (unsigned int i = 0; i < kValues; ++i)
        {
            unsigned int value = 0;
            in >> value;
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
        if (in.GetStatus() != KrStreamOK) state.SkipWithError("load failed");
    }
}
void LoadSum_InlineLoop(benchmark::State& state)
{
    const std::vector<unsigned char> wire = wireOfCounting();
    for (auto _ : state)
    {
        const unsigned char* p = wire.data();
        const unsigned char* const end = p + wire.size();
        unsigned int sum = 0;
        for (unsigned int i = 0; i < kValues; ++i)
        {
            if (end - p < 4) throw std::runtime_error("short data");
            sum += p[0] | p[1] << 8 | p[2] << 16 | static_cast<unsigned int>(p[3]) << 24;
            p += 4;
        }
        benchmark::DoNotOptimize(sum);
    }
}

void BulkSave_ZoBase(benchmark::State& state)
{
    const std::vector<unsigned int> values(kValues, 7);
    std::vector<unsigned char> target(kValues * 4ull, 1);
    for (auto _ : state)
    {
        KrMemoryStream out;
        out.Open(KrStreamSave, static_cast<unsigned int>(target.size()), target.data());
        out.Save(values.data(), kValues);
        benchmark::DoNotOptimize(target.data());
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * target.size());
}
void BulkSave_Memcpy(benchmark::State& state)
{
    const std::vector<unsigned int> values(kValues, 7);
    std::vector<unsigned char> target(kValues * 4ull, 1);
    for (auto _ : state)
    {
        std::memcpy(target.data(), values.data(), target.size());
        benchmark::DoNotOptimize(target.data());
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * target.size());
}

std::string benchFile(const char* name)
{
    return (std::filesystem::temp_directory_path() / name).string();
}

std::FILE* openUnbuffered(const std::string& path, const char* mode)
{
    std::FILE* file = std::fopen(path.c_str(), mode);
    if (file != nullptr) std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

// Starts each write from a missing file, so neither side pays for truncating the last one.
void removeUntimed(benchmark::State& state, const std::string& path)
{
    state.PauseTiming();
    std::filesystem::remove(path);
    state.ResumeTiming();
}

void FileWrite_ZoBase(benchmark::State& state)
{
    const std::string path = benchFile("KrStreamBench-zobase.bin");
    const std::vector<unsigned char> block(kBlock, 0x5A);
    for (auto _ : state)
    {
        removeUntimed(state, path);
        KrFileStream out;
        out.Open(path.c_str(), KrStreamSave, kFileCache);
        for (unsigned int i = 0; i < kFileBlocks; ++i) out.Save(block.data(), kBlock);
        if (!out.Close()) state.SkipWithError("write failed");
    }
    std::filesystem::remove(path);
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * kBlock * kFileBlocks);
}
void FileWrite_RawIO(benchmark::State& state)
{
    const std::string path = benchFile("KrStreamBench-raw.bin");
    const std::vector<unsigned char> block(kBlock, 0x5A);
    for (auto _ : state)
    {
        removeUntimed(state, path);
        std::FILE* file = openUnbuffered(path, "wb");
        for (unsigned int i = 0; i < kFileBlocks; ++i) std::fwrite(block.data(), 1, kBlock, file);
        if (std::fclose(file) != 0) state.SkipWithError("write failed");
    }
    std::filesystem::remove(path);
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * kBlock * kFileBlocks);
}

// Both readers read the same file, written once beforehand.
std::string readableFile()
{
    const std::string path = benchFile("KrStreamBench-read.bin");
    if (std::filesystem::exists(path) &&
        std::filesystem::file_size(path) == 1ull * kBlock * kFileBlocks)
        return path;
    KrFileStream out;
    out.Open(path.c_str(), KrStreamSave, kFileCache);
    const std::vector<unsigned char> block(kBlock, 0xA5);
    for (unsigned int i = 0; i < kFileBlocks; ++i) out.Save(block.data(), kBlock);
    out.Close();
    return path;
}

void FileRead_ZoBase(benchmark::State& state)
{
    const std::string path = readableFile();
    std::vector<unsigned char> block(kBlock);
    for (auto _ : state)
    {
        KrFileStream in;
        in.Open(path.c_str(), KrStreamLoad, kFileCache);
        for (unsigned int i = 0; i < kFileBlocks; ++i) in.Load(block.data(), kBlock);
        if (in.GetStatus() != KrStreamOK) state.SkipWithError("read failed");
        benchmark::DoNotOptimize(block.data());
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * kBlock * kFileBlocks);
}
void FileRead_RawIO(benchmark::State& state)
{
    const std::string path = readableFile();
    std::vector<unsigned char> block(kBlock);
    for (auto _ : state)
    {
        std::FILE* file = openUnbuffered(path, "rb");
        size_t total = 0;
        for (unsigned int i = 0; i < kFileBlocks; ++i)
            total += std::fread(block.data(), 1, kBlock, file);
        std::fclose(file);
        if (total != 1ull * kBlock * kFileBlocks) state.SkipWithError("read failed");
        benchmark::DoNotOptimize(block.data());
    }
    state.SetBytesProcessed(static_cast<long long>(state.iterations()) * kBlock * kFileBlocks);
}

// The last reader removes the shared file.
void FileRead_Cleanup(benchmark::State& state)
{
    for (auto _ : state) std::filesystem::remove(benchFile("KrStreamBench-read.bin"));
}

}  // namespace

BENCHMARK(SaveUInt_ZoBase)->Name("SaveUInt/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(SaveUInt_Vector)->Name("SaveUInt/Vector")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadUInt_ZoBase)->Name("LoadUInt/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadUInt_Vector)->Name("LoadUInt/Vector")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadSum_ZoBase)->Name("LoadSum/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadSum_InlineLoop)->Name("LoadSum/InlineLoop")->Unit(benchmark::kMillisecond);
BENCHMARK(BulkSave_ZoBase)->Name("BulkSave/ZoBase")->Unit(benchmark::kMillisecond);
BENCHMARK(BulkSave_Memcpy)->Name("BulkSave/Memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(FileWrite_ZoBase)->Name("FileWrite/ZoBase")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(FileWrite_RawIO)->Name("FileWrite/RawIO")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(FileRead_ZoBase)->Name("FileRead/ZoBase")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(FileRead_RawIO)->Name("FileRead/RawIO")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(FileRead_Cleanup)->Name("FileReadCleanup")->Iterations(1);
