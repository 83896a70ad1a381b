#include "Base/KrGroup.h"

#include <mutex>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace KRN
{

template class KrList<KrGroup::KrGroupItem*>;

namespace
{

KrGroup* childOf(const KrGroup::KrGroupItem* pEntry)
{
    return pEntry != nullptr && pEntry->nType == KrGroup::GroupEntry
               ? static_cast<KrGroup*>(pEntry->pItem)
               : nullptr;
}

// How many group lists hold each entry. An entry can be listed more than once (entry 0 after
// a cross-group move or a merge into the parent), so the last list to let go of it frees it.
// Groups of different trees may live on different threads, hence the lock. The table is never
// destroyed, so that groups with static storage can still be destroyed after it would be.
// The lock is a std::mutex private to this source: KrMutex belongs to the thread family, which
// sits above the containers, and these short critical sections never nest, so the standard
// lock is all they need and no operating-system lock has to be reached for.
class Listings
{
public:
    static Listings& Instance()
    {
        static Listings* const table = new Listings;
        return *table;
    }

    void Retain(const KrGroup::KrGroupItem* pEntry)
    {
        std::lock_guard<std::mutex> hold(m_lock);
        ++m_counts[pEntry];
    }

    // The number of lists that still hold the entry once one has let go of it.
    unsigned int Release(const KrGroup::KrGroupItem* pEntry)
    {
        std::lock_guard<std::mutex> hold(m_lock);
        const auto found = m_counts.find(pEntry);
        if (found == m_counts.end()) return 0;
        if (--found->second != 0) return found->second;
        m_counts.erase(found);
        return 0;
    }

private:
    std::mutex m_lock;
    std::unordered_map<const KrGroup::KrGroupItem*, unsigned int> m_counts;
};

// Groups destroyed while another group's destructor runs on this thread wait here, so that
// tearing down a deep tree takes heap, not stack: the outermost destructor destroys them one
// after the other.
struct Teardown
{
    int nDepth = 0;
    std::vector<KrGroup*> pending;
};
thread_local Teardown t_teardown;

}  // namespace

KrGroup::~KrGroup()
{
    Teardown& teardown = t_teardown;
    ++teardown.nDepth;
    // From the tail, so that the child groups are destroyed in list order.
    for (POSITION pos = m_lstItems.GetTailPosition(); !m_lstItems.IsBOF(pos);)
    {
        KrGroupItem* pEntry = m_lstItems.GetPrev(pos);
        if (pEntry == nullptr || Listings::Instance().Release(pEntry) != 0) continue;
        if (KrGroup* pChild = childOf(pEntry)) teardown.pending.push_back(pChild);
        delete pEntry;
    }
    m_lstItems.RemoveAll();
    if (teardown.nDepth == 1)
    {
        while (!teardown.pending.empty())
        {
            KrGroup* pChild = teardown.pending.back();
            teardown.pending.pop_back();
            delete pChild;
        }
    }
    --teardown.nDepth;
}

void KrGroup::list(KrGroupItem* pEntry, bool bHead)
{
    Listings::Instance().Retain(pEntry);
    if (bHead)
        m_lstItems.AddHead(pEntry);
    else
        m_lstItems.AddTail(pEntry);
}

void KrGroup::unlink(POSITION pos)
{
    KrGroupItem* pEntry = m_lstItems.GetAt(pos);
    m_lstItems.RemoveAt(pos);
    Listings::Instance().Release(pEntry);
}

void KrGroup::AddItem(void*, unsigned char) {}

void KrGroup::DeleteItem(KrGroupItem*) {}

KrGroup::POSITION KrGroup::positionOf(int nIndex) const
{
    return m_lstItems.FindIndex(nIndex);
}

KrGroup::KrGroupItem* KrGroup::GetAt(int nIndex) const
{
    if (nIndex < 0) return nullptr;
    const POSITION pos = positionOf(nIndex);
    if (m_lstItems.IsEOF(pos) || pos.bBeforeFirst) return nullptr;
    return m_lstItems.GetAt(pos);
}

KrGroup* KrGroup::GetChildGroup(int nIndex) const
{
    return childOf(GetAt(nIndex));
}

KrGroup* KrGroup::GetChildGroup(const KrString& strName) const
{
    for (POSITION pos = m_lstItems.GetHeadPosition(); !m_lstItems.IsEOF(pos);)
    {
        KrGroup* pChild = childOf(m_lstItems.GetNext(pos));
        if (pChild != nullptr && pChild->m_strName.CompareNoCase(strName) == 0) return pChild;
    }
    return nullptr;
}

KrGroup* KrGroup::GetChildGroupByID(int nID) const
{
    for (POSITION pos = m_lstItems.GetHeadPosition(); !m_lstItems.IsEOF(pos);)
    {
        KrGroup* pChild = childOf(m_lstItems.GetNext(pos));
        if (pChild != nullptr && pChild->m_nGroupID == nID) return pChild;
    }
    return nullptr;
}

KrGroup* KrGroup::CreateChildGroup(const KrString& strName, unsigned char bHead)
{
    KrGroup* pChild = new KrGroup;
    pChild->m_strName = strName;
    pChild->m_pParentGroup = this;
    Add(new KrGroupItem{pChild, GroupEntry, this}, bHead);
    return pChild;
}

void KrGroup::Add(KrGroupItem* pItem, unsigned char bHead)
{
    if (pItem == nullptr) return;
    pItem->pParent = this;
    list(pItem, bHead != 0);
}

int KrGroup::GetItemCount()
{
    int count = 0;
    std::vector<const KrGroup*> pending{this};
    while (!pending.empty())
    {
        const KrGroup* pGroup = pending.back();
        pending.pop_back();
        for (POSITION pos = pGroup->m_lstItems.GetHeadPosition(); !pGroup->m_lstItems.IsEOF(pos);)
        {
            const KrGroupItem* pEntry = pGroup->m_lstItems.GetNext(pos);
            if (pEntry == nullptr) continue;
            if (const KrGroup* pChild = childOf(pEntry))
                pending.push_back(pChild);
            else if (pEntry->nType != GroupEntry)
                ++count;
        }
    }
    return count;
}

KrGroup::KrGroupItem* KrGroup::FindItemAt(int nIndex)
{
    if (nIndex < 0) return nullptr;
    // One position per group on the way down from this group.
    std::vector<std::pair<KrGroup*, POSITION>> path{{this, m_lstItems.GetHeadPosition()}};
    while (!path.empty())
    {
        KrGroup* pGroup = path.back().first;
        POSITION& pos = path.back().second;
        if (pGroup->m_lstItems.IsEOF(pos))
        {
            path.pop_back();
            continue;
        }
        KrGroupItem* pEntry = pGroup->m_lstItems.GetNext(pos);
        if (pEntry == nullptr) continue;
        if (KrGroup* pChild = childOf(pEntry))
            path.emplace_back(pChild, pChild->m_lstItems.GetHeadPosition());
        else if (pEntry->nType != GroupEntry && nIndex-- == 0)
            return pEntry;
    }
    return nullptr;
}

// Unlinks entry nFrom and lists it again so that it ends at index nTo; both are valid.
void KrGroup::relocate(int nFrom, int nTo)
{
    const POSITION from = positionOf(nFrom);
    KrGroupItem* pEntry = m_lstItems.GetAt(from);
    m_lstItems.RemoveAt(from);
    m_lstItems.InsertBefore(positionOf(nTo), pEntry);
}

unsigned char KrGroup::MoveUp(int nIndex)
{
    if (nIndex < 1 || nIndex >= GetCount()) return 0;
    relocate(nIndex, nIndex - 1);
    return 1;
}

unsigned char KrGroup::MoveDown(int nIndex)
{
    return MoveUp(nIndex + 1);
}

unsigned char KrGroup::MoveTop(int nIndex)
{
    if (nIndex < 1 || nIndex >= GetCount()) return 0;
    relocate(nIndex, 0);
    return 1;
}

unsigned char KrGroup::MoveBottom(int nIndex)
{
    if (nIndex < 0 || nIndex >= GetCount() - 1) return 0;
    relocate(nIndex, GetCount() - 1);
    return 1;
}

unsigned char KrGroup::MoveTo(int nFrom, int nTo)
{
    const int count = GetCount();
    if (nFrom < 0 || nFrom >= count || nFrom == nTo) return 0;
    if (nTo < 0)
        MoveTop(nFrom);
    else if (nTo >= count)
        MoveBottom(nFrom);
    else
        relocate(nFrom, nTo);
    return 1;
}

// Whether pGroup lies in the subtree below this group (this group included).
bool KrGroup::contains(const KrGroup* pGroup) const
{
    std::unordered_set<const KrGroup*> seen;
    std::vector<const KrGroup*> pending{this};
    while (!pending.empty())
    {
        const KrGroup* pNext = pending.back();
        pending.pop_back();
        if (pNext == pGroup) return true;
        if (!seen.insert(pNext).second) continue;
        for (POSITION pos = pNext->m_lstItems.GetHeadPosition(); !pNext->m_lstItems.IsEOF(pos);)
            if (const KrGroup* pChild = childOf(pNext->m_lstItems.GetNext(pos)))
                pending.push_back(pChild);
    }
    return false;
}

unsigned char KrGroup::MoveTo(int nIndex, KrGroup* pSource, int nTo, KrGroup* pTarget)
{
    if (pSource == nullptr || pTarget == nullptr) return 0;
    KrGroupItem* pEntry = pSource->GetAt(nIndex);
    if (pEntry == nullptr) return 0;
    KrGroup* pChild = childOf(pEntry);
    if (pChild != nullptr && pChild->contains(pTarget)) return 0;

    if (nIndex >= 1) pSource->unlink(pSource->positionOf(nIndex));
    pEntry->pParent = pTarget;
    if (pChild != nullptr) pChild->m_pParentGroup = pTarget;
    pTarget->list(pEntry, false);
    pTarget->MoveTo(pTarget->GetCount() - 1, nTo);
    return 1;
}

unsigned char KrGroup::RemoveAt(int nIndex)
{
    if (nIndex >= 1 && nIndex < GetCount()) unlink(positionOf(nIndex));
    return 0;
}

unsigned char KrGroup::RemoveItem(int nIndex, unsigned char bMerge)
{
    KrGroupItem* pEntry = GetAt(nIndex);
    if (pEntry == nullptr) return 0;
    if (!bMerge)
    {
        DeleteItem(pEntry);
        RemoveAt(nIndex);
        return 1;
    }
    if (KrGroup* pChild = childOf(pEntry))
    {
        if (pChild == this) return 0;
        for (POSITION pos = pChild->m_lstItems.GetHeadPosition(); !pChild->m_lstItems.IsEOF(pos);)
        {
            KrGroupItem* pMoved = pChild->m_lstItems.GetNext(pos);
            if (pMoved == nullptr) continue;
            pMoved->pParent = this;
            if (KrGroup* pNested = childOf(pMoved)) pNested->m_pParentGroup = this;
            list(pMoved, false);
        }
        pChild->RemoveAll();
        // An entry still listed elsewhere keeps its (now empty) group for that other list.
        const POSITION pos = positionOf(nIndex);
        m_lstItems.RemoveAt(pos);
        if (Listings::Instance().Release(pEntry) == 0)
        {
            delete pChild;
            delete pEntry;
        }
        return 1;
    }
    if (m_pParentGroup == nullptr) return 0;
    pEntry->pParent = m_pParentGroup;
    m_pParentGroup->list(pEntry, false);
    RemoveAt(nIndex);
    return 1;
}

void KrGroup::clear()
{
    for (POSITION pos = m_lstItems.GetHeadPosition(); !m_lstItems.IsEOF(pos);)
    {
        KrGroupItem* pEntry = m_lstItems.GetNext(pos);
        if (pEntry != nullptr) DeleteItem(pEntry);
    }
    RemoveAll();
}

void KrGroup::RemoveAll()
{
    for (POSITION pos = m_lstItems.GetHeadPosition(); !m_lstItems.IsEOF(pos);)
        Listings::Instance().Release(m_lstItems.GetNext(pos));
    m_lstItems.RemoveAll();
}

}  // namespace KRN
