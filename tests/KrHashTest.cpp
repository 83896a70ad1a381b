#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <stdexcept>
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

// Reference model of the probe sequence: where key lands in a table of mask + 1 slots.
unsigned int homeSlot(const KrString& key, unsigned int mask)
{
    const unsigned int h = key.HashVal();
    return (h ^ (h >> 13)) & mask;
}

template <class F>
std::string subscriptError(F&& f)
{
    try { f(); } catch (const std::out_of_range& e) { return e.what(); }
    return "no exception";
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

TEST(KrHashTest, SmallTablePlacesKeysByTheProbeSequence)
{
    // With 4 slots, a key whose home slot is free lands exactly there.
    KrHash<KrString> h;
    h.SetAt("alpha", "1");
    h.SetAt("beta", "2");
    h.SetAt("gamma", "3");  // now 4 slots: alpha and beta were re-placed, gamma probed in
    const auto listed = entries(h);
    const Entry alpha(static_cast<int>(homeSlot("alpha", 3)), "alpha", "1");
    EXPECT_NE(std::find(listed.begin(), listed.end(), alpha), listed.end());
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

TEST(KrBitArrayTest, SizeCapacityAndBounds)
{
    KrBitArray bits(33, true);
    EXPECT_EQ(bits.GetCapacity(), 64);
    for (int i = 0; i < 33; ++i) EXPECT_TRUE(bits.GetAt(i));
    for (int index : {-1, 33, 1 << 30})
    {
        EXPECT_EQ(subscriptError([&] { bits.GetAt(index); }), "invalid vector<bool> subscript");
        EXPECT_EQ(subscriptError([&] { bits.SetAt(index, true); }), "invalid vector<bool> subscript");
    }

    KrBitArray empty;
    empty.SetCapacity(1);
    EXPECT_EQ(empty.GetCapacity(), 32);
    empty.SetCapacity(0);
    EXPECT_EQ(empty.GetCapacity(), 32);  // never shrinks

    bits.SetSize(5);
    bits.SetSize(40, false);  // bits 5..39 come back clear, not as the old ones
    EXPECT_TRUE(bits[4]);
    for (int i = 5; i < 40; ++i) EXPECT_FALSE(bits[i]) << i;
    bits.RemoveAll();
    EXPECT_EQ(bits.GetSize(), 0);
    EXPECT_EQ(bits.GetCapacity(), 0);
}

TEST(KrBitArrayTest, InsertAppendAgainstAVectorOfBool)
{
    std::mt19937 random(11);
    KrBitArray bits;
    std::vector<bool> model;
    for (int step = 0; step < 400; ++step)
    {
        const bool value = random() & 1;
        const int index = static_cast<int>(random() % 80) - 10;
        const int at = std::clamp(index, 0, static_cast<int>(model.size()));
        const std::vector<bool> before = model;  // a range inserted from a copy, never from itself
        switch (random() % 4)
        {
            case 0:
                EXPECT_EQ(bits.Add(value), static_cast<int>(model.size()));
                model.push_back(value);
                break;
            case 1:
                bits.InsertAt(index, value);
                model.insert(model.begin() + at, value);
                break;
            case 2:
                bits.InsertAt(index, KrBitArray(bits));
                model.insert(model.begin() + at, before.begin(), before.end());
                break;
            default:
                EXPECT_EQ(bits.Append(bits), static_cast<int>(model.size()));
                model.insert(model.end(), before.begin(), before.end());
        }
        if (model.size() > 2000)
        {
            bits.SetSize(100);
            model.resize(100);
        }
        ASSERT_EQ(bits.GetSize(), static_cast<int>(model.size()));
        for (size_t i = 0; i < model.size(); ++i) ASSERT_EQ(bits[static_cast<int>(i)], model[i]) << step;
    }
    bits.FreeExtra();
    EXPECT_EQ(bits.GetCapacity(), (bits.GetSize() + 31) / 32 * 32);
}
