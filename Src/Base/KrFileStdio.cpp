#include "Base/KrFileStdio.h"

namespace KRN
{

const KrString KrFileStdio::m_strEnterAdapt("\r\n");
const KrString KrFileStdio::m_strEnterWindows("\r\n");
const KrString KrFileStdio::m_strEnterUnix("\n");

int KrFileStdio::ReadLine(KrString& strLine)
{
    strLine.Empty();
    strLine.SetCapacity(1024);
    if (IsEOF()) return strLine.GetLength();
    // A failed load leaves ch as it was: that is where the doubled last byte comes from.
    char ch = 0;
    for (;;)
    {
        KrStream::operator>>(ch);
        if (!IsEOF())
        {
            if (ch == '\r')
            {
                KrStream::operator>>(ch);
                if (ch != '\n') SetPosition(-1, KrFromCurrent);
                return strLine.GetLength();
            }
            if (ch == '\n') return strLine.GetLength();
        }
        strLine += ch;
        if (IsEOF()) return strLine.GetLength();
    }
}

unsigned char KrFileStdio::WriteLine(const KrString& strLine)
{
    KrStream::Save(strLine.data(), static_cast<unsigned int>(strLine.size()));
    const KrString* pEnd = &m_strEnterUnix;
    if (m_nEnterType == EnterAdapt)
        pEnd = &m_strEnterAdapt;
    else if (m_nEnterType == EnterWindows)
        pEnd = &m_strEnterWindows;
    else
        m_nEnterType = EnterUnix;
    KrStream::Save(pEnd->data(), static_cast<unsigned int>(pEnd->size()));
    return 1;
}

}  // namespace KRN
