// The inside of KrLogFile, shared by its sources: KrLogFile.cpp (the singleton, opening and
// recording), KrLogSettings.cpp (settings and their texts), KrLogFormat.cpp (the record
// template), KrLogRepeatFilter.cpp, KrLogWriters.cpp (text, XML and database storage) and
// KrLogRotation.cpp (file names, size limit and time interval). Everything here runs under the
// log's lock unless it says otherwise.
#pragma once

#include <atomic>
#include <climits>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "Base/KrLogFile.h"
#include "Base/KrThread.h"
#include "KrErrorStack.h"
#include "Platform/KrPlatformFile.h"

namespace KRN
{

namespace LogDetail
{

inline constexpr char kDefaultFormat[] =
    "%DATETIME [%TIMESPAN] (%LEVEL) |  %MSG \r\nThreadID:%THREADID \r\nCodeFile:%CODEFILE "
    "\r\nCodeLine:%CODELINE";
inline constexpr char kDefaultDateTimeFormat[] = "%Y-%m-%d %H:%M:%S";
inline constexpr char kDefaultPrefix[] = "Log";
inline constexpr char kLineEnd[] = "\r\n";
inline constexpr char kCloseTag[] = "</LogFile>";
inline constexpr int kDefaultRecordCapacity = 10240;

// The host callbacks, read without the lock.
inline std::atomic<KrLogFile::CallBack> g_pCallBack{nullptr};
inline std::atomic<KrLogFile::OpenCallBack> g_pOpenCallBack{nullptr};
inline std::atomic<KrLogFile::WriteCallBack> g_pWriteCallBack{nullptr};
inline std::atomic<KrLogFile::CloseCallBack> g_pCloseCallBack{nullptr};

void appendDecimal(std::string& out, long long value);
KrString decimal(long long value);
// The directory with exactly one trailing "/", or empty.
KrString normaliseDirectory(KrString location);

// The record template, cut into literal runs and tokens once so that each record is one pass.
class RecordFormat
{
public:
    RecordFormat();
    void Set(const KrString& format);
    const KrString& Text() const { return m_text; }
    // Whether records carry their thread id.
    bool HasThreadId() const { return m_bHasThreadId; }
    // The text of item, whose time reads dateTime, without a line end.
    void Build(const KrLogItem& item, const std::string& dateTime, std::string& out) const;

    enum class Token
    {
        Literal,
        DateTime,
        TimeSpan,
        Level,
        Message,
        ThreadId,
        CodeFile,
        CodeLine
    };

private:
    struct Piece
    {
        Token token;
        std::string text;
    };

    bool mayBringInTokens(const KrLogItem& item, const std::string& dateTime) const;
    void buildStepByStep(const KrLogItem& item, const std::string& dateTime,
                         std::string& out) const;

    KrString m_text;
    std::vector<Piece> m_pieces;
    bool m_bHasThreadId = true;
    bool m_bLiteralMayJoinValue = false;  // see mayBringInTokens
};

// Drops a record that repeats the previous one, or whose message, code and thread came five
// times among the last thousand records.
class RepeatFilter
{
public:
    // Counts item unless it is a repetition.
    bool IsRepeat(const KrLogItem& item);
    // item becomes the previous record, filtered or not.
    void Remember(const KrLogItem& item);
    void Reset();

private:
    KrLogItem m_last;
    bool m_bHasLast = false;
    std::unordered_map<unsigned int, int> m_counts;
    std::deque<unsigned int> m_window;
};

}  // namespace LogDetail

struct KrLogFile::Impl
{
    KrMutex mutex;
    std::atomic<bool> bOpen{false};
    std::atomic<int> nLevel{LogDebug};
    bool bInCallBack = false;  // a host callback runs; records it makes are dropped

    Mode nMode = ModeText;
    KrString strFileName;
    KrString strDirectory;
    KrString strPrefix = LogDetail::kDefaultPrefix;
    TimeInterval nInterval = IntervalNone;
    unsigned char bAppend = 0;

    LogDetail::RecordFormat format;
    KrString strDateTimeFormat = LogDetail::kDefaultDateTimeFormat;
    bool bSaveToPhysical = true;
    bool bFilterRepeat = true;
    int nFileSizeLimit = 0;
    SizeLimitMode nSizeLimitMode = SizeRolling;
    int nNewFileNumber = 0;

    KrContainer<KrLogItem> records;
    ErrorStack errors{mutex};

    KrLogItem item;  // the record being built, reused so that a record allocates nothing
    LogDetail::RepeatFilter repeats;

    KrTime tmStart;
    unsigned int nLastTick = 0;

    Platform::FileDescriptor file;
    long long nWritePos = 0;  // text: where the next record goes; XML: the closing tag
    void* pDataSource = nullptr;

    std::string line;  // the text of the record being written
    long long nCachedSecond = LLONG_MIN;
    KrTime tmCached;
    std::string cachedDateTime;

    Impl();

    // Settings (KrLogSettings.cpp).
    void applyLevel(int level);
    void restoreDefaults();

    // Opening and closing (KrLogFile.cpp).
    void prepareOpen();
    void closeStorage();

    // Recording (KrLogFile.cpp).
    void fillItem(LogLevelType level, int code, const KrString& message, const KrString& codeFile,
                  int codeLine);
    void stampTime();
    void addToErrorStack();

    // Storage (KrLogWriters.cpp).
    bool openFile(const KrString& name, unsigned char append, Mode mode);
    bool openLogFile(const KrString& name, unsigned char append);
    bool openText(const KrString& name, unsigned char append);
    bool openXML(const KrString& requested, unsigned char append);
    long long findCloseTag(long long size);
    bool readAt(std::string& buffer, long long offset);
    bool writeAt(const std::string& text, long long offset);
    void store();
    void writeText();
    void writeXML();
    void writeDatabase();

    // Names and rotation (KrLogRotation.cpp).
    KrString generatedName() const;
    KrString defaultName() const;
    long long currentLength() const;
    void dealFileSizeLimit();
    KrString nextNumberedName();
    void dealTimeInterval();
};

}  // namespace KRN
