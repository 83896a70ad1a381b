// KrErrorObj: the process-wide error stack, a ring of the most recent errors (16 by default),
// each tagged with the thread that raised it, its code, message, source file and line. Errors
// arrive only through KrLogFile::RecordLog at level error or fatal, and only while the log is
// open (Startup opens it in memory); read them back here:
//   KrErrorObj::GetInstance().Startup();
//   KrLogFile::GetInstance().RecordLog(KrLogFile::LogError, 7, "disk full", __FILE__, __LINE__);
//   KrErrorObj::ErrorInfo last = KrErrorObj::GetInstance().GetLast(1);  // this thread's latest
// KrException is the library's exception type; building one records it in the log at once, at
// the debug level, so it does not reach this stack.
#pragma once

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

class KRN_API KrErrorObj
{
public:
    struct ErrorInfo
    {
        unsigned int nThreadID = 0xFFFFFFFF;  // the raising thread (KrThread::current)
        unsigned int nErrorCode = 0;          // also the id of its message in the resources
        KrString strMessage;
        KrString strCodeFile;
        int nCodeLine = -1;
    };
    using ErrorInfoProc = void (*)(const char* formatted);

    static KrErrorObj& GetInstance();
    // Receives each newly added error, formatted with its thread id; null clears it. An error
    // raised while the callback runs on the same thread is stored but not passed to it again.
    static void SetErrorInfoProc(ErrorInfoProc proc);

    // Opens the log in memory mode unless it is open already; the result is whether it is open.
    unsigned char Startup();
    unsigned char IsStartup();

    // Empties the stack; the capacity stays.
    void Clear();
    // The number of entries added since Clear, or the capacity once the ring has wrapped.
    int GetCount() const;
    int GetCapacity() const;
    // New slots hold default entries.
    void SetCapacity(int nCapacity);
    // Index 0 is the latest entry, 1 the one before it. The index is taken round the ring
    // (modulo the capacity) with no other bounds test: keep it within [0, GetCount()), since
    // slots past the filled part hold default or overwritten entries. An empty ring first
    // grows to one default slot.
    ErrorInfo GetAt(int nIndex);
    // The latest entry, or with currentThreadOnly the latest raised by the calling thread (a
    // default entry when there is none). Records carry their thread id only while the log
    // format holds "%THREADID", which a level threshold above info removes: then every entry
    // has thread id 0 and this thread's errors are no longer found.
    ErrorInfo GetLast(unsigned char currentThreadOnly);
    // Every entry formatted, latest first, joined by CR LF. An empty stack leaves out as it is.
    void Dump(KrString& out, unsigned char showThread) const;
    // The message template (string resource 30150) with "%ERRORCODE", "%ERRORMSG",
    // "%CODEFILE", "%CODELINE" and "%THREADID" replaced; without showThread the thread id is
    // left out. A missing template gives an empty text.
    static void Format(const ErrorInfo& info, KrString& out, unsigned char showThread);

private:
    KrErrorObj() = default;
};

extern template class KRN_API KrArray<KrErrorObj::ErrorInfo>;
extern template class KRN_API KrContainer<KrErrorObj::ErrorInfo>;

// The library's exception. Building one records it in the log at the debug level, on purpose
// not as an error: whether it reaches a file depends on the log's level threshold. Its thread
// id stays 0xFFFFFFFF.
class KRN_API KrException
{
public:
    KrException(unsigned int nCode, const KrString& strMessage, const KrString& strCodeFile,
                int nCodeLine);
    // The message is the string resource with id nCode.
    KrException(unsigned int nCode, const KrString& strCodeFile, int nCodeLine);
    KrException(const KrException& other) = default;
    KrException& operator=(const KrException& other) = default;
    virtual ~KrException();

    const KrErrorObj::ErrorInfo& GetErrorInfo() const { return m_info; }
    // Records the exception in the log again.
    virtual void WriteToLog();

private:
    KrErrorObj::ErrorInfo m_info;
};

}  // namespace KRN
