#include <gtest/gtest.h>

#include <atomic>

#include "Base/ZoBase.h"
#include "RunThreads.h"

using namespace KRN;

namespace
{

std::atomic<int> g_inside{0}, g_overlaps{0};

// Written only by its thread's callback, under the progress lock.
struct Listener
{
    unsigned int threadId = 0;
    int reports = 0, faults = 0, lastPos = -1;
};

void listen(void* userData, const char*, const char*, int pos, const char*, unsigned char&)
{
    g_overlaps += ++g_inside != 1;
    Listener& listener = *static_cast<Listener*>(userData);
    listener.faults +=
        listener.threadId != KrThread::GetCurrentThreadId() || pos <= listener.lastPos;
    listener.lastPos = pos;
    ++listener.reports;
    --g_inside;
}

}  // namespace

// Each thread registers its own callback and reports 0..100 in a nested range: every report
// lands in that thread's callback, in order, and no two callbacks ever run at once. A thread
// without a callback reports to nobody.
TEST(KrProgressThreadTest, ThreadsReachOnlyTheirOwnCallbacks)
{
    struct ShowProgress
    {
        KrString saved = KrRegistry::Root().Value("ShowProgress");
        ShowProgress() { KrRegistry::Root().SetValue("ShowProgress", "true"); }
        ~ShowProgress() { KrRegistry::Root().SetValue("ShowProgress", saved); }
    } show;
    constexpr int kThreads = 8;
    std::vector<Listener> listeners(kThreads + 1);
    runThreads(kThreads + 1,
               [&listeners](int t)
               {
                   Listener& mine = listeners[static_cast<size_t>(t)];
                   mine.threadId = KrThread::GetCurrentThreadId();
                   if (t < kThreads) KrProgress::SetProgressProc(&listen, &mine);
                   for (int round = 0; round < 5; ++round, mine.lastPos = -1)
                   {
                       KrProgress progress;
                       progress.PushPosRange();
                       progress.SetBothPosRange(0, 100);
                       for (int pos = 0; pos <= 100; ++pos)
                           mine.faults += progress.SetProgressPos(pos) != pos - 1;
                   }
                   KrProgress::SetProgressProc(nullptr, nullptr);  // thread ids are reused later
               });
    EXPECT_EQ(g_overlaps.load(), 0);
    for (const Listener& listener : listeners)
    {
        EXPECT_EQ(listener.reports, &listener == &listeners.back() ? 0 : 5 * 101);
        EXPECT_EQ(listener.faults, 0);
    }
}
