#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"
#include "KrIconvOracle.h"
#include "ScopedEnvironment.h"

using namespace KRN;

TEST(KrStringWTest, SubstringsCaseAndComparisonFollowTheirOwnRules)
{
    const KrStringW abc(u"abc");
    KrStringW s(u"aZ\u00e4\u4eac1");
    // Right at or past the length is empty, unlike the narrow Right.
    // clang-format off
    const std::pair<KrStringW, const char16_t*> cases[] = {
        {abc.Right(3), u""},     {abc.Right(5), u""},   {abc.Right(2), u"bc"}, {abc.Right(0), u""},
        {abc.Right(-1), u"abc"}, {abc.Left(5), u"abc"}, {abc.Left(-1), u""},   {abc.Left(0), u""},
        {abc.Left(2), u"ab"},    {abc.Mid(-3), u"abc"}, {abc.Mid(3), u""},     {abc.Mid(1), u"bc"},
        {abc.Mid(-3, 2), u"ab"}, {abc.Mid(1, -1), u""}, {abc.Mid(1, 9), u"bc"}, {abc.Mid(3, 1), u""},
        {abc.SpanIncluding(u"ba"), u"ab"},  {abc.SpanExcluding(u"c"), u"ab"},
        {abc.SpanExcluding(u"x"), u"abc"},  {abc.SpanIncluding(nullptr), u""},
        {(s.MakeUpper(), s), u"AZ\u00e4\u4eac1"}, {(s.MakeLower(), s), u"az\u00e4\u4eac1"},
        {(s.MakeInverse(), s), u"1\u4eac\u00e4za"}};
    // A lexicographic order, not a length difference; only ASCII letters fold.
    const std::tuple<const char16_t*, const char16_t*, int> orders[] = {
        {u"ABD", u"abc", 1}, {u"ABC", u"abc", 0}, {u"abc", u"ABCD", -1},
        {u"b", u"ABCD", 1},  {u"a", nullptr, 1},  {u"\u00c4", u"\u00e4", -1}};
    // clang-format on
    for (const auto& [result, expected] : cases) EXPECT_EQ(result, expected);
    const auto signOf = [](int result) { return (result > 0) - (result < 0); };
    for (const auto& [a, b, sign] : orders)
        EXPECT_EQ(signOf(KrStringW(a).CompareNoCase(b)), sign) << static_cast<int>(a[0]);
}

TEST(KrStringWTest, SharedVocabularyBehavesAsTheNarrowString)
{
    KrStringW s(u"  a-b-c\t"), indexed(u"ab");
    KrArray<KrStringW> out;
    out.Add(KrStringW(u"x"));
    EXPECT_EQ(s.TrimLeft().TrimRight(), u"a-b-c");
    // Braced lists evaluate in order: each row sees the edits of the rows before it. Split
    // appends to out the non-empty pieces cut at any unit of the set.
    // clang-format off
    const std::pair<int, int> rows[] = {
        {s.Replace(u"-", u"--"), 2}, {s.Replace(u'-', u'+'), 4}, {s.Replace(nullptr, u"x"), 0},
        {s.Remove(u'+'), 4},         {s.Insert(-5, u"<"), 4},    {s.Insert(99, u'>', 2), 6},
        {s == u"<abc>>", 1},     {s.Delete(-1, 1), 5},   {s.Find(u'>'), 3},        {s.Find(u">", 4), 4},
        {s.Find(u"z"), -1},     {s.FindOneOf(u"cb"), 1},  {s.ReverseFind(u'>'), 4},
        {KrStringW(nullptr).GetLength(), 0},              {KrStringW(u"abc", -1).GetLength(), 0},
        {(indexed.SetAt(1, u'z'), indexed.GetAt(1)), u'z'}, {KrStringW(u" a  b ").Split(out, u" "), 2},
        {KrStringW(u"a,;b;").Split(out, u";,"), 2}, {KrStringW(u";;").Split(out, u";"), 0}};
    // clang-format on
    for (const auto& [got, want] : rows) EXPECT_EQ(got, want);
    EXPECT_EQ(s.TrimRight(u'>').TrimLeft(u"ab"), u"c");
    EXPECT_EQ(KrStringW(u"abc", 2), u"ab");

    EXPECT_THROW(indexed.GetAt(2), std::out_of_range);
    EXPECT_THROW(indexed.SetAt(-1, u'x'), std::out_of_range);

    EXPECT_EQ(std::vector<std::u16string>(out.begin(), out.end()),
              (std::vector<std::u16string>{u"x", u"a", u"b", u"a", u"b"}));
}

TEST(KrStringWTest, ConversionsMatchIconvAndCharsetOneMeansTheSystemCharset)
{
    const char utf8[] = "\xe5\x8c\x97\xe4\xba\xac";  // Beijing
    const std::string gb = *KrTest::IconvOracle("GB18030", "UTF-8", utf8);
    const std::string units = *KrTest::IconvOracle("UTF-16LE", "UTF-8", utf8);
    KrStringW wide;
    wide.FromString(KrString(gb), KrTextCodec::GB2312_CHARSET);
    std::string littleEndian;
    for (char16_t unit : wide) littleEndian += {char(unit & 0xff), char(unit >> 8)};
    EXPECT_EQ(littleEndian, units);
    const KrString back = wide.ToString(KrTextCodec::UTF8_CHARSET);
    EXPECT_EQ(back, utf8);
    EXPECT_EQ(back.GetCharset(), KrTextCodec::DEFAULT_CHARSET);  // not tagged with the target

    EXPECT_EQ(KrStringW(KrString("abc")), u"abc");
    wide.FromString(KrString("a\xff"), KrTextCodec::UTF8_CHARSET);
    EXPECT_TRUE(wide.IsEmpty());
    wide.FromString(KrString(std::string("a\0b", 3)), KrTextCodec::UTF8_CHARSET);
    EXPECT_EQ(wide, u"a");  // read up to the first zero unit
    EXPECT_TRUE(KrStringW(u"\u4eac").ToString(KrTextCodec::RUSSIAN_CHARSET).IsEmpty());

    const ScopedEnvironment greek("LC_ALL", "el_GR.CP1253");
    KrStringW alpha;
    alpha.FromString(KrString("\xc1"), KrTextCodec::DEFAULT_CHARSET);  // capital alpha in Greek
    EXPECT_EQ(alpha, u"\u0391");
    EXPECT_EQ(alpha.ToString(KrTextCodec::DEFAULT_CHARSET), "\xc1");
    // The UCS-2LE form does not substitute: there 1 stays GB18030.
    const KrStringUCS2LE ucs2(KrString("\xc1"), KrTextCodec::DEFAULT_CHARSET);
    EXPECT_EQ(ucs2.GetLength(), 0);
}
