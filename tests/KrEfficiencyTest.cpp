#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <regex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"

using namespace KRN;
using KrLogTest::LogSandbox;

namespace
{

std::vector<KrLogItem> infoRecords(KrLogFile& log)
{
    KrLogQueryDef query;
    query.m_nMinLevel = KrLogFile::LogInfo;
    query.m_nMaxLevel = KrLogFile::LogInfo;
    KrArray<KrLogItem> items;
    log.Query(query, items);
    std::vector<KrLogItem> oldestFirst;
    for (int i = items.GetSize() - 1; i >= 0; --i) oldestFirst.push_back(items[i]);
    return oldestFirst;
}

void burn()
{
    volatile double sink = 0;
    for (int i = 0; i < 200000; ++i) sink = sink + i * 0.5;
}

}  // namespace

TEST(KrEfficiencyTest, TimerReportsItsScopeAtInfoLevelFromThisLibrarysSource)
{
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    {
        KrEfficiency timer("LoadMap", "caller.cpp", 12);
        burn();
    }
    const std::vector<KrLogItem> records = infoRecords(log);
    ASSERT_EQ(records.size(), 1u);
    std::smatch match;
    const std::string text = records[0].m_strMessage;
    ASSERT_TRUE(std::regex_match(text, match, std::regex("fun: LoadMap 's time is (\\d+)")))
        << text;
    EXPECT_GT(std::stol(match[1]), 0);  // processor time actually spent
    EXPECT_EQ(records[0].m_nResID, 0);
    EXPECT_NE(std::string(records[0].m_strCodeFile).find("KrEfficiency.cpp"), std::string::npos);

    // Nothing is written above info.
    log.SetLevel(KrLogFile::LogWarning);
    KrEfficiency::Begin("a.cpp", 1);
    KrEfficiency::Report("x", "a.cpp", 2);
    {
        KrEfficiency timer("y", "a.cpp", 3);
    }
    EXPECT_EQ(log.GetRecordCount(), 1);
}

TEST(KrEfficiencyTest, ReportMeasuresConsecutiveStretchesBetweenMarks)
{
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    KrEfficiency::Begin("a.cpp", 10);
    KrEfficiency::Report("load", "b.cpp", 20);
    KrEfficiency::Report("draw", "c.cpp", 30);
    {
        KrEfficiency timer("scope", "d.cpp", 40);
    }  // also moves the mark
    KrEfficiency::Report("after", "e.cpp", 50);
    const std::vector<KrLogItem> records = infoRecords(log);
    ASSERT_EQ(records.size(), 4u);
    // record, name, from file and line, to file and line
    const std::vector<std::tuple<size_t, const char*, char, int, char, int>> rows = {
        {0, "load", 'a', 10, 'b', 20},
        {1, "draw", 'b', 20, 'c', 30},
        {3, "after", 'd', 40, 'e', 50}};
    for (const auto& [index, name, from, fromLine, to, toLine] : rows)
        EXPECT_EQ(std::regex_replace(std::string(records[index].m_strMessage),
                                     std::regex("is \\d+,"), "is N,"),
                  std::string(name) + " time is N, \nfrom code file: " + from +
                      ".cpp; code line: " + std::to_string(fromLine) + " \nto   code file: " + to +
                      ".cpp code line: " + std::to_string(toLine) + ".");
}

TEST(KrEfficiencyTest, FirstReportOfAProcessStartsFromTickZeroWithNoFile)
{
    // A fresh process: the threadsafe death-test style runs the statement in a new program.
    const std::string style = GTEST_FLAG_GET(death_test_style);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            KrLogFile& log = KrLogFile::GetInstance(true);
            log.Close(1);
            log.Open(KrLogFile::ModeMemory);
            KrEfficiency::Report("start", "here.cpp", 7);
            const std::vector<KrLogItem> records = infoRecords(log);
            const bool fromZero =
                records.size() == 1 &&
                std::regex_match(std::string(records[0].m_strMessage),
                                 std::regex("start time is \\d+, \nfrom code file: ; code line: 0 "
                                            "\nto   code file: here.cpp code line: 7."));
            log.Close(1);
            std::exit(fromZero ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
    GTEST_FLAG_SET(death_test_style, style);
}

TEST(KrEfficiencyTest, TimeSpentSleepingIsNotCounted)
{
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    {
        KrEfficiency timer("Nap", "caller.cpp", 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    const std::vector<KrLogItem> records = infoRecords(log);
    ASSERT_EQ(records.size(), 1u);
    std::smatch match;
    const std::string text = records[0].m_strMessage;
    ASSERT_TRUE(std::regex_match(text, match, std::regex("fun: Nap 's time is (\\d+)"))) << text;
    // 300 ms of wall time; the processor time of a sleeping thread stays far below it.
    EXPECT_LT(std::stol(match[1]), CLOCKS_PER_SEC * 3 / 20);
}
