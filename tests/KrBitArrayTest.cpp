#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
template <class F>
std::string subscriptError(F&& f)
{
    try
    {
        f();
    }
    catch (const std::out_of_range& e)
    {
        return e.what();
    }
    return "no exception";
}
}  // namespace

TEST(KrBitArrayTest, SizeCapacityAndBounds)
{
    KrBitArray bits(33, true);
    EXPECT_EQ(bits.GetCapacity(), 64);
    for (int i = 0; i < 33; ++i) EXPECT_TRUE(bits.GetAt(i));
    for (int index : {-1, 33, 1 << 30})
    {
        EXPECT_EQ(subscriptError([&] { bits.GetAt(index); }), "invalid vector<bool> subscript");
        EXPECT_EQ(subscriptError([&] { bits.SetAt(index, true); }),
                  "invalid vector<bool> subscript");
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
        for (size_t i = 0; i < model.size(); ++i)
            ASSERT_EQ(bits[static_cast<int>(i)], model[i]) << step;
    }
    bits.FreeExtra();
    EXPECT_EQ(bits.GetCapacity(), (bits.GetSize() + 31) / 32 * 32);
}
