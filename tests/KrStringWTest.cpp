#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Base/ZoBase.h"
#include "KrIconvOracle.h"
#include "ScopedEnvironment.h"

using namespace KRN;
using KrTest::IconvOracle;

namespace
{
const char kChineseUtf8[] = "\xe5\x8c\x97\xe4\xba\xac";  // Beijing

std::u16string units(const KrStringW& s) { return s; }

// The host-order UTF-16 units that iconv gives for UTF-8 text.
std::u16string oracleUnits(const std::string& utf8)
{
    const auto bytes = IconvOracle("UTF-16LE", "UTF-8", utf8);
    std::u16string out;
    for (size_t i = 0; bytes && i + 1 < bytes->size(); i += 2)
        out += static_cast<char16_t>(static_cast<unsigned char>((*bytes)[i]) |
                                     static_cast<unsigned char>((*bytes)[i + 1]) << 8);
    return out;
}

KrString bytesOf(const std::string& s) { return KrString(s.data(), static_cast<int>(s.size())); }

struct IntCase { int got, want; };
}  // namespace

TEST(KrStringWTest, SubstringsFollowTheirOwnRules)
{
    const KrStringW abc(u"abc");
    const struct { KrStringW result; const char16_t* expected; } cases[] = {
        {abc.Right(3), u""},  // at or past the length: empty, unlike the narrow Right
        {abc.Right(5), u""},       {abc.Right(2), u"bc"},      {abc.Right(0), u""},
        {abc.Right(-1), u"abc"},   {abc.Left(5), u"abc"},      {abc.Left(-1), u""},
        {abc.Left(0), u""},        {abc.Left(2), u"ab"},       {abc.Mid(-3), u"abc"},
        {abc.Mid(3), u""},         {abc.Mid(1), u"bc"},        {abc.Mid(-3, 2), u"ab"},
        {abc.Mid(1, -1), u""},     {abc.Mid(1, 9), u"bc"},     {abc.Mid(3, 1), u""},
        {abc.SpanIncluding(u"ba"), u"ab"}, {abc.SpanExcluding(u"c"), u"ab"},
        {abc.SpanExcluding(u"x"), u"abc"}, {abc.SpanIncluding(nullptr), u""},
    };
    for (const auto& c : cases) EXPECT_EQ(units(c.result), c.expected);
}

TEST(KrStringWTest, CompareNoCaseIsALexicographicOrder)
{
    const struct { const char16_t *a, *b; int sign; } cases[] = {
        {u"ABD", u"abc", 1}, {u"ABC", u"abc", 0},
        {u"abc", u"ABCD", -1},  // not a length difference
        {u"b", u"ABCD", 1},  {u"a", nullptr, 1},
    };
    for (const auto& c : cases)
    {
        const int result = KrStringW(c.a).CompareNoCase(c.b);
        EXPECT_EQ((result > 0) - (result < 0), c.sign) << static_cast<int>(c.a[0]);
    }
    EXPECT_NE(KrStringW(u"\u00c4").CompareNoCase(u"\u00e4"), 0);  // only ASCII letters fold
}

TEST(KrStringWTest, CaseAndInversion)
{
    KrStringW s(u"aZ\u00e4\u4eac1");
    s.MakeUpper();
    EXPECT_EQ(units(s), u"AZ\u00e4\u4eac1");
    s.MakeLower();
    EXPECT_EQ(units(s), u"az\u00e4\u4eac1");
    s = KrStringW(u"abc");
    s.MakeInverse();
    EXPECT_EQ(units(s), u"cba");
}

TEST(KrStringWTest, SplitAppendsPiecesOnASetOfUnits)
{
    KrArray<KrStringW> out;
    out.Add(KrStringW(u"x"));
    EXPECT_EQ(KrStringW(u" a  b ").Split(out, KrStringW(u" ")), 2);
    EXPECT_EQ(KrStringW(u"a,;b;").Split(out, KrStringW(u";,")), 2);
    EXPECT_EQ(KrStringW(u";;").Split(out, KrStringW(u";")), 0);
    std::vector<std::u16string> all;
    for (const KrStringW& piece : out) all.push_back(units(piece));
    EXPECT_EQ(all, (std::vector<std::u16string>{u"x", u"a", u"b", u"a", u"b"}));
}

TEST(KrStringWTest, SharedVocabularyBehavesAsTheNarrowString)
{
    KrStringW s(u"  a-b-c\t");
    s.TrimLeft().TrimRight();
    EXPECT_EQ(units(s), u"a-b-c");
    // Braced lists evaluate in order: each row sees the edits of the rows before it.
    const IntCase edits[] = {
        {s.Replace(u"-", u"--"), 2}, {s.Replace(u'-', u'+'), 4}, {s.Replace(nullptr, u"x"), 0},
        {s.Remove(u'+'), 4},         {s.Insert(-5, u"<"), 4},     {s.Insert(99, u'>', 2), 6},
    };
    for (const IntCase& c : edits) EXPECT_EQ(c.got, c.want);
    EXPECT_EQ(units(s), u"<abc>>");
    const IntCase searches[] = {
        {s.Delete(-1, 1), 5}, {s.Find(u'>'), 3},       {s.Find(u">", 4), 4},
        {s.Find(u"z"), -1},   {s.FindOneOf(u"cb"), 1}, {s.ReverseFind(u'>'), 4},
        {KrStringW(nullptr).GetLength(), 0}, {KrStringW(u"abc", -1).GetLength(), 0},
    };
    for (const IntCase& c : searches) EXPECT_EQ(c.got, c.want);
    EXPECT_EQ(units(s.TrimRight(u'>').TrimLeft(u"ab")), u"c");
    EXPECT_EQ(units(KrStringW(u"abc", 2)), u"ab");

    KrStringW indexed(u"ab");
    indexed.SetAt(1, u'z');
    EXPECT_EQ(indexed.GetAt(1), u'z');
    EXPECT_THROW(indexed.GetAt(2), std::out_of_range);
    EXPECT_THROW(indexed.SetAt(-1, u'x'), std::out_of_range);
}

TEST(KrStringWTest, ConversionsMatchIconv)
{
    const auto gb = IconvOracle("GB18030", "UTF-8", kChineseUtf8);
    ASSERT_TRUE(gb.has_value());
    KrStringW wide;
    wide.FromString(bytesOf(*gb), KrTextCodec::GB2312_CHARSET);
    EXPECT_EQ(units(wide), oracleUnits(kChineseUtf8));

    const KrString utf8 = wide.ToString(KrTextCodec::UTF8_CHARSET);
    EXPECT_EQ(utf8, kChineseUtf8);
    EXPECT_EQ(utf8.GetCharset(), KrTextCodec::DEFAULT_CHARSET);  // not tagged with the target

    EXPECT_EQ(units(KrStringW(KrString("abc"))), u"abc");

    wide.FromString(KrString("a\xff"), KrTextCodec::UTF8_CHARSET);
    EXPECT_TRUE(wide.IsEmpty());
    wide.FromString(bytesOf(std::string("a\0b", 3)), KrTextCodec::UTF8_CHARSET);
    EXPECT_EQ(units(wide), u"a");  // read up to the first zero unit
    EXPECT_TRUE(KrStringW(u"\u4eac").ToString(KrTextCodec::RUSSIAN_CHARSET).IsEmpty());
}

TEST(KrStringWTest, CharsetOneMeansTheSystemCharset)
{
    const ScopedEnvironment greek("LC_ALL", "el_GR.CP1253");
    KrStringW alpha;
    alpha.FromString(KrString("\xc1"), KrTextCodec::DEFAULT_CHARSET);  // capital alpha in Greek
    EXPECT_EQ(units(alpha), u"\u0391");
    EXPECT_EQ(alpha.ToString(KrTextCodec::DEFAULT_CHARSET), "\xc1");
    // The UCS-2LE form does not substitute: there 1 stays GB18030.
    const KrStringUCS2LE ucs2(KrString("\xc1"), KrTextCodec::DEFAULT_CHARSET);
    EXPECT_EQ(ucs2.GetLength(), 0);
}
