#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
template <class T>
std::vector<T> items(const KrArray<T>& a)
{
    return std::vector<T>(a.begin(), a.end());
}

// Walks the list from its head; no position on the way is BOF.
std::vector<int> forward(KrList<int>& list)
{
    std::vector<int> out;
    for (auto pos = list.GetHeadPosition(); !list.IsEOF(pos);)
    {
        EXPECT_FALSE(list.IsBOF(pos));
        out.push_back(list.GetNext(pos));
    }
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
TEST(KrArrayTest, AddAndAppendReturnTheFirstNewIndexAndCopyTheirOwnElementsFirst)
{
    KrArray<KrString> a, empty;
    EXPECT_TRUE(a.Add("x") == 0 && a.Add("y") == 1);
    a.FreeExtra();
    EXPECT_EQ(a.Append(empty), 2);
    EXPECT_EQ(a.Append(a), 2);
    EXPECT_EQ(a.Append(a), 4);
    EXPECT_EQ(items(a), (std::vector<KrString>{"x", "y", "x", "y", "x", "y", "x", "y"}));

    KrArray<unsigned short> u;
    const unsigned short raw[] = {1, 2, 3};
    EXPECT_EQ(u.Append(raw, 3), 0);
    EXPECT_TRUE(u.Append(raw, 0) == 3 && u.Append(nullptr, 5) == 3);
    u.FreeExtra();
    EXPECT_EQ(u.Append(u.GetData() + 1, 2), 3);
    EXPECT_EQ(items(u), (std::vector<unsigned short>{1, 2, 3, 2, 3}));
}

TEST(KrArrayTest, InsertAtClampsTheIndex)
{
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

TEST(KrArrayTest, OutOfRangeIndexRaisesTheSubscriptException)
{
    KrArray<int> a;
    a.SetSize(2);
    const KrArray<int>& constant = a;
    const std::function<void(int)> accesses[] = {
        [&](int i) { a.GetAt(i); }, [&](int i) { a.SetAt(i, 0); }, [&](int i) { a.ElementAt(i); },
        [&](int i) { a[i]; }, [&](int i) { constant[i]; }};
    for (int index : {-1, 2, 1000, -2147483647 - 1})
        for (const auto& access : accesses)
        {
            std::string message = "no exception";
            try
            {
                access(index);
            }
            catch (const std::out_of_range& e)
            {
                message = e.what();
            }
            EXPECT_EQ(message, "invalid vector<T> subscript") << index;
        }
    a[1] = 7;
    a.SetAt(0, 6);
    EXPECT_EQ(items(a), (std::vector<int>{6, 7}));
}

TEST(KrArrayTest, SizeCapacityAndData)
{
    KrArray<int> a;
    EXPECT_EQ(a.GetData(), nullptr);
    a.SetSize(4);
    EXPECT_EQ(items(a), (std::vector<int>{0, 0, 0, 0}));
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

TEST(KrArrayTest, ListWalksForwardAndBackward)
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
    EXPECT_EQ(list.GetAt(pos), 1);  // BOF still designates the first element
    EXPECT_FALSE(list.IsEOF(pos));

    for (const auto& [index, value] : {std::pair{0, 1}, {-3, 1}, {2, 3}})
        EXPECT_EQ(list.GetAt(list.FindIndex(index)), value) << index;
    EXPECT_TRUE(list.IsEOF(list.FindIndex(list.GetCount())) && list.IsEOF(list.FindIndex(1000)));
    list.InsertBefore(list.FindIndex(1), 9);
    list.InsertBefore(list.FindIndex(99), 10);  // before EOF appends
    list.RemoveAt(list.FindIndex(0));
    EXPECT_EQ(forward(list), (std::vector<int>{9, 2, 3, 10}));
    list.RemoveAll();
    EXPECT_EQ(list.GetCount(), 0);
}

TEST(KrArrayTest, DictionaryLookupInsertAndRemove)
{
    KrDict<int, int> dict;
    int value = -7;
    EXPECT_FALSE(dict.Lookup(3, value));
    EXPECT_EQ(value, -7);
    dict.SetAt(3, 30);
    dict.SetAt(3, 31);
    EXPECT_TRUE(dict.Lookup(3, value) && value == 31);
    EXPECT_EQ(dict[5], 0);  // inserted
    EXPECT_EQ(dict.GetCount(), 2);
    EXPECT_TRUE(dict.RemoveKey(5) && !dict.RemoveKey(5));
    dict.RemoveAll();
    EXPECT_EQ(dict.GetCount(), 0);
}

TEST(KrArrayTest, RingKeepsTheMostRecentItemsAndSurvivesShrinkingAndWildIndices)
{
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
    r.Add(5);  // writes slot 0 again
    EXPECT_EQ(r[0], 5);
    EXPECT_EQ(r[2], 2);  // beyond the size: an old slot, still inside the ring

    EXPECT_EQ(zero[0], 0);  // capacity 0 first grows to 1
    EXPECT_EQ(zero.GetCapacity(), 1);
    s.Add(1);  // an empty ring grows to hold the item
    EXPECT_EQ(ring(s), std::vector<int>{1});

    t.SetCapacity(5);
    for (int i = 1; i <= 4; ++i) t.Add(i);
    t.SetCapacity(2);  // write index 4 is now past the ring
    EXPECT_EQ(t.GetSize(), 2);
    t.Add(9);
    EXPECT_EQ(t[0], 9);
    for (int index : {-100, 7, 1000000, -2147483647}) (void)t[index];
}
