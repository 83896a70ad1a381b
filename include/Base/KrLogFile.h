// KrLogFile: the process-wide log. Records (level, code, message, source file and line) are
// filtered by level and by repetition, kept in a ring of recent records that can be queried,
// and written to a text file, to an XML file with its schema and stylesheet beside it, or to a
// database through host callbacks:
//   KrLogFile::GetInstance().RecordLog(KrLogFile::LogError, 11023, "cannot open", __FILE__,
//   __LINE__);
// The first GetInstance() reads the "LogSetting" section of "krn.xml" and opens the log when it
// says so; a closed log drops every record, errors included. Errors and fatals also reach the
// error stack (KrErrorObj). Every method may be called from any thread; RecordLog writes and
// flushes each accepted record before it returns, so a record survives the process being killed
// right after.
#pragma once

#include <memory>

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"
#include "Base/KrTime.h"

namespace KRN
{

class KrLogItem;
class KrLogQueryDef;
class KrRegistry;

class KRN_API KrLogFile
{
public:
    enum LogLevelType : int
    {
        LogDebug = 100,
        LogInfo = 200,
        LogWarning = 300,
        LogError = 400,
        LogFatal = 500
    };
    // How records are stored.
    enum Mode : int
    {
        ModeText,
        ModeXML,
        ModeDatabase,
        ModeMemory  // the in-memory ring only
    };
    // When a new file is started by the clock.
    enum TimeInterval : int
    {
        IntervalNone,
        IntervalHour,
        IntervalDay,
        IntervalWeek,
        IntervalMonth
    };
    // What happens when a file outgrows the size limit.
    enum SizeLimitMode : int
    {
        SizeRolling,  // text: write again from the start of the file; XML: nothing
        SizeReOpen,   // start the same file again, empty
        SizeNewFile   // continue in "name#1.ext", then "#2" ... The later steps replace "#<n>"
                      // wherever it occurs in the path, directories included, deliberately.
    };

    using CallBack = void (*)(const char* record);
    using OpenCallBack = unsigned char (*)(void* dataSource, const KrString& name);
    using WriteCallBack = void (*)(void* dataSource, const KrString& name, const KrLogItem& item);
    using CloseCallBack = void (*)(void* dataSource, const KrString& name);

    // The singleton. Unless bNoSetting is true, the very first call also loads the settings
    // from the registry root and opens the log as they say; later calls return at once.
    static KrLogFile& GetInstance(bool bNoSetting = false);
    // Applies the "LogSetting" section of a registry as the first GetInstance() does. Returns
    // whether the log is open afterwards. The level is set before the configured "LogFormat",
    // so a configured format keeps all its tokens whatever the level.
    unsigned char LoadSetting(const KrRegistry& registry);

    // Opening while open closes first and returns the settings (format, date format, filter,
    // size limit, saving) to their defaults; the level threshold is applied again.
    //
    // Text or XML with a generated name: location + prefix + "_<process id>.log", or with a
    // time interval prefix + "_<process id>_<YYYY_MM_DD_HH>h.log". XML files take the extension
    // "xml" and get "<name>.xsd" and "<name>.xslt" beside them (the stylesheet's first column is
    // headed "DataTime", as hosts know it). Each XML record is a "LogItem" whose children carry
    // values only for tokens of the log format; its "ResID" child is filled only when the format
    // holds "%%RESID", written with two percent signs. The file is well-formed after every record.
    unsigned char Open(const KrString& strLocation, const KrString& strPrefix,
                       TimeInterval interval, Mode mode, unsigned char bAppend);
    unsigned char Open(const KrString& strFileName, unsigned char bAppend, Mode mode);
    // Text or XML under the default name "LgYYYY-MM-DD_hh-mm-ss.log" in the directory, or
    // ModeMemory for the in-memory ring only.
    unsigned char Open(Mode mode);
    // Database mode: the result of the open callback (true when none is set).
    unsigned char Open(void* pDataSource, const KrString& strName);
    // Closes the file (the close callback in database mode). bRestoreDefault also returns
    // every setting to its default, forgets the directory and empties the in-memory records,
    // the repetition counts and the error stack.
    void Close(unsigned char bRestoreDefault = 0);
    unsigned char IsOpen();

    // True when the record was accepted. Dropped: the log is closed; the level is below the
    // threshold (errors and fatals always pass); it repeats the previous record, or its
    // message, code and thread came five times among the last thousand records; it comes
    // from a database write callback; an error below a fatal threshold (which still reaches
    // the error stack). A failed write drops nothing and reports nothing. The repetition key is
    // the message's hash code plus the code plus the thread id, so records whose message and
    // code change together ("item 1" with code 1, "item 2" with code 2) can share a key.
    unsigned char RecordLog(LogLevelType level, int nCode, const KrString& strMessage,
                            const KrString& strCodeFile, int nCodeLine);
    // The message is the string resource with id nCode.
    unsigned char RecordLog(LogLevelType level, int nCode, const KrString& strCodeFile,
                            int nCodeLine);

    // Stores the threshold. Above info every "%THREADID" is deleted from the log format (records
    // then carry thread id 0), above debug every "%CODEFILE" and "%CODELINE": only the tokens go,
    // the labels around them ("ThreadID:", "CodeFile:", "CodeLine:") stay, deliberately.
    void SetLevel(LogLevelType level);
    LogLevelType GetLevel();
    // Tokens: %DATETIME %TIMESPAN %LEVEL %MSG %THREADID %CODEFILE %CODELINE. Each is replaced by
    // its value in one pass; the values themselves (a message holding "%DATETIME" or "%s") are
    // written as they are and never read as tokens.
    void SetLogFormat(const KrString& strFormat);
    KrString GetLogFormat();
    void SetDateTimeFormat(const KrString& strFormat);  // strftime style
    KrString GetDateTimeFormat();
    void SetSaveToPhysical(unsigned char bSave);  // false: the ring and error stack only
    unsigned char IsSaveToPhysical();
    void SetFilterRepeat(unsigned char bFilter);
    unsigned char IsFilterRepeat();
    // A limit of 0 or below means none. The size measured is the write position of the
    // current file, so a rolled text file keeps its old tail beyond the limit.
    void SetFileSizeLimit(int nBytes, SizeLimitMode mode);
    int GetFileSizeLimit();
    SizeLimitMode GetSizeLimitMode();
    // Capacity of the in-memory ring (10,240 by default).
    void SetQueryMaxNum(int nCount);
    int GetQueryMaxNum();
    void SetRecordOnlyLog();                    // the format becomes "%MSG"
    void SetDataSourceNull(void* pDataSource);  // forget the data source
    void SetDirectory(const KrString& strDirectory);
    KrString GetDirectory();
    KrString GetFileName();  // full path of the current file, or the database name
    Mode GetMode();

    // The in-memory ring: the records kept (capacity at most), and queries over them, latest
    // first. Query returns the number of records put in out, which is emptied first.
    int GetRecordCount();
    int Query(const KrLogQueryDef& query, KrArray<KrLogItem>& out);

    // Case-insensitive. Unknown or empty texts give: level LogError (on purpose), ModeText,
    // IntervalNone, SizeRolling.
    static KrString GetLevelAsString(LogLevelType level);  // "unknown" for other values
    static LogLevelType GetLevelAsEnum(const KrString& text);
    static Mode GetModeAsEnum(const KrString& text);
    static TimeInterval GetTimeIntervalAsEnum(const KrString& text);
    static SizeLimitMode GetSizeLimitModeAsEnum(const KrString& text);
    // Whether a file opened at opened is replaced at now. Week: a new file seven days of the
    // year later; across a year end the day count adds 365 whatever the year's length.
    static unsigned char IsNewPeriod(TimeInterval interval, const KrTime& opened,
                                     const KrTime& now);

    // Host callbacks, null to clear. CallBack receives each text record (no line end); the
    // others serve database mode. CallBack and the write callback may log: records they make
    // are dropped.
    static void SetCallBack(CallBack callBack);
    static void SetOpenCallBack(OpenCallBack callBack);
    static void SetWriteCallBack(WriteCallBack callBack);
    static void SetCloseCallBack(CloseCallBack callBack);

    KrLogFile(const KrLogFile&) = delete;
    KrLogFile& operator=(const KrLogFile&) = delete;

private:
    KrLogFile();
    ~KrLogFile();

    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

// One record of the log.
class KRN_API KrLogItem
{
public:
    KrTime m_tmDateTime;
    int m_nTimeSpan = 0;  // milliseconds since the previous record (or the opening)
    KrLogFile::LogLevelType m_nLevel = KrLogFile::LogDebug;
    KrString m_strMessage;  // "Description" in XML
    int m_nThreadID = 0;    // 0 when the log format has no "%THREADID"
    int m_nResID = 0;       // the record's code
    KrString m_strCodeFile;
    int m_nCodeLine = 0;
};

// A query over the in-memory records. A record matches when every test holds.
class KRN_API KrLogQueryDef
{
public:
    KrString m_strMessage;  // contained in the message; empty: any
    KrLogFile::LogLevelType m_nMaxLevel = KrLogFile::LogFatal;  // level <= this
    KrLogFile::LogLevelType m_nMinLevel = KrLogFile::LogError;  // level >= this
    KrTime m_tmFrom;                                            // made at or after; 0: any time
    int m_nResID = 0;
    KrString m_strResIDOperator;  // Compare(op, record code, m_nResID); empty: any code
    int m_nThreadID = 0;          // 0: any thread
    int m_nMaxCount = 0;          // 0: no limit

    // ">", "<", "=", ">=", "<=", "!=" applied to a and b; any other operator is never true.
    static unsigned char Compare(const KrString& op, int a, int b);
    unsigned char Matches(const KrLogItem& item) const;
};

extern template class KRN_API KrArray<KrLogItem>;
extern template class KRN_API KrContainer<KrLogItem>;

}  // namespace KRN
