// KrEfficiency: elapsed-time measurements written to the log at the info level. Either a timer
// object that reports the time spent in a scope when it is destroyed,
//   KrEfficiency timer("LoadMap", __FILE__, __LINE__);
// or a process-wide stopwatch that reports the stretch between two marked points:
//   KrEfficiency::Begin(__FILE__, __LINE__); ...; KrEfficiency::Report("draw", __FILE__, __LINE__);
// Ticks are the standard clock(): processor time of the process, CLOCKS_PER_SEC (1,000,000 here)
// per second, so time spent sleeping or waiting is not counted. Differences wrap at 32 bits, so a
// short span across a wrapped counter is right. Nothing is written while the log is closed.
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

class KRN_API KrEfficiency
{
public:
    // Also moves the stopwatch mark here, deliberately: do not mix a timer object and the
    // stopwatch within one stretch.
    KrEfficiency(const KrString& strFunName, const KrString& strCodeFile, int nCodeLine);
    KrEfficiency(const KrEfficiency& other) = default;
    KrEfficiency& operator=(const KrEfficiency& other) = default;
    // Logs "fun: <name> 's time is <ticks>".
    ~KrEfficiency();

    // Sets the stopwatch mark. The mark is shared by every thread and not guarded.
    static void Begin(const KrString& strCodeFile, int nCodeLine);
    // Logs "<name> time is <ticks>, \nfrom code file: <mark file>; code line: <mark line>
    // \nto   code file: <file> code line: <line>." and moves the mark here. Without any mark
    // the stretch starts at tick 0 with an empty file and line 0.
    static void Report(const KrString& strName, const KrString& strCodeFile, int nCodeLine);
    // Forgets the mark, as at process start: the next Report starts at tick 0 again.
    static void ClearMark();

private:
    static int GetTime();

    KrString m_strFunName;
    int m_nBegin = 0;
};

}  // namespace KRN
