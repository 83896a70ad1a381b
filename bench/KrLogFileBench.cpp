// KrLogFile in text mode against spdlog's basic_file_sink_mt flushed on every record, from one
// and from two threads: one record is one flushed write in both. Memory mode shows the cost of
// a record that touches no file.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "Base/ZoBase.h"

#ifdef ZOBASE_BENCH_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

using namespace KRN;

namespace
{

constexpr int kRecords = 1000000;

std::string scratchFile(const char* name)
{
    return (std::filesystem::temp_directory_path() / name).string();
}

const char* const kMessages[] = {"tile 12/2048/1365 rendered", "cache miss on layer roads",
                                 "projection changed to EPSG:3857", "label placement retried"};

void openText(const benchmark::State&)
{
    KrLogFile& log = KrLogFile::GetInstance(true);
    log.Close(1);
    log.Open(scratchFile("zobase_bench.log").c_str(), 0, KrLogFile::ModeText);
    log.SetLogFormat("%DATETIME [%LEVEL] %MSG");
    log.SetFilterRepeat(0);  // spdlog filters nothing either
}

void openMemory(const benchmark::State&)
{
    KrLogFile& log = KrLogFile::GetInstance(true);
    log.Close(1);
    log.Open(KrLogFile::ModeMemory);
    log.SetFilterRepeat(0);
}

void closeLog(const benchmark::State&)
{
    KrLogFile::GetInstance(true).Close(1);
    std::remove(scratchFile("zobase_bench.log").c_str());
}

void Record_ZoBase(benchmark::State& state)
{
    KrLogFile& log = KrLogFile::GetInstance(true);
    const KrString messages[4] = {kMessages[0], kMessages[1], kMessages[2], kMessages[3]};
    const KrString file(__FILE__);
    unsigned int i = 0;
    for (auto _ : state) log.RecordLog(KrLogFile::LogInfo, 0, messages[++i & 3], file, __LINE__);
    state.SetItemsProcessed(state.iterations());
}

#ifdef ZOBASE_BENCH_SPDLOG
std::shared_ptr<spdlog::logger> g_spdlog;

void openSpdlog(const benchmark::State&)
{
    auto sink =
        std::make_shared<spdlog::sinks::basic_file_sink_mt>(scratchFile("spdlog_bench.log"), true);
    g_spdlog = std::make_shared<spdlog::logger>("bench", sink);
    g_spdlog->set_pattern("%Y-%m-%d %H:%M:%S [%l] %v");
    g_spdlog->flush_on(spdlog::level::trace);
}

void closeSpdlog(const benchmark::State&)
{
    g_spdlog.reset();
    std::remove(scratchFile("spdlog_bench.log").c_str());
}

void Record_Spdlog(benchmark::State& state)
{
    spdlog::logger& log = *g_spdlog;
    unsigned int i = 0;
    for (auto _ : state) log.info(kMessages[++i & 3]);
    state.SetItemsProcessed(state.iterations());
}
#endif

}  // namespace

BENCHMARK(Record_ZoBase)
    ->Name("Text1Thread/ZoBase")
    ->Setup(openText)
    ->Teardown(closeLog)
    ->Iterations(kRecords);
BENCHMARK(Record_ZoBase)
    ->Name("Text2Threads/ZoBase")
    ->Setup(openText)
    ->Teardown(closeLog)
    ->Threads(2)
    ->Iterations(kRecords / 2);
BENCHMARK(Record_ZoBase)
    ->Name("Memory/ZoBase")
    ->Setup(openMemory)
    ->Teardown(closeLog)
    ->Iterations(kRecords);
#ifdef ZOBASE_BENCH_SPDLOG
BENCHMARK(Record_Spdlog)
    ->Name("Text1Thread/spdlog")
    ->Setup(openSpdlog)
    ->Teardown(closeSpdlog)
    ->Iterations(kRecords);
BENCHMARK(Record_Spdlog)
    ->Name("Text2Threads/spdlog")
    ->Setup(openSpdlog)
    ->Teardown(closeSpdlog)
    ->Threads(2)
    ->Iterations(kRecords / 2);
#endif
