#include "Base/KrThread.h"

#include "Base/Platform/KrPlatformThread.h"
#include "Base/Platform/KrPlatformTime.h"

#include <new>

namespace KRN
{

namespace
{
// 100-ns units from 1 January 1601 to 1 January 1970.
constexpr unsigned long long kFileTimeOf1970 = 116444736000000000ULL;

thread_local KrThread* t_pCurrentThread = nullptr;

// Guards every KrThread's attachment to its thread. Never destroyed: threads may still end
// while static objects are destroyed.
KrMutex& attachLock()
{
    static KrMutex* const lock = new KrMutex;
    return *lock;
}

struct NiceValue
{
    KrThread::Priority priority;
    int nice;
};
constexpr NiceValue kNiceValues[] = {{KrThread::PriorityIdle, 19},
                                     {KrThread::PriorityBelowNormal, 5},
                                     {KrThread::PriorityNormal, 0},
                                     {KrThread::PriorityAboveNormal, -5},
                                     {KrThread::PriorityHighest, -10}};

// Milliseconds from now to an absolute deadline given as the low 32 bits of KrThread::time(),
// in 32-bit unsigned arithmetic: a deadline already past wraps to a long wait.
unsigned int msUntil(unsigned int deadlineNs)
{
    return (deadlineNs - static_cast<unsigned int>(KrThread::time())) / 1000000u;
}
}  // namespace

// ---------------------------------------------------------------- KrMutex

namespace
{
static_assert(sizeof(Platform::RecursiveLock) <= 64 && alignof(Platform::RecursiveLock) <= 16,
              "KrMutex reserves 64 bytes aligned to 16 for its lock");

Platform::RecursiveLock& lockIn(unsigned char* storage)
{
    return *std::launder(reinterpret_cast<Platform::RecursiveLock*>(storage));
}
}  // namespace

KrMutex::KrMutex(unsigned char)
{
    new (m_aLock) Platform::RecursiveLock;
}
KrMutex::~KrMutex()
{
    lockIn(m_aLock).~RecursiveLock();
}
void KrMutex::lock()
{
    lockIn(m_aLock).Lock();
}
void KrMutex::unlock()
{
    lockIn(m_aLock).Unlock();
}
unsigned char KrMutex::trylock()
{
    return lockIn(m_aLock).TryLock();
}

unsigned char KrMutex::locked()
{
    Platform::RecursiveLock& lock = lockIn(m_aLock);
    if (!lock.TryLock()) return 0;
    lock.Unlock();
    return 1;
}

// ---------------------------------------------------------------- KrReadWriteLock

KrReadWriteLock::KrReadWriteLock() : m_pResource(new Platform::Semaphore(1)) {}
KrReadWriteLock::~KrReadWriteLock()
{
    delete m_pResource;
}

void KrReadWriteLock::readLock()
{
    KrMutexGuard hold(m_countLock);
    if (++m_nReaders == 1) m_pResource->Wait();
}

unsigned char KrReadWriteLock::tryReadLock()
{
    if (!m_countLock.trylock()) return 0;
    // Taken without waiting, so no guard can take it; nothing below can throw or be cancelled.
    const bool entered = ++m_nReaders != 1 || m_pResource->TryWait();
    if (!entered) --m_nReaders;
    m_countLock.unlock();
    return entered ? 1 : 0;
}

void KrReadWriteLock::readUnlock()
{
    KrMutexGuard hold(m_countLock);
    if (--m_nReaders == 0) m_pResource->Post();
}

void KrReadWriteLock::writeLock()
{
    m_pResource->Wait();
}
unsigned char KrReadWriteLock::tryWriteLock()
{
    return m_pResource->TryWait();
}
void KrReadWriteLock::writeUnlock()
{
    m_pResource->Post();
}

// ---------------------------------------------------------------- KrSemaphore

KrSemaphore::KrSemaphore(int initial) : m_pSemaphore(new Platform::Semaphore(initial)) {}
KrSemaphore::~KrSemaphore()
{
    delete m_pSemaphore;
}
void KrSemaphore::wait()
{
    m_pSemaphore->Wait();
}
unsigned char KrSemaphore::trywait()
{
    return m_pSemaphore->TryWait();
}
void KrSemaphore::post()
{
    m_pSemaphore->Post();
}

// ---------------------------------------------------------------- KrCondition

namespace
{
constexpr int kSignalEvent = 0;
constexpr int kBroadcastEvent = 1;
}  // namespace

KrCondition::KrCondition() : m_pEvents(new Platform::EventPair) {}
KrCondition::~KrCondition()
{
    delete m_pEvents;
}

// The event is set after the count lock is released, so that a waiter it wakes does not
// block on that lock at once.
void KrCondition::signal()
{
    if (hasWaiters()) m_pEvents->Set(kSignalEvent);
}

void KrCondition::broadcast()
{
    if (hasWaiters()) m_pEvents->Set(kBroadcastEvent);
}

bool KrCondition::hasWaiters()
{
    KrMutexGuard hold(m_countLock);
    return m_nWaiters > 0;
}

void KrCondition::wait(KrMutex& mutex)
{
    {
        KrMutexGuard hold(m_countLock);
        ++m_nWaiters;
    }
    mutex.unlock();
    const int woken = m_pEvents->WaitEither(Platform::kWaitForever);
    leaveWait(woken);
    mutex.lock();
}

unsigned char KrCondition::wait(KrMutex& mutex, unsigned int deadlineNs)
{
    {
        KrMutexGuard hold(m_countLock);
        ++m_nWaiters;
    }
    mutex.unlock();
    const int woken = m_pEvents->WaitEither(msUntil(deadlineNs));
    leaveWait(woken);
    mutex.lock();
    return woken >= 0;
}

// The last waiter released by a broadcast closes it again.
void KrCondition::leaveWait(int woken)
{
    bool last = false;
    {
        KrMutexGuard hold(m_countLock);
        last = --m_nWaiters == 0 && woken == kBroadcastEvent;
    }
    if (last) m_pEvents->Reset(kBroadcastEvent);
}

// ---------------------------------------------------------------- KrThread

// One started thread. Two references keep it: the thread itself until it ends, and its owner:
// the KrThread's handle field while that points here unclaimed, else whoever claimed it (a
// join, a cancel, or the thread's own end).
struct KrThread::Record
{
    Platform::Thread thread;
    KrThread* owner = nullptr;
    int references = 2;
    bool claimed = false;

    // Called with the attach lock held.
    void release()
    {
        if (--references == 0) delete this;
    }
};

namespace
{
// A thread replaced by a second start runs on detached; its end no longer looks at the owner.
template <class Record>
void abandon(Record& record)
{
    record.claimed = true;
    record.thread.Detach();
    record.release();
}
}  // namespace

KrThread::KrThread() = default;

KrThread::~KrThread()
{
    KrMutexGuard hold(attachLock());
    Record* record = m_hThread;
    if (record == nullptr || record->claimed) return;
    record->claimed = true;
    m_hThread = nullptr;
    record->thread.Cancel();
    record->thread.Detach();
    record->release();
}

int KrThread::callRun(void* thread)
{
    return static_cast<KrThread*>(thread)->run();
}

int KrThread::execute(void* argument)
{
    // Runs when run() returns, throws, or the thread is cancelled or exits: a thread nobody has
    // claimed detaches itself from its owner and from the system.
    struct Finish
    {
        Record& record;
        ~Finish()
        {
            KrMutexGuard hold(attachLock());
            if (!record.claimed)
            {
                record.claimed = true;
                if (record.owner->m_hThread == &record)
                {
                    record.owner->m_hThread = nullptr;
                    record.release();
                }
                record.thread.Detach();
            }
            record.release();
        }
    };
    Record& record = *static_cast<Record*>(argument);
    KrThread* const owner = record.owner;
    t_pCurrentThread = owner;
    Finish finish{record};
    return Platform::CallCatchingExceptions(&KrThread::callRun, owner, -1);
}

unsigned char KrThread::start(unsigned long stackSize)
{
    Record* record = new Record;
    record->owner = this;
    // The new thread cannot finish before its record is attached: its end takes this lock.
    KrMutexGuard hold(attachLock());
    if (m_hThread != nullptr && !m_hThread->claimed) abandon(*m_hThread);
    m_hThread = nullptr;
    if (!record->thread.Start(stackSize, &KrThread::execute, record))
    {
        delete record;
        return 0;
    }
    m_hThread = record;
    return 1;
}

unsigned char KrThread::running() const
{
    KrMutexGuard hold(attachLock());
    return m_hThread != nullptr;
}

unsigned char KrThread::detach()
{
    return running();
}

unsigned char KrThread::join()
{
    int exitCode = 0;
    return join(exitCode);
}

unsigned char KrThread::join(int& exitCode)
{
    KrMutex& lock = attachLock();
    Record* record = nullptr;
    {
        KrMutexGuard hold(lock);
        record = m_hThread;
        if (record == nullptr || record->claimed) return 0;
        record->claimed = true;
    }

    int code = 0;
    const bool joined = record->thread.Join(code);

    KrMutexGuard hold(lock);
    if (!joined)
    {
        record->claimed = false;  // the thread joining itself: it stays attached
        return 0;
    }
    if (m_hThread == record) m_hThread = nullptr;
    record->release();
    exitCode = code;
    return 1;
}

unsigned char KrThread::cancel()
{
    KrMutexGuard hold(attachLock());
    Record* record = m_hThread;
    if (record == nullptr || record->claimed) return 0;
    record->claimed = true;
    m_hThread = nullptr;
    const bool canceled = record->thread.Cancel();
    record->thread.Detach();
    record->release();
    return canceled;
}

unsigned char KrThread::priority(Priority value)
{
    unsigned int kernelId = 0;
    {
        KrMutexGuard hold(attachLock());
        if (m_hThread == nullptr) return 0;
        kernelId = m_hThread->thread.KernelId();
    }
    int nice = 0;  // normal, also for values outside the table
    for (const NiceValue& entry : kNiceValues)
        if (entry.priority == value) nice = entry.nice;
    return Platform::SetThreadNice(kernelId, nice);
}

int KrThread::priority() const
{
    unsigned int kernelId = 0;
    {
        KrMutexGuard hold(attachLock());
        if (m_hThread == nullptr) return -1;
        kernelId = m_hThread->thread.KernelId();
    }
    int nice = 0;
    if (!Platform::GetThreadNice(kernelId, nice)) return -1;
    for (const NiceValue& entry : kNiceValues)
        if (entry.nice == nice) return entry.priority;
    return PriorityOther;
}

void KrThread::yield()
{
    Platform::SleepMs(0);
}

unsigned long long KrThread::time()
{
    return (Platform::SystemTimeAsFileTime() - kFileTimeOf1970) * 100ULL;
}

void KrThread::sleep(unsigned int ns)
{
    Platform::SleepMs(ns / 1000000u);
}

void KrThread::wakeat(unsigned int deadlineNs)
{
    Platform::SleepMs(msUntil(deadlineNs));
}

unsigned int KrThread::current()
{
    return Platform::CurrentThreadId();
}

unsigned int KrThread::GetCurrentThreadId()
{
    return Platform::CurrentThreadId();
}

KrThread* KrThread::self()
{
    return t_pCurrentThread;
}

// The thread's end (see execute) detaches it from its KrThread while the stack unwinds.
void KrThread::exit(int exitCode)
{
    Platform::ExitThread(exitCode);
}

}  // namespace KRN
