#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

std::atomic<int> g_inside{0};
std::atomic<int> g_overlaps{0};

struct Listener
{
    unsigned int threadId = 0;
    int reports = 0;  // written only by the callback, under the progress lock
    int wrongThread = 0;
    int lastPos = -1;
    int outOfOrder = 0;
};

void listen(void* userData, const char*, const char*, int pos, const char*, unsigned char&)
{
    if (++g_inside != 1) ++g_overlaps;
    Listener& listener = *static_cast<Listener*>(userData);
    if (listener.threadId != KrThread::GetCurrentThreadId()) ++listener.wrongThread;
    if (pos <= listener.lastPos) ++listener.outOfOrder;
    listener.lastPos = pos;
    ++listener.reports;
    --g_inside;
}

}  // namespace

// Each thread registers its own callback and reports 0..100 in a nested range: every report
// lands in that thread's callback, in order, and no two callbacks ever run at once.
TEST(KrProgressThreadTest, ThreadsReachOnlyTheirOwnCallbacks)
{
    const KrString saved = KrRegistry::Root().Value("ShowProgress");
    KrRegistry::Root().SetValue("ShowProgress", "true");
    constexpr int kThreads = 8;
    std::vector<Listener> listeners(kThreads);
    std::atomic<int> unregisteredReports{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                Listener& mine = listeners[static_cast<size_t>(t)];
                mine.threadId = KrThread::GetCurrentThreadId();
                KrProgress::SetProgressProc(&listen, &mine);
                for (int round = 0; round < 5; ++round)
                {
                    KrProgress progress;
                    progress.PushPosRange();
                    progress.SetBothPosRange(0, 100);
                    for (int pos = 0; pos <= 100; ++pos) progress.SetProgressPos(pos);
                    mine.lastPos = -1;  // the next round starts at 0 again (callback idle now)
                }
                KrProgress::SetProgressProc(nullptr, nullptr);  // thread ids are reused later
            });
    }
    // A thread without a callback reports to nobody.
    threads.emplace_back(
        [&]
        {
            KrProgress progress;
            for (int pos = 0; pos <= 100; ++pos)
                if (progress.SetProgressPos(pos) != pos - 1) ++unregisteredReports;
        });
    for (std::thread& thread : threads) thread.join();
    KrRegistry::Root().SetValue("ShowProgress", saved);

    EXPECT_EQ(g_overlaps.load(), 0);
    EXPECT_EQ(unregisteredReports.load(), 0);
    for (const Listener& listener : listeners)
    {
        EXPECT_EQ(listener.reports, 5 * 101);
        EXPECT_EQ(listener.wrongThread, 0);
        EXPECT_EQ(listener.outOfOrder, 0);
    }
}
