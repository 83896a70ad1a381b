#include <gtest/gtest.h>

#include <regex>
#include <string>
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
    const std::regex number("is \\d+,");
    auto withoutTicks = [&](const KrLogItem& item)
    { return std::regex_replace(std::string(item.m_strMessage), number, "is N,"); };
    EXPECT_EQ(withoutTicks(records[0]),
              "load time is N, \nfrom code file: a.cpp; code line: 10 \nto   code file: b.cpp code "
              "line: 20.");
    EXPECT_EQ(withoutTicks(records[1]),
              "draw time is N, \nfrom code file: b.cpp; code line: 20 \nto   code file: c.cpp code "
              "line: 30.");
    EXPECT_EQ(withoutTicks(records[3]),
              "after time is N, \nfrom code file: d.cpp; code line: 40 \nto   code file: e.cpp "
              "code line: 50.");
}

TEST(KrEfficiencyTest, NothingIsWrittenAboveInfo)
{
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    log.SetLevel(KrLogFile::LogWarning);
    KrEfficiency::Begin("a.cpp", 1);
    KrEfficiency::Report("x", "a.cpp", 2);
    {
        KrEfficiency timer("y", "a.cpp", 3);
    }
    EXPECT_EQ(log.GetRecordCount(), 0);
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
