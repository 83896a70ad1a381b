#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "Base/ZoBase.h"
#include "KrIconvOracle.h"

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

class ScopedLcAll
{
public:
    explicit ScopedLcAll(const char* value)
    {
        const char* old = std::getenv("LC_ALL");
        m_hadOld = old != nullptr;
        if (m_hadOld) m_old = old;
        setenv("LC_ALL", value, 1);
    }
    ~ScopedLcAll()
    {
        if (m_hadOld)
            setenv("LC_ALL", m_old.c_str(), 1);
        else
            unsetenv("LC_ALL");
    }

private:
    bool m_hadOld = false;
    std::string m_old;
};
}  // namespace

TEST(KrStringWTest, SubstringsFollowTheirOwnRules)
{
    const KrStringW abc(u"abc");
    const struct
    {
        KrStringW result;
        const char16_t* expected;
    } cases[] = {
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
    EXPECT_GT(KrStringW(u"ABD").CompareNoCase(u"abc"), 0);
    EXPECT_EQ(KrStringW(u"ABC").CompareNoCase(u"abc"), 0);
    EXPECT_LT(KrStringW(u"abc").CompareNoCase(u"ABCD"), 0);  // not a length difference
    EXPECT_GT(KrStringW(u"b").CompareNoCase(u"ABCD"), 0);
    EXPECT_GT(KrStringW(u"a").CompareNoCase(nullptr), 0);
    EXPECT_NE(KrStringW(u"\u00c4").CompareNoCase(u"\u00e4"), 0);  // only ASCII letters fold
}

TEST(KrStringWTest, CaseAndInversion)
{
    KrStringW s(u"aZ\u00e4\u4eac1");
    s.MakeUpper();
    EXPECT_EQ(units(s), u"AZ\u00e4\u4eac1");
    s.MakeLower();
    EXPECT_EQ(units(s), u"az\u00e4\u4eac1");
    KrStringW inverse(u"abc");
    inverse.MakeInverse();
    EXPECT_EQ(units(inverse), u"cba");
}

TEST(KrStringWTest, SplitAppendsPiecesOnASetOfUnits)
{
    KrArray<KrStringW> out;
    out.Add(KrStringW(u"x"));
    out.Add(KrStringW(u"y"));
    EXPECT_EQ(KrStringW(u" a  b ").Split(out, KrStringW(u" ")), 2);
    ASSERT_EQ(out.GetSize(), 4);
    EXPECT_EQ(units(out[2]), u"a");
    EXPECT_EQ(units(out[3]), u"b");
    EXPECT_EQ(KrStringW(u"a,;b;").Split(out, KrStringW(u";,")), 2);
    EXPECT_EQ(out.GetSize(), 6);
    EXPECT_EQ(KrStringW(u";;").Split(out, KrStringW(u";")), 0);
}

TEST(KrStringWTest, SharedVocabularyBehavesAsTheNarrowString)
{
    KrStringW s(u"  a-b-c\t");
    s.TrimLeft().TrimRight();
    EXPECT_EQ(units(s), u"a-b-c");
    EXPECT_EQ(s.Replace(u"-", u"--"), 2);
    EXPECT_EQ(units(s), u"a--b--c");
    EXPECT_EQ(s.Replace(u'-', u'+'), 4);
    EXPECT_EQ(s.Replace(nullptr, u"x"), 0);
    EXPECT_EQ(s.Remove(u'+'), 4);
    EXPECT_EQ(s.Insert(-5, u"<"), 4);
    EXPECT_EQ(s.Insert(99, u'>', 2), 6);
    EXPECT_EQ(units(s), u"<abc>>");
    EXPECT_EQ(s.Delete(-1, 1), 5);
    EXPECT_EQ(s.Find(u'>'), 3);
    EXPECT_EQ(s.Find(u">", 4), 4);
    EXPECT_EQ(s.Find(u"z"), -1);
    EXPECT_EQ(s.FindOneOf(u"cb"), 1);
    EXPECT_EQ(s.ReverseFind(u'>'), 4);
    s.TrimRight(u'>').TrimLeft(u"ab");
    EXPECT_EQ(units(s), u"c");
    EXPECT_EQ(KrStringW(nullptr).GetLength(), 0);
    EXPECT_EQ(KrStringW(u"abc", -1).GetLength(), 0);
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
    ScopedLcAll greek("el_GR.CP1253");
    KrStringW alpha;
    alpha.FromString(KrString("\xc1"), KrTextCodec::DEFAULT_CHARSET);  // capital alpha in Greek
    EXPECT_EQ(units(alpha), u"\u0391");
    EXPECT_EQ(alpha.ToString(KrTextCodec::DEFAULT_CHARSET), "\xc1");
    // The UCS-2LE form does not substitute: there 1 stays GB18030.
    const KrStringUCS2LE ucs2(KrString("\xc1"), KrTextCodec::DEFAULT_CHARSET);
    EXPECT_EQ(ucs2.GetLength(), 0);
}
