// The ring of recent errors behind KrErrorObj. The log holds it and fills it with every accepted
// error and fatal record; KrErrorObj reads it through ErrorStack::OfLog(). It shares the log's
// lock: errors arrive while that lock is held, and the error callback may log again, so a lock of
// its own could be taken in the opposite order by another thread.
#pragma once

#include <vector>

#include "Base/KrArray.h"
#include "Base/KrErrorObj.h"
#include "Base/KrThread.h"

namespace KRN
{

class ErrorStack
{
public:
    using ErrorInfo = KrErrorObj::ErrorInfo;

    explicit ErrorStack(KrMutex& sharedLock);
    ErrorStack(const ErrorStack&) = delete;
    ErrorStack& operator=(const ErrorStack&) = delete;

    // The log's stack; the first use makes the log as KrLogFile::GetInstance(false) does.
    static ErrorStack& OfLog();
    // The callback that receives each new error formatted; null clears it.
    static void SetProc(KrErrorObj::ErrorInfoProc proc);

    // Keeps info and passes it to the callback unless the callback is already running on this
    // thread (an error it raises is kept but not passed again).
    void Add(const ErrorInfo& info);
    void Clear();
    // Empty again with the default capacity and freshly made slots.
    void Reset();
    int Count();
    int Capacity();
    void SetCapacity(int capacity);
    ErrorInfo At(int index);
    ErrorInfo Latest();
    // The latest entry raised by thread, or a default entry.
    ErrorInfo LatestOf(unsigned int thread);
    // Every entry, latest first.
    std::vector<ErrorInfo> LatestFirst();

private:
    KrMutex& m_lock;
    KrContainer<ErrorInfo> m_entries;
};

}  // namespace KRN
