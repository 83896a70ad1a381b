#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"

using namespace KRN;
using KrLogTest::LogSandbox;

TEST(KrLogFileThreadTest, EightThreadsLoseAndTearNoRecord)
{
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    constexpr int kThreads = 8;
    constexpr int kRecords = 50000;
    ASSERT_TRUE(log.Open(sandbox.path("threads.log").c_str(), 0, KrLogFile::ModeText));
    log.SetLogFormat("<%MSG>");
    log.SetQueryMaxNum(kThreads * kRecords);
    log.SetFilterRepeat(0);  // a hash collision must not drop a distinct record here
    std::atomic<int> accepted{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&log, &accepted, t]
            {
                const std::string padding(t * 7, 'p');
                for (int i = 0; i < kRecords; ++i)
                {
                    const std::string message =
                        std::to_string(t) + ":" + std::to_string(i) + padding;
                    accepted += log.RecordLog(KrLogFile::LogInfo, i, message.c_str(), "t.cpp", t);
                }
            });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(accepted.load(), kThreads * kRecords);

    std::set<std::string> expected;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kRecords; ++i)
            expected.insert(std::to_string(t) + ":" + std::to_string(i) + std::string(t * 7, 'p'));

    const std::vector<std::string> lines =
        KrLogTest::splitOn(readFile(sandbox.path("threads.log")), "\r\n");
    ASSERT_EQ(lines.size(), expected.size() + 1);  // the text ends with a line end
    std::set<std::string> inFile;
    for (size_t i = 0; i + 1 < lines.size(); ++i)
    {
        const std::string& line = lines[i];
        ASSERT_TRUE(line.size() > 2 && line.front() == '<' && line.back() == '>') << line;
        inFile.insert(line.substr(1, line.size() - 2));
    }
    EXPECT_EQ(inFile, expected);

    KrLogQueryDef all;
    all.m_nMinLevel = KrLogFile::LogDebug;
    KrArray<KrLogItem> items;
    ASSERT_EQ(log.Query(all, items), kThreads * kRecords);
    std::set<std::string> inRing;
    for (int i = 0; i < items.GetSize(); ++i) inRing.insert(items[i].m_strMessage);
    EXPECT_EQ(inRing, expected);
}

TEST(KrLogFileThreadTest, ErrorsFromSeveralThreadsKeepTheirThreadIds)
{
    LogSandbox sandbox;
    ASSERT_TRUE(sandbox.log().Open(KrLogFile::ModeMemory));
    KrErrorObj& errors = KrErrorObj::GetInstance();
    errors.SetCapacity(64);
    constexpr int kThreads = 6;
    std::vector<unsigned int> ids(kThreads);
    std::vector<KrErrorObj::ErrorInfo> last(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&, t]
            {
                ids[t] = static_cast<unsigned int>(::syscall(SYS_gettid));
                for (int i = 0; i < 5; ++i)
                    KrLogFile::GetInstance(true).RecordLog(KrLogFile::LogError, 1000 * t + i,
                                                           "failure", "e.cpp", i);
                last[t] = errors.GetLast(1);
            });
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t)
    {
        EXPECT_EQ(last[t].nThreadID, ids[t]);
        EXPECT_EQ(last[t].nErrorCode, static_cast<unsigned int>(1000 * t + 4));
    }
    EXPECT_EQ(errors.GetCount(), kThreads * 5);
}

TEST(KrLogFileThreadTest, SettingsChangeWhileOtherThreadsLog)
{
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    ASSERT_TRUE(log.Open(sandbox.path("busy.log").c_str(), 0, KrLogFile::ModeText));
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; !stop.load(); ++i)
                    log.RecordLog(KrLogFile::LogWarning, i, std::to_string(t * 1000000 + i).c_str(),
                                  "s.cpp", 1);
            });
    for (int round = 0; round < 200; ++round)
    {
        log.SetLogFormat(round % 2 ? "%MSG" : "%LEVEL %MSG %THREADID");
        log.SetLevel(round % 3 ? KrLogFile::LogDebug : KrLogFile::LogError);
        log.SetDateTimeFormat(round % 2 ? "%H" : "%Y");
        log.SetFileSizeLimit(round % 5 ? 0 : 4096, KrLogFile::SizeRolling);
        log.SetQueryMaxNum(100 + round);
    }
    stop = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(log.IsOpen());
}

TEST(KrLogFileThreadTest, ErrorStackReadsAndResetsRaceNoWriter)
{
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    KrErrorObj& errors = KrErrorObj::GetInstance();
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; !stop.load(); ++i)
                    log.RecordLog(KrLogFile::LogError, t * 1000000 + i, "failed", "e.cpp", i);
            });
    threads.emplace_back(
        [&]
        {
            KrString dump;
            while (!stop.load())
            {
                errors.Dump(dump, 1);
                const KrErrorObj::ErrorInfo last = errors.GetLast(0);
                // An entry is whole: its message and file come with it.
                if (last.nErrorCode != 0)
                {
                    EXPECT_EQ(last.strMessage, "failed");
                }
            }
        });
    for (int round = 0; round < 300; ++round)
    {
        errors.SetCapacity(4 + round % 20);
        if (round % 50 == 0) errors.Clear();
    }
    stop = true;
    for (std::thread& thread : threads) thread.join();
    errors.Clear();
    log.RecordLog(KrLogFile::LogError, 7, "after", "e.cpp", 1);
    EXPECT_EQ(errors.GetCount(), 1);
    EXPECT_EQ(errors.GetLast(1).strMessage, "after");
}
