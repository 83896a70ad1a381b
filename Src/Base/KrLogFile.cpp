#include "Base/KrLogFile.h"

#include "Base/KrRegistry.h"
#include "KrLogFileImpl.h"
#include "KrLogRoute.h"
#include "Platform/KrPlatformTime.h"

namespace KRN
{

using namespace LogDetail;

// The containers of the log's records, compiled once here for every module.
template class KrArray<KrLogItem>;
template class KrContainer<KrLogItem>;

namespace
{

ErrorStack* g_pErrorStack = nullptr;  // the log singleton's, set when it is made

bool routeToLog(int level, int code, const KrString& message, const char* codeFile, int codeLine)
{
    return KrLogFile::GetInstance(false).RecordLog(static_cast<KrLogFile::LogLevelType>(level),
                                                   code, message, KrString(codeFile),
                                                   codeLine) != 0;
}

// Installed while the library is loaded, before any of its code can run: a lower family that
// reports a failure from then on reaches the log.
struct RouteInstaller
{
    RouteInstaller() { Detail::SetLogRoute(&routeToLog); }
} g_routeInstaller;

}  // namespace

// ---------------------------------------------------------------- the singleton

KrLogFile::Impl::Impl()
{
    records.SetCapacity(kDefaultRecordCapacity);
    tmStart = KrTime::GetCurrentTime();
    nLastTick = Platform::TickCountMs();
}

KrLogFile::KrLogFile() : m_pImpl(new Impl)
{
    g_pErrorStack = &m_pImpl->errors;
}

KrLogFile::~KrLogFile()
{
    Close(0);
}

KrLogFile& KrLogFile::GetInstance(bool bNoSetting)
{
    static KrLogFile instance;
    static std::atomic<bool> decided{false};
    // Only the first call decides; loading runs outside any once-guard so that a record made
    // while the settings are read (by the registry, say) finds the log instead of deadlocking.
    if (!decided.load(std::memory_order_acquire) && !decided.exchange(true) && !bNoSetting)
        instance.LoadSetting(KrRegistry::Root());
    return instance;
}

ErrorStack& ErrorStack::OfLog()
{
    KrLogFile::GetInstance(false);
    return *g_pErrorStack;
}

// ---------------------------------------------------------------- opening and closing

void KrLogFile::Impl::closeStorage()
{
    file.Close();
    nWritePos = 0;
    if (nMode != ModeDatabase) return;
    CloseCallBack closeCallBack = g_pCloseCallBack.load();
    if (closeCallBack != nullptr && pDataSource != nullptr) closeCallBack(pDataSource, strFileName);
}

// Closes an open log and restores the defaults, as every Open does first.
void KrLogFile::Impl::prepareOpen()
{
    if (bOpen.load())
    {
        closeStorage();
        bOpen.store(false);
        restoreDefaults();
    }
    applyLevel(nLevel.load());
    tmStart = KrTime::GetCurrentTime();
    nLastTick = Platform::TickCountMs();
    nNewFileNumber = 0;
}

unsigned char KrLogFile::Open(const KrString& strLocation, const KrString& strPrefix,
                              TimeInterval interval, Mode mode, unsigned char bAppend)
{
    Impl& d = *m_pImpl;
    KrMutexGuard hold(d.mutex);
    d.prepareOpen();
    if (mode != ModeText && mode != ModeXML) return 0;
    d.strDirectory = normaliseDirectory(strLocation);
    d.strPrefix = strPrefix;
    d.nInterval = interval;
    d.bOpen.store(d.openFile(d.generatedName(), bAppend, mode));
    return IsOpen();
}

unsigned char KrLogFile::Open(const KrString& strFileName, unsigned char bAppend, Mode mode)
{
    Impl& d = *m_pImpl;
    KrMutexGuard hold(d.mutex);
    d.prepareOpen();
    d.nInterval = IntervalNone;
    if (mode == ModeMemory)
    {
        d.nMode = ModeMemory;
        d.bOpen.store(true);
    }
    else if (mode == ModeText || mode == ModeXML)
        d.bOpen.store(d.openFile(strFileName, bAppend, mode));
    return IsOpen();
}

unsigned char KrLogFile::Open(Mode mode)
{
    Impl& d = *m_pImpl;
    KrMutexGuard hold(d.mutex);
    if (mode == ModeMemory) return Open(KrString(), 0, mode);
    return Open(d.defaultName(), 0, mode);
}

unsigned char KrLogFile::Open(void* pDataSource, const KrString& strName)
{
    Impl& d = *m_pImpl;
    KrMutexGuard hold(d.mutex);
    d.prepareOpen();
    d.nInterval = IntervalNone;
    d.nMode = ModeDatabase;
    d.pDataSource = pDataSource;
    d.strFileName = strName;
    OpenCallBack openCallBack = g_pOpenCallBack.load();
    d.bOpen.store(openCallBack == nullptr || openCallBack(pDataSource, strName) != 0);
    return IsOpen();
}

void KrLogFile::Close(unsigned char bRestoreDefault)
{
    Impl& d = *m_pImpl;
    KrMutexGuard hold(d.mutex);
    if (d.bOpen.load()) d.closeStorage();
    d.bOpen.store(false);
    if (!bRestoreDefault) return;
    d.restoreDefaults();
    d.nLevel.store(LogDebug);
    d.nMode = ModeText;
    d.nInterval = IntervalNone;
    d.strDirectory.Empty();
    d.strPrefix = kDefaultPrefix;
    d.strFileName.Empty();
    d.pDataSource = nullptr;
    d.repeats.Reset();
    // Emptied slots would keep their texts: the ring is rebuilt instead.
    d.records = KrContainer<KrLogItem>();
    d.records.SetCapacity(kDefaultRecordCapacity);
    d.errors.Reset();
}

unsigned char KrLogFile::IsOpen()
{
    return m_pImpl->bOpen.load() ? 1 : 0;
}

// ---------------------------------------------------------------- recording

void KrLogFile::Impl::fillItem(LogLevelType level, int code, const KrString& message,
                               const KrString& codeFile, int codeLine)
{
    item.m_nThreadID = format.HasThreadId() ? static_cast<int>(KrThread::current()) : 0;
    item.m_nLevel = level;
    item.m_strMessage = message;
    item.m_nResID = code;
    item.m_strCodeFile = codeFile;
    item.m_nCodeLine = codeLine;
    stampTime();
}

// The time of the record and the milliseconds since the previous one. The formatted time is
// kept for the second it belongs to.
void KrLogFile::Impl::stampTime()
{
    const long long second = Platform::CurrentUnixTime();
    if (second != nCachedSecond)
    {
        nCachedSecond = second;
        tmCached = KrTime(second);
        cachedDateTime = tmCached.Format(strDateTimeFormat.Cstr());
    }
    item.m_tmDateTime = tmCached;
    const unsigned int tick = Platform::TickCountMs();
    item.m_nTimeSpan = static_cast<int>(tick - nLastTick);
    nLastTick = tick;
}

void KrLogFile::Impl::addToErrorStack()
{
    KrErrorObj::ErrorInfo info;
    info.nThreadID = static_cast<unsigned int>(item.m_nThreadID);
    info.nErrorCode = static_cast<unsigned int>(item.m_nResID);
    info.strMessage = item.m_strMessage;
    info.strCodeFile = item.m_strCodeFile;
    info.nCodeLine = item.m_nCodeLine;
    errors.Add(info);
}

unsigned char KrLogFile::RecordLog(LogLevelType level, int nCode, const KrString& strMessage,
                                   const KrString& strCodeFile, int nCodeLine)
{
    Impl& d = *m_pImpl;
    if (!d.bOpen.load(std::memory_order_relaxed)) return 0;
    const int threshold = d.nLevel.load(std::memory_order_relaxed);
    if (level < threshold && level < LogError) return 0;

    KrMutexGuard hold(d.mutex);
    // A write callback that logs comes back here on its own thread, holding the lock.
    if (d.bInCallBack || !d.bOpen.load()) return 0;

    d.fillItem(level, nCode, strMessage, strCodeFile, nCodeLine);
    if (d.bFilterRepeat && d.repeats.IsRepeat(d.item)) return 0;
    d.repeats.Remember(d.item);

    if (level >= LogError)
    {
        d.addToErrorStack();
        if (level < d.nLevel.load()) return 0;
    }

    d.records.Add(d.item);
    d.store();
    return 1;
}

unsigned char KrLogFile::RecordLog(LogLevelType level, int nCode, const KrString& strCodeFile,
                                   int nCodeLine)
{
    if (!IsOpen()) return 0;
    KrString message;
    message.LoadString(static_cast<unsigned int>(nCode));
    return RecordLog(level, nCode, message, strCodeFile, nCodeLine);
}

// ---------------------------------------------------------------- the in-memory records

int KrLogFile::GetRecordCount()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->records.GetSize();
}

int KrLogFile::Query(const KrLogQueryDef& query, KrArray<KrLogItem>& out)
{
    KrMutexGuard hold(m_pImpl->mutex);
    out.SetSize(0);
    KrContainer<KrLogItem>& records = m_pImpl->records;
    const int count = records.GetSize();
    for (int i = 0; i < count; ++i)
    {
        if (query.m_nMaxCount > 0 && out.GetSize() >= query.m_nMaxCount) break;
        if (query.Matches(records[i])) out.Add(records[i]);
    }
    return out.GetSize();
}

unsigned char KrLogQueryDef::Compare(const KrString& op, int a, int b)
{
    if (op == ">") return a > b;
    if (op == "<") return a < b;
    if (op == "=") return a == b;
    if (op == ">=") return a >= b;
    if (op == "<=") return a <= b;
    if (op == "!=") return a != b;
    return 0;
}

unsigned char KrLogQueryDef::Matches(const KrLogItem& item) const
{
    if (item.m_nLevel > m_nMaxLevel || item.m_nLevel < m_nMinLevel) return 0;
    if (!m_strMessage.IsEmpty() && item.m_strMessage.Find(m_strMessage.Cstr()) < 0) return 0;
    if (m_tmFrom.GetTime() != 0 && item.m_tmDateTime.GetTime() < m_tmFrom.GetTime()) return 0;
    if (!m_strResIDOperator.IsEmpty() && !Compare(m_strResIDOperator, item.m_nResID, m_nResID))
        return 0;
    if (m_nThreadID != 0 && item.m_nThreadID != m_nThreadID) return 0;
    return 1;
}

// ---------------------------------------------------------------- callbacks

void KrLogFile::SetCallBack(CallBack callBack)
{
    g_pCallBack.store(callBack);
}
void KrLogFile::SetOpenCallBack(OpenCallBack callBack)
{
    g_pOpenCallBack.store(callBack);
}
void KrLogFile::SetWriteCallBack(WriteCallBack callBack)
{
    g_pWriteCallBack.store(callBack);
}
void KrLogFile::SetCloseCallBack(CloseCallBack callBack)
{
    g_pCloseCallBack.store(callBack);
}

}  // namespace KRN
