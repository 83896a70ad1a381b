#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"

using namespace KRN;

namespace
{

// Messages of the info records, oldest first, with the tick counts moved out to ticks.
std::vector<std::string> messages(KrLogFile& log, std::vector<long>& ticks)
{
    KrLogQueryDef query;
    query.m_nMinLevel = query.m_nMaxLevel = KrLogFile::LogInfo;
    KrArray<KrLogItem> items;
    log.Query(query, items);
    std::vector<std::string> out;
    const std::regex tick("is (\\d+)");
    for (int i = items.GetSize() - 1; i >= 0; --i)
    {
        EXPECT_EQ(items[i].m_nResID, 0);
        EXPECT_NE(std::string(items[i].m_strCodeFile).find("KrEfficiency.cpp"), std::string::npos);
        const std::string text = items[i].m_strMessage;
        std::smatch match;
        if (std::regex_search(text, match, tick)) ticks.push_back(std::stol(match[1]));
        out.push_back(std::regex_replace(text, tick, "is N"));
    }
    return out;
}

std::string stretch(const char* name, const char* from, int fromLine, const char* to, int toLine)
{
    return std::string(name) + " time is N, \nfrom code file: " + from +
           "; code line: " + std::to_string(fromLine) + " \nto   code file: " + to +
           " code line: " + std::to_string(toLine) + ".";
}

}  // namespace

// Ticks are processor time: a busy scope counts, a sleeping one hardly does (the sleep is the
// wait being measured). Reports measure consecutive stretches, the first from tick zero; a
// timer moves the mark as well.
TEST(KrEfficiencyTest, TimersAndReportsMeasureProcessorTicks)
{
    KrLogTest::LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    KrEfficiency::ClearMark();
    const std::clock_t before = std::clock();
    KrEfficiency::Report("start", "here.cpp", 7);
    const std::clock_t after = std::clock();
    KrEfficiency::Begin("a.cpp", 10);
    KrEfficiency::Report("load", "b.cpp", 20);
    KrEfficiency::Report("draw", "c.cpp", 30);
    {
        KrEfficiency timer("LoadMap", "caller.cpp", 12);
        volatile double sink = 0;
        for (int i = 0; i < 200000; ++i) sink = sink + i * 0.5;
    }
    {
        KrEfficiency timer("Nap", "caller.cpp", 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    KrEfficiency::Report("after", "e.cpp", 50);
    std::vector<long> ticks;
    EXPECT_EQ(messages(log, ticks),
              (std::vector<std::string>{
                  stretch("start", "", 0, "here.cpp", 7), stretch("load", "a.cpp", 10, "b.cpp", 20),
                  stretch("draw", "b.cpp", 20, "c.cpp", 30), "fun: LoadMap 's time is N",
                  "fun: Nap 's time is N", stretch("after", "caller.cpp", 1, "e.cpp", 50)}));
    ASSERT_EQ(ticks.size(), 6u);
    // The first stretch is the whole processor time so far.
    EXPECT_TRUE(ticks[0] >= before && ticks[0] <= after) << ticks[0];
    EXPECT_GT(ticks[3], 0);
    EXPECT_LT(ticks[4], CLOCKS_PER_SEC * 3 / 20);  // 300 ms of wall time
}
