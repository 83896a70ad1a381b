#include "Base/KrErrorObj.h"

#include <vector>

#include "Base/KrLogFile.h"
#include "Base/KrThread.h"
#include "KrErrorStack.h"

namespace KRN
{

// The containers of the error records, compiled once here for every module.
template class KrArray<KrErrorObj::ErrorInfo>;
template class KrContainer<KrErrorObj::ErrorInfo>;

KrErrorObj& KrErrorObj::GetInstance()
{
    static KrErrorObj instance;
    return instance;
}

void KrErrorObj::SetErrorInfoProc(ErrorInfoProc proc)
{
    ErrorStack::SetProc(proc);
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
    ErrorStack::OfLog().Clear();
}

int KrErrorObj::GetCount() const
{
    return ErrorStack::OfLog().Count();
}

int KrErrorObj::GetCapacity() const
{
    return ErrorStack::OfLog().Capacity();
}

void KrErrorObj::SetCapacity(int nCapacity)
{
    ErrorStack::OfLog().SetCapacity(nCapacity);
}

KrErrorObj::ErrorInfo KrErrorObj::GetAt(int nIndex)
{
    return ErrorStack::OfLog().At(nIndex);
}

KrErrorObj::ErrorInfo KrErrorObj::GetLast(unsigned char currentThreadOnly)
{
    ErrorStack& errors = ErrorStack::OfLog();
    if (!currentThreadOnly) return errors.Latest();
    return errors.LatestOf(KrThread::current());
}

void KrErrorObj::Dump(KrString& out, unsigned char showThread) const
{
    const std::vector<ErrorInfo> entries = ErrorStack::OfLog().LatestFirst();
    if (entries.empty()) return;
    Format(entries[0], out, showThread);
    KrString entry;
    for (size_t i = 1; i < entries.size(); ++i)
    {
        Format(entries[i], entry, showThread);
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
