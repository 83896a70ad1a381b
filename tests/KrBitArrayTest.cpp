#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

TEST(KrBitArrayTest, SizeCapacityAndBounds)
{
    KrBitArray bits(33, true), empty;
    EXPECT_EQ(bits.GetCapacity(), 64);
    for (int i = 0; i < 33; ++i) EXPECT_TRUE(bits.GetAt(i));
    for (int index : {-1, 33, 1 << 30})
    {
        EXPECT_THROW(bits.GetAt(index), std::out_of_range) << index;
        EXPECT_THROW(bits.SetAt(index, true), std::out_of_range) << index;
    }
    try
    {
        bits.GetAt(33);
    }
    catch (const std::out_of_range& e)
    {
        EXPECT_STREQ(e.what(), "invalid vector<bool> subscript");
    }
    empty.SetCapacity(1);
    const int one = empty.GetCapacity();
    empty.SetCapacity(0);  // never shrinks
    EXPECT_TRUE(one == 32 && empty.GetCapacity() == 32);

    bits.SetSize(5);
    bits.SetSize(40, false);  // bits 5..39 come back clear, not as the old ones
    EXPECT_TRUE(bits[4]);
    for (int i = 5; i < 40; ++i) EXPECT_FALSE(bits[i]) << i;
    bits.RemoveAll();
    EXPECT_TRUE(bits.GetSize() == 0 && bits.GetCapacity() == 0);
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
        const unsigned op = random() % 4;  // Add, InsertAt one, InsertAt a copy, Append itself
        if (op == 0 || op == 3)
            EXPECT_EQ(op == 0 ? bits.Add(value) : bits.Append(bits),
                      static_cast<int>(before.size()));
        else if (op == 1)
            bits.InsertAt(index, value);
        else
            bits.InsertAt(index, KrBitArray(bits));
        const std::vector<bool> added = op < 2 ? std::vector<bool>{value} : before;
        model.insert(op == 0 || op == 3 ? model.end() : model.begin() + at, added.begin(),
                     added.end());
        if (model.size() > 2000) bits.SetSize(100), model.resize(100);
        std::vector<bool> got;
        for (int i = 0; i < bits.GetSize(); ++i) got.push_back(bits[i]);
        ASSERT_EQ(got, model) << step;
    }
    bits.FreeExtra();
    EXPECT_EQ(bits.GetCapacity(), (bits.GetSize() + 31) / 32 * 32);
}
