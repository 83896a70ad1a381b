#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
// Slot, key and value of every entry, in iteration order.
using Entry = std::tuple<int, std::string, std::string>;
std::vector<Entry> entries(KrHash<KrString>& h)
{
    std::vector<Entry> out;
    KrString key, value;
    for (int pos = h.GetStartPosition(); !h.IsEOF(pos);)
    {
        h.GetNextAssoc(pos, key, value);
        out.emplace_back(pos - 1, key, value);
    }
    return out;
}
}  // namespace

TEST(KrHashTest, EmptyKeysAreNeverStoredAndOthersAreCaseSensitive)
{
    KrHash<KrString> h;
    h.SetAt("", "x");
    KrString value("untouched");
    EXPECT_EQ(h.Lookup("", value), 0);
    EXPECT_EQ(value, "untouched");
    EXPECT_EQ(h.GetCount(), 0);
    EXPECT_EQ(h.GetStartPosition(), 0);
    EXPECT_TRUE(h.IsEOF(0));

    h.SetAt("A", "upper");
    h.SetAt("a", "lower");
    h.SetAt("A", "again");
    EXPECT_EQ(entries(h).size(), 2u);
    EXPECT_EQ(h["A"], "again");
    EXPECT_EQ(h["a"], "lower");
    EXPECT_EQ(h["missing"], "");
    EXPECT_EQ(h.GetCount(), 2);  // overwriting and operator[] never insert
}

TEST(KrHashTest, GrowsOnlyWhenHalfTheMaskIsFree)
{
    // A fresh table takes two keys, then the third doubles it to 4 slots before inserting.
    KrHash<KrString> h;
    for (const char* key : {"k1", "k2", "k3"}) h.SetAt(key, "v");
    EXPECT_EQ(h.GetCount(), 3);
    // All three keys fit in 4 slots: iteration never passes slot 3.
    h.GetStartPosition();
    EXPECT_TRUE(h.IsEOF(4));
    EXPECT_EQ(entries(h).size(), 3u);
    h.SetAt("k3", "3b");  // 2 * free (1) <= mask (3): even an overwrite grows the table
    EXPECT_EQ(h.GetCount(), 3);
    EXPECT_EQ(h["k3"], "3b");
}

TEST(KrHashTest, IteratesInSlotOrderAndCopiesKeepTheOrder)
{
    KrHash<KrString> h;
    std::map<std::string, std::string> model;
    std::mt19937 random(7);
    for (int i = 0; i < 500; ++i)
    {
        const std::string key = "key" + std::to_string(random() % 300);
        const std::string value = std::to_string(i);
        h.SetAt(key.c_str(), value.c_str());
        model[key] = value;
    }
    const auto listed = entries(h);
    EXPECT_EQ(listed.size(), model.size());
    for (const auto& [slot, key, value] : listed) EXPECT_EQ(model.at(key), value);
    for (const auto& [key, value] : model)
    {
        KrString found;
        EXPECT_EQ(h.Lookup(key.c_str(), found), 1);
        EXPECT_EQ(found, value);
    }

    KrHash<KrString> copy(h);
    EXPECT_EQ(entries(copy), listed);
    KrHash<KrString> assigned;
    assigned.SetAt("stale", "x");
    assigned.Copy(h);
    EXPECT_EQ(entries(assigned), listed);
    EXPECT_EQ(assigned["stale"], "");
}

TEST(KrHashTest, KeysLandInTheSlotsTheProbeRulesGive)
{
    // Slots worked out by hand from the hash and probe rules. "a", "e" and "i" all have home
    // slot 1 of 4; the growth to 4 slots re-places "e" (probed into slot 0 of 2) first. Of the
    // longer keys, "abc" and "settings" land where only the shifted hash sends them, and
    // "\xe4\xb8\xad" (sign-extended bytes) collides with "abc" and steps on by 15.
    const struct
    {
        std::vector<const char*> keys;
        std::vector<std::pair<int, std::string>> slots;
    } cases[] = {
        {{"a", "e", "i"}, {{1, "e"}, {2, "a"}, {3, "i"}}},
        {{"a", "e", "i", "abc", "settings", "LogFileLocation", "\xe4\xb8\xad"},
         {{0, "settings"}, {1, "a"}, {5, "e"}, {8, "LogFileLocation"}, {9, "i"},
          {12, "\xe4\xb8\xad"}, {13, "abc"}}},
    };
    for (const auto& c : cases)
    {
        KrHash<KrString> h;
        for (const char* key : c.keys) h.SetAt(key, "v");
        std::vector<std::pair<int, std::string>> slots;
        for (const auto& [slot, key, value] : entries(h)) slots.emplace_back(slot, key);
        EXPECT_EQ(slots, c.slots) << c.keys.size() << " keys";
    }
}

TEST(KrHashTest, PointerValuesAndMovedFromTables)
{
    KrHash<void*> h;
    int target = 0;
    h.SetAt("p", &target);
    void* found = nullptr;
    EXPECT_EQ(h.Lookup("p", found), 1);
    EXPECT_EQ(found, &target);
    EXPECT_EQ(h["q"], nullptr);

    KrHash<void*> moved(std::move(h));
    EXPECT_EQ(moved["p"], &target);
    EXPECT_EQ(h.Lookup("p", found), 0);  // NOLINT: a moved-from table stays usable
    h.GetStartPosition();
    EXPECT_TRUE(h.IsEOF(0));
    h.SetAt("r", &target);
    EXPECT_EQ(h["r"], &target);

    KrArray<KrHash<KrString>> tables;
    tables.SetSize(3);
    tables[1].SetAt("x", "y");
    tables.Add(tables[1]);
    EXPECT_EQ(tables[3]["x"], "y");
}

TEST(KrHashTest, IterationToleratesWildPositions)
{
    KrHash<KrString> h;
    h.SetAt("one", "1");
    h.GetStartPosition();
    KrString key("k"), value("v");
    int pos = 1000;
    h.GetNextAssoc(pos, key, value);
    EXPECT_EQ(key, "k");
    pos = -5;
    h.GetNextAssoc(pos, key, value);
    EXPECT_EQ(key, "one");
}

// Keys chosen so that every one has the same home slot in any table of up to 4096 slots: they
// differ only in their probe steps, so a lookup that walked another path than the insertion
// would lose them.
TEST(KrHashTest, KeysSharingOneHomeSlotAreAllFound)
{
    const auto home = [](const KrString& key)
    {
        const unsigned int h = key.HashVal();
        return (h ^ (h >> 13)) & 0xFFFu;
    };
    std::vector<KrString> inserted, absent;
    for (int i = 0; inserted.size() < 300 || absent.size() < 50; ++i)
    {
        KrString key(("k" + std::to_string(i)).c_str());
        if (home(key) != 0x5A5u) continue;
        (inserted.size() < 300 ? inserted : absent).push_back(key);
    }
    KrHash<KrString> table;
    for (const KrString& key : inserted) table.SetAt(key, key + "=v");
    ASSERT_EQ(table.GetCount(), 300);
    KrString value;
    for (const KrString& key : inserted)
    {
        ASSERT_TRUE(table.Lookup(key, value)) << key.Cstr();
        EXPECT_EQ(value, key + "=v");
    }
    for (const KrString& key : absent) EXPECT_FALSE(table.Lookup(key, value)) << key.Cstr();
    table.SetAt(inserted[150], "again");  // found again on its own path, not added twice
    EXPECT_EQ(table.GetCount(), 300);
    EXPECT_EQ(table[inserted[150]], "again");
}

namespace
{
unsigned int referenceHash(const std::string& bytes)
{
    unsigned int h = 0;
    for (char c : bytes) h = h * 33 ^ static_cast<unsigned int>(static_cast<signed char>(c));
    return h;
}

// An independent model of where keys land: the hash, home and step rules, the growth test
// before each search, and growth re-placing entries in old slot order by their stored keys.
class PlacementModel
{
public:
    void SetAt(const std::string& key)
    {
        if (2 * m_free <= static_cast<int>(m_mask)) grow();
        const unsigned int h = referenceHash(key);
        unsigned int i = (h ^ (h >> 13)) & m_mask;
        const unsigned int step = ((h ^ (h >> 17)) | 1) & m_mask;
        while (m_slots[i] && *m_slots[i] != key) i = (i + step) & m_mask;
        if (m_slots[i]) return;
        m_slots[i] = key.substr(0, key.find('\0'));  // a stored key stops at a zero byte
        --m_free;
    }
    std::vector<std::pair<int, std::string>> Slots() const
    {
        std::vector<std::pair<int, std::string>> out;
        for (size_t i = 0; i < m_slots.size(); ++i)
            if (m_slots[i]) out.emplace_back(static_cast<int>(i), *m_slots[i]);
        return out;
    }

private:
    void grow()
    {
        std::vector<std::optional<std::string>> old(2 * m_slots.size());
        old.swap(m_slots);
        m_mask = 2 * m_mask + 1;
        m_free = static_cast<int>(m_mask) + 1;
        for (const auto& key : old)
        {
            if (!key) continue;
            const unsigned int h = referenceHash(*key);
            unsigned int i = (h ^ (h >> 13)) & m_mask;
            while (m_slots[i]) i = (i + (((h ^ (h >> 17)) | 1) & m_mask)) & m_mask;
            m_slots[i] = *key;
            --m_free;
        }
    }

    std::vector<std::optional<std::string>> m_slots = std::vector<std::optional<std::string>>(2);
    unsigned int m_mask = 1;
    int m_free = 2;
};

std::string randomBytes(std::mt19937& random, size_t length)
{
    std::string out(length, '\0');
    for (char& c : out) c = static_cast<char>(random() % 255 + 1);  // no zero byte
    return out;
}
}  // namespace

TEST(KrHashTest, HashValMatchesAPlainLoopOnEveryByteAndLength)
{
    std::mt19937 random(11);
    for (size_t length = 0; length <= 40; ++length)
    {
        for (int round = 0; round < 20; ++round)
        {
            std::string bytes(length, '\0');
            for (char& c : bytes) c = static_cast<char>(random());  // zeros and high bytes too
            const KrString text(bytes.data(), static_cast<int>(bytes.size()));
            ASSERT_EQ(text.HashVal(), referenceHash(bytes)) << "length " << length;
        }
    }
    std::string all;
    for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
    EXPECT_EQ(KrString(all.data(), 256).HashVal(), referenceHash(all));
    EXPECT_EQ(KrString("\xff").HashVal(), 0xFFFFFFFFu);
    EXPECT_EQ(KrString("").HashVal(), 0u);
}

// Thousands of short, long (heap-held) and high-byte keys: every growth step must place them
// where the model does, and every key must stay findable (the miss filter may not drop one)
// in the table, its copy and the table it was moved into.
TEST(KrHashTest, ManyKeysLandWhereTheModelPutsThemAndStayFindable)
{
    std::mt19937 random(3);
    std::vector<std::string> keys, absent;
    for (int i = 0; i < 6000; ++i)
    {
        const size_t length = i % 7 == 0 ? 20 + random() % 30 : 1 + random() % 14;
        (i % 5 == 4 ? absent : keys).push_back(randomBytes(random, length));
    }
    const std::set<std::string> present(keys.begin(), keys.end());
    absent.erase(std::remove_if(absent.begin(), absent.end(),
                                [&](const std::string& a) { return present.count(a) != 0; }),
                 absent.end());
    // Stored as "cut" but placed by all 8 bytes; growth re-places it by what it stores.
    keys.insert(keys.begin() + 1, std::string("cut\0here", 8));

    KrHash<KrString> table;
    PlacementModel model;
    for (size_t i = 0; i < keys.size(); ++i)
    {
        const KrString key(keys[i].data(), static_cast<int>(keys[i].size()));
        table.SetAt(key, KrString("value of ") + key);
        model.SetAt(keys[i]);
        if ((i & (i + 1)) == 0 || i + 1 == keys.size())  // after every power of two
        {
            std::vector<std::pair<int, std::string>> slots;
            for (const auto& [slot, k, v] : entries(table)) slots.emplace_back(slot, k);
            ASSERT_EQ(slots, model.Slots()) << "after " << i + 1 << " keys";
        }
    }

    KrHash<KrString> copy(table);
    KrHash<KrString> moved(std::move(table));
    for (KrHash<KrString>* h : {&copy, &moved})
    {
        KrString value;
        for (size_t i = 0; i < keys.size(); ++i)
        {
            if (i == 1) continue;  // "cut\0here" is stored as "cut"
            const KrString key(keys[i].data(), static_cast<int>(keys[i].size()));
            ASSERT_TRUE(h->Lookup(key, value)) << i;
            EXPECT_EQ(value, KrString("value of ") + key);
        }
        EXPECT_EQ((*h)["cut"], "value of cut");  // growth re-placed it where "cut" lives
        for (const std::string& a : absent)
            EXPECT_FALSE(h->Lookup(KrString(a.data(), static_cast<int>(a.size())), value));
    }
}
