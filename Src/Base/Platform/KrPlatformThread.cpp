#include "Base/Platform/KrPlatformThread.h"

#include <cxxabi.h>
#include <errno.h>
#include <limits.h>
#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>

namespace KRN::Platform
{

namespace
{
static_assert(sizeof(pthread_t) <= sizeof(unsigned long long), "pthread_t does not fit");

// Holds a plain mutex for one scope; also released when a cancelled wait unwinds the stack.
class MutexHold
{
public:
    explicit MutexHold(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    ~MutexHold() { pthread_mutex_unlock(&m_mutex); }
    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

private:
    pthread_mutex_t& m_mutex;
};

timespec monotonicAfter(unsigned int ms)
{
    timespec when{};
    clock_gettime(CLOCK_MONOTONIC, &when);
    when.tv_sec += ms / 1000;
    when.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (when.tv_nsec >= 1000000000L)
    {
        when.tv_sec += 1;
        when.tv_nsec -= 1000000000L;
    }
    return when;
}

thread_local unsigned int t_nKernelId = 0;

// A child of fork() starts with the forking thread's cached id: forget it there.
const int s_nForkHook = pthread_atfork(nullptr, nullptr, [] { t_nKernelId = 0; });
}  // namespace

// ---------------------------------------------------------------- recursive lock

namespace
{
int* futexWord(std::atomic<int>& word)
{
    return reinterpret_cast<int*>(&word);
}
static_assert(sizeof(std::atomic<int>) == sizeof(int), "the futex word must be a plain int");
}  // namespace

// Marks the lock as waited for (2) and sleeps until a release wakes this thread; whoever
// takes it through this path leaves the mark, so its release wakes the next waiter.
void RecursiveLock::waitForLock(int seen)
{
    if (seen != 2) seen = m_state.exchange(2, std::memory_order_acquire);
    while (seen != 0)
    {
        syscall(SYS_futex, futexWord(m_state), FUTEX_WAIT_PRIVATE, 2, nullptr, nullptr, 0);
        seen = m_state.exchange(2, std::memory_order_acquire);
    }
}

void RecursiveLock::wakeOneWaiter()
{
    syscall(SYS_futex, futexWord(m_state), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// ---------------------------------------------------------------- counting semaphore

static_assert(sizeof(sem_t) <= 64 && alignof(sem_t) <= 16, "the semaphore storage is too small");

Semaphore::Semaphore(long long initial)
{
    if (initial < 0 || initial > SEM_VALUE_MAX) return;
    m_bValid =
        sem_init(reinterpret_cast<sem_t*>(m_aStorage), 0, static_cast<unsigned int>(initial)) == 0;
}

Semaphore::~Semaphore()
{
    if (m_bValid) sem_destroy(reinterpret_cast<sem_t*>(m_aStorage));
}

void Semaphore::Wait()
{
    if (!m_bValid) return;
    while (sem_wait(reinterpret_cast<sem_t*>(m_aStorage)) != 0 && errno == EINTR)
    {
    }
}

bool Semaphore::TryWait()
{
    if (!m_bValid) return false;
    for (;;)
    {
        if (sem_trywait(reinterpret_cast<sem_t*>(m_aStorage)) == 0) return true;
        if (errno != EINTR) return false;
    }
}

bool Semaphore::Post()
{
    return m_bValid && sem_post(reinterpret_cast<sem_t*>(m_aStorage)) == 0;
}

// ---------------------------------------------------------------- two events, one wait

struct EventPair::State
{
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    bool set[2] = {false, false};
};

EventPair::EventPair() : m_pState(new State)
{
    pthread_mutex_init(&m_pState->mutex, nullptr);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&m_pState->changed, &attributes);
    pthread_condattr_destroy(&attributes);
}

EventPair::~EventPair()
{
    pthread_cond_destroy(&m_pState->changed);
    pthread_mutex_destroy(&m_pState->mutex);
    delete m_pState;
}

void EventPair::Set(int event)
{
    {
        MutexHold hold(m_pState->mutex);
        if (m_pState->set[event != 0]) return;
        m_pState->set[event != 0] = true;
    }
    // Woken outside the mutex, so that the waiter does not wake only to wait for it. Every
    // waiter takes either event, so one wake-up serves the self-resetting event.
    if (event == 0)
        pthread_cond_signal(&m_pState->changed);
    else
        pthread_cond_broadcast(&m_pState->changed);
}

void EventPair::Reset(int event)
{
    MutexHold hold(m_pState->mutex);
    m_pState->set[event != 0] = false;
}

int EventPair::WaitEither(unsigned int timeoutMs)
{
    const timespec deadline = monotonicAfter(timeoutMs == kWaitForever ? 0 : timeoutMs);
    MutexHold hold(m_pState->mutex);
    for (;;)
    {
        if (m_pState->set[0])
        {
            m_pState->set[0] = false;
            return 0;
        }
        if (m_pState->set[1]) return 1;
        if (timeoutMs == kWaitForever)
            pthread_cond_wait(&m_pState->changed, &m_pState->mutex);
        else if (pthread_cond_timedwait(&m_pState->changed, &m_pState->mutex, &deadline) ==
                 ETIMEDOUT)
        {
            if (m_pState->set[0] || m_pState->set[1]) continue;
            return -1;
        }
    }
}

// ---------------------------------------------------------------- threads

void* Thread::trampoline(void* self)
{
    Thread& thread = *static_cast<Thread*>(self);
    thread.m_nKernelId = CurrentThreadId();
    const Entry entry = thread.m_pEntry;
    void* const argument = thread.m_pArgument;
    // After this post the Thread object belongs to its owner again: do not touch it.
    sem_post(static_cast<sem_t*>(thread.m_pStarted));
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(entry(argument)));
}

bool Thread::Start(unsigned long stackSize, Entry entry, void* argument)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    if (stackSize != 0)
    {
        const unsigned long minimum = PTHREAD_STACK_MIN;
        pthread_attr_setstacksize(&attributes, stackSize < minimum ? minimum : stackSize);
    }
    sem_t started;
    sem_init(&started, 0, 0);
    m_pEntry = entry;
    m_pArgument = argument;
    m_pStarted = &started;
    pthread_t native;
    const bool created = pthread_create(&native, &attributes, &Thread::trampoline, this) == 0;
    pthread_attr_destroy(&attributes);
    if (created)
    {
        while (sem_wait(&started) != 0 && errno == EINTR)
        {
        }
        std::memcpy(&m_nNative, &native, sizeof native);
    }
    sem_destroy(&started);
    m_pStarted = nullptr;
    return created;
}

namespace
{
pthread_t nativeOf(unsigned long long stored)
{
    pthread_t native;
    std::memcpy(&native, &stored, sizeof native);
    return native;
}
}  // namespace

bool Thread::Join(int& exitCode)
{
    void* result = nullptr;
    if (pthread_join(nativeOf(m_nNative), &result) != 0) return false;
    exitCode = static_cast<int>(reinterpret_cast<std::intptr_t>(result));
    return true;
}

void Thread::Detach()
{
    pthread_detach(nativeOf(m_nNative));
}

bool Thread::Cancel()
{
    return pthread_cancel(nativeOf(m_nNative)) == 0;
}

void ExitThread(int exitCode)
{
    pthread_exit(reinterpret_cast<void*>(static_cast<std::intptr_t>(exitCode)));
}

// The unwinding of a cancelled thread carries no C++ object: the handler's reference is bound
// to null by design of the runtime, which the null-reference check would report.
__attribute__((no_sanitize("null"))) int CallCatchingExceptions(int (*body)(void*), void* argument,
                                                                int failureCode)
{
    try
    {
        return body(argument);
    }
    catch (abi::__forced_unwind&)
    {
        throw;  // cancellation or thread exit: swallowing it would abort the process
    }
    catch (...)
    {
        return failureCode;
    }
}

// ---------------------------------------------------------------- the calling thread

unsigned int CurrentThreadId()
{
    if (t_nKernelId == 0) t_nKernelId = static_cast<unsigned int>(gettid());
    return t_nKernelId;
}

void SleepMs(unsigned int ms)
{
    if (ms == 0)
    {
        sched_yield();
        return;
    }
    timespec remaining{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
    while (nanosleep(&remaining, &remaining) != 0 && errno == EINTR)
    {
    }
}

bool SetThreadNice(unsigned int kernelId, int nice)
{
    return setpriority(PRIO_PROCESS, static_cast<id_t>(kernelId), nice) == 0;
}

bool GetThreadNice(unsigned int kernelId, int& nice)
{
    errno = 0;
    const int value = getpriority(PRIO_PROCESS, static_cast<id_t>(kernelId));
    if (value == -1 && errno != 0) return false;
    nice = value;
    return true;
}

}  // namespace KRN::Platform
