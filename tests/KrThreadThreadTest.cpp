#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Base/ZoBase.h"
#include "RunThreads.h"

using namespace KRN;

const auto nsFromNow = [](unsigned int ns)
{ return static_cast<unsigned int>(KrThread::time()) + ns; };

// Eight threads at once: the recursive mutex guards a plain counter; writers and readers, some
// trying and some waiting, share the read-write lock; four producers post units that four
// consumers take, some trying and some waiting, through a gate that lets three in at once.
TEST(KrLockThreadTest, LocksExcludeAndSemaphoreUnitsAreNeitherLostNorDuplicated)
{
    KrReadWriteLock rw;
    KrMutex mutex;
    KrSemaphore units(3), gate(3);
    std::atomic<int> readers{0}, writers{0}, violations{0}, writes{0}, inside{0};
    int shared = 0;  // written by writers only, read by readers: TSan checks the exclusion
    long long counter = 0;
    runThreads(8,
               [&](int t)
               {
                   for (int i = 0; i < 2000; ++i)
                   {
                       KrMutexGuard guard(mutex);
                       KrMutexGuard again(mutex);  // the same thread takes it twice
                       ++counter;
                   }
                   for (int i = 0; i < 300; ++i)
                   {
                       const bool attempt = i % 3 == 0;
                       if ((i + t) % 4 == 0)
                       {
                           if (attempt ? !rw.tryWriteLock() : (rw.writeLock(), false)) continue;
                           if (++writers != 1 || readers != 0) ++violations;
                           ++shared, ++writes, --writers;  // in this order
                           rw.writeUnlock();
                           continue;
                       }
                       if (attempt ? !rw.tryReadLock() : (rw.readLock(), false)) continue;
                       ++readers;
                       if (writers != 0 || shared > writes) ++violations;
                       --readers;
                       rw.readUnlock();
                   }
                   for (int i = 0; i < 400 && t < 4; ++i) units.post();
                   for (int i = 0; i < 400 && t >= 4; ++i)
                   {
                       if (i % 2 == 0 || !units.trywait()) units.wait();
                       gate.wait();
                       if (++inside > 3) ++violations;
                       --inside;
                       gate.post();
                   }
               });
    EXPECT_EQ(counter, 8 * 2000);
    EXPECT_EQ(violations.load(), 0);
    EXPECT_EQ(shared, writes.load());
    EXPECT_EQ(rw.tryWriteLock(), 1);  // everything was released, by whichever thread
    rw.writeUnlock();
    // The three initial units are left, no more.
    EXPECT_EQ(units.trywait() + units.trywait() + units.trywait() + units.trywait(), 3);
}

// Once every waiter has counted itself in under the mutex, each has also been counted by the
// condition: the count rises before wait releases the mutex. The main thread's own timed waits
// show that a signal is used up by the one waiter it wakes and a broadcast closes again behind
// the last; during the first, a wrongly woken second waiter has time to count itself.
TEST(KrConditionThreadTest, SignalWakesOneWaiterBroadcastAllResetsItselfAndPingPongs)
{
    KrCondition condition;
    KrMutex mutex;
    int ready = 0;  // under mutex
    std::atomic<int> woken{0};
    const auto underMutex = [&](auto f)
    {
        KrMutexGuard hold(mutex);
        return f();
    };
    std::thread waiters(
        [&]
        {
            runThreads(4,
                       [&](int)
                       {
                           KrMutexGuard hold(mutex);
                           ++ready;
                           condition.wait(mutex);
                           ++woken;
                       });
        });
    while (!underMutex([&] { return ready == 4; })) std::this_thread::yield();
    condition.signal();
    while (woken.load() == 0) std::this_thread::yield();
    const auto timedWait = [&]
    { return underMutex([&] { return condition.wait(mutex, nsFromNow(30000000)); }); };
    EXPECT_EQ(timedWait(), 0);
    EXPECT_EQ(woken.load(), 1);
    condition.broadcast();
    waiters.join();
    EXPECT_EQ(woken.load(), 4);
    EXPECT_EQ(timedWait(), 0);

    // Ping-pong with one condition per direction: a player never waits on the condition it
    // signals, so it cannot take its own signal, and each signal finds the other player counted
    // in as a waiter.
    KrCondition turn[2];
    int value = 0;  // even: player 0 moves; odd: player 1
    std::atomic<int> timeouts{0};
    runThreads(2,
               [&](int parity)
               {
                   KrMutexGuard hold(mutex);
                   while (value < 1000)
                   {
                       if (value % 2 == parity)
                           ++value, turn[1 - parity].signal();
                       else if (!turn[parity].wait(mutex, nsFromNow(2000000000u)))
                           ++timeouts;
                   }
                   turn[1 - parity].signal();
               });
    EXPECT_EQ(value, 1000);
    EXPECT_EQ(timeouts.load(), 0);
}
