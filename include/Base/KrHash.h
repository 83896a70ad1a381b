// KrHash<T>: a string-keyed hash table with open addressing (double hashing over a power-of-two
// slot array). Keys are case-sensitive; the empty string marks a free slot and so can never be a
// key. Entries are never removed one by one. Iteration runs in slot order:
//   for (int pos = h.GetStartPosition(); !h.IsEOF(pos);) h.GetNextAssoc(pos, key, value);
// The iteration end belongs to the table: one iteration at a time, and no insertions during it.
// The slot positions follow from KrString::HashVal, so copies iterate in the same order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
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

#if defined(__GNUC__)
inline void PrefetchForRead(const void* p)
{
    __builtin_prefetch(p, 0, 3);
}
inline void PrefetchForWrite(const void* p)
{
    __builtin_prefetch(p, 1, 3);
}
#else
inline void PrefetchForRead(const void*) {}
inline void PrefetchForWrite(const void*) {}
#endif

// KrString::HashVal of n bytes at p, inline for the tables' hot paths: h = h * 33 ^ byte, each
// byte sign-extended.
inline unsigned int ChainHash(const char* p, size_t n)
{
    const auto step = [](unsigned int h, char c)
    {
        return ((h << 5) + h) ^
               static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(c)));
    };
    const char* const end = p + n;
    unsigned int h = 0;
    for (; end - p >= 4; p += 4) h = step(step(step(step(h, p[0]), p[1]), p[2]), p[3]);
    for (; p != end; ++p) h = step(h, *p);
    return h;
}

// A quick 64-bit hash of a byte string, a few multiplications for any key up to 16 bytes.
// Only the tables' absence filter uses it, so it may change between versions.
inline uint64_t QuickHash(const char* p, size_t n)
{
    const auto load64 = [](const char* at)
    {
        uint64_t word;
        std::memcpy(&word, at, sizeof word);
        return word;
    };
    const auto load32 = [](const char* at)
    {
        uint32_t word;
        std::memcpy(&word, at, sizeof word);
        return uint64_t(word);
    };
    constexpr uint64_t k1 = 0x9E3779B97F4A7C15ull, k2 = 0xC2B2AE3D27D4EB4Full;
    uint64_t acc = n * k2;
    uint64_t a = 0, b = 0;
    if (n >= 8)
    {
        // Whole words up to the last 9 to 16 bytes, which two overlapping words cover.
        const char* const end = p + n;
        for (; end - p > 16; p += 8)
        {
            acc = (acc ^ load64(p)) * k1;
            acc ^= acc >> 29;
        }
        a = load64(p);
        b = load64(end - 8);
    }
    else if (n >= 4)
    {
        a = load32(p);
        b = load32(p + n - 4);
    }
    else if (n > 0)
    {
        const auto byte = [p](size_t i) { return uint64_t(static_cast<unsigned char>(p[i])); };
        a = byte(0) << 16 | byte(n / 2) << 8 | byte(n - 1);
    }
    b *= k2;
    uint64_t x = (a ^ acc) * k1 + (b << 31 | b >> 33);
    x ^= x >> 32;
    x *= 0xD6E8FEB86659FD93ull;
    return x ^ (x >> 32);
}
}  // namespace Detail

template <class T>
class KRN_API KrHash
{
public:
    KrHash() : m_nUsed(0), m_nFree(2), m_nMask(1), m_nIterEnd(0) { m_table = Table(2); }
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
        const unsigned int h = Detail::ChainHash(key.data(), key.size());
        const unsigned int mask = static_cast<unsigned int>(m_nMask);
        const unsigned int home = homeSlot(h, mask);
        m_table.prefetchSlot(home, true);
        const unsigned char tag = tagOf(h);
        const Filter filter = filterOf(key, mask);
        // A key the filter rules out is absent: no key needs comparing.
        const bool bMayBePresent = (m_table.filter[filter.index] & filter.bits) == filter.bits;
        const unsigned int step = probeStep(h, mask);
        unsigned int index = home;
        for (;;)
        {
            const unsigned char found = m_table.tags[index];
            if (found == kFree) break;
            if (bMayBePresent && found == tag && sameKey(m_table.slots[index], key))
            {
                m_table.slots[index].value = value;
                return;
            }
            index = (index + step) & mask;
        }
        Slot* slot = new (&m_table.slots[index]) Slot(key, value);
        // A copied key stops at its first zero byte; growth re-places it by what it stores.
        slot->hash = slot->size() == key.size() ? h : Detail::ChainHash(slot->data(), slot->size());
        m_table.tags[index] = tag;
        m_table.filter[filter.index] |= filter.bits;
        --m_nFree;
        ++m_nUsed;
    }

    // Copies the value out and returns 1 when the key is present; 0 for an absent or empty key.
    unsigned char Lookup(const KrString& key, T& rValue) const
    {
        const Slot* slot = find(key);
        if (slot == nullptr) return 0;
        copyOut(rValue, slot->value);
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
        for (int i = m_table ? m_nMask : -1; i >= 0; --i)
        {
            if (m_table.tags[i] != kFree)
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
        if (nPos >= m_nIterEnd || nPos > m_nMask || !m_table) return;
        while (nPos < m_nIterEnd && m_table.tags[nPos] == kFree) ++nPos;
        if (nPos >= m_nIterEnd) return;
        key = m_table.slots[nPos];
        rValue = m_table.slots[nPos].value;
        ++nPos;
    }
    unsigned char IsEOF(int nPos) const { return nPos >= m_nIterEnd ? 1 : 0; }
    // Calls visit(key, value) for every entry in slot order; leaves the iteration end alone, so
    // a const table can be walked.
    template <class F>
    void ForEach(F visit) const
    {
        if (!m_table) return;
        for (int i = 0; i <= m_nMask; ++i)
            if (m_table.tags[i] != kFree)
                visit(static_cast<const KrString&>(m_table.slots[i]), m_table.slots[i].value);
    }

private:
    // An entry: the key, then its hash (kept so that growth re-places entries without hashing
    // again; with the usual ABI it fills the key's tail padding), then the value.
    struct Slot : KrString
    {
        Slot(const KrString& key, const T& v) : KrString(key), value(v) {}
        unsigned int hash = 0;
        T value;
    };

    // The slot array with two bytes per slot beside it, all allocated together with the table
    // and released with it. Slots are raw storage; only those whose tag is not kFree hold an
    // entry.
    //   tags[i]   0 when slot i is free, else 0x80 | 7 bits of its key's mixed hash. Probes read
    //             the compact tags and touch a slot only when its tag matches.
    //   filter    a Bloom filter of one byte per slot over the keys' quick hashes, see
    //             filterOf. A key it rules out is absent, which settles most misses with one
    //             read, without HashVal and without a probe.
    struct Table
    {
        Slot* slots = nullptr;
        unsigned char* tags = nullptr;
        unsigned char* filter = nullptr;
        size_t count = 0;

        Table() = default;
        explicit Table(size_t n) : count(n)
        {
            slots = static_cast<Slot*>(Detail::AllocateTable(n * sizeof(Slot)));
            try
            {
                tags = new unsigned char[2 * n]();
            }
            catch (...)
            {
                Detail::FreeTable(slots, n * sizeof(Slot));
                throw;
            }
            filter = tags + n;
        }
        Table(Table&& other) noexcept { swap(other); }
        Table& operator=(Table&& other) noexcept
        {
            Table(std::move(other)).swap(*this);
            return *this;
        }
        Table(const Table&) = delete;
        Table& operator=(const Table&) = delete;
        ~Table()
        {
            if (slots == nullptr) return;
            destroyEntries();
            delete[] tags;
            Detail::FreeTable(slots, count * sizeof(Slot));
        }

        explicit operator bool() const { return slots != nullptr; }
        void swap(Table& other) noexcept
        {
            std::swap(slots, other.slots);
            std::swap(tags, other.tags);
            std::swap(filter, other.filter);
            std::swap(count, other.count);
        }
        void destroyEntries()
        {
            for (size_t i = 0; i < count; ++i)
                if (tags[i] != kFree) slots[i].~Slot();
        }
        // The slot's first and last byte: an entry may straddle two cache lines.
        void prefetchSlot(unsigned int i, bool bForWrite) const
        {
            const char* first = reinterpret_cast<const char*>(slots + i);
            if (bForWrite)
            {
                Detail::PrefetchForWrite(first);
                Detail::PrefetchForWrite(first + sizeof(Slot) - 1);
            }
            else
            {
                Detail::PrefetchForRead(first);
                Detail::PrefetchForRead(first + sizeof(Slot) - 1);
            }
        }
    };

    static constexpr unsigned char kFree = 0;
    // Tags come from the top bits of the hash times an odd constant, so that every bit of the
    // hash reaches them (short keys leave the hash's own top bits zero).
    static unsigned char tagOf(unsigned int h)
    {
        return static_cast<unsigned char>(0x80 | ((h * 0x9E3779B1u) >> 25));
    }

    // A key's place in the filter: a byte chosen by the low bits of its quick hash and two of
    // the byte's bits (possibly the same one) by its top bits. With a byte per slot and at
    // most one key per two slots, about 3 % of absent keys pass.
    struct Filter
    {
        unsigned int index;
        unsigned char bits;
    };
    static Filter filterOf(const KrString& key, unsigned int mask)
    {
        const uint64_t q = Detail::QuickHash(key.data(), key.size());
        return {static_cast<unsigned int>(q) & mask,
                static_cast<unsigned char>(1u << (q >> 58 & 7) | 1u << (q >> 61))};
    }

    static unsigned int homeSlot(unsigned int h, unsigned int mask)
    {
        return (h ^ (h >> 13)) & mask;
    }
    static unsigned int probeStep(unsigned int h, unsigned int mask)
    {
        return ((h ^ (h >> 17)) | 1) & mask;
    }

    const Slot* find(const KrString& key) const
    {
        if (key.empty() || !m_table) return nullptr;
        const unsigned int mask = static_cast<unsigned int>(m_nMask);
        const Filter filter = filterOf(key, mask);
        if ((m_table.filter[filter.index] & filter.bits) != filter.bits) return nullptr;
        const unsigned int h = Detail::ChainHash(key.data(), key.size());
        const unsigned int home = homeSlot(h, mask);
        const unsigned int step = probeStep(h, mask);
        const unsigned int second = (home + step) & mask;
        m_table.prefetchSlot(home, false);
        m_table.prefetchSlot(second, false);
        const unsigned char tag = tagOf(h);
        // Most keys sit in the first or second slot of their path: pick the candidate without
        // branching on the tags, so that a hit costs one well-predicted branch.
        const unsigned char first = m_table.tags[home];
        const bool bAtHome = first == tag;
        const bool bAtSecond = first != kFree && m_table.tags[second] == tag;
        if (bAtHome | bAtSecond)
        {
            const Slot& candidate = m_table.slots[bAtHome ? home : second];
            if (sameKey(candidate, key)) return &candidate;
        }
        unsigned int index = home;
        do
        {
            const unsigned char found = m_table.tags[index];
            if (found == kFree) return nullptr;
            if (found == tag && sameKey(m_table.slots[index], key)) return &m_table.slots[index];
            index = (index + step) & mask;
        } while (index != home);
        return nullptr;
    }

    // Byte equality. Keys of 4 to 16 bytes, the common case, compare as two overlapping words
    // each, without a call.
    static bool sameKey(const KrString& a, const KrString& b)
    {
        const size_t n = a.size();
        if (n != b.size()) return false;
        const char* p = a.data();
        const char* q = b.data();
        if (n >= 8 && n <= 16) return sameWords<uint64_t>(p, q, n);
        if (n >= 4 && n < 8) return sameWords<uint32_t>(p, q, n);
        return std::memcmp(p, q, n) == 0;
    }
    template <class Word>
    static bool sameWords(const char* p, const char* q, size_t n)
    {
        Word p0, q0, p1, q1;
        std::memcpy(&p0, p, sizeof(Word));
        std::memcpy(&q0, q, sizeof(Word));
        std::memcpy(&p1, p + n - sizeof(Word), sizeof(Word));
        std::memcpy(&q1, q + n - sizeof(Word), sizeof(Word));
        return ((p0 ^ q0) | (p1 ^ q1)) == 0;
    }

    // Stored values come in through KrString's copy, which stops at a zero byte, so they hold
    // none and a plain byte copy gives the same result without searching for one.
    static void copyOut(KrString& to, const KrString& from)
    {
        static_cast<std::string&>(to) = static_cast<const std::string&>(from);
        to.SetCharset(from.GetCharset());
    }
    template <class U>
    static void copyOut(U& to, const U& from)
    {
        to = from;
    }

    // Rebuilds the table with nNewMask + 1 slots, re-placing every entry by the probe sequence
    // in old slot order. The stored hashes spare hashing the keys again; the new home and
    // filter byte of an entry a few slots ahead are prefetched while the current one is placed.
    void Resize(unsigned int nNewMask)
    {
        Table fresh(static_cast<size_t>(nNewMask) + 1);
        Table old(std::move(m_table));
        const unsigned int oldSlots = static_cast<unsigned int>(old.count);
        // Filter places, computed kAhead slots early, in a ring indexed by old slot.
        constexpr unsigned int kAhead = 8, kRing = 16;
        Filter ring[kRing] = {};
        const auto lookAhead = [&](unsigned int i)
        {
            if (i >= oldSlots || old.tags[i] == kFree) return;
            const Slot& entry = old.slots[i];
            const unsigned int home = homeSlot(entry.hash, nNewMask);
            ring[i % kRing] = filterOf(entry, nNewMask);
            Detail::PrefetchForWrite(fresh.tags + home);
            Detail::PrefetchForWrite(fresh.filter + ring[i % kRing].index);
            fresh.prefetchSlot(home, true);
        };
        for (unsigned int i = 0; i < kAhead; ++i) lookAhead(i);
        for (unsigned int i = 0; i < oldSlots; ++i)
        {
            lookAhead(i + kAhead);
            if (old.tags[i] == kFree) continue;
            Slot& entry = old.slots[i];
            const unsigned int h = entry.hash;
            const unsigned int step = probeStep(h, nNewMask);
            const unsigned int home = homeSlot(h, nNewMask);
            unsigned int index = home;
            while (fresh.tags[index] != kFree) index = (index + step) & nNewMask;
            new (&fresh.slots[index]) Slot(std::move(entry));
            entry.~Slot();
            old.tags[i] = kFree;
            fresh.tags[index] = tagOf(h);
            fresh.filter[ring[i % kRing].index] |= ring[i % kRing].bits;
        }
        m_table = std::move(fresh);
        m_nMask = static_cast<int>(nNewMask);
        m_nFree = static_cast<int>(nNewMask) - m_nUsed + 1;
    }

    void copyFrom(const KrHash& other)
    {
        Table copy;
        if (other.m_table)
        {
            const Table& from = other.m_table;
            Table table(from.count);
            for (size_t i = 0; i < from.count; ++i)
            {
                if (from.tags[i] == kFree) continue;
                new (&table.slots[i]) Slot(from.slots[i]);
                table.tags[i] = from.tags[i];  // now owned: destroyed if a later copy throws
            }
            std::copy(from.filter, from.filter + from.count, table.filter);
            copy = std::move(table);
        }
        m_table = std::move(copy);
        m_nUsed = other.m_nUsed;
        m_nFree = other.m_nFree;
        m_nMask = other.m_nMask;
        m_nIterEnd = other.m_nIterEnd;
    }

    void takeFrom(KrHash& other) noexcept
    {
        m_table = std::move(other.m_table);
        m_nUsed = std::exchange(other.m_nUsed, 0);
        m_nFree = std::exchange(other.m_nFree, 0);
        m_nMask = std::exchange(other.m_nMask, 0);
        m_nIterEnd = std::exchange(other.m_nIterEnd, 0);
    }

    Table m_table;
    int m_nUsed = 0;
    int m_nFree = 0;     // slots left before the table is full
    int m_nMask = 0;     // slot count - 1
    int m_nIterEnd = 0;  // one past the highest occupied slot, set by GetStartPosition
};

extern template class KRN_API KrHash<KrString>;
extern template class KRN_API KrHash<void*>;
extern template class KRN_API KrArray<KrHash<KrString>>;

}  // namespace KRN
