#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// What another thread sees of the mutex.
unsigned char lockedFromAnotherThread(KrMutex& mutex)
{
    unsigned char result = 2;
    std::thread([&] { result = mutex.locked(); }).join();
    return result;
}

}  // namespace

TEST(KrMutexTest, LockedTellsWhetherTheCallerCouldTakeIt)
{
    KrMutex mutex;
    EXPECT_EQ(mutex.locked(), 1);  // free
    mutex.lock();
    EXPECT_EQ(mutex.locked(), 1);  // held by the calling thread
    EXPECT_EQ(lockedFromAnotherThread(mutex), 0);
    mutex.unlock();
    EXPECT_EQ(lockedFromAnotherThread(mutex), 1);
}

TEST(KrMutexTest, IsRecursiveWhateverTheArgument)
{
    for (unsigned char argument : {0, 1})
    {
        KrMutex mutex(argument);
        mutex.lock();
        EXPECT_EQ(mutex.trylock(), 1);
        mutex.unlock();
        EXPECT_EQ(lockedFromAnotherThread(mutex), 0) << "one hold left";
        mutex.unlock();
        EXPECT_EQ(lockedFromAnotherThread(mutex), 1);
    }
}

TEST(KrMutexTest, GuardReleasesOnDestructionWhetherOrNotItLocked)
{
    KrMutex mutex;
    mutex.lock();  // a hold taken without the guard...
    {
        KrMutexLock guard(mutex);
    }  // ...is given up by a guard that never locked
    EXPECT_EQ(lockedFromAnotherThread(mutex), 1);

    {
        KrMutexLock guard(mutex);  // never locked, nothing held: the release does nothing
    }
    {
        KrMutexLock guard(mutex);
        guard.lock();
        EXPECT_EQ(lockedFromAnotherThread(mutex), 0);
    }
    EXPECT_EQ(lockedFromAnotherThread(mutex), 1);
}

TEST(KrThreadIdTest, IsTheKernelIdOfTheCallingThread)
{
    const unsigned int mine = static_cast<unsigned int>(syscall(SYS_gettid));
    EXPECT_EQ(KrThread::current(), mine);
    EXPECT_EQ(KrThread::GetCurrentThreadId(), mine);
    unsigned int other = 0, otherOracle = 0;
    std::thread(
        [&]
        {
            other = KrThread::GetCurrentThreadId();
            otherOracle = static_cast<unsigned int>(syscall(SYS_gettid));
        })
        .join();
    EXPECT_EQ(other, otherOracle);
    EXPECT_NE(other, mine);
}
