#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

// The first-use converters of KrStringUTF8 are tested in KrTextCodecThreadTest.cpp, a program
// in which nothing else uses them.

TEST(KrStringUCS2LETest, UnitsAreLittleEndianAndTerminatedAndEmptyOnFailure)
{
    const auto utf8 = KrTextCodec::UTF8_CHARSET;
    const KrStringUCS2LE empty, ab(KrString("ab"), utf8), bad(KrString("a\xff"), utf8),
        jing(KrString("\xe4\xba\xac"), utf8);  // U+4EAC
    KrStringUCS2LE storage;
    storage.RemoveAll();  // an object without storage
    using Units = std::vector<unsigned short>;
    const std::pair<const KrStringUCS2LE*, Units> cases[] = {
        {&empty, {0}}, {&ab, {0x61, 0x62, 0}}, {&bad, {0}}, {&jing, {0x4EAC, 0}}, {&storage, {}}};
    for (const auto& [text, units] : cases)
    {
        EXPECT_EQ(Units(text->Cstr(), text->Cstr() + text->GetSize()), units);
        EXPECT_EQ(text->GetLength(), static_cast<int>(units.size()) - 1);
    }
    // Back: the terminator leaves no zero byte, but only trailing zero bytes are removed.
    const std::pair<std::string, std::string> back[] = {
        {ab.ToString(utf8), "ab"},
        {jing.ToString(utf8), "\xe4\xba\xac"},
        {jing.ToString(KrTextCodec::UCS4BE_CHARSET), std::string("\0\0\x4e\xac", 4)},
        {KrStringUCS2LE(KrString("\xe4\xba\xac"), utf8).ToString(KrTextCodec::RUSSIAN_CHARSET), ""},
        {storage.ToString(utf8), ""}};
    for (const auto& [got, want] : back) EXPECT_EQ(got, want);
}
