// Threads and synchronisation of this platform: a recursive lock kept in its owner's storage,
// counting semaphores, a pair of events waited on together, threads with a stack size and an
// exit code, cancellation, nice-value priorities, sleeps and the kernel thread id.
// Waits on semaphores and events, sleeps and joins are cancellation points: a thread cancelled
// there unwinds its stack (destructors run) instead of returning.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace KRN::Platform
{

// ---------------------------------------------------------------- recursive lock
// Identifies the calling thread for lock ownership: cheap, unique among running threads.
inline std::uintptr_t CurrentThreadTag()
{
    return reinterpret_cast<std::uintptr_t>(__builtin_thread_pointer());
}

// A recursive lock over one word the kernel can wait on (0 free, 1 taken, 2 taken and
// waited for), with its owner and depth beside it. Taking and releasing a free lock is one
// atomic operation each. Releasing a lock the calling thread does not hold does nothing.
class RecursiveLock
{
public:
    RecursiveLock() = default;
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    void Lock()
    {
        const std::uintptr_t me = CurrentThreadTag();
        if (m_owner.load(std::memory_order_relaxed) != me)
        {
            int expected = 0;
            if (!m_state.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                                 std::memory_order_relaxed))
                waitForLock(expected);
            m_owner.store(me, std::memory_order_relaxed);
        }
        ++m_depth;
    }

    bool TryLock()
    {
        const std::uintptr_t me = CurrentThreadTag();
        if (m_owner.load(std::memory_order_relaxed) != me)
        {
            int expected = 0;
            if (!m_state.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                                 std::memory_order_relaxed))
                return false;
            m_owner.store(me, std::memory_order_relaxed);
        }
        ++m_depth;
        return true;
    }

    void Unlock()
    {
        if (m_owner.load(std::memory_order_relaxed) != CurrentThreadTag()) return;
        if (--m_depth != 0) return;
        m_owner.store(0, std::memory_order_relaxed);
        if (m_state.exchange(0, std::memory_order_release) == 2) wakeOneWaiter();
    }

private:
    void waitForLock(int seen);
    void wakeOneWaiter();

    std::atomic<int> m_state{0};
    std::atomic<std::uintptr_t> m_owner{0};
    unsigned int m_depth = 0;  // touched by the owner only
};

// ---------------------------------------------------------------- counting semaphore
class Semaphore
{
public:
    // A negative initial count, or one above 2147483647, gives an invalid semaphore whose
    // waits return at once.
    explicit Semaphore(long long initial);
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    bool IsValid() const { return m_bValid; }
    void Wait();
    bool TryWait();
    bool Post();  // false when the count would pass 2147483647

private:
    alignas(16) unsigned char m_aStorage[64];
    bool m_bValid = false;
};

// ---------------------------------------------------------------- two events, one wait
constexpr unsigned int kWaitForever = 0xFFFFFFFFu;

// Event 0 resets itself when a wait takes it (auto-reset); event 1 stays set until Reset
// (manual-reset). Both start not set.
class EventPair
{
public:
    EventPair();
    ~EventPair();
    EventPair(const EventPair&) = delete;
    EventPair& operator=(const EventPair&) = delete;

    void Set(int event);
    void Reset(int event);
    // Waits until either event is set: returns that event (0 when both are), or -1 when
    // timeoutMs milliseconds passed first (kWaitForever: no limit).
    int WaitEither(unsigned int timeoutMs);

private:
    struct State;
    State* m_pState;
};

// ---------------------------------------------------------------- threads
// One operating-system thread running entry(argument); its result is the exit code.
class Thread
{
public:
    using Entry = int (*)(void* argument);

    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Creates the thread with stackSize bytes of stack (0: the default; small sizes are raised
    // to the system minimum). Returns once the thread runs and its kernel id is known.
    bool Start(unsigned long stackSize, Entry entry, void* argument);
    // Waits without limit for the end and reads the exit code; false for the calling thread
    // itself or a thread already joined or detached.
    bool Join(int& exitCode);
    // Lets the thread release its resources itself when it ends.
    void Detach();
    // Asks the thread to end at its next cancellation point.
    bool Cancel();
    unsigned int KernelId() const { return m_nKernelId; }

private:
    static void* trampoline(void* self);

    unsigned long long m_nNative = 0;  // the pthread_t
    unsigned int m_nKernelId = 0;
    Entry m_pEntry = nullptr;
    void* m_pArgument = nullptr;
    void* m_pStarted = nullptr;  // the start handshake, only during Start
};

// Ends the calling thread with exitCode, unwinding its stack as cancellation does.
[[noreturn]] void ExitThread(int exitCode);

// Calls body(argument) and returns its result, or failureCode when it throws. The unwinding of
// a thread that is cancelled or ends through ExitThread is not caught: it continues.
int CallCatchingExceptions(int (*body)(void*), void* argument, int failureCode);

// ---------------------------------------------------------------- the calling thread
// Kernel thread id (gettid) of the calling thread.
unsigned int CurrentThreadId();
// Sleeps ms milliseconds; 0 gives up the rest of the time slice.
void SleepMs(unsigned int ms);

// Nice values of one thread by its kernel id; false when the thread is gone or the change needs
// a privilege the process lacks.
bool SetThreadNice(unsigned int kernelId, int nice);
bool GetThreadNice(unsigned int kernelId, int& nice);

}  // namespace KRN::Platform
