#include <gtest/gtest.h>

#include <map>
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
