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
#include "RunThreads.h"

using namespace KRN;

TEST(KrLogFileThreadTest, EightThreadsLoseAndTearNoRecord)
{
    KrLogTest::LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    constexpr int kThreads = 8, kRecords = 50000;
    ASSERT_TRUE(log.Open(sandbox.path("threads.log").c_str(), 0, KrLogFile::ModeText));
    log.SetLogFormat("<%MSG>");
    log.SetQueryMaxNum(kThreads * kRecords);
    log.SetFilterRepeat(0);  // a hash collision must not drop a distinct record here
    const auto message = [](int t, int i)
    { return std::to_string(t) + ":" + std::to_string(i) + std::string(t * 7, 'p'); };
    std::atomic<int> accepted{0};
    runThreads(kThreads,
               [&](int t)
               {
                   for (int i = 0; i < kRecords; ++i)
                       accepted +=
                           log.RecordLog(KrLogFile::LogInfo, i, message(t, i).c_str(), "t.cpp", t);
               });
    EXPECT_EQ(accepted.load(), kThreads * kRecords);

    std::set<std::string> expected, inFile, inRing;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kRecords; ++i) expected.insert(message(t, i));
    const std::vector<std::string> lines =
        KrLogTest::splitOn(readFile(sandbox.path("threads.log")), "\r\n");
    ASSERT_EQ(lines.size(), expected.size() + 1);  // the text ends with a line end
    for (size_t i = 0; i + 1 < lines.size(); ++i)
    {
        ASSERT_TRUE(lines[i].size() > 2 && lines[i].front() == '<' && lines[i].back() == '>')
            << lines[i];
        inFile.insert(lines[i].substr(1, lines[i].size() - 2));
    }
    EXPECT_EQ(inFile, expected);
    KrLogQueryDef all;
    all.m_nMinLevel = KrLogFile::LogDebug;
    KrArray<KrLogItem> items;
    ASSERT_EQ(log.Query(all, items), kThreads * kRecords);
    for (int i = 0; i < items.GetSize(); ++i) inRing.insert(items[i].m_strMessage);
    EXPECT_EQ(inRing, expected);
}

TEST(KrLogFileThreadTest, ErrorsFromSeveralThreadsKeepTheirThreadIds)
{
    KrLogTest::LogSandbox sandbox;
    ASSERT_TRUE(sandbox.log().Open(KrLogFile::ModeMemory));
    KrErrorObj& errors = KrErrorObj::GetInstance();
    errors.SetCapacity(64);
    constexpr int kThreads = 6;
    std::vector<unsigned int> ids(kThreads);
    std::vector<KrErrorObj::ErrorInfo> last(kThreads);
    runThreads(kThreads,
               [&](int t)
               {
                   ids[t] = static_cast<unsigned int>(::syscall(SYS_gettid));
                   for (int i = 0; i < 5; ++i)
                       KrLogFile::GetInstance(true).RecordLog(KrLogFile::LogError, 1000 * t + i,
                                                              "failure", "e.cpp", i);
                   last[t] = errors.GetLast(1);
               });
    for (int t = 0; t < kThreads; ++t)
    {
        EXPECT_EQ(last[t].nThreadID, ids[t]);
        EXPECT_EQ(last[t].nErrorCode, static_cast<unsigned int>(1000 * t + 4));
    }
    EXPECT_EQ(errors.GetCount(), kThreads * 5);
}

// Writers log warnings and errors, a reader dumps the error stack, while the main thread
// changes the log's settings and the stack's capacity.
TEST(KrLogFileThreadTest, SettingsAndErrorStackChangeWhileOtherThreadsLog)
{
    KrLogTest::LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    KrErrorObj& errors = KrErrorObj::GetInstance();
    ASSERT_TRUE(log.Open(sandbox.path("busy.log").c_str(), 0, KrLogFile::ModeText));
    std::atomic<bool> stop{false};
    std::thread changer(
        [&]
        {
            for (int round = 0; round < 300; ++round)
            {
                log.SetLogFormat(round % 2 ? "%MSG" : "%LEVEL %MSG %THREADID");
                log.SetLevel(round % 3 ? KrLogFile::LogDebug : KrLogFile::LogError);
                log.SetDateTimeFormat(round % 2 ? "%H" : "%Y");
                log.SetFileSizeLimit(round % 5 ? 0 : 4096, KrLogFile::SizeRolling);
                log.SetQueryMaxNum(100 + round);
                errors.SetCapacity(4 + round % 20);
                if (round % 50 == 0) errors.Clear();
            }
            stop = true;
        });
    runThreads(4,
               [&](int t)
               {
                   KrString dump;
                   for (int i = 0; !stop.load(); ++i)
                   {
                       if (t < 3)
                           log.RecordLog(t % 2 ? KrLogFile::LogError : KrLogFile::LogWarning,
                                         t * 1000000 + i, "failed", "e.cpp", i);
                       if (t < 3) continue;
                       errors.Dump(dump, 1);
                       const KrErrorObj::ErrorInfo last = errors.GetLast(0);
                       // An entry is whole: its message and file come with it.
                       EXPECT_TRUE(last.nErrorCode == 0 ||
                                   std::string(last.strMessage) + last.strCodeFile.Cstr() ==
                                       "failede.cpp");
                   }
               });
    changer.join();
    EXPECT_TRUE(log.IsOpen());
    errors.Clear();
    log.RecordLog(KrLogFile::LogError, 7, "after", "e.cpp", 1);
    EXPECT_EQ(errors.GetCount(), 1);
    EXPECT_EQ(errors.GetLast(0).strMessage, "after");
}
