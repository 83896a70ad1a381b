// KrProgress: a long operation reports its title, message, position (0-100) and an estimate of
// the remaining time to the callback that the application registered for the calling thread,
// and learns through the same call whether the application canceled it.
//   KrProgress::SetProgressProc(&showProgress, window);   // once per thread, by the application
//   KrProgress progress;                                   // per operation, in that thread
//   progress.SetProgressPos(40);
//   if (progress.IsCanceled()) return;
// Reporting is on only when "ShowProgress" in "krn.xml" is "true" (any case). A nested step maps
// its own 0-100 onto a slice of its parent: PushPosRange(), SetBothPosRange(a, b),
// SetProgressPos(0) ... SetProgressPos(100), PopPosRange().
#pragma once

#include <deque>
#include <functional>

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"
#include "Base/KrTime.h"

namespace KRN
{

// The application's display: user data, title, message, position 0-100, remaining-time text,
// and the cancel flag, which the callback sets to non-zero to cancel the operation.
typedef void (*KrProgressProc)(void* userData, const char* title, const char* message, int pos,
                               const char* remainText, unsigned char& cancel);

// Each object belongs to one thread and reports to that thread's callback. Every callback runs
// under one process-wide recursive mutex, so callbacks of different threads never overlap; a
// callback may call SetProgressProc, but one that waits for another thread that is reporting
// progress deadlocks.
class KRN_API KrProgress
{
public:
    struct KrProgProc
    {
        KrProgressProc pfnProc = nullptr;
        void* pUserData = nullptr;
    };
    // The slice of the 0-100 scale that the current step occupies.
    struct PosRange
    {
        int nStart = 0;
        int nEnd = 100;
    };

    // Registers the calling thread's callback, replacing an earlier one. A null function switches
    // the thread's reports off; there is no removal.
    static void SetProgressProc(KrProgressProc proc, void* userData);

    KrProgress();

    // Starts afresh: no position reported, title and message empty, remaining time unknown,
    // "ShowProgress" read again. Deliberately, it pushes the current range onto the range stack
    // (one more entry per call) and does not reset the canceled flag.
    void Clear();

    // Reported at once when the title changes and a position has been reported.
    void SetTitleMessage(const KrString& text);
    // The text resource id as a printf format for the further arguments.
    void SetTitleMessage(int id, ...);
    // Reported at once only when the message was empty before: a change from one message to
    // another waits for the next position.
    void SetMessage(const KrString& text);
    void SetMessage(int id, ...);

    // Reports pos of the current step's 0-100 as its absolute position; returns the position
    // reported last before the call (-1: none, and always while reporting is off). An absolute
    // position outside 0-100, or the one reported last, is not reported, unless the seconds
    // part (0-59, not the total) of the time since position 0 is above 5.
    int SetProgressPos(int pos);

    // Once canceled, always canceled: every Set... call returns at once.
    unsigned char IsCanceled() const { return m_bCanceled; }
    unsigned char IsShow() const { return m_bShow; }

    int GetStartPos() const { return m_nStartPos; }
    int GetEndPos() const { return m_nEndPos; }
    int GetPosRange() const { return m_nEndPos - m_nStartPos; }
    // start + (end - start) * pos / 100, integer division truncating toward zero.
    int GetAbsolutePos(int pos) const;

    // Pushes the current range.
    void PushPosRange();
    // With top the range on top of the stack (the full scale when it is empty):
    // start = top.start + (top.end - top.start) * from / 100, end likewise with to.
    void SetBothPosRange(int from, int to);
    // Removes the top of the stack. Deliberately, the current range is not restored: the next
    // SetBothPosRange works on the new top.
    void PopPosRange();

protected:  // reached by the tests' probe
    // The remaining-time text for an elapsed time at absolute position p: elapsed seconds times
    // (100 - p) / p, as "Remain 30 seconds", "Remain 01 minutes, 40 seconds",
    // "Remain 01 hours,00 minutes, 05 seconds" or "Remain 4 days, 03 hours,00 minutes, 00 seconds".
    static KrString FormatRemainTime(const KrTimeSpan& elapsed, int pos);

    KrString m_strTitle;
    KrString m_strMessage;
    int m_nLastPos = -1;
    KrTime m_tmStart;
    KrTime m_tmLast;
    KrString m_strRemainTime;
    unsigned char m_bCanceled = 0;
    unsigned char m_bShow = 0;
    int m_nStartPos = 0;
    int m_nEndPos = 100;
    std::deque<PosRange> m_stkPosRange;

private:
    void ProgCallback(const KrString& title, const KrString& message, int pos,
                      const KrString& remainText);
    // The text to store for position p; at position 0 it restarts the clock and still returns
    // the text as it was. overdue: the seconds part of the elapsed time is above 5.
    KrString GetRemainTimeInfo(int pos, unsigned char& overdue);
    static int GetAbsolutePos(int pos, const PosRange& range);
};

// The callback table by thread id, compiled into the library with KrProgress.
extern template class KRN_API KrDict<unsigned int, KrProgress::KrProgProc, std::less<unsigned int>>;

}  // namespace KRN
