#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "Base/ZoBase.h"
#include "ScratchDir.h"

using namespace KRN;

// Cancellation unwinds a thread from inside the signal that interrupts its sleep. The
// sanitizers do not follow that: ThreadSanitizer stops recording the thread's later lock
// operations (false races), AddressSanitizer fails its own stack check. The plain build runs
// these tests.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define KRN_UNDER_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define KRN_UNDER_SANITIZER
#endif
#endif
#ifdef KRN_UNDER_SANITIZER
#define SKIP_UNDER_SANITIZER() GTEST_SKIP() << "cancellation is not followed by the sanitizers"
#else
#define SKIP_UNDER_SANITIZER() (void)0
#endif

namespace
{

unsigned int kernelId()
{
    return static_cast<unsigned int>(::syscall(SYS_gettid));
}

// What another thread sees of the mutex.
unsigned char lockedFromAnotherThread(KrMutex& mutex)
{
    unsigned char result = 2;
    std::thread([&] { result = mutex.locked(); }).join();
    return result;
}

unsigned int nsFromNow(unsigned int ns)
{
    return static_cast<unsigned int>(KrThread::time()) + ns;
}

long long msSince(std::chrono::steady_clock::time_point start)
{
    return (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
}

// Waits, ten seconds at most, until a thread of this process is in the scheduler state given
// ('S': blocked), or with 0 until it is gone.
void waitForState(unsigned int id, char state)
{
    for (const auto start = std::chrono::steady_clock::now(); msSince(start) < 10000;
         std::this_thread::yield())
    {
        std::string stat;  // empty once the thread is gone, also when it goes while being read
        try
        {
            stat = readFile("/proc/self/task/" + std::to_string(id) + "/stat");
        }
        catch (const std::exception&)
        {
        }
        const size_t name = stat.rfind(')');
        if ((name == std::string::npos || name + 2 >= stat.size() ? 0 : stat[name + 2]) == state)
            return;
    }
    ADD_FAILURE() << "thread " << id << " never reached state '" << state << "'";
}

// A thread whose body is a function of the test, held at its start until released.
class TestThread : public KrThread
{
public:
    explicit TestThread(std::function<int()> body) : m_body(std::move(body)) {}
    ~TestThread() override { join(); }

    KrSemaphore go{0};
    std::atomic<KrThread*> seenSelf{nullptr};
    std::atomic<unsigned int> seenId{0};

protected:
    int run() override
    {
        seenSelf = self();
        seenId = GetCurrentThreadId();
        go.wait();
        return m_body();
    }

private:
    std::function<int()> m_body;
};

// Joins the thread while another lets its body go once the join is blocked; gives the exit
// code the join read.
int joinWhileRunning(TestThread& thread, int posts = 1)
{
    const unsigned int joiner = kernelId();
    std::thread release(
        [&thread, joiner, posts]
        {
            waitForState(joiner, 'S');
            for (int i = 0; i < posts; ++i) thread.go.post();
        });
    int code = 0;
    EXPECT_EQ(thread.join(code), 1);
    release.join();
    return code;
}

}  // namespace

// locked() tells whether the caller could take the mutex; the mutex is always recursive. The
// two-step guard releases on destruction whether or not it locked.
TEST(KrMutexTest, RecursiveLockedMeansCouldTakeAndTheGuardAlwaysReleases)
{
    for (unsigned char argument : {0, 1})
    {
        KrMutex mutex(argument);
        EXPECT_EQ(mutex.locked(), 1);  // free
        mutex.lock();
        EXPECT_EQ(mutex.trylock(), 1);
        EXPECT_EQ(mutex.locked(), 1);  // held by the calling thread
        mutex.unlock();
        EXPECT_EQ(lockedFromAnotherThread(mutex), 0) << "one hold left";
        {
            KrMutexLock guard(mutex);  // never locked: gives up the hold taken without it
        }
        EXPECT_EQ(lockedFromAnotherThread(mutex), 1);
        {
            KrMutexLock guard(mutex);
            guard.lock();
            EXPECT_EQ(lockedFromAnotherThread(mutex), 0);
        }
        EXPECT_EQ(lockedFromAnotherThread(mutex), 1);
    }
}

TEST(KrReadWriteLockTest, WriterWaitsForTheLastReaderWhicheverThreadItIs)
{
    KrReadWriteLock rw;
    rw.readLock();
    std::thread([&] { EXPECT_EQ(rw.tryReadLock(), 1); }).join();  // a second reader enters
    EXPECT_EQ(rw.tryWriteLock(), 0);
    rw.readUnlock();
    EXPECT_EQ(rw.tryWriteLock(), 0);
    // The reader that took the resource lock is gone; the last one out releases it elsewhere.
    std::thread([&] { rw.readUnlock(); }).join();
    EXPECT_EQ(rw.tryWriteLock(), 1);
    EXPECT_EQ(rw.tryReadLock(), 0);
    EXPECT_EQ(rw.tryWriteLock(), 0);
    rw.writeUnlock();
    EXPECT_EQ(rw.tryReadLock(), 1);
    rw.readUnlock();
}

TEST(KrSemaphoreTest, CountsUnitsAndRefusesAnImpossibleCount)
{
    KrSemaphore two(2);
    EXPECT_EQ(two.trywait() + two.trywait(), 2);
    EXPECT_EQ(two.trywait(), 0);
    two.post();
    two.wait();
    EXPECT_EQ(two.trywait(), 0);

    KrSemaphore broken(-1);  // never created: waits return at once, nothing is counted
    broken.wait();
    broken.post();
    EXPECT_EQ(broken.trywait(), 0);
}

TEST(KrConditionTest, LostSignalTimesOutAndAPastDeadlineWrapsToALongWait)
{
    KrCondition condition;
    KrMutex mutex;
    condition.signal();
    condition.broadcast();
    mutex.lock();
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(condition.wait(mutex, nsFromNow(60000000)), 0);
    EXPECT_GE(msSince(start), 55);
    EXPECT_EQ(mutex.locked(), 1);
    mutex.unlock();
    EXPECT_EQ(lockedFromAnotherThread(mutex), 1);  // the wait took the mutex back once only

    std::atomic<bool> waiting{false};
    std::thread signaller(
        [&]
        {
            while (!waiting) std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::milliseconds(150));  // the measured wait
            mutex.lock();  // the waiter is inside wait once the mutex is free
            condition.signal();
            mutex.unlock();
        });
    mutex.lock();
    waiting = true;
    start = std::chrono::steady_clock::now();
    // One millisecond ago: the unsigned difference is about 4.29 s, not a time-out.
    EXPECT_EQ(condition.wait(mutex, nsFromNow(0u - 1000000u)), 1);
    EXPECT_GE(msSince(start), 140);
    mutex.unlock();
    signaller.join();
}

TEST(KrThreadTest, SleepsWholeMillisecondsAndTellsNanosecondsSince1970)
{
    for (const auto& [ns, minMs, maxMs] :
         {std::tuple<unsigned int, long long, long long>{0, 0, 1000},
          {999999, 0, 1000},
          {30000000, 30, 2000}})
    {
        const auto start = std::chrono::steady_clock::now();
        KrThread::sleep(ns);
        EXPECT_GE(msSince(start), minMs) << ns;
        EXPECT_LE(msSince(start), maxMs) << ns;
    }
    const auto start = std::chrono::steady_clock::now();
    KrThread::wakeat(nsFromNow(40000000));
    EXPECT_GE(msSince(start), 35);
    KrThread::yield();

    const long long oracle = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
    const long long ours = static_cast<long long>(KrThread::time());
    EXPECT_LT(std::llabs(ours - oracle), 1000000000LL);
    EXPECT_EQ(ours % 100, 0);  // 100-ns units underneath
    EXPECT_EQ(KrThread::current(), kernelId());
    EXPECT_EQ(KrThread::GetCurrentThreadId(), kernelId());
}

// Return, exception and exit all give join an exit code while the thread is still attached.
TEST(KrThreadTest, JoinReadsTheExitCodeOfARunningThread)
{
    TestThread returning([] { return 42; });
    TestThread throwing([]() -> int { throw std::runtime_error("body failed"); });
    TestThread exiting(
        []() -> int
        {
            KrThread::exit(9);
            return 1;
        });
    for (auto [thread, expected] :
         {std::pair<TestThread*, int>{&returning, 42}, {&throwing, -1}, {&exiting, 9}})
    {
        EXPECT_EQ(thread->running(), 0);
        ASSERT_EQ(thread->start(1 << 20), 1);
        EXPECT_EQ(thread->running(), 1);
        EXPECT_EQ(thread->detach(), 1);  // detaches nothing
        EXPECT_EQ(thread->running(), 1);
        EXPECT_EQ(joinWhileRunning(*thread), expected);
        EXPECT_EQ(thread->seenSelf.load(), thread);
        EXPECT_NE(thread->seenId.load(), KrThread::current());
        EXPECT_EQ(thread->running(), 0);
        EXPECT_EQ(thread->join(), 0);
    }
    EXPECT_EQ(KrThread::self(), nullptr);
}

TEST(KrThreadTest, NoThreadOrOneThatEndedOnItsOwnMeansFalse)
{
    TestThread idle([] { return 0; });
    int code = 3;
    EXPECT_EQ(
        idle.join(code) + idle.join() + idle.cancel() + idle.priority(KrThread::PriorityNormal), 0);
    EXPECT_EQ(code, 3);
    EXPECT_EQ(idle.priority(), -1);
    EXPECT_EQ(idle.policy(KrThread::PolicyDefault), 1);
    EXPECT_EQ(idle.policy(), KrThread::PolicyDefault);

    TestThread ended([] { return 7; });
    ended.start();
    ended.go.post();
    while (ended.running()) std::this_thread::yield();
    EXPECT_EQ(ended.join(code) + ended.cancel(), 0);
    EXPECT_EQ(code, 3);
}

TEST(KrThreadTest, PrioritiesMapToNiceValues)
{
    TestThread thread([] { return 0; });
    thread.start();
    while (thread.seenId.load() == 0) KrThread::yield();
    const unsigned int id = thread.seenId.load();
    // Set, nice value, read back. 19 -> lower again needs privilege, as does every raise.
    // clang-format off
    const std::tuple<KrThread::Priority, int, int> cases[] = {
        {KrThread::PriorityIdle, 19, KrThread::PriorityIdle},
        {KrThread::PriorityBelowNormal, 5, KrThread::PriorityBelowNormal},
        {KrThread::PriorityNormal, 0, KrThread::PriorityNormal},
        {KrThread::PriorityAboveNormal, -5, KrThread::PriorityAboveNormal},
        {KrThread::PriorityHighest, -10, KrThread::PriorityHighest},
        {KrThread::PriorityOther, 0, KrThread::PriorityNormal},
        {static_cast<KrThread::Priority>(17), 0, KrThread::PriorityNormal}};
    // clang-format on
    for (const auto& [set, nice, readBack] : cases)
    {
        const unsigned char ok = thread.priority(set);
        if (geteuid() != 0 && !ok) continue;
        ASSERT_EQ(ok, 1) << set;
        EXPECT_EQ(getpriority(PRIO_PROCESS, id), nice) << set;
        EXPECT_EQ(thread.priority(), readBack) << set;
    }
    setpriority(PRIO_PROCESS, id, 10);  // set by other means, not in the table
    EXPECT_EQ(thread.priority(), KrThread::PriorityOther);
    thread.go.post();
}

TEST(KrThreadTest, SecondStartAttachesTheNewThread)
{
    std::atomic<int> runs{0};
    std::atomic<unsigned int> ids[2] = {0, 0};
    TestThread thread(
        [&]
        {
            const int run = ++runs;
            ids[run - 1] = KrThread::current();
            return run;
        });
    ASSERT_EQ(thread.start(), 1);
    ASSERT_EQ(thread.start(), 1);
    const int code = joinWhileRunning(thread, 2);
    EXPECT_TRUE(code == 1 || code == 2) << code;
    while (runs.load() < 2 || ids[2 - code] == 0) KrThread::yield();
    waitForState(ids[2 - code],
                 0);  // the unattached thread has left its body before the object goes
}

namespace
{

// A thread that is not joined before its KrThread goes: the base destructor terminates it.
class Looper : public KrThread
{
public:
    Looper(KrMutex& guarded, KrMutex& bare, std::atomic<bool>& unwound)
        : m_guarded(guarded), m_bare(bare), m_unwound(unwound)
    {
    }
    std::atomic<unsigned int> inside{0};

protected:
    int run() override
    {
        struct Witness
        {
            std::atomic<bool>& flag;
            ~Witness() { flag = true; }
        } witness{m_unwound};
        KrMutexLock guard(m_guarded);
        guard.lock();
        m_bare.lock();
        inside = current();
        sleep(4294967295u);  // the longest sleep: 4294 ms
        return 1;
    }

private:
    KrMutex& m_guarded;
    KrMutex& m_bare;
    std::atomic<bool>& m_unwound;
};

}  // namespace

// Termination (cancel or the destructor) ends even the longest sleep at once and unwinds.
TEST(KrThreadTest, TerminationEndsASleepUnwindsAndLeavesBareLocksHeld)
{
    SKIP_UNDER_SANITIZER();
    KrMutex guarded, bare[2];
    std::atomic<bool> unwound[2] = {false, false};
    for (bool viaDestructor : {true, false})
    {
        auto looper =
            std::make_unique<Looper>(guarded, bare[viaDestructor], unwound[viaDestructor]);
        ASSERT_EQ(looper->start(), 1);
        while (!looper->inside) KrThread::yield();
        const unsigned int id = looper->inside;
        waitForState(id, 'S');
        EXPECT_EQ(looper->running(), 1);
        const auto start = std::chrono::steady_clock::now();
        if (viaDestructor)
            looper.reset();
        else
            EXPECT_EQ(looper->cancel(), 1);
        EXPECT_TRUE(!looper || looper->running() == 0);
        waitForState(id, 0);
        EXPECT_LT(msSince(start), 1000);
        EXPECT_TRUE(unwound[viaDestructor]);
        EXPECT_EQ(guarded.locked(), 1) << "the guard's destructor ran";
        EXPECT_EQ(bare[viaDestructor].locked(), 0) << "a bare lock of the ended thread stays held";
    }
    // The process goes on: new threads run, other locks work.
    TestThread after([] { return 5; });
    after.start();
    EXPECT_EQ(joinWhileRunning(after), 5);
}
