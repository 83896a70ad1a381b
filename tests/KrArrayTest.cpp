#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
const auto items = [](const auto& a) { return std::vector(a.begin(), a.end()); };

// Walks the list from its head; no position on the way is BOF.
std::vector<int> forward(KrList<int>& list)
{
    std::vector<int> out;
    for (auto pos = list.GetHeadPosition(); !list.IsEOF(pos);)
        out.push_back(list.IsBOF(pos) ? (list.GetNext(pos), -1) : list.GetNext(pos));
    return out;
}

std::vector<int> ring(KrContainer<int>& r)
{
    std::vector<int> out;
    for (int i = 0; i < r.GetSize(); ++i) out.push_back(r[i]);
    return out;
}
}  // namespace

// Appending an array to itself, or a run of its own elements, reads the elements as they were
// before the call even when the storage grows and moves them.
TEST(KrArrayTest, AddAppendAndInsertAtPlaceTheirElements)
{
    KrArray<KrString> a, empty;
    EXPECT_TRUE(a.Add("x") == 0 && a.Add("y") == 1);
    a.FreeExtra();
    EXPECT_EQ((std::vector<int>{a.Append(empty), a.Append(a), a.Append(a)}),
              (std::vector<int>{2, 2, 4}));
    EXPECT_EQ(items(a), (std::vector<KrString>{"x", "y", "x", "y", "x", "y", "x", "y"}));

    KrArray<unsigned short> u;
    const unsigned short raw[] = {1, 2, 3};
    EXPECT_EQ((std::vector<int>{u.Append(raw, 3), u.Append(raw, 0), u.Append(nullptr, 5)}),
              (std::vector<int>{0, 3, 3}));
    u.FreeExtra();
    EXPECT_EQ(u.Append(u.GetData() + 1, 2), 3);
    EXPECT_EQ(items(u), (std::vector<unsigned short>{1, 2, 3, 2, 3}));

    // InsertAt clamps its index.
    // clang-format off
    const struct { int index, count; std::vector<int> expected; } cases[] = {
        {-5, 2, {9, 9, 1, 2}}, {10, 1, {1, 2, 9}}, {1, 0, {1, 2}},
        {1, -3, {1, 2}},       {1, 1, {1, 9, 2}},  {2, 2, {1, 2, 9, 9}}};
    // clang-format on
    for (const auto& c : cases)
    {
        KrArray<int> a;
        a.Add(1);
        a.Add(2);
        a.InsertAt(c.index, 9, c.count);
        EXPECT_EQ(items(a), c.expected) << "InsertAt(" << c.index << ", 9, " << c.count << ")";
    }
}

// Every index but InsertAt's is checked by one thrower, whose text is checked once.
TEST(KrArrayTest, SizeDataAndCheckedIndices)
{
    KrArray<int> a;
    EXPECT_EQ(a.GetData(), nullptr);
    a.SetSize(2);
    const KrArray<int>& constant = a;
    for (int index : {-1, 2, 1000, -2147483647 - 1})
    {
        EXPECT_THROW(a.GetAt(index), std::out_of_range) << index;
        EXPECT_THROW(a.SetAt(index, 0), std::out_of_range) << index;
        EXPECT_THROW(a.ElementAt(index), std::out_of_range) << index;
        EXPECT_THROW(a[index], std::out_of_range) << index;
        EXPECT_THROW(constant[index], std::out_of_range) << index;
    }
    try
    {
        a.GetAt(2);
    }
    catch (const std::out_of_range& e)
    {
        EXPECT_STREQ(e.what(), "invalid vector<T> subscript");
    }
    a[1] = 7;
    a.SetAt(0, 6);
    a.SetSize(4);
    EXPECT_EQ(items(a), (std::vector<int>{6, 7, 0, 0}));
    a.SetSize(-1);
    EXPECT_EQ(a.GetSize(), 0);
    for (int i = 0; i < 100; ++i) a.Add(i);
    a.SetSize(10);
    a.FreeExtra();
    EXPECT_EQ(items(a), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    a.RemoveAll();
    EXPECT_TRUE(a.GetSize() == 0 && a.GetData() == nullptr);

    KrArray<KrString> strings, copy;
    strings.Add("x");
    copy.Add("old");
    copy.Copy(strings);
    strings.SetAt(0, "changed");
    EXPECT_EQ(items(copy), std::vector<KrString>{"x"});  // copies are deep
    copy.Copy(KrArray<KrString>());
    EXPECT_EQ(copy.GetSize(), 0);
}

TEST(KrArrayTest, ListDictionaryAndRing)
{
    KrList<int> list;
    auto pos = list.GetTailPosition();
    EXPECT_TRUE(list.IsEOF(pos) && list.IsBOF(pos) && list.IsEOF(list.GetHeadPosition()));
    list.AddTail(2);
    list.AddTail(3);
    list.AddHead(1);
    EXPECT_EQ(forward(list), (std::vector<int>{1, 2, 3}));
    std::vector<int> backward;
    for (pos = list.GetTailPosition(); !list.IsBOF(pos);) backward.push_back(list.GetPrev(pos));
    EXPECT_EQ(backward, (std::vector<int>{3, 2, 1}));
    EXPECT_TRUE(list.GetAt(pos) == 1 && !list.IsEOF(pos));  // BOF still designates the first

    for (const auto& [index, value] : {std::pair{0, 1}, {-3, 1}, {2, 3}})
        EXPECT_EQ(list.GetAt(list.FindIndex(index)), value) << index;
    EXPECT_TRUE(list.IsEOF(list.FindIndex(list.GetCount())) && list.IsEOF(list.FindIndex(1000)));
    list.InsertBefore(list.FindIndex(1), 9);
    list.InsertBefore(list.FindIndex(99), 10);  // before EOF appends
    list.RemoveAt(list.FindIndex(0));
    EXPECT_EQ(forward(list), (std::vector<int>{9, 2, 3, 10}));
    list.RemoveAll();
    EXPECT_EQ(list.GetCount(), 0);

    KrDict<int, int> dict;
    int value = -7;
    EXPECT_TRUE(!dict.Lookup(3, value) && value == -7);
    dict.SetAt(3, 30);
    dict.SetAt(3, 31);
    EXPECT_TRUE(dict.Lookup(3, value) && value == 31);
    EXPECT_TRUE(dict[5] == 0 && dict.GetCount() == 2);  // inserted
    EXPECT_TRUE(dict.RemoveKey(5) && !dict.RemoveKey(5));
    dict.RemoveAll();
    EXPECT_EQ(dict.GetCount(), 0);

    // The ring keeps the most recent items and survives shrinking and wild indices.
    KrContainer<int> r, zero, s, t;
    r.SetCapacity(3);
    r.Add(1);
    r.Add(2);
    EXPECT_EQ(ring(r), (std::vector<int>{2, 1}));
    r.Add(3);
    r.Add(4);
    EXPECT_EQ(ring(r), (std::vector<int>{4, 3, 2}));
    r.Clear();
    EXPECT_TRUE(r.GetCapacity() == 3 && r.GetSize() == 0);
    r.Add(5);                             // writes slot 0 again
    EXPECT_TRUE(r[0] == 5 && r[2] == 2);  // beyond the size: an old slot, still inside the ring

    EXPECT_TRUE(zero[0] == 0 && zero.GetCapacity() == 1);  // capacity 0 first grows to 1
    s.Add(1);                                              // an empty ring grows to hold the item
    EXPECT_EQ(ring(s), std::vector<int>{1});

    t.SetCapacity(5);
    for (int i = 1; i <= 4; ++i) t.Add(i);
    t.SetCapacity(2);  // write index 4 is now past the ring
    EXPECT_EQ(t.GetSize(), 2);
    t.Add(9);
    EXPECT_EQ(t[0], 9);
    for (int index : {-100, 7, 1000000, -2147483647}) (void)t[index];
}
