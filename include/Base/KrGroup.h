// KrGroup: an ordered tree node, such as a group of map layers. A named group holds an ordered
// list of entries; each entry is either an application item (an opaque pointer the application
// owns) or a child KrGroup. Entries can be reached by position, moved within a group or to
// another group, merged into the parent, and the items of a whole subtree counted and indexed.
// A derived class creates its entries in AddItem and frees its item data in DeleteItem.
//   KrGroup root;  KrGroup* roads = root.CreateChildGroup("Roads", 0);
//   roads->Add(new KrGroup::KrGroupItem{layer, KrGroup::ItemEntry, nullptr}, 0);
//
// Ownership: entries are heap records (new KrGroupItem) that the group takes over on Add. An
// entry can be listed by more than one group (see entry 0 below), and the library keeps count
// of the lists that hold it: a destroyed group lets go of each entry it lists, and the entry
// whose last list lets go is deleted, with the child group of a group entry. RemoveAt,
// RemoveAll and clear only unlink: an entry that no list holds any more belongs to the caller
// (or to the DeleteItem hook). Application items are never touched. Destroying a tree, and
// every walk of one, takes heap memory, not stack, so trees may be nested a million deep.
// Adding an entry for a group that already holds this one (directly or further down) makes a
// cycle, which no operation can walk: the cross-group MoveTo refuses that, Add trusts its
// caller.
//
// Index 0 is special on purpose and callers rely on it:
// - MoveUp, MoveTop and RemoveAt refuse index 0, and MoveBottom refuses the last index.
// - RemoveAt always returns false, also when it removed the entry.
// - RemoveItem(0, ...) and the cross-group MoveTo of entry 0 do not unlink entry 0, which then
//   stays listed here as well (its parent is the other group); it lives until both lists let
//   go of it.
// Negative or too large indices are refused everywhere: false, or null for lookups.
//
// Beyond the list of entries: a cross-group MoveTo that would make a group its own ancestor
// (moving a group into itself or into one of its descendants) is refused with false and
// changes nothing, so that the tree never turns into a cycle that every walk would loop on.
#pragma once

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

class KRN_API KrGroup
{
public:
    // The kinds of entry, as stored in KrGroupItem::nType.
    static constexpr int ItemEntry = 0;   // an application item
    static constexpr int GroupEntry = 1;  // a child group

    struct KrGroupItem
    {
        void* pItem;       // the application's item, or the child KrGroup* of a group entry
        int nType;         // GroupEntry for a child group, ItemEntry for an ordinary item
        KrGroup* pParent;  // the group whose list holds the entry
    };
    using POSITION = KrList<KrGroupItem*>::POSITION;

    KrGroup() = default;
    KrGroup(const KrGroup&) = delete;
    KrGroup& operator=(const KrGroup&) = delete;
    virtual ~KrGroup();

    // Hooks for a derived class; the base forms do nothing.
    virtual void AddItem(void* pItem, unsigned char bHead);
    virtual void DeleteItem(KrGroupItem* pItem);

    int GetCount() const { return m_lstItems.GetCount(); }
    // The entry at nIndex; null for a negative index or one past the end.
    KrGroupItem* GetAt(int nIndex) const;
    // The child group of entry nIndex; null for an ordinary item or an invalid index.
    KrGroup* GetChildGroup(int nIndex) const;
    // The first direct child group with this name, ignoring letter case.
    KrGroup* GetChildGroup(const KrString& strName) const;
    KrGroup* GetChildGroupByID(int nID) const;

    // A new group named strName, listed here at the head or the tail; this group owns it.
    KrGroup* CreateChildGroup(const KrString& strName, unsigned char bHead);
    // Takes over the entry (a heap record), makes this group its parent and lists it at the
    // head or the tail. For a group entry, the child group's parent group is left as it is.
    void Add(KrGroupItem* pItem, unsigned char bHead);

    KrString GetGroupName() const { return m_strName; }
    void SetGroupName(const KrString& strName) { m_strName = strName; }
    int GetGroupID() const { return m_nGroupID; }
    void SetGroupID(int nID) { m_nGroupID = nID; }
    KrGroup* GetParentGroup() const { return m_pParentGroup; }
    void SetParentGroup(KrGroup* pParent) { m_pParentGroup = pParent; }

    // Walks over the direct entries, as KrList does.
    POSITION GetHeadPosition() { return m_lstItems.GetHeadPosition(); }
    POSITION GetTailPosition() { return m_lstItems.GetTailPosition(); }
    KrGroupItem* GetNext(POSITION& pos) { return m_lstItems.GetNext(pos); }
    KrGroupItem* GetPrev(POSITION& pos) { return m_lstItems.GetPrev(pos); }
    bool IsBOF(POSITION pos) const { return m_lstItems.IsBOF(pos); }
    bool IsEOF(POSITION pos) const { return m_lstItems.IsEOF(pos); }

    // Ordinary items of the whole subtree; child groups are not counted, their items are.
    int GetItemCount();
    // The nIndex-th (from 0) ordinary item of the subtree in list order, descending into each
    // child group at its place; null when there is none.
    KrGroupItem* FindItemAt(int nIndex);

    // Moves entry nIndex one place up; 1 <= nIndex < GetCount(), else false.
    unsigned char MoveUp(int nIndex);
    // MoveUp(nIndex + 1).
    unsigned char MoveDown(int nIndex);
    // Moves entry nIndex to the head; 1 <= nIndex < GetCount(), else false.
    unsigned char MoveTop(int nIndex);
    // Moves entry nIndex to the tail; 0 <= nIndex < GetCount() - 1 (the last one is refused).
    unsigned char MoveBottom(int nIndex);
    // Moves entry nFrom so that it ends at index nTo; nTo < 0 means the head (MoveTop) and
    // nTo >= GetCount() the tail (MoveBottom). False unless 0 <= nFrom < GetCount() and
    // nFrom != nTo; otherwise true, even when MoveTop or MoveBottom refused to move.
    //   a, b, c: MoveTo(2, 0) gives c, a, b; MoveTo(0, 2) gives b, c, a.
    unsigned char MoveTo(int nFrom, int nTo);
    // Moves entry nIndex of pSource to index nTo of pTarget and returns true. Entry 0 is
    // appended to pTarget without being unlinked from pSource (see above). False for a null
    // group, an invalid nIndex, or a move that would make a group its own ancestor.
    static unsigned char MoveTo(int nIndex, KrGroup* pSource, int nTo, KrGroup* pTarget);

    // Unlinks entry nIndex when 1 <= nIndex < GetCount(), freeing nothing. Always false.
    unsigned char RemoveAt(int nIndex);
    // False unless 0 <= nIndex < GetCount(). Without bMerge: DeleteItem(entry), then
    // RemoveAt(nIndex); true. With bMerge, a child group's entries move, in order, to the tail
    // of this group, and the child group and its entry are destroyed (unless another list still
    // holds the entry: then the emptied group stays for that list); an ordinary item moves to
    // the tail of the parent group (false when there is none), then RemoveAt(nIndex).
    unsigned char RemoveItem(int nIndex, unsigned char bMerge);
    // Unlinks every entry, freeing only the list links.
    void RemoveAll();
    // DeleteItem for every entry in order, then RemoveAll.
    void clear();

private:
    POSITION positionOf(int nIndex) const;
    void relocate(int nFrom, int nTo);
    bool contains(const KrGroup* pGroup) const;
    // Lists the entry at the head or the tail, or unlinks one listing, keeping count of the
    // lists that hold each entry.
    void list(KrGroupItem* pEntry, bool bHead);
    void unlink(POSITION pos);

    mutable KrList<KrGroupItem*> m_lstItems;
    KrString m_strName;
    int m_nGroupID = 0;
    KrGroup* m_pParentGroup = nullptr;
};

// The list of entries is compiled into the library, so callers share its instantiation.
extern template class KrList<KrGroup::KrGroupItem*>;

}  // namespace KRN
