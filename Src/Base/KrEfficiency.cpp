#include "Base/KrEfficiency.h"

#include "Base/KrLogFile.h"
#include "Platform/KrPlatformTime.h"

namespace KRN
{

namespace
{

// The stopwatch mark, shared by every thread and deliberately unguarded.
int g_nCodeBegin = 0;
KrString g_strCodeFile;
int g_nCodeLine = 0;

void setMark(int tick, const KrString& codeFile, int codeLine)
{
    g_nCodeBegin = tick;
    g_strCodeFile = codeFile;
    g_nCodeLine = codeLine;
}

// Tick differences wrap at 32 bits like the counter itself.
int elapsed(int from, int to)
{
    return static_cast<int>(static_cast<unsigned int>(to) - static_cast<unsigned int>(from));
}

void report(const KrString& text, int codeLine)
{
    KrLogFile::GetInstance(false).RecordLog(KrLogFile::LogInfo, 0, text, __FILE__, codeLine);
}

}  // namespace

KrEfficiency::KrEfficiency(const KrString& strFunName, const KrString& strCodeFile, int nCodeLine)
    : m_strFunName(strFunName), m_nBegin(GetTime())
{
    setMark(m_nBegin, strCodeFile, nCodeLine);
}

KrEfficiency::~KrEfficiency()
{
    KrString text;
    text.Format("fun: %s 's time is %d", m_strFunName.Cstr(), elapsed(m_nBegin, GetTime()));
    report(text, __LINE__);
}

void KrEfficiency::Begin(const KrString& strCodeFile, int nCodeLine)
{
    setMark(GetTime(), strCodeFile, nCodeLine);
}

void KrEfficiency::Report(const KrString& strName, const KrString& strCodeFile, int nCodeLine)
{
    const int now = GetTime();
    KrString text;
    text.Format(
        "%s time is %d, \nfrom code file: %s; code line: %d \nto   code file: %s code line: %d.",
        strName.Cstr(), elapsed(g_nCodeBegin, now), g_strCodeFile.Cstr(), g_nCodeLine,
        strCodeFile.Cstr(), nCodeLine);
    setMark(now, strCodeFile, nCodeLine);
    report(text, __LINE__);
}

void KrEfficiency::ClearMark()
{
    setMark(0, KrString(), 0);
}

int KrEfficiency::GetTime()
{
    return static_cast<int>(static_cast<unsigned int>(Platform::ProcessorClock()));
}

}  // namespace KRN
