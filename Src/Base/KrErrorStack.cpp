#include "KrErrorStack.h"

#include <atomic>

namespace KRN
{

namespace
{

constexpr int kDefaultCapacity = 16;

std::atomic<KrErrorObj::ErrorInfoProc> g_pErrorInfoProc{nullptr};
thread_local bool t_bInErrorProc = false;

}  // namespace

ErrorStack::ErrorStack(KrMutex& sharedLock) : m_lock(sharedLock)
{
    m_entries.SetCapacity(kDefaultCapacity);
}

void ErrorStack::SetProc(KrErrorObj::ErrorInfoProc proc)
{
    g_pErrorInfoProc.store(proc);
}

void ErrorStack::Add(const ErrorInfo& info)
{
    KrMutexGuard hold(m_lock);
    m_entries.Add(info);
    KrErrorObj::ErrorInfoProc proc = g_pErrorInfoProc.load();
    if (proc == nullptr || t_bInErrorProc) return;
    KrString text;
    KrErrorObj::Format(info, text, 1);
    t_bInErrorProc = true;
    proc(text.Cstr());
    t_bInErrorProc = false;
}

void ErrorStack::Clear()
{
    KrMutexGuard hold(m_lock);
    m_entries.Clear();
}

void ErrorStack::Reset()
{
    KrMutexGuard hold(m_lock);
    // Emptied slots would keep their texts: the ring is rebuilt instead.
    m_entries = KrContainer<ErrorInfo>();
    m_entries.SetCapacity(kDefaultCapacity);
}

int ErrorStack::Count()
{
    KrMutexGuard hold(m_lock);
    return m_entries.GetSize();
}

int ErrorStack::Capacity()
{
    KrMutexGuard hold(m_lock);
    return m_entries.GetCapacity();
}

void ErrorStack::SetCapacity(int capacity)
{
    KrMutexGuard hold(m_lock);
    m_entries.SetCapacity(capacity);
}

ErrorStack::ErrorInfo ErrorStack::At(int index)
{
    KrMutexGuard hold(m_lock);
    return m_entries[index];
}

ErrorStack::ErrorInfo ErrorStack::Latest()
{
    KrMutexGuard hold(m_lock);
    if (m_entries.GetCapacity() == 0) return ErrorInfo();
    return m_entries[0];
}

ErrorStack::ErrorInfo ErrorStack::LatestOf(unsigned int thread)
{
    KrMutexGuard hold(m_lock);
    // The whole ring is scanned, filled or not: default entries never match, their thread id
    // being 0xFFFFFFFF.
    const int capacity = m_entries.GetCapacity();
    for (int i = 0; i < capacity; ++i)
        if (m_entries[i].nThreadID == thread) return m_entries[i];
    return ErrorInfo();
}

std::vector<ErrorStack::ErrorInfo> ErrorStack::LatestFirst()
{
    KrMutexGuard hold(m_lock);
    std::vector<ErrorInfo> entries;
    const int count = m_entries.GetSize();
    entries.reserve(static_cast<size_t>(count > 0 ? count : 0));
    for (int i = 0; i < count; ++i) entries.push_back(m_entries[i]);
    return entries;
}

}  // namespace KRN
