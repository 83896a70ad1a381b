#include "Base/KrProgress.h"

#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstring>

#include "Base/KrArray.h"
#include "Base/KrRegistry.h"
#include "Base/KrThread.h"
#include "KrFormatLoop.h"

namespace KRN
{

template class KrDict<unsigned int, KrProgress::KrProgProc, std::less<unsigned int>>;

namespace
{
const char* const kUnknownRemainTime = "The remain time is unknow";

// The registered callbacks by thread id, and the lock under which they are looked up and run.
// Never destroyed: a thread may still report while static objects go.
KrMutex& callbackLock()
{
    static KrMutex* const lock = new KrMutex;
    return *lock;
}

KrDict<unsigned int, KrProgress::KrProgProc>& callbacks()
{
    static auto* const table = new KrDict<unsigned int, KrProgress::KrProgProc>;
    return *table;
}

bool showProgressConfigured()
{
    KrString value = KrRegistry::Root().Value("ShowProgress");
    value.TrimLeft().TrimRight();
    return value.CompareNoCase("true") == 0;
}

// A position above this is past the end of the scale.
constexpr int kLastPos = 100;
// The seconds part of the elapsed time beyond which a position is reported even unchanged.
constexpr int kOverdueSeconds = 5;

// The string resource id used as a printf format for arguments. The text ends at its first
// zero byte, as the C string handed to the callback would.
KrString formatResource(int id, va_list arguments)
{
    KrString format;
    format.LoadString(static_cast<unsigned int>(id));
    KrString text;
    Detail::FormatGrowing(text, format.size() + 128, format.Cstr(), arguments);
    text.resize(std::strlen(text.c_str()));
    return text;
}

// Whole seconds, truncated rather than rounded: a remaining 9.9 seconds shows as 9, so the
// estimate never runs ahead of the clock. Saturates into the int range.
int wholeSeconds(double seconds)
{
    const double whole = std::trunc(seconds);
    if (whole >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (whole <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(whole);
}
}  // namespace

void KrProgress::SetProgressProc(KrProgressProc proc, void* userData)
{
    KrMutexGuard hold(callbackLock());
    KrProgProc entry;
    entry.pfnProc = proc;
    entry.pUserData = userData;
    callbacks().SetAt(KrThread::GetCurrentThreadId(), entry);
}

KrProgress::KrProgress()
{
    Clear();
    m_tmStart = m_tmLast = KrTime::GetCurrentTime();
    m_bCanceled = 0;
}

void KrProgress::Clear()
{
    m_nLastPos = -1;
    m_strTitle = "";
    m_strMessage = "";
    m_strRemainTime = kUnknownRemainTime;
    PushPosRange();
    m_bShow = showProgressConfigured();
}

void KrProgress::SetTitleMessage(const KrString& text)
{
    if (m_bCanceled || !m_bShow || text == m_strTitle) return;
    m_strTitle = text;
    if (m_nLastPos >= 0) ProgCallback(m_strTitle, m_strMessage, m_nLastPos, m_strRemainTime);
}

void KrProgress::SetTitleMessage(int id, ...)
{
    va_list arguments;
    va_start(arguments, id);
    const KrString text = formatResource(id, arguments);
    va_end(arguments);
    SetTitleMessage(text);
}

void KrProgress::SetMessage(const KrString& text)
{
    if (m_bCanceled || !m_bShow) return;
    const bool wasEmpty = m_strMessage.empty();
    m_strMessage = text;
    if (wasEmpty && m_nLastPos >= 0)
        ProgCallback(m_strTitle, m_strMessage, m_nLastPos, m_strRemainTime);
}

void KrProgress::SetMessage(int id, ...)
{
    va_list arguments;
    va_start(arguments, id);
    const KrString text = formatResource(id, arguments);
    va_end(arguments);
    SetMessage(text);
}

int KrProgress::SetProgressPos(int pos)
{
    const int previous = m_nLastPos;
    if (m_bCanceled || !m_bShow) return previous;
    const int absolute = GetAbsolutePos(pos);
    unsigned char overdue = 0;
    m_strRemainTime = GetRemainTimeInfo(absolute, overdue);
    const bool outside = absolute < 0 || absolute > kLastPos;
    if ((outside || absolute == m_nLastPos) && !overdue) return previous;
    m_nLastPos = absolute;
    ProgCallback(m_strTitle, m_strMessage, absolute, m_strRemainTime);
    return previous;
}

int KrProgress::GetAbsolutePos(int pos) const
{
    PosRange current;
    current.nStart = m_nStartPos;
    current.nEnd = m_nEndPos;
    return GetAbsolutePos(pos, current);
}

// Wide intermediate arithmetic: the product cannot overflow, the quotient truncates toward
// zero as int division does.
int KrProgress::GetAbsolutePos(int pos, const PosRange& range)
{
    const long long span = static_cast<long long>(range.nEnd) - range.nStart;
    return static_cast<int>(range.nStart + span * pos / kLastPos);
}

void KrProgress::PushPosRange()
{
    PosRange current;
    current.nStart = m_nStartPos;
    current.nEnd = m_nEndPos;
    m_stkPosRange.push_back(current);
}

void KrProgress::SetBothPosRange(int from, int to)
{
    const PosRange top = m_stkPosRange.empty() ? PosRange() : m_stkPosRange.back();
    m_nStartPos = GetAbsolutePos(from, top);
    m_nEndPos = GetAbsolutePos(to, top);
}

void KrProgress::PopPosRange()
{
    if (!m_stkPosRange.empty()) m_stkPosRange.pop_back();
}

void KrProgress::ProgCallback(const KrString& title, const KrString& message, int pos,
                              const KrString& remainText)
{
    if (!m_bShow) return;
    KrMutexGuard hold(callbackLock());
    KrProgProc entry;
    if (!callbacks().Lookup(KrThread::GetCurrentThreadId(), entry) || entry.pfnProc == nullptr)
        return;
    entry.pfnProc(entry.pUserData, title.Cstr(), message.Cstr(), pos, remainText.Cstr(),
                  m_bCanceled);
    if (m_bCanceled) Clear();
}

KrString KrProgress::GetRemainTimeInfo(int pos, unsigned char& overdue)
{
    KrString result = m_strRemainTime;
    const KrTime now = KrTime::GetCurrentTime();
    KrTimeSpan elapsed;
    // Position 0 restarts the clock; the text stays as it was until a later position.
    if (pos == 0 && m_nLastPos != 0)
    {
        m_tmStart = now;
        m_tmLast = m_tmStart;
    }
    else if (pos != m_nLastPos)
    {
        elapsed = now - m_tmStart;
        result = FormatRemainTime(elapsed, pos);
        m_tmLast = now;
    }
    // The seconds part, not the total: an operation 1 min 03 s in is not overdue.
    overdue = elapsed.GetSeconds() > kOverdueSeconds;
    return result;
}

KrString KrProgress::FormatRemainTime(const KrTimeSpan& elapsed, int pos)
{
    const double toDo =
        static_cast<double>(elapsed.GetTotalSeconds()) * (static_cast<double>(kLastPos) - pos);
    const int remain = wholeSeconds(toDo / pos);
    const KrTimeSpan span(0, 0, 0, remain);
    KrString text;
    if (span.GetDays() >= 1)
        text.Format("Remain %ld days, %02d hours,%02d minutes, %02d seconds",
                    static_cast<long>(span.GetDays()), span.GetHours(), span.GetMinutes(),
                    span.GetSeconds());
    else if (span.GetHours() >= 1)
        text.Format("Remain %02d hours,%02d minutes, %02d seconds", span.GetHours(),
                    span.GetMinutes(), span.GetSeconds());
    else if (span.GetMinutes() >= 1)
        text.Format("Remain %02d minutes, %02d seconds", span.GetMinutes(), span.GetSeconds());
    else
        text.Format("Remain %02d seconds", span.GetSeconds());
    return text;
}

}  // namespace KRN
