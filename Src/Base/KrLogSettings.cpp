#include "Base/KrRegistry.h"
#include "KrLogFileImpl.h"

namespace KRN
{

using namespace LogDetail;

namespace
{

// "\r\n", "\r" and "\n" written as two characters in the settings become CR LF, "\t" a tab.
KrString unescapeFormat(KrString text)
{
    text.Replace("\\r\\n", "\r\n");
    text.Replace("\\r", "\r\n");
    text.Replace("\\n", "\r\n");
    text.Replace("\\t", "\t");
    return text;
}

long long clampToInt(long long value)
{
    return value > INT_MAX ? INT_MAX : (value < INT_MIN ? INT_MIN : value);
}

template <class E, size_t N>
E parseEnum(const KrString& text, const char* const (&names)[N], const E (&values)[N], E fallback)
{
    for (size_t i = 0; i < N; ++i)
        if (text.CompareNoCase(names[i]) == 0) return values[i];
    return fallback;
}

}  // namespace

KrString LogDetail::normaliseDirectory(KrString location)
{
    location.TrimRight("\\/");
    if (location.IsEmpty()) return location;
    return location + "/";
}

// ---------------------------------------------------------------- inside the lock

// Above info the thread id goes from the format, above debug the code file and line.
void KrLogFile::Impl::applyLevel(int level)
{
    nLevel.store(level, std::memory_order_relaxed);
    KrString text = format.Text();
    if (level > LogInfo) text.Replace("%THREADID", "");
    if (level > LogDebug)
    {
        text.Replace("%CODEFILE", "");
        text.Replace("%CODELINE", "");
    }
    if (text != format.Text()) format.Set(text);
}

void KrLogFile::Impl::restoreDefaults()
{
    format.Set(kDefaultFormat);
    strDateTimeFormat = kDefaultDateTimeFormat;
    nCachedSecond = LLONG_MIN;
    bSaveToPhysical = true;
    bFilterRepeat = true;
    nFileSizeLimit = 0;
    nSizeLimitMode = SizeRolling;
}

// ---------------------------------------------------------------- the settings section

unsigned char KrLogFile::LoadSetting(const KrRegistry& registry)
{
    const KrHash<KrString>& section = registry.Obj("LogSetting");
    if (section["LogEnabled"].CompareNoCase("true") != 0) return IsOpen();

    const unsigned char append = section["IsAppend"].CompareNoCase("true") == 0 ? 1 : 0;
    const Mode mode = GetModeAsEnum(section["StorageType"]);
    const LogLevelType level = GetLevelAsEnum(section["LogLevel"]);
    const KrString format = unescapeFormat(section["LogFormat"]);
    const KrString dateFormat = section["DateTimeFormat"];
    const bool filter = section["IsFilter"].CompareNoCase("false") != 0;
    const TimeInterval interval = GetTimeIntervalAsEnum(section["LogTimeInterval"]);
    // The key is written with a trailing blank in older configurations; an element name cannot
    // end in one, so both spellings are looked up.
    KrString location = section["LogFileLocation"];
    if (location.IsEmpty()) location = section["LogFileLocation "];
    KrString prefix = section["LogFilePrefix"];
    if (prefix.IsEmpty()) prefix = kDefaultPrefix;
    const long long maxSize = section["MaxFileSize"].ToLong(10);
    const SizeLimitMode sizeMode = GetSizeLimitModeAsEnum(section["ExceedSizeMode"]);

    KrMutexGuard hold(m_pImpl->mutex);
    if (mode == ModeText || mode == ModeXML)
        Open(location, prefix, interval, mode, append);
    else if (mode == ModeMemory)
        Open(ModeMemory);
    if (!IsOpen()) return 0;
    SetLevel(level);
    if (!format.IsEmpty()) SetLogFormat(format);
    if (!dateFormat.IsEmpty()) SetDateTimeFormat(dateFormat);
    SetFileSizeLimit(static_cast<int>(clampToInt(maxSize)), sizeMode);
    SetFilterRepeat(filter ? 1 : 0);
    return 1;
}

// ---------------------------------------------------------------- settings one by one

void KrLogFile::SetLevel(LogLevelType level)
{
    KrMutexGuard hold(m_pImpl->mutex);
    m_pImpl->applyLevel(level);
}

KrLogFile::LogLevelType KrLogFile::GetLevel()
{
    return static_cast<LogLevelType>(m_pImpl->nLevel.load());
}

void KrLogFile::SetLogFormat(const KrString& strFormat)
{
    KrMutexGuard hold(m_pImpl->mutex);
    m_pImpl->format.Set(strFormat);
}

KrString KrLogFile::GetLogFormat()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->format.Text();
}

void KrLogFile::SetDateTimeFormat(const KrString& strFormat)
{
    KrMutexGuard hold(m_pImpl->mutex);
    m_pImpl->strDateTimeFormat = strFormat;
    m_pImpl->nCachedSecond = LLONG_MIN;
}

KrString KrLogFile::GetDateTimeFormat()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->strDateTimeFormat;
}

void KrLogFile::SetSaveToPhysical(unsigned char bSave)
{
    KrMutexGuard hold(m_pImpl->mutex);
    m_pImpl->bSaveToPhysical = bSave != 0;
}

unsigned char KrLogFile::IsSaveToPhysical()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->bSaveToPhysical ? 1 : 0;
}

void KrLogFile::SetFilterRepeat(unsigned char bFilter)
{
    KrMutexGuard hold(m_pImpl->mutex);
    m_pImpl->bFilterRepeat = bFilter != 0;
}

unsigned char KrLogFile::IsFilterRepeat()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->bFilterRepeat ? 1 : 0;
}

void KrLogFile::SetFileSizeLimit(int nBytes, SizeLimitMode mode)
{
    KrMutexGuard hold(m_pImpl->mutex);
    m_pImpl->nFileSizeLimit = nBytes;
    m_pImpl->nSizeLimitMode = mode;
}

int KrLogFile::GetFileSizeLimit()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->nFileSizeLimit;
}

KrLogFile::SizeLimitMode KrLogFile::GetSizeLimitMode()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->nSizeLimitMode;
}

void KrLogFile::SetQueryMaxNum(int nCount)
{
    KrMutexGuard hold(m_pImpl->mutex);
    m_pImpl->records.SetCapacity(nCount);
}

int KrLogFile::GetQueryMaxNum()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->records.GetCapacity();
}

void KrLogFile::SetRecordOnlyLog()
{
    SetLogFormat("%MSG");
}

void KrLogFile::SetDataSourceNull(void* pDataSource)
{
    KrMutexGuard hold(m_pImpl->mutex);
    if (pDataSource == nullptr || pDataSource == m_pImpl->pDataSource)
        m_pImpl->pDataSource = nullptr;
}

void KrLogFile::SetDirectory(const KrString& strDirectory)
{
    KrMutexGuard hold(m_pImpl->mutex);
    m_pImpl->strDirectory = normaliseDirectory(strDirectory);
}

KrString KrLogFile::GetDirectory()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->strDirectory;
}

KrString KrLogFile::GetFileName()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->strFileName;
}

KrLogFile::Mode KrLogFile::GetMode()
{
    KrMutexGuard hold(m_pImpl->mutex);
    return m_pImpl->nMode;
}

// ---------------------------------------------------------------- settings as texts

KrString KrLogFile::GetLevelAsString(LogLevelType level)
{
    switch (level)
    {
        case LogDebug:
            return "debug";
        case LogInfo:
            return "info";
        case LogWarning:
            return "warning";
        case LogError:
            return "error";
        case LogFatal:
            return "fatal";
    }
    return "unknown";
}

KrLogFile::LogLevelType KrLogFile::GetLevelAsEnum(const KrString& text)
{
    static const char* const names[] = {"debug", "info", "warning", "error", "fatal"};
    static const LogLevelType values[] = {LogDebug, LogInfo, LogWarning, LogError, LogFatal};
    return parseEnum(text, names, values, LogError);
}

KrLogFile::Mode KrLogFile::GetModeAsEnum(const KrString& text)
{
    static const char* const names[] = {"Text", "XML", "Database", "Memory"};
    static const Mode values[] = {ModeText, ModeXML, ModeDatabase, ModeMemory};
    return parseEnum(text, names, values, ModeText);
}

KrLogFile::TimeInterval KrLogFile::GetTimeIntervalAsEnum(const KrString& text)
{
    static const char* const names[] = {"None", "Hour", "Day", "Week", "Month"};
    static const TimeInterval values[] = {IntervalNone, IntervalHour, IntervalDay, IntervalWeek,
                                          IntervalMonth};
    return parseEnum(text, names, values, IntervalNone);
}

KrLogFile::SizeLimitMode KrLogFile::GetSizeLimitModeAsEnum(const KrString& text)
{
    static const char* const names[] = {"Rolling", "ReOpen", "NewFile"};
    static const SizeLimitMode values[] = {SizeRolling, SizeReOpen, SizeNewFile};
    return parseEnum(text, names, values, SizeRolling);
}

}  // namespace KRN
