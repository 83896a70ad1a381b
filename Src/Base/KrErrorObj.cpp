#include "Base/KrErrorObj.h"

#include <atomic>

#include "Base/KrLogFile.h"
#include "Base/KrThread.h"

namespace KRN
{

namespace
{

std::atomic<KrErrorObj::ErrorInfoProc> g_pErrorInfoFun{nullptr};
thread_local bool t_bInErrorCallBack = false;

}  // namespace

// The error stack lives inside the log singleton, under the log's lock.
class StackAccess
{
public:
    StackAccess() : m_log(KrLogFile::GetInstance(false)), m_lock(m_log.errorMutex())
    {
        m_lock.lock();
    }
    KrContainer<KrErrorObj::ErrorInfo>& stack() { return m_log.errorStack(); }

private:
    KrLogFile& m_log;
    KrMutexLock m_lock;
};

KrErrorObj& KrErrorObj::GetInstance()
{
    static KrErrorObj instance;
    return instance;
}

void KrErrorObj::SetErrorInfoProc(ErrorInfoProc proc)
{
    g_pErrorInfoFun.store(proc);
}

unsigned char KrErrorObj::Startup()
{
    KrLogFile& log = KrLogFile::GetInstance(false);
    if (log.IsOpen()) return 1;
    return log.Open(KrLogFile::ModeMemory);
}

unsigned char KrErrorObj::IsStartup()
{
    return KrLogFile::GetInstance(false).IsOpen();
}

void KrErrorObj::Clear()
{
    StackAccess access;
    KrContainer<ErrorInfo>& errors = access.stack();
    errors.Clear();
}

int KrErrorObj::GetCount() const
{
    StackAccess access;
    KrContainer<ErrorInfo>& errors = access.stack();
    return errors.GetSize();
}

int KrErrorObj::GetCapacity() const
{
    StackAccess access;
    KrContainer<ErrorInfo>& errors = access.stack();
    return errors.GetCapacity();
}

void KrErrorObj::SetCapacity(int nCapacity)
{
    StackAccess access;
    KrContainer<ErrorInfo>& errors = access.stack();
    errors.SetCapacity(nCapacity);
}

KrErrorObj::ErrorInfo KrErrorObj::GetAt(int nIndex)
{
    StackAccess access;
    KrContainer<ErrorInfo>& errors = access.stack();
    return errors[nIndex];
}

KrErrorObj::ErrorInfo KrErrorObj::GetLast(unsigned char currentThreadOnly)
{
    StackAccess access;
    KrContainer<ErrorInfo>& errors = access.stack();
    const int capacity = errors.GetCapacity();
    if (capacity == 0) return ErrorInfo();
    if (!currentThreadOnly) return errors[0];
    // The whole ring is scanned, filled or not: default entries never match, their thread id
    // being 0xFFFFFFFF.
    const unsigned int self = KrThread::current();
    for (int i = 0; i < capacity; ++i)
        if (errors[i].nThreadID == self) return errors[i];
    return ErrorInfo();
}

void KrErrorObj::Dump(KrString& out, unsigned char showThread) const
{
    StackAccess access;
    KrContainer<ErrorInfo>& errors = access.stack();
    const int count = errors.GetSize();
    if (count < 1) return;
    Format(errors[0], out, showThread);
    KrString entry;
    for (int i = 1; i < count; ++i)
    {
        Format(errors[i], entry, showThread);
        out += "\r\n";
        out += entry;
    }
}

void KrErrorObj::Format(const ErrorInfo& info, KrString& out, unsigned char showThread)
{
    KrString text;
    text.LoadResString(30150);
    text.Replace("%ERRORCODE", KrString::From(info.nErrorCode).Cstr());
    text.Replace("%ERRORMSG", info.strMessage.Cstr());
    text.Replace("%CODEFILE", info.strCodeFile.Cstr());
    text.Replace("%CODELINE", KrString::From(info.nCodeLine).Cstr());
    text.Replace("%THREADID", showThread ? KrString::From(info.nThreadID).Cstr() : "");
    out = text;
}

void KrErrorObj::Add(const ErrorInfo& info)
{
    StackAccess access;
    KrContainer<ErrorInfo>& errors = access.stack();
    errors.Add(info);
    ErrorInfoProc proc = g_pErrorInfoFun.load();
    if (proc == nullptr || t_bInErrorCallBack) return;
    KrString text;
    Format(info, text, 1);
    t_bInErrorCallBack = true;
    proc(text.Cstr());
    t_bInErrorCallBack = false;
}

void KrErrorObj::Add(unsigned int nThreadID, unsigned int nCode, KrString strCodeFile,
                     int nCodeLine)
{
    ErrorInfo info;
    info.nThreadID = nThreadID;
    info.nErrorCode = nCode;
    info.strMessage.LoadString(nCode);
    info.strCodeFile = strCodeFile;
    info.nCodeLine = nCodeLine;
    Add(info);
}

// ---------------------------------------------------------------- KrException

KrException::KrException(unsigned int nCode, const KrString& strMessage,
                         const KrString& strCodeFile, int nCodeLine)
{
    m_info.nErrorCode = nCode;
    m_info.strMessage = strMessage;
    m_info.strCodeFile = strCodeFile;
    m_info.nCodeLine = nCodeLine;
    WriteToLog();
}

KrException::KrException(unsigned int nCode, const KrString& strCodeFile, int nCodeLine)
{
    m_info.nErrorCode = nCode;
    m_info.strMessage.LoadString(nCode);
    m_info.strCodeFile = strCodeFile;
    m_info.nCodeLine = nCodeLine;
    WriteToLog();
}

KrException::~KrException() = default;

void KrException::WriteToLog()
{
    KrLogFile::GetInstance(false).RecordLog(KrLogFile::LogDebug,
                                            static_cast<int>(m_info.nErrorCode), m_info.strMessage,
                                            m_info.strCodeFile, m_info.nCodeLine);
}

}  // namespace KRN
