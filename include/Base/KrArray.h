// The library's collections: KrArray (growable array), KrList (doubly linked list walked by
// positions), KrDict (ordered dictionary) and KrContainer (ring of the N most recent items).
// They wrap the standard containers to give one index- and position-based vocabulary across
// the library boundary; all are values (copies are deep) and none of them locks.
//   KrArray<int> ids;  ids.Add(7);  int first = ids[0];
//   KrList<KrString> names;  names.AddTail("a");
//   for (auto pos = names.GetHeadPosition(); !names.IsEOF(pos);) use(names.GetNext(pos));
#pragma once

#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Base/KrDefs.h"

namespace KRN
{

// A growable array over std::vector. Indices are int. GetAt, SetAt, ElementAt and operator[]
// reject negative indices and indices at or past the size with std::out_of_range ("invalid
// vector<T> subscript"); only InsertAt clamps its index.
template <class T>
class KRN_API KrArray
{
public:
    KrArray() = default;
    KrArray(const KrArray&) = default;
    KrArray(KrArray&&) noexcept = default;
    KrArray& operator=(const KrArray&) = default;
    KrArray& operator=(KrArray&&) noexcept = default;
    ~KrArray() = default;

    int GetSize() const { return static_cast<int>(m_vecData.size()); }
    // Grows with default-constructed (zero) elements or destroys the tail; keeps the capacity.
    // A negative size empties the array.
    void SetSize(int nNewSize)
    {
        m_vecData.resize(nNewSize > 0 ? static_cast<size_t>(nNewSize) : 0);
    }

    // Appends and returns the new element's index.
    int Add(const T& value)
    {
        m_vecData.push_back(value);
        return GetSize() - 1;
    }
    int Add(T&& value)
    {
        m_vecData.push_back(std::move(value));
        return GetSize() - 1;
    }
    // Constructs the new element in place from args; returns its index.
    template <class... Args>
    int AddNew(Args&&... args)
    {
        m_vecData.emplace_back(std::forward<Args>(args)...);
        return GetSize() - 1;
    }
    // Appends other's elements; returns the size before the call, even when other is empty.
    // An array may append itself.
    int Append(const KrArray& other) { return Append(other.GetData(), other.GetSize()); }
    // Appends nCount elements read from pData; returns the size before the call. pData may
    // point into this array.
    int Append(const T* pData, int nCount)
    {
        const int first = GetSize();
        if (pData == nullptr || nCount <= 0) return first;
        const std::less<const T*> before;
        if (!before(pData, m_vecData.data()) && before(pData, m_vecData.data() + m_vecData.size()))
        {
            // Growing the vector would move the elements being read: copy them out first.
            std::vector<T> copy(pData, pData + nCount);
            m_vecData.insert(m_vecData.end(), std::make_move_iterator(copy.begin()),
                             std::make_move_iterator(copy.end()));
        }
        else
            m_vecData.insert(m_vecData.end(), pData, pData + nCount);
        return first;
    }
    void Copy(const KrArray& other) { *this = other; }

    // Inserts nCount copies of value before nIndex, which is clamped into [0, GetSize()].
    void InsertAt(int nIndex, const T& value, int nCount = 1)
    {
        if (nCount <= 0) return;
        if (nIndex < 0) nIndex = 0;
        if (nIndex > GetSize()) nIndex = GetSize();
        m_vecData.insert(m_vecData.begin() + nIndex, static_cast<size_t>(nCount), value);
    }

    T GetAt(int nIndex) const { return m_vecData[checkedIndex(nIndex)]; }
    void SetAt(int nIndex, const T& value) { m_vecData[checkedIndex(nIndex)] = value; }
    T& ElementAt(int nIndex) { return m_vecData[checkedIndex(nIndex)]; }
    T& operator[](int nIndex) { return m_vecData[checkedIndex(nIndex)]; }
    const T& operator[](int nIndex) const { return m_vecData[checkedIndex(nIndex)]; }

    // Null when the array is empty.
    T* GetData() { return m_vecData.empty() ? nullptr : m_vecData.data(); }
    const T* GetData() const { return m_vecData.empty() ? nullptr : m_vecData.data(); }

    // Reallocates to exactly the size when there is spare capacity.
    void FreeExtra()
    {
        if (m_vecData.capacity() <= m_vecData.size()) return;
        std::vector<T> exact;
        exact.reserve(m_vecData.size());
        exact.insert(exact.end(), std::make_move_iterator(m_vecData.begin()),
                     std::make_move_iterator(m_vecData.end()));
        m_vecData.swap(exact);
    }
    // Destroys every element and gives the memory back.
    void RemoveAll()
    {
        m_vecData.clear();
        FreeExtra();
    }

    // Standard iteration, so that arrays work in range-for loops.
    typename std::vector<T>::iterator begin() { return m_vecData.begin(); }
    typename std::vector<T>::iterator end() { return m_vecData.end(); }
    typename std::vector<T>::const_iterator begin() const { return m_vecData.begin(); }
    typename std::vector<T>::const_iterator end() const { return m_vecData.end(); }

private:
    size_t checkedIndex(int nIndex) const
    {
        // As unsigned, a negative index is as far out of range as one past the end.
        if (static_cast<size_t>(static_cast<unsigned int>(nIndex)) >= m_vecData.size())
            throw std::out_of_range("invalid vector<T> subscript");
        return static_cast<size_t>(nIndex);
    }

    std::vector<T> m_vecData;
};

// A doubly linked list over std::list, walked by POSITION values. A position is on an element,
// at EOF (past the last element) or flagged before the first element (BOF).
//   forward:  for (auto pos = l.GetHeadPosition(); !l.IsEOF(pos);) use(l.GetNext(pos));
//   backward: for (auto pos = l.GetTailPosition(); !l.IsBOF(pos);) use(l.GetPrev(pos));
// Removing an element invalidates every position on it.
template <class T>
class KRN_API KrList
{
public:
    struct POSITION
    {
        typename std::list<T>::iterator it;
        unsigned char bBeforeFirst = 0;
    };

    int GetCount() const { return static_cast<int>(m_lstData.size()); }

    POSITION AddHead(const T& value)
    {
        return POSITION{m_lstData.insert(m_lstData.begin(), value), 0};
    }
    POSITION AddTail(const T& value)
    {
        return POSITION{m_lstData.insert(m_lstData.end(), value), 0};
    }
    // Inserts before pos; pos at EOF appends.
    POSITION InsertBefore(POSITION pos, const T& value)
    {
        return POSITION{m_lstData.insert(pos.it, value), 0};
    }
    void RemoveAt(POSITION pos) { m_lstData.erase(pos.it); }
    void RemoveAll() { m_lstData.clear(); }

    // EOF for an empty list.
    POSITION GetHeadPosition() { return POSITION{m_lstData.begin(), 0}; }
    // For an empty list: the EOF position with the before-first flag set, so that both IsEOF
    // and IsBOF are true.
    POSITION GetTailPosition()
    {
        if (m_lstData.empty()) return POSITION{m_lstData.end(), 1};
        return POSITION{std::prev(m_lstData.end()), 0};
    }

    // Returns the element at pos and moves pos to the next one (EOF after the last).
    T& GetNext(POSITION& pos) { return *pos.it++; }
    // Returns the element at pos and moves pos back; on the first element pos stays there and
    // takes the before-first flag, so a backward walk visits the first element once.
    T& GetPrev(POSITION& pos)
    {
        T& value = *pos.it;
        if (pos.it == m_lstData.begin())
            pos.bBeforeFirst = 1;
        else
            --pos.it;
        return value;
    }
    T& GetAt(POSITION pos) { return *pos.it; }
    const T& GetAt(POSITION pos) const { return *pos.it; }

    bool IsEOF(POSITION pos) const { return pos.it == m_lstData.end(); }
    // The flag decides. The second test (is the element after pos the head?) can never hold
    // for a position on an element and is kept only for fidelity with the list's contract.
    bool IsBOF(POSITION pos) const
    {
        if (pos.bBeforeFirst) return true;
        return pos.it != m_lstData.end() && std::next(pos.it) == m_lstData.begin();
    }

    // Steps forward nIndex times from the head, stopping at EOF; nIndex < 1 gives the head.
    POSITION FindIndex(int nIndex)
    {
        POSITION pos = GetHeadPosition();
        for (int i = 0; i < nIndex && pos.it != m_lstData.end(); ++i) ++pos.it;
        return pos;
    }

private:
    std::list<T> m_lstData;
};

// An ordered dictionary over std::map; keys are unique.
template <class K, class V, class Cmp = std::less<K>>
class KRN_API KrDict
{
public:
    using Map = std::map<K, V, Cmp>;

    // Copies the key's value into rValue and returns true; an absent key returns false and
    // leaves rValue untouched.
    bool Lookup(const K& key, V& rValue) const
    {
        auto found = m_mapData.find(key);
        if (found == m_mapData.end()) return false;
        rValue = found->second;
        return true;
    }
    void SetAt(const K& key, const V& value) { m_mapData[key] = value; }
    // Inserts a default-constructed value for an absent key.
    V& operator[](const K& key) { return m_mapData[key]; }
    // Returns whether the key was there.
    bool RemoveKey(const K& key) { return m_mapData.erase(key) != 0; }
    void RemoveAll() { m_mapData.clear(); }
    int GetCount() const { return static_cast<int>(m_mapData.size()); }

    typename Map::iterator begin() { return m_mapData.begin(); }
    typename Map::iterator end() { return m_mapData.end(); }
    typename Map::const_iterator begin() const { return m_mapData.begin(); }
    typename Map::const_iterator end() const { return m_mapData.end(); }

private:
    Map m_mapData;
};

// A ring that keeps the last GetCapacity() items added; [0] is the item added last, [1] the one
// before it. Indices at or past GetSize() read old or default slots, never outside the ring.
template <class T>
class KRN_API KrContainer
{
public:
    // Resizes the ring. The write index and the wrapped flag deliberately stay as they are.
    void SetCapacity(int nCapacity)
    {
        m_vecItems.resize(nCapacity > 0 ? static_cast<size_t>(nCapacity) : 0);
    }
    int GetCapacity() const { return static_cast<int>(m_vecItems.size()); }
    // The capacity once the ring has wrapped, else the number of items added.
    int GetSize() const
    {
        if (m_bWrapped) return GetCapacity();
        return m_nNext < GetCapacity() ? m_nNext : GetCapacity();
    }

    // A ring of capacity 0 first grows to 1. A write index left beyond a shrunk ring wraps.
    void Add(const T& item)
    {
        if (m_vecItems.empty()) SetCapacity(1);
        if (m_nNext >= GetCapacity()) wrap();
        m_vecItems[static_cast<size_t>(m_nNext)] = item;
        if (++m_nNext >= GetCapacity()) wrap();
    }

    // A ring of capacity 0 first grows to 1.
    T& operator[](int nIndex)
    {
        if (m_vecItems.empty()) SetCapacity(1);
        const long long n = GetCapacity();
        long long slot = (static_cast<long long>(m_nNext) - nIndex + n - 1) % n;
        if (slot < 0) slot += n;
        return m_vecItems[static_cast<size_t>(slot)];
    }

    // Forgets the items; the slots keep their contents and the capacity stays.
    void Clear()
    {
        m_bWrapped = 0;
        m_nNext = 0;
    }

private:
    void wrap()
    {
        m_bWrapped = 1;
        m_nNext = 0;
    }

    unsigned char m_bWrapped = 0;
    int m_nNext = 0;
    std::vector<T> m_vecItems;
};

// Instantiations compiled into the library; the ones for the library's own element types are
// declared beside those types.
extern template class KRN_API KrArray<int>;
extern template class KRN_API KrArray<unsigned int>;
extern template class KRN_API KrArray<unsigned short>;
extern template class KRN_API KrDict<int, int, std::less<int>>;

}  // namespace KRN
