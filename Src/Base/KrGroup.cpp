#include "Base/KrGroup.h"

#include <unordered_set>
#include <vector>

namespace KRN
{

template class KrList<KrGroup::KrGroupItem*>;

namespace
{

KrGroup* childOf(const KrGroup::KrGroupItem* pEntry)
{
    return pEntry != nullptr && pEntry->nType == 1 ? static_cast<KrGroup*>(pEntry->pItem) : nullptr;
}

}  // namespace

KrGroup::~KrGroup()
{
    // An entry can be listed twice (entry 0 after a cross-group move within one group), so
    // each record is freed once.
    std::unordered_set<KrGroupItem*> freed;
    for (POSITION pos = m_lstItems.GetHeadPosition(); !m_lstItems.IsEOF(pos);)
    {
        KrGroupItem* pEntry = m_lstItems.GetNext(pos);
        if (pEntry == nullptr || pEntry->pParent != this || !freed.insert(pEntry).second) continue;
        delete childOf(pEntry);
        delete pEntry;
    }
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
    Add(new KrGroupItem{pChild, 1, this}, bHead);
    return pChild;
}

void KrGroup::Add(KrGroupItem* pItem, unsigned char bHead)
{
    if (pItem == nullptr) return;
    pItem->pParent = this;
    if (bHead)
        m_lstItems.AddHead(pItem);
    else
        m_lstItems.AddTail(pItem);
}

int KrGroup::GetItemCount()
{
    int count = 0;
    for (POSITION pos = m_lstItems.GetTailPosition(); !m_lstItems.IsBOF(pos);)
    {
        const KrGroupItem* pEntry = m_lstItems.GetPrev(pos);
        if (pEntry == nullptr) continue;
        if (KrGroup* pChild = childOf(pEntry))
            count += pChild->GetItemCount();
        else if (pEntry->nType != 1)
            ++count;
    }
    return count;
}

bool KrGroup::findItemAt(int& nRemaining, KrGroupItem*& pFound)
{
    for (POSITION pos = m_lstItems.GetHeadPosition(); !m_lstItems.IsEOF(pos);)
    {
        KrGroupItem* pEntry = m_lstItems.GetNext(pos);
        if (pEntry == nullptr) continue;
        if (KrGroup* pChild = childOf(pEntry))
        {
            if (pChild->findItemAt(nRemaining, pFound)) return true;
        }
        else if (pEntry->nType != 1 && nRemaining-- == 0)
        {
            pFound = pEntry;
            return true;
        }
    }
    return false;
}

KrGroup::KrGroupItem* KrGroup::FindItemAt(int nIndex)
{
    KrGroupItem* pFound = nullptr;
    if (nIndex >= 0) findItemAt(nIndex, pFound);
    return pFound;
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

    if (nIndex >= 1) pSource->m_lstItems.RemoveAt(pSource->positionOf(nIndex));
    pEntry->pParent = pTarget;
    if (pChild != nullptr) pChild->m_pParentGroup = pTarget;
    pTarget->m_lstItems.AddTail(pEntry);
    pTarget->MoveTo(pTarget->GetCount() - 1, nTo);
    return 1;
}

unsigned char KrGroup::RemoveAt(int nIndex)
{
    if (nIndex >= 1 && nIndex < GetCount()) m_lstItems.RemoveAt(positionOf(nIndex));
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
            m_lstItems.AddTail(pMoved);
        }
        pChild->RemoveAll();
        m_lstItems.RemoveAt(positionOf(nIndex));
        delete pChild;
        delete pEntry;
        return 1;
    }
    if (m_pParentGroup == nullptr) return 0;
    pEntry->pParent = m_pParentGroup;
    m_pParentGroup->m_lstItems.AddTail(pEntry);
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

}  // namespace KRN
