// KrHash<T>: a string-keyed hash table with open addressing (double hashing over a power-of-two
// slot array). Keys are case-sensitive; the empty string marks a free slot and so can never be a
// key. Entries are never removed one by one. Iteration runs in slot order:
//   for (int pos = h.GetStartPosition(); !h.IsEOF(pos);) h.GetNextAssoc(pos, key, value);
// The iteration end belongs to the table: one iteration at a time, and no insertions during it.
// The slot positions follow from KrString::HashVal, so copies iterate in the same order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

namespace Detail
{
// Storage for slot arrays. Large arrays are aligned and backed by large pages where the system
// offers them, so that lookups spread over a big table do not also miss the address cache.
KRN_API void* AllocateTable(size_t bytes);
KRN_API void FreeTable(void* block, size_t bytes);

// An owned array of default-constructed slots in that storage.
template <class Slot>
class SlotBlock
{
public:
    SlotBlock() = default;
    explicit SlotBlock(size_t count)
        : m_pSlots(static_cast<Slot*>(AllocateTable(count * sizeof(Slot)))), m_nCount(count)
    {
        std::uninitialized_value_construct_n(m_pSlots, count);
    }
    SlotBlock(SlotBlock&& other) noexcept
        : m_pSlots(std::exchange(other.m_pSlots, nullptr)), m_nCount(std::exchange(other.m_nCount, 0))
    {
    }
    SlotBlock& operator=(SlotBlock&& other) noexcept
    {
        if (this != &other)
        {
            release();
            m_pSlots = std::exchange(other.m_pSlots, nullptr);
            m_nCount = std::exchange(other.m_nCount, 0);
        }
        return *this;
    }
    ~SlotBlock() { release(); }

    Slot& operator[](size_t i) const { return m_pSlots[i]; }
    explicit operator bool() const { return m_pSlots != nullptr; }

private:
    void release()
    {
        if (m_pSlots == nullptr) return;
        std::destroy_n(m_pSlots, m_nCount);
        FreeTable(m_pSlots, m_nCount * sizeof(Slot));
        m_pSlots = nullptr;
        m_nCount = 0;
    }

    Slot* m_pSlots = nullptr;
    size_t m_nCount = 0;
};
}  // namespace Detail

template <class T>
class KRN_API KrHash
{
public:
    KrHash()
        : m_pSlots(2),
          m_pTags(new unsigned char[2]()),
          m_pHomes(new uint64_t[1]()),
          m_nUsed(0),
          m_nFree(2),
          m_nMask(1),
          m_nIterEnd(0)
    {
    }
    KrHash(const KrHash& other) { copyFrom(other); }
    // A moved-from table has no slots; it stays usable and grows on the next insertion.
    KrHash(KrHash&& other) noexcept { takeFrom(other); }
    KrHash& operator=(const KrHash& other)
    {
        if (this != &other) copyFrom(other);
        return *this;
    }
    KrHash& operator=(KrHash&& other) noexcept
    {
        if (this != &other) takeFrom(other);
        return *this;
    }
    virtual ~KrHash() = default;
    // Copies other slot by slot, keeping every entry in the same slot.
    void Copy(const KrHash& other) { *this = other; }

    // Inserts or overwrites; an empty key is ignored. May grow the table even when overwriting.
    void SetAt(const KrString& key, const T& value)
    {
        if (key.empty()) return;
        if (2 * m_nFree <= m_nMask) Resize(2 * static_cast<unsigned int>(m_nMask) + 1);
        const unsigned int h = key.HashVal();
        const unsigned int index = probe(key, h, true);
        if (m_pTags[index] != kFree)
        {
            m_pSlots[index].value = value;
            return;
        }
        store(index, h, KrString(key), T(value));
        --m_nFree;
        ++m_nUsed;
    }

    // Copies the value out and returns 1 when the key is present; 0 for an absent or empty key.
    unsigned char Lookup(const KrString& key, T& rValue) const
    {
        const Slot* slot = find(key);
        if (slot == nullptr) return 0;
        rValue = slot->value;
        return 1;
    }

    // The value as a copy, or a default value (the empty string) for an absent key. Never inserts.
    T operator[](const KrString& key) const
    {
        const Slot* slot = find(key);
        return slot != nullptr ? slot->value : T();
    }

    int GetCount() const { return m_nUsed; }

    // Prepares an iteration over the occupied slots; always returns 0.
    int GetStartPosition()
    {
        m_nIterEnd = 0;
        for (int i = m_pSlots ? m_nMask : -1; i >= 0; --i)
        {
            if (m_pTags[i] != kFree)
            {
                m_nIterEnd = i + 1;
                break;
            }
        }
        return 0;
    }
    // Yields the entry in the first occupied slot at or after nPos and moves nPos past it.
    // At the end nothing changes.
    void GetNextAssoc(int& nPos, KrString& key, T& rValue) const
    {
        if (nPos < 0) nPos = 0;
        if (nPos >= m_nIterEnd || nPos > m_nMask || !m_pSlots) return;
        while (nPos < m_nIterEnd && m_pTags[nPos] == kFree) ++nPos;
        if (nPos >= m_nIterEnd) return;
        key = m_pSlots[nPos].key;
        rValue = m_pSlots[nPos].value;
        ++nPos;
    }
    unsigned char IsEOF(int nPos) const { return nPos >= m_nIterEnd ? 1 : 0; }
    // Calls visit(key, value) for every entry in slot order; leaves the iteration end alone, so
    // a const table can be walked.
    template <class F>
    void ForEach(F visit) const
    {
        if (!m_pSlots) return;
        for (int i = 0; i <= m_nMask; ++i)
            if (m_pTags[i] != kFree) visit(m_pSlots[i].key, m_pSlots[i].value);
    }

private:
    struct Slot
    {
        KrString key;  // empty: the slot is free
        T value{};
    };

    // Every slot has a one-byte tag beside it: 0 when free, else 0x80 | 7 bits of the key's
    // hash. Probes read the compact tag array and touch a slot only when its tag matches, so
    // misses rarely leave the tags and hits usually read one slot.
    static constexpr unsigned char kFree = 0;
    static unsigned char tagOf(unsigned int h) { return static_cast<unsigned char>(0x80 | (h >> 25)); }

    static unsigned int homeSlot(unsigned int h, unsigned int mask) { return (h ^ (h >> 13)) & mask; }
    static unsigned int probeStep(unsigned int h, unsigned int mask) { return ((h ^ (h >> 17)) | 1) & mask; }

    // The index of the slot holding key, or of the first free slot on its probe path; the
    // table has room. With bMayMatch false the key is known to be absent.
    unsigned int probe(const KrString& key, unsigned int h, bool bMayMatch) const
    {
        const unsigned int mask = static_cast<unsigned int>(m_nMask);
        const unsigned int step = probeStep(h, mask);
        const unsigned char tag = tagOf(h);
        unsigned int index = homeSlot(h, mask);
        for (;;)
        {
            const unsigned char found = m_pTags[index];
            if (found == kFree) return index;
            if (bMayMatch && found == tag && sameKey(m_pSlots[index].key, key)) return index;
            index = (index + step) & mask;
        }
    }

    // One bit per slot: set when some entry has its home there. A key whose home has none is
    // absent, which most misses learn from this small array without walking the probe path.
    static size_t homeWords(unsigned int mask) { return (static_cast<size_t>(mask) + 64) / 64; }
    bool isSomeHome(unsigned int slot) const
    {
        return (m_pHomes[slot / 64] >> (slot % 64) & 1) != 0;
    }

    void store(unsigned int index, unsigned int h, KrString&& key, T&& value)
    {
        const unsigned int home = homeSlot(h, static_cast<unsigned int>(m_nMask));
        m_pHomes[home / 64] |= uint64_t(1) << (home % 64);
        m_pTags[index] = tagOf(h);
        m_pSlots[index].key = std::move(key);
        m_pSlots[index].value = std::move(value);
    }

    const Slot* find(const KrString& key) const
    {
        if (key.empty() || !m_pSlots) return nullptr;
        const unsigned int h = key.HashVal();
        const unsigned int mask = static_cast<unsigned int>(m_nMask);
        const unsigned int step = probeStep(h, mask);
        const unsigned int home = homeSlot(h, mask);
        if (!isSomeHome(home)) return nullptr;
        const unsigned char tag = tagOf(h);
        unsigned int index = home;
        do
        {
            const unsigned char found = m_pTags[index];
            if (found == kFree) return nullptr;
            if (found == tag && sameKey(m_pSlots[index].key, key)) return &m_pSlots[index];
            index = (index + step) & mask;
        } while (index != home);
        return nullptr;
    }

    static bool sameKey(const KrString& a, const KrString& b)
    {
        return static_cast<const std::string&>(a) == static_cast<const std::string&>(b);
    }

    // Rebuilds the table with nNewMask + 1 slots, re-placing every entry by the probe sequence.
    void Resize(unsigned int nNewMask)
    {
        Detail::SlotBlock<Slot> old(std::move(m_pSlots));
        std::unique_ptr<unsigned char[]> oldTags(std::move(m_pTags));
        const unsigned int oldSlots = old ? static_cast<unsigned int>(m_nMask) + 1 : 0;
        m_pSlots = Detail::SlotBlock<Slot>(static_cast<size_t>(nNewMask) + 1);
        m_pTags.reset(new unsigned char[static_cast<size_t>(nNewMask) + 1]());
        m_pHomes.reset(new uint64_t[homeWords(nNewMask)]());
        m_nMask = static_cast<int>(nNewMask);
        for (unsigned int i = 0; i < oldSlots; ++i)
        {
            if (oldTags[i] == kFree) continue;
            const unsigned int h = old[i].key.HashVal();
            store(probe(old[i].key, h, false), h, std::move(old[i].key), std::move(old[i].value));
        }
        m_nFree = static_cast<int>(nNewMask) - m_nUsed + 1;
    }

    void copyFrom(const KrHash& other)
    {
        Detail::SlotBlock<Slot> slots;
        std::unique_ptr<unsigned char[]> tags;
        std::unique_ptr<uint64_t[]> homes;
        if (other.m_pSlots)
        {
            const size_t count = static_cast<size_t>(other.m_nMask) + 1;
            const size_t words = homeWords(static_cast<unsigned int>(other.m_nMask));
            slots = Detail::SlotBlock<Slot>(count);
            tags.reset(new unsigned char[count]);
            homes.reset(new uint64_t[words]);
            for (size_t i = 0; i < count; ++i) slots[i] = other.m_pSlots[i];
            std::copy(other.m_pTags.get(), other.m_pTags.get() + count, tags.get());
            std::copy(other.m_pHomes.get(), other.m_pHomes.get() + words, homes.get());
        }
        m_pSlots = std::move(slots);
        m_pTags = std::move(tags);
        m_pHomes = std::move(homes);
        m_nUsed = other.m_nUsed;
        m_nFree = other.m_nFree;
        m_nMask = other.m_nMask;
        m_nIterEnd = other.m_nIterEnd;
    }

    void takeFrom(KrHash& other) noexcept
    {
        m_pSlots = std::move(other.m_pSlots);
        m_pTags = std::move(other.m_pTags);
        m_pHomes = std::move(other.m_pHomes);
        m_nUsed = std::exchange(other.m_nUsed, 0);
        m_nFree = std::exchange(other.m_nFree, 0);
        m_nMask = std::exchange(other.m_nMask, 0);
        m_nIterEnd = std::exchange(other.m_nIterEnd, 0);
    }

    Detail::SlotBlock<Slot> m_pSlots;
    std::unique_ptr<unsigned char[]> m_pTags;  // one per slot, see tagOf
    std::unique_ptr<uint64_t[]> m_pHomes;      // one bit per slot, see isSomeHome
    int m_nUsed = 0;
    int m_nFree = 0;  // slots left before the table is full
    int m_nMask = 0;  // slot count - 1
    int m_nIterEnd = 0;  // one past the highest occupied slot, set by GetStartPosition
};

extern template class KRN_API KrHash<KrString>;
extern template class KRN_API KrHash<void*>;
extern template class KRN_API KrArray<KrHash<KrString>>;

}  // namespace KRN
