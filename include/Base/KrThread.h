// Threads and locks: KrMutex (recursive lock) with its guard KrMutexGuard, KrReadWriteLock
// (many readers or one writer, readers preferred), KrSemaphore, KrCondition (signal and
// broadcast over two events) and KrThread, an abstract thread whose body is run().
//   KrMutexGuard hold(mutex);  // locks now, unlocks when it goes out of scope
//   class Loader : public KrThread { int run() override; };  Loader t;  t.start();  t.join();
// KrMutexLock, the older two-step guard (construct, then lock()), is kept for existing callers.
// Nothing here throws or reports more than a boolean. Times are nanoseconds; the waits take
// them as 32-bit values (see KrThread::sleep).
#pragma once

#include "Base/KrDefs.h"

namespace KRN
{

namespace Platform
{
class Semaphore;
class EventPair;
}  // namespace Platform

// A recursive lock: the owning thread may take it again and must release it as often.
class KRN_API KrMutex
{
public:
    // The argument is accepted and ignored: the mutex is always recursive.
    explicit KrMutex(unsigned char recursive = 1);
    ~KrMutex();
    KrMutex(const KrMutex&) = delete;
    KrMutex& operator=(const KrMutex&) = delete;

    void lock();
    void unlock();            // by a thread that does not hold the mutex: does nothing here
    unsigned char trylock();  // true when taken without waiting
    // Whether the caller could take the mutex now, NOT whether it is locked: tries it and, on
    // success, releases it at once. True for a free mutex and for one the calling thread
    // already holds; false only while another thread holds it.
    unsigned char locked();

private:
    alignas(16) unsigned char m_aLock[64];  // the lock, opaque here
};

// A guard over a KrMutex. It does NOT lock on construction: call lock() or trylock() once.
// The destructor releases the mutex unconditionally, so a guard must be locked exactly once
// before it goes out of scope and never unlocked by hand: unlock() and the destructor are the
// same release, and a second release gives up a hold the thread took elsewhere.
class KRN_API KrMutexLock
{
public:
    explicit KrMutexLock(KrMutex& mutex) : m_mutex(mutex) {}
    ~KrMutexLock() { m_mutex.unlock(); }
    KrMutexLock(const KrMutexLock&) = delete;
    KrMutexLock& operator=(const KrMutexLock&) = delete;

    void lock() { m_mutex.lock(); }
    unsigned char trylock() { return m_mutex.trylock(); }
    unsigned char locked() { return m_mutex.locked(); }  // "could I take it now", as KrMutex
    void unlock() { m_mutex.unlock(); }

private:
    KrMutex& m_mutex;
};

// The guard the library itself uses: locks the mutex when constructed, releases it when
// destroyed. Prefer it to KrMutexLock, whose two steps are kept for existing callers.
//   KrMutexGuard hold(mutex);
class KrMutexGuard
{
public:
    explicit KrMutexGuard(KrMutex& mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~KrMutexGuard() { m_mutex.unlock(); }
    KrMutexGuard(const KrMutexGuard&) = delete;
    KrMutexGuard& operator=(const KrMutexGuard&) = delete;

private:
    KrMutex& m_mutex;
};

// Many readers or one writer, readers preferred: readers keep entering while others are
// inside, so a writer may starve. The first reader in takes the resource lock for all readers
// and the last reader out releases it, from whichever thread that is. A first reader waiting
// for a writer holds the count lock, so later readers queue behind it.
class KRN_API KrReadWriteLock
{
public:
    KrReadWriteLock();
    ~KrReadWriteLock();
    KrReadWriteLock(const KrReadWriteLock&) = delete;
    KrReadWriteLock& operator=(const KrReadWriteLock&) = delete;

    void readLock();
    unsigned char tryReadLock();
    void readUnlock();
    void writeLock();
    unsigned char tryWriteLock();
    void writeUnlock();

private:
    KrMutex m_countLock;
    Platform::Semaphore* m_pResource;  // a binary semaphore: any thread may release it
    int m_nReaders = 0;
};

// A counting semaphore, at most 2147483647 units. An initial count outside 0..2147483647 makes
// a semaphore whose waits return at once and whose trywait and post fail.
class KRN_API KrSemaphore
{
public:
    explicit KrSemaphore(int initial = 0);
    ~KrSemaphore();
    KrSemaphore(const KrSemaphore&) = delete;
    KrSemaphore& operator=(const KrSemaphore&) = delete;

    void wait();              // without limit
    unsigned char trywait();  // true when a unit was taken without waiting
    void post();

private:
    Platform::Semaphore* m_pSemaphore;
};

// A condition built from two events, not a std::condition_variable: signal() wakes one waiter
// and is LOST when nobody waits; broadcast() wakes every waiter and stays set until the last
// of them resets it, so a thread that starts waiting before that also passes. A signal not yet
// taken goes to whichever waiter comes first, possibly one that began waiting after it was
// given (the thread that signalled, say): check the awaited state in a loop under the mutex,
// and give each direction of a hand-over its own condition.
class KRN_API KrCondition
{
public:
    KrCondition();
    ~KrCondition();
    KrCondition(const KrCondition&) = delete;
    KrCondition& operator=(const KrCondition&) = delete;

    void signal();
    void broadcast();
    // Releases mutex (held once by the caller), waits for a signal or broadcast, takes mutex
    // again.
    void wait(KrMutex& mutex);
    // As wait, until the absolute deadline deadlineNs, the low 32 bits of KrThread::time().
    // The wait lasts (deadlineNs - low 32 bits of time()) / 1000000 ms in 32-bit unsigned
    // arithmetic: a deadline already past wraps to a wait of up to about 4.29 s. False
    // exactly when the wait timed out.
    unsigned char wait(KrMutex& mutex, unsigned int deadlineNs);

private:
    bool hasWaiters();
    void leaveWait(int woken);

    Platform::EventPair* m_pEvents;  // event 0 signal (auto-reset), 1 broadcast (manual-reset)
    int m_nWaiters = 0;
    KrMutex m_countLock;
};

// An operating-system thread running run(). Derive, implement run(), call start().
//
// On this platform forced termination (cancel() and the destructor of a running thread) is
// cancellation: the thread ends at its next cancellation point, i.e. a sleep, wakeat, yield,
// a wait of KrCondition or KrSemaphore, a join, or blocking I/O; a thread that computes
// without reaching one keeps running, and cancel() returns without waiting. On ending, its
// stack is unwound: destructors of its local objects run (a KrMutexGuard releases its
// mutex), but a KrMutex taken with a bare lock() stays held for ever, and counts that the
// thread would have restored (a KrCondition's waiters) stay as they were. A catch (...) in
// run() must rethrow what it catches during that unwinding, or the process aborts.
class KRN_API KrThread
{
public:
    enum Priority : int
    {
        PriorityOther = 0,  // read back for any priority outside this table
        PriorityIdle = 1,
        PriorityBelowNormal = 2,
        PriorityNormal = 3,
        PriorityAboveNormal = 4,
        PriorityHighest = 5
    };
    enum Policy
    {
        PolicyDefault = 0  // the one meaningful value
    };

    KrThread();
    // A thread still attached is terminated (see above) before the object goes.
    virtual ~KrThread();
    KrThread(const KrThread&) = delete;
    KrThread& operator=(const KrThread&) = delete;

    // Starts run() on a new thread with stackSize bytes of stack (0: the default). True when
    // the thread was created. A second start while a thread is attached starts another thread
    // on the same object and attaches that one instead; the first runs on unattached.
    unsigned char start(unsigned long stackSize = 0);
    // True while a thread is attached. A thread that returns from run() detaches itself, so
    // afterwards running() is false and join() returns false at once: join only a thread that
    // is still running.
    unsigned char running() const;
    // The same as running(): it detaches nothing.
    unsigned char detach();
    // Waits without limit for the attached thread, reads its exit code, detaches it. False
    // when no thread is attached, or for the thread itself.
    unsigned char join(int& exitCode);
    unsigned char join();
    // Terminates the attached thread (see above) and detaches it. False without a thread.
    unsigned char cancel();

    // Sets the thread's priority: any value other than Idle, BelowNormal, AboveNormal and
    // Highest sets normal. False without a thread or when refused. Here priorities are nice
    // values (19, 5, 0, -5, -10); raising above normal needs a privilege, else false.
    unsigned char priority(Priority value);
    // The priority by the table; PriorityOther for a nice value not in it; -1 without a thread
    // or when it cannot be read.
    int priority() const;
    unsigned char policy(Policy) { return 1; }  // changes nothing
    Policy policy() const { return PolicyDefault; }

    // Gives up the rest of the time slice.
    static void yield();
    // Nanoseconds since 1 January 1970 00:00 UTC.
    static unsigned long long time();
    // Sleeps ns / 1000000 whole milliseconds: 999999 sleeps 0 ms (a yield). The argument is
    // 32 bits wide, so one sleep lasts at most 4294967295 ns, about 4.29 s.
    static void sleep(unsigned int ns);
    // Sleeps until deadlineNs, compared with the low 32 bits of time() in 32-bit unsigned
    // arithmetic: (deadlineNs - low 32 bits of time()) / 1000000 ms. Only deadlines less than
    // about 4.29 s ahead can be expressed; one already past wraps to a sleep of up to 4.29 s.
    static void wakeat(unsigned int deadlineNs);
    // The kernel id of the calling thread (two names, one operation).
    static unsigned int current();
    static unsigned int GetCurrentThreadId();
    // The KrThread whose run() the calling thread executes; null for other threads.
    static KrThread* self();
    // Ends the calling thread with exitCode; a thread of a KrThread is detached from it first.
    static void exit(int exitCode);

protected:
    // The thread's body; its result is the exit code. An exception out of it is swallowed and
    // the exit code is -1.
    virtual int run() = 0;

private:
    struct Record;
    static int execute(void* record);
    static int callRun(void* thread);

    Record* m_hThread = nullptr;  // the attached thread; guarded by a library-wide lock
};

}  // namespace KRN
