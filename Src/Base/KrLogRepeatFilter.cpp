#include "Base/KrCompress.h"
#include "KrLogFileImpl.h"

namespace KRN::LogDetail
{

namespace
{

constexpr int kRepeatLimit = 5;         // the sixth occurrence of a record is dropped
constexpr size_t kRepeatWindow = 1001;  // keys remembered before the oldest is let go

bool sameAsPrevious(const KrLogItem& item, const KrLogItem& previous)
{
    return item.m_nThreadID == previous.m_nThreadID && item.m_nResID == previous.m_nResID &&
           item.m_strMessage == previous.m_strMessage;
}

// Message, code and thread added together: records whose message and code change together can
// share a key, which callers are told.
unsigned int repeatKey(const KrLogItem& item)
{
    return static_cast<unsigned int>(KrHashCode::FastStringToHashCode(item.m_strMessage)) +
           static_cast<unsigned int>(item.m_nThreadID) + static_cast<unsigned int>(item.m_nResID);
}

}  // namespace

bool RepeatFilter::IsRepeat(const KrLogItem& item)
{
    if (m_bHasLast && sameAsPrevious(item, m_last)) return true;
    const unsigned int key = repeatKey(item);
    int& count = m_counts[key];
    if (count >= kRepeatLimit) return true;
    ++count;
    m_window.push_back(key);
    if (m_window.size() >= kRepeatWindow)
    {
        const auto oldest = m_counts.find(m_window.front());
        m_window.pop_front();
        if (oldest != m_counts.end() && --oldest->second <= 0) m_counts.erase(oldest);
    }
    return false;
}

void RepeatFilter::Remember(const KrLogItem& item)
{
    m_last = item;
    m_bHasLast = true;
}

void RepeatFilter::Reset()
{
    m_bHasLast = false;
    m_counts.clear();
    m_window.clear();
}

}  // namespace KRN::LogDetail
