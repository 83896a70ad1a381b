#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <sstream>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"
#include "RunThreads.h"

using namespace KRN;

// Every record reaches the file whole and the ring once, whatever the interleaving.
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

    // Each line as it was written, once, with its line end's '\r'.
    std::multiset<std::string> expected, lines, inRing;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kRecords; ++i) expected.insert("<" + message(t, i) + ">\r");
    std::istringstream text(readFile(sandbox.path("threads.log")));
    for (std::string line; std::getline(text, line);) lines.insert(line);
    EXPECT_EQ(lines, expected);
    KrArray<KrLogItem> items;
    log.Query(KrLogTest::everyLevel(), items);
    for (const KrLogItem& item : items) inRing.insert("<" + std::string(item.m_strMessage) + ">\r");
    EXPECT_EQ(inRing, expected);
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
    // Thread 0 changes, threads 1 to 3 write, thread 4 reads.
    runThreads(5,
               [&](int t)
               {
                   for (int round = 0; t == 0 && round < 300; ++round)
                   {
                       log.SetLogFormat(round % 2 ? "%MSG" : "%LEVEL %MSG %THREADID");
                       log.SetLevel(round % 3 ? KrLogFile::LogDebug : KrLogFile::LogError);
                       log.SetDateTimeFormat(round % 2 ? "%H" : "%Y");
                       log.SetFileSizeLimit(round % 5 ? 0 : 4096, KrLogFile::SizeRolling);
                       log.SetQueryMaxNum(100 + round);
                       errors.SetCapacity(4 + round % 20);
                       if (round % 50 == 0) errors.Clear();
                   }
                   if (t == 0) stop = true;
                   KrString dump;
                   for (int i = 0; !stop.load(); ++i)
                   {
                       if (t < 4)
                           log.RecordLog(t % 2 ? KrLogFile::LogError : KrLogFile::LogWarning,
                                         t * 1000000 + i, "failed", "e.cpp", i);
                       if (t < 4) continue;
                       errors.Dump(dump, 1);
                       const KrErrorObj::ErrorInfo last = errors.GetLast(0);
                       // An entry is whole: its message and file come with it.
                       EXPECT_TRUE(last.nErrorCode == 0 ||
                                   std::string(last.strMessage) + last.strCodeFile.Cstr() ==
                                       "failede.cpp");
                   }
               });
    EXPECT_TRUE(log.IsOpen());
    errors.Clear();
    log.RecordLog(KrLogFile::LogError, 7, "after", "e.cpp", 1);
    EXPECT_EQ(errors.GetCount(), 1);
    EXPECT_EQ(errors.GetLast(0).strMessage, "after");
}
