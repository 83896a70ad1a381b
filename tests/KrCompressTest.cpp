#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// ---------------------------------------------------------------- hash codes

TEST(KrHashCode, ScalarCodes)
{
    EXPECT_EQ(KrHashCode::BoolToHashCode(0), 0);
    EXPECT_EQ(KrHashCode::BoolToHashCode(7), 1);
    EXPECT_EQ(KrHashCode::ByteToHashCode(0xFF), 255);
    EXPECT_EQ(KrHashCode::ShortToHashCode(-1), -1);
    EXPECT_EQ(KrHashCode::ShortToHashCode(1), 0x00010001);
    EXPECT_EQ(KrHashCode::ShortToHashCode(0x1234), 0x12341234);
    EXPECT_EQ(KrHashCode::ShortToHashCode(-2), -2);  // the sign bits swamp the shifted copy
    EXPECT_EQ(KrHashCode::LONGToHashCode(0x123456789ABCDEF0LL), static_cast<int>(0x9ABCDEF0u));
    EXPECT_EQ(KrHashCode::LONGToHashCode(-1), -1);
    EXPECT_EQ(KrHashCode::PointerToHashCode(nullptr), 0);
    EXPECT_EQ(KrHashCode::PointerToHashCode(reinterpret_cast<void*>(std::uintptr_t{0x12345678})),
              0x12345678);
    if (sizeof(void*) == 8)
    {
        EXPECT_EQ(KrHashCode::PointerToHashCode(
                      reinterpret_cast<void*>(static_cast<std::uintptr_t>(0x0000700012345678ULL))),
                  0x12345678 ^ 0x7000);
    }
}

TEST(KrHashCode, FloatingCodesAreBitPatternsAndZeroForBothZeros)
{
    // Patterns written out by hand from the IEEE 754 encodings.
    struct Row
    {
        double value;
        unsigned int floatCode, doubleCode;
    };
    const Row rows[] = {
        {0.0, 0, 0},
        {-0.0, 0, 0},
        {1.0, 0x3F800000u, 0x3FF00000u},
        {-1.5, 0xBFC00000u, 0xBFF80000u},
        {3.14159, 0x40490FD0u, 0xB012A797u},
        {1e30, 0x7149F2CAu, 0x7F89B2B3u},
        {std::numeric_limits<double>::infinity(), 0x7F800000u, 0x7FF00000u},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(KrHashCode::FloatToHashCode(static_cast<float>(row.value)),
                  static_cast<int>(row.floatCode));
        EXPECT_EQ(KrHashCode::DoubleToHashCode(row.value), static_cast<int>(row.doubleCode));
    }
}

// Expected codes from an independent model of the two-accumulator walk (arbitrary-precision
// arithmetic reduced to 32 bits by hand at every step, written in another language).
TEST(KrHashCode, FastStringHashWalksSignedBytesInPairs)
{
    struct Row
    {
        std::string bytes;
        int code;
    };
    const Row rows[] = {
        {"", 757602046},
        {"a", -842352705},
        {"ab", 2101109631},
        {"abc", 842210264},
        {"abcd", 1235493370},
        {"hello world", 999733123},
        {"\xFF\x80\x7F", -2099117183},
        {"\xD6\xD0\xCE\xC4", 1496838664},
        {"The quick brown fox jumps over the lazy dog", 1113475709},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.bytes);
        const KrString text(row.bytes.data(), static_cast<int>(row.bytes.size()));
        EXPECT_EQ(KrHashCode::FastStringToHashCode(text), row.code);
    }
    // Every stored byte counts, zero bytes included.
    EXPECT_NE(KrHashCode::FastStringToHashCode(KrString("a\0b", 3)),
              KrHashCode::FastStringToHashCode(KrString("a")));
}

TEST(KrHashCode, StringHashWalksUtf16WordsOfTheText)
{
    struct Row
    {
        const char* utf8;
        int code;
    };
    const Row rows[] = {
        {"", 757602046},
        {"a", -842352705},
        {"ab", -840386625},
        {"abc", 536991770},
        {"abcd", 1594742810},
        {"abcde", 398757997},
        {"hello world", -1660775320},
        {"\xE4\xB8\xAD\xE6\x96\x87\xE5\xAD\x97\xE7\xAC\xA6", 681611322},
        {"\xC3\x9Cn\xC3\xAF\x63\xC3\xB6\x64\xC3\xA9 \xE2\x82\xAC", -1543245429},
        {"The quick brown fox jumps over the lazy dog", 1766444897},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.utf8);
        KrString text(row.utf8);
        text.SetCharset(KrTextCodec::UTF8_CHARSET);
        EXPECT_EQ(KrHashCode::StringToHashCode(text), row.code);
    }
    // The code depends on the characters, not on the charset the bytes are in.
    KrString gb("\xD6\xD0\xCE\xC4\xD7\xD6\xB7\xFB");
    gb.SetCharset(KrTextCodec::GB2312_CHARSET);
    EXPECT_EQ(KrHashCode::StringToHashCode(gb), 681611322);
}

}  // namespace
