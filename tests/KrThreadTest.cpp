#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include "Base/ZoBase.h"
#include "ScratchDir.h"

using namespace KRN;

// Cancellation unwinds a thread from inside the signal that interrupts its sleep. The
// sanitizers do not follow that: ThreadSanitizer stops recording the thread's later lock
// operations (false races), AddressSanitizer fails its own stack check. The plain build runs
// the termination test.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define KRN_UNDER_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define KRN_UNDER_SANITIZER
#endif
#endif

namespace
{

using Clock = std::chrono::steady_clock;
const auto kernelId = [] { return static_cast<unsigned int>(::syscall(SYS_gettid)); };
const auto nsFromNow = [](unsigned int ns)
{ return static_cast<unsigned int>(KrThread::time()) + ns; };
const auto msSince = [](Clock::time_point start)
{ return (Clock::now() - start) / std::chrono::milliseconds(1); };
// What another thread sees of the mutex.
const auto lockedFromAnotherThread = [](KrMutex& mutex)
{ return std::async(std::launch::async, [&] { return mutex.locked(); }).get(); };

// Waits, ten seconds at most, until a thread of this process is in the scheduler state given
// ('S': blocked), or with 0 until it is gone (its stat file reads empty then).
void waitForState(unsigned int id, char state)
{
    for (const auto start = Clock::now(); msSince(start) < 10000; std::this_thread::yield())
    {
        const std::string stat = readFile("/proc/self/task/" + std::to_string(id) + "/stat");
        if ((stat.empty() ? 0 : stat[stat.rfind(')') + 2]) == state) return;
    }
    ADD_FAILURE() << "thread " << id << " never reached state '" << state << "'";
}

// A thread whose body is a function of the test, held at its start until released. Nothing
// joins it on destruction: the base destructor terminates a thread still attached.
struct TestThread : KrThread
{
    explicit TestThread(std::function<int()> f) : body(std::move(f)) {}
    int run() override
    {
        seenSelf = self();
        seenId = GetCurrentThreadId();
        go.wait();
        return body();
    }
    std::function<int()> body;
    KrSemaphore go{0};
    std::atomic<KrThread*> seenSelf{nullptr};
    std::atomic<unsigned int> seenId{0};
};

// Joins the thread while another lets its body go once the join is blocked; gives the exit
// code the join read.
int joinWhileRunning(TestThread& thread, int posts = 1)
{
    const unsigned int joiner = kernelId();
    // Only a sleep after this flag is the join's: starting the releaser may sleep too.
    std::atomic<bool> joining{false};
    std::thread release(
        [&thread, &joining, joiner, posts]
        {
            while (!joining) std::this_thread::yield();
            waitForState(joiner, 'S');
            for (int i = 0; i < posts; ++i) thread.go.post();
        });
    int code = 0;
    joining = true;
    EXPECT_EQ(thread.join(code), 1);
    release.join();
    return code;
}

}  // namespace

// locked() tells whether the caller could take the mutex; the mutex is always recursive. The
// two-step guard releases on destruction whether or not it locked. The last reader out of the
// read-write lock frees it for a writer, whichever thread that reader is.
TEST(KrLockTest, MutexReadWriteLockSemaphoreAndConditionAlone)
{
    KrMutex mutex(0);              // asked not to be recursive, and recursive all the same
    EXPECT_EQ(mutex.locked(), 1);  // free
    mutex.lock();
    EXPECT_EQ(mutex.trylock() + mutex.locked(), 2);  // held by the calling thread
    mutex.unlock();
    EXPECT_EQ(lockedFromAnotherThread(mutex), 0) << "one hold left";
    KrMutexLock{mutex};  // never locked: gives up the hold taken without it
    EXPECT_EQ(lockedFromAnotherThread(mutex), 1);
    {
        KrMutexLock guard(mutex);
        guard.lock();
        EXPECT_EQ(lockedFromAnotherThread(mutex), 0);
    }
    EXPECT_EQ(lockedFromAnotherThread(mutex), 1);

    KrReadWriteLock rw;
    rw.readLock();
    std::thread([&] { EXPECT_EQ(rw.tryReadLock(), 1); }).join();  // a second reader enters
    EXPECT_EQ(rw.tryWriteLock(), 0);
    rw.readUnlock();
    EXPECT_EQ(rw.tryWriteLock(), 0);
    std::thread([&] { rw.readUnlock(); }).join();  // not the reader that took the resource
    EXPECT_EQ(rw.tryWriteLock(), 1);
    EXPECT_EQ(rw.tryReadLock() + rw.tryWriteLock(), 0);
    rw.writeUnlock();
    EXPECT_EQ(rw.tryReadLock(), 1);
    rw.readUnlock();

    KrSemaphore broken(-1);  // never created: waits return at once, nothing is counted
    broken.wait();
    broken.post();
    EXPECT_EQ(broken.trywait(), 0);

    // A lost signal times out; the signaller's sleep is the wait being measured: a deadline in
    // the past is a long wait.
    KrCondition condition;
    condition.signal();
    condition.broadcast();
    mutex.lock();
    auto start = Clock::now();
    EXPECT_EQ(condition.wait(mutex, nsFromNow(60000000)), 0);
    EXPECT_GE(msSince(start), 55);
    mutex.unlock();
    EXPECT_EQ(lockedFromAnotherThread(mutex), 1);  // the wait took the mutex back once only

    mutex.lock();
    start = Clock::now();
    std::thread signaller(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            mutex.lock();  // the waiter is inside wait once the mutex is free
            condition.signal();
            mutex.unlock();
        });
    // One millisecond ago: the unsigned difference is about 4.29 s, not a time-out.
    EXPECT_EQ(condition.wait(mutex, nsFromNow(0u - 1000000u)), 1);
    EXPECT_GE(msSince(start), 140);
    mutex.unlock();
    signaller.join();
}

// Return, exception and exit all give join an exit code while the thread is still attached;
// no thread, or one that ended on its own, means false everywhere. A second start attaches
// the new thread; the first runs on.
TEST(KrThreadTest, JoinReadsTheExitCodeOfARunningThread)
{
    TestThread returning([] { return 42; });
    TestThread throwing([]() -> int { throw std::runtime_error("body failed"); });
    TestThread exiting([]() -> int { return KrThread::exit(9), 1; });
    for (auto [thread, expected] :
         {std::pair<TestThread*, int>{&returning, 42}, {&throwing, -1}, {&exiting, 9}})
    {
        EXPECT_EQ(thread->running(), 0);
        ASSERT_EQ(thread->start(1 << 20), 1);
        EXPECT_EQ(thread->running() + thread->detach() + thread->running(), 3);  // no detaching
        EXPECT_EQ(joinWhileRunning(*thread), expected);
        EXPECT_TRUE(thread->seenSelf.load() == thread && thread->seenId != KrThread::current());
        EXPECT_EQ(thread->running() + thread->join(), 0);
    }
    EXPECT_EQ(KrThread::self(), nullptr);

    TestThread idle([] { return 0; });
    int code = 3;
    EXPECT_EQ(
        idle.join(code) + idle.join() + idle.cancel() + idle.priority(KrThread::PriorityNormal), 0);
    EXPECT_EQ(idle.priority(), -1);
    TestThread ended([] { return 7; });
    ended.start();
    ended.go.post();
    while (ended.running()) std::this_thread::yield();
    EXPECT_EQ(ended.join(code) + ended.cancel() + code, 3);  // code untouched

    std::atomic<int> runs{0};
    std::atomic<unsigned int> ids[2] = {0, 0};
    TestThread thread(
        [&]
        {
            const int run = ++runs;
            ids[run - 1] = KrThread::current();
            return run;
        });
    ASSERT_EQ(thread.start() + thread.start(), 2);
    const int attached = joinWhileRunning(thread, 2);
    EXPECT_TRUE(attached == 1 || attached == 2) << attached;
    while (runs.load() < 2 || ids[2 - attached] == 0) KrThread::yield();
    // The unattached thread leaves its body before the object goes.
    waitForState(ids[2 - attached], 0);
}

// The caller sleeps whole milliseconds and learns the nanoseconds since 1970 and its own id;
// the priorities of a thread map to nice values.
TEST(KrThreadTest, SleepsTellsTimeAndIdsAndMapsPrioritiesToNiceValues)
{
    auto start = Clock::now();
    KrThread::sleep(30999999);  // whole milliseconds
    EXPECT_TRUE(msSince(start) >= 30 && msSince(start) <= 2000) << msSince(start);
    start = Clock::now();
    KrThread::wakeat(nsFromNow(40000000));
    EXPECT_GE(msSince(start), 35);

    const long long oracle =
        std::chrono::system_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
    const long long ours = static_cast<long long>(KrThread::time());
    EXPECT_LT(std::llabs(ours - oracle), 1000000000LL);
    EXPECT_EQ(ours % 100, 0);  // 100-ns units underneath
    EXPECT_TRUE(KrThread::current() == kernelId() && KrThread::GetCurrentThreadId() == kernelId());

    TestThread thread([] { return 0; });
    thread.start();
    while (thread.seenId.load() == 0) KrThread::yield();
    const unsigned int id = thread.seenId.load();
    // Set and nice value; what is not in the table sets and reads back as normal. 19 -> lower
    // again needs privilege, as does every raise.
    using T = KrThread;
    // clang-format off
    const std::pair<T::Priority, int> cases[] = {
        {T::PriorityIdle, 19}, {T::PriorityBelowNormal, 5}, {T::PriorityNormal, 0},
        {T::PriorityAboveNormal, -5}, {T::PriorityHighest, -10}, {T::PriorityOther, 0},
        {static_cast<T::Priority>(17), 0}};
    // clang-format on
    for (const auto& [set, nice] : cases)
    {
        const unsigned char ok = thread.priority(set);
        if (geteuid() != 0 && !ok) continue;
        ASSERT_EQ(ok, 1) << set;
        EXPECT_EQ(getpriority(PRIO_PROCESS, id), nice) << set;
        EXPECT_EQ(thread.priority(), nice == 0 ? T::PriorityNormal : set) << set;
    }
    setpriority(PRIO_PROCESS, id, 10);  // set by other means, not in the table
    EXPECT_EQ(thread.priority(), KrThread::PriorityOther);
    thread.go.post();
    thread.join();
}

// Termination (cancel or the destructor) ends even the longest sleep at once and unwinds: a
// guard's lock is given back, a bare lock of the ended thread stays held.
TEST(KrThreadTest, TerminationEndsASleepUnwindsAndLeavesBareLocksHeld)
{
#ifdef KRN_UNDER_SANITIZER
    GTEST_SKIP() << "cancellation is not followed by the sanitizers";
#endif
    KrMutex guarded, bare[2];
    for (bool viaDestructor : {true, false})
    {
        std::atomic<unsigned int> inside{0};
        auto looper = std::make_unique<TestThread>(
            [&guarded, &bare = bare[viaDestructor], &inside]
            {
                KrMutexLock guard(guarded);
                guard.lock();
                bare.lock();
                inside = KrThread::current();
                KrThread::sleep(4294967295u);  // the longest sleep: 4294 ms
                return 1;
            });
        ASSERT_EQ(looper->start(), 1);
        looper->go.post();
        while (!inside) KrThread::yield();
        const unsigned int id = inside;
        waitForState(id, 'S');
        const auto start = Clock::now();
        EXPECT_EQ(viaDestructor ? (looper.reset(), 1) : looper->cancel(), 1);
        EXPECT_TRUE(!looper || looper->running() == 0);
        waitForState(id, 0);
        EXPECT_LT(msSince(start), 1000);
        EXPECT_EQ(guarded.locked(), 1) << "the stack unwound: the guard's destructor ran";
        EXPECT_EQ(bare[viaDestructor].locked(), 0) << "a bare lock of the ended thread stays held";
    }
    // The process goes on: new threads run, other locks work.
    TestThread after([] { return 5; });
    after.start();
    EXPECT_EQ(joinWhileRunning(after), 5);
}
