#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "Base/ZoBase.h"
#include "KrIconvOracle.h"

using namespace KRN;
using KrTest::IconvOracle;

namespace
{
const char kCyrillicUtf8[] = "\xd0\x9c\xd0\xbe\xd1\x81";  // "Mos"
const char kCyrillic1251[] = "\xcc\xee\xf1";

KrString bytesOf(const std::string& s)
{
    return KrString(s.data(), static_cast<int>(s.size()));
}

std::vector<unsigned short> unitsOf(const KrStringUCS2LE& s)
{
    return std::vector<unsigned short>(s.GetChars().begin(), s.GetChars().end());
}
}  // namespace

TEST(KrStringUCS2LETest, UnitsAreLittleEndianAndTerminated)
{
    const KrStringUCS2LE empty;
    EXPECT_EQ(empty.GetLength(), 0);
    EXPECT_EQ(empty.Cstr()[0], 0);

    const KrStringUCS2LE ab(KrString("ab"), KrTextCodec::UTF8_CHARSET);
    EXPECT_EQ(unitsOf(ab), (std::vector<unsigned short>{0x61, 0x62, 0}));
    EXPECT_EQ(ab.GetLength(), 2);
    const KrString back = ab.ToString(KrTextCodec::UTF8_CHARSET);
    EXPECT_EQ(static_cast<const std::string&>(back), "ab");  // the terminator leaves no zero byte

    const auto gb = IconvOracle("GB18030", "UTF-8", "\xe4\xba\xac");  // U+4EAC
    ASSERT_TRUE(gb.has_value());
    const KrStringUCS2LE jing(bytesOf(*gb), KrTextCodec::DEFAULT_CHARSET);  // 1 is GB18030 here
    EXPECT_EQ(unitsOf(jing), (std::vector<unsigned short>{0x4EAC, 0}));
    EXPECT_EQ(jing.ToString(KrTextCodec::UTF8_CHARSET), "\xe4\xba\xac");
    EXPECT_EQ(static_cast<const std::string&>(jing.ToString(KrTextCodec::UCS4BE_CHARSET)),
              std::string("\0\0\x4e\xac", 4));  // trailing zero bytes only are removed
}

TEST(KrStringUCS2LETest, InvalidInputGivesOnlyTheTerminator)
{
    const KrStringUCS2LE bad(KrString("a\xff"), KrTextCodec::UTF8_CHARSET);
    EXPECT_EQ(unitsOf(bad), std::vector<unsigned short>{0});
    EXPECT_TRUE(KrStringUCS2LE(KrString("\xe4\xba\xac"), KrTextCodec::UTF8_CHARSET)
                    .ToString(KrTextCodec::RUSSIAN_CHARSET)
                    .IsEmpty());

    KrStringUCS2LE storage;
    storage.RemoveAll();  // an object without storage
    EXPECT_EQ(storage.GetLength(), -1);
    EXPECT_TRUE(storage.ToString(KrTextCodec::UTF8_CHARSET).IsEmpty());
}

// The process-wide converters are fixed by their first use, so the checks run in a fresh
// process of their own: the first source and the first target charset (CP1251) serve every
// later call, invalid input (0x98 is not a CP1251 byte) gives an empty text, a zero cuts it, and
// trailing zeros are dropped on the way back.
TEST(KrStringUTF8Test, TheFirstCharsetsServeEveryLaterCall)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = []
    {
        const KrStringUTF8 first(KrString(kCyrillic1251), KrTextCodec::RUSSIAN_CHARSET);
        const KrStringUTF8 later(KrString(kCyrillic1251), KrTextCodec::UTF8_CHARSET);
        const KrStringUTF8 cut(bytesOf(std::string("ab\0cd", 5)), KrTextCodec::UTF8_CHARSET);
        bool ok = first == kCyrillicUtf8 && later == kCyrillicUtf8 && first.GetLength() == 6;
        ok =
            ok && KrStringUTF8(KrString("a\x98"), KrTextCodec::UTF8_CHARSET).empty() && cut == "ab";
        KrStringUTF8 utf8;
        utf8.assign(kCyrillicUtf8);
        ok = ok && utf8.ToString(KrTextCodec::RUSSIAN_CHARSET) == kCyrillic1251;
        ok = ok && utf8.ToString(KrTextCodec::UTF8_CHARSET) == kCyrillic1251;
        utf8.assign("xy\0\0", 4);
        return ok &&
               static_cast<const std::string&>(utf8.ToString(KrTextCodec::UTF8_CHARSET)) == "xy";
    };
    EXPECT_EXIT(std::exit(run() ? 0 : 1), testing::ExitedWithCode(0), "");
}
