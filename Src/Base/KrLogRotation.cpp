#include "Base/KrFile.h"
#include "Base/KrToolkit.h"
#include "KrLogFileImpl.h"

namespace KRN
{

using namespace LogDetail;

// ---------------------------------------------------------------- file names

KrString KrLogFile::Impl::generatedName() const
{
    KrString name;
    if (nInterval != IntervalNone)
        name.Format("%s%s_%d_%sh.log", strDirectory.Cstr(), strPrefix.Cstr(),
                    KrToolkit::GetCurProcessId(),
                    KrTime::GetCurrentTime().Format("%Y_%m_%d_%H").Cstr());
    else
        name.Format("%s%s_%d.log", strDirectory.Cstr(), strPrefix.Cstr(),
                    KrToolkit::GetCurProcessId());
    return name;
}

KrString KrLogFile::Impl::defaultName() const
{
    const KrTime now = KrTime::GetCurrentTime();
    KrString name;
    name.Format("Lg%04d-%02d-%02d_%02d-%02d-%02d.log", now.GetYear(), now.GetMonth(), now.GetDay(),
                now.GetHour(), now.GetMinute(), now.GetSecond());
    return strDirectory + name;
}

// "name#1.ext" after the file itself, then every "#<n>" of the path replaced by "#<n+1>".
KrString KrLogFile::Impl::nextNumberedName()
{
    KrString name;
    if (nNewFileNumber == 0)
    {
        KrString dir, title, ext;
        KrFile::SplitPath(strFileName, dir, title, ext);
        name = dir + title + "#1" + ext;
    }
    else
    {
        name = strFileName;
        name.Replace(("#" + decimal(nNewFileNumber)).Cstr(),
                     ("#" + decimal(nNewFileNumber + 1)).Cstr());
    }
    ++nNewFileNumber;
    return name;
}

// ---------------------------------------------------------------- the size limit

// The size of the file once the pending closing tag of an XML log is counted.
long long KrLogFile::Impl::currentLength() const
{
    if (nMode == ModeXML) return nWritePos + static_cast<long long>(sizeof kCloseTag - 1 + 2);
    return nWritePos;
}

void KrLogFile::Impl::dealFileSizeLimit()
{
    if (nMode != ModeText && nMode != ModeXML) return;
    if (currentLength() <= nFileSizeLimit) return;
    switch (nSizeLimitMode)
    {
        case SizeRolling:
            // An XML log keeps growing: rewinding it would break the document.
            if (nMode == ModeText) nWritePos = 0;
            break;
        case SizeReOpen:
            file.Close();
            bOpen.store(openFile(strFileName, 0, nMode));
            break;
        case SizeNewFile:
            file.Close();
            bOpen.store(openFile(nextNumberedName(), 1, nMode));
            break;
    }
}

// ---------------------------------------------------------------- the time interval

void KrLogFile::Impl::dealTimeInterval()
{
    const KrTime now = item.m_tmDateTime;
    if (!IsNewPeriod(nInterval, tmStart, now)) return;
    tmStart = now;
    if (nMode == ModeText || nMode == ModeXML)
    {
        file.Close();
        bOpen.store(openFile(generatedName(), bAppend, nMode));
    }
    else if (nMode == ModeDatabase)
    {
        CloseCallBack closeCallBack = g_pCloseCallBack.load();
        if (closeCallBack != nullptr && pDataSource != nullptr)
            closeCallBack(pDataSource, strFileName);
        OpenCallBack openCallBack = g_pOpenCallBack.load();
        if (openCallBack != nullptr && pDataSource != nullptr)
            openCallBack(pDataSource, strFileName);
    }
}

unsigned char KrLogFile::IsNewPeriod(TimeInterval interval, const KrTime& opened, const KrTime& now)
{
    switch (interval)
    {
        case IntervalHour:
            return now.GetHour() != opened.GetHour();
        case IntervalDay:
            return now.GetDay() != opened.GetDay();
        case IntervalMonth:
            return now.GetMonth() != opened.GetMonth();
        case IntervalWeek:
        {
            const int days = now.GetDayOfYear() - opened.GetDayOfYear();
            if (days >= 7) return 1;
            return now.GetDayOfYear() < opened.GetDayOfYear() && days + 365 >= 7;
        }
        case IntervalNone:
            break;
    }
    return 0;
}

}  // namespace KRN
