// KrFileStdio: a KrFileStream for text files read and written line by line, with a choice of
// line end (CR LF or LF). Call IsEOF() before each ReadLine: at the end of the data ReadLine
// does not return an empty line (see below).
//   KrFileStdio text;  KrString line;
//   if (text.Open("list.txt", KrStreamLoad))
//       while (!text.IsEOF()) { text.ReadLine(line); use(line); }
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrFileStream.h"
#include "Base/KrString.h"

namespace KRN
{

class KRN_API KrFileStdio : public KrFileStream
{
public:
    enum EnterType : int
    {
        EnterAdapt = 1,    // the platform's line end, CR LF as everywhere in the library
        EnterWindows = 2,  // CR LF
        EnterUnix = 3      // LF
    };
    static const KrString m_strEnterAdapt;
    static const KrString m_strEnterWindows;
    static const KrString m_strEnterUnix;

    KrFileStdio() = default;

    void SetCurEnterType(EnterType type) { m_nEnterType = type; }
    EnterType GetCurEnterType() const { return m_nEnterType; }

    // Reads up to a CR, LF or CR LF, none of which is stored, and returns the line's length.
    // Kept as callers know it: a last line without a line end comes back with its final byte
    // doubled ("ab" reads as "abb"), and a call with no byte left yields one zero byte.
    int ReadLine(KrString& strLine);
    // Writes the bytes, then the line end of the current type; an unknown type writes LF and
    // becomes EnterUnix. Always true: failures show in the status.
    unsigned char WriteLine(const KrString& strLine);

    KRN_STREAM_RESULT_TYPE(KrFileStdio)

private:
    EnterType m_nEnterType = EnterAdapt;
};

}  // namespace KRN
