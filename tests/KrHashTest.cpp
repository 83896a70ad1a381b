#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
// Slot and key of every entry, in iteration order.
using Slots = std::vector<std::pair<int, std::string>>;
Slots slots(KrHash<KrString>& h)
{
    Slots out;
    KrString key, value;
    for (int pos = h.GetStartPosition(); !h.IsEOF(pos);)  // the key is copied after the step
        out.emplace_back((h.GetNextAssoc(pos, key, value), pos - 1), key);
    return out;
}
const auto bytes = [](const std::string& s)
{ return KrString(s.data(), static_cast<int>(s.size())); };
}  // namespace

// Empty keys are never stored; others are case-sensitive; overwriting and operator[] never
// insert. A moved-from table stays usable, and wild positions are clamped.
TEST(KrHashTest, KeysValuesMovesAndWildPositions)
{
    KrHash<KrString> h;
    h.SetAt("", "x");
    KrString value("untouched");
    EXPECT_TRUE(h.Lookup("", value) == 0 && value == "untouched");
    EXPECT_TRUE(h.GetCount() == 0 && h.GetStartPosition() == 0 && h.IsEOF(0));
    h.SetAt("A", "upper");
    h.SetAt("a", "lower");
    h.SetAt("A", "again");
    EXPECT_TRUE(h["A"] == "again" && h["a"] == "lower" && h["missing"] == "");
    EXPECT_TRUE(h.GetCount() == 2 && slots(h).size() == 2u);

    KrHash<void*> p;
    int target = 0;
    void* found = nullptr;
    p.SetAt("p", &target);
    KrHash<void*> moved(std::move(p));
    EXPECT_TRUE(moved["p"] == &target && moved["q"] == nullptr);
    // NOLINTNEXTLINE: a moved-from table stays usable
    EXPECT_TRUE(p.Lookup("p", found) == 0 && p.IsEOF(p.GetStartPosition()));
    p.SetAt("r", &target);
    EXPECT_EQ(p["r"], &target);

    KrArray<KrHash<KrString>> tables;
    tables.SetSize(3);
    tables[1].SetAt("x", "y");
    tables.Add(tables[1]);
    EXPECT_EQ(tables[3]["x"], "y");
    KrString key("k");
    tables[1].GetStartPosition();
    for (auto [pos, expected] : {std::pair{1000, "k"}, {-5, "x"}})
    {
        tables[1].GetNextAssoc(pos, key, value);
        EXPECT_EQ(key, expected);
    }
}

// Slots worked out by hand from the hash and probe rules. "a", "e" and "i" all have home slot
// 1 of 4; the growth to 4 slots re-places "e" (probed into slot 0 of 2) first. Of the longer
// keys, "abc" and "settings" land where only the shifted hash sends them, and "\xe4\xb8\xad"
// (sign-extended bytes) collides with "abc" and steps on by 15.
TEST(KrHashTest, KeysLandInTheSlotsTheHashAndProbeRulesGive)
{
    // clang-format off
    const std::pair<std::vector<const char*>, Slots> cases[] = {
        {{"a", "e", "i"}, {{1, "e"}, {2, "a"}, {3, "i"}}},
        {{"a", "e", "i", "abc", "settings", "LogFileLocation", "\xe4\xb8\xad"},
         {{0, "settings"}, {1, "a"}, {5, "e"}, {8, "LogFileLocation"}, {9, "i"},
          {12, "\xe4\xb8\xad"}, {13, "abc"}}}};
    // clang-format on
    for (const auto& [keys, expected] : cases)
    {
        KrHash<KrString> h, assigned;
        for (const char* key : keys) h.SetAt(key, "v");
        KrHash<KrString> copy(h);
        assigned.SetAt("stale", "x");
        assigned.Copy(h);
        for (KrHash<KrString>* t : {&h, &copy, &assigned})
            EXPECT_EQ(slots(*t), expected) << keys.size() << " keys";
    }
    // The unrolled hash against the plain loop, at every length around the unrolling.
    std::mt19937 random(11);
    for (size_t n = 0; n < 41 * 20; ++n)
    {
        std::string s(n / 20, '\0');
        unsigned int h = 0;
        for (char& c : s) c = static_cast<char>(random());  // zeros and high bytes too
        for (char c : s) h = h * 33 ^ static_cast<unsigned int>(static_cast<signed char>(c));
        ASSERT_EQ(bytes(s).HashVal(), h) << "length " << s.size();
    }
}

// Keys sharing one home slot in any table of up to 4096 slots differ only in their probe
// steps; thousands of random short, long and high-byte keys cross every growth and the miss
// filter. Each must stay findable in the table, its copy and the table it was moved into, and
// no absent key may be found.
TEST(KrHashTest, ManyKeysStayFindableThroughGrowthCopiesAndMoves)
{
    std::mt19937 random(3);
    std::vector<std::string> keys, absent;
    for (int i = 0; keys.size() < 300 || absent.size() < 50; ++i)
        if (const unsigned int h = bytes("k" + std::to_string(i)).HashVal();
            ((h ^ (h >> 13)) & 0xFFFu) == 0x5A5u)
            (keys.size() < 300 ? keys : absent).push_back("k" + std::to_string(i));
    for (int i = 0; i < 6000; ++i)
    {
        std::string key(i % 7 == 0 ? 20 + random() % 30 : 1 + random() % 14, '\0');
        for (char& c : key) c = static_cast<char>(random() % 255 + 1);  // no zero byte
        (i % 5 == 4 ? absent : keys).push_back(key);
    }
    const std::set<std::string> present(keys.begin(), keys.end());
    keys.insert(keys.begin() + 1,
                std::string("cut\0here", 8));  // stored as "cut", placed by 8 bytes

    KrHash<KrString> table;
    for (const std::string& key : keys) table.SetAt(bytes(key), KrString("value of ") + bytes(key));
    table.SetAt(bytes(keys[150]), "again");  // found on its own path, not added twice
    EXPECT_EQ(table.GetCount(), static_cast<int>(present.size()) + 1);
    KrHash<KrString> copy(table), moved(std::move(table));
    for (KrHash<KrString>* h : {&copy, &moved})
    {
        KrString value;
        for (size_t i = 0; i < keys.size(); ++i)  // the cut key is checked as "cut"
            EXPECT_TRUE(i == 1 || (h->Lookup(bytes(keys[i]), value) &&
                                   value == (i == 150 ? "again" : "value of " + bytes(keys[i]))))
                << i;
        EXPECT_EQ((*h)["cut"], "value of cut");  // growth re-placed it where "cut" lives
        for (const std::string& a : absent)
            EXPECT_TRUE(present.count(a) != 0 || !h->Lookup(bytes(a), value)) << a;
    }
}
