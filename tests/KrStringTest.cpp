#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
std::vector<std::string> pieces(const KrArray<KrString>& a)
{
    return std::vector<std::string>(a.begin(), a.end());
}

KrString bytes(std::initializer_list<unsigned char> values)
{
    KrString s;
    for (unsigned char v : values) s += static_cast<char>(v);
    return s;
}

const KrTextCodec::Charset kUtf8 = KrTextCodec::UTF8_CHARSET;
}  // namespace

TEST(KrStringTest, ConstructionToleratesNullAndBadCounts)
{
    EXPECT_EQ(KrString(nullptr), "");
    EXPECT_EQ(KrString(nullptr, 5), "");
    EXPECT_EQ(KrString("abcdef", 3), "abc");
    EXPECT_EQ(KrString("abc", -2), "");
    EXPECT_EQ(KrString('x', 3), "xxx");
    EXPECT_EQ(KrString('x', 0), "");
    EXPECT_EQ(KrString('x', -4), "");
    EXPECT_EQ(KrString("abc").GetCharset(), KrTextCodec::DEFAULT_CHARSET);

    KrString s("abc");
    s.SetLength(5);
    EXPECT_EQ(s.GetLength(), 5);
    EXPECT_EQ(s[4], '\0');
    s.SetLength(-3);
    EXPECT_TRUE(s.IsEmpty());
    s.SetCapacity(-1);
    s.Append(nullptr, 4);
    s.Append("xyz", -1);
    s.Append("xyz", 2);
    EXPECT_EQ(s, "xy");
}

TEST(KrStringTest, CopiesStopAtEmbeddedZeroAndCarryTheCharset)
{
    KrString withZero("ab\0cd", 5);
    withZero.SetCharset(kUtf8);
    ASSERT_EQ(withZero.GetLength(), 5);

    KrString copy(withZero);
    EXPECT_EQ(copy.GetLength(), 2);
    EXPECT_EQ(copy.GetCharset(), kUtf8);

    KrString assigned;
    assigned = withZero;
    EXPECT_EQ(assigned.GetLength(), 2);
    EXPECT_EQ(assigned.GetCharset(), kUtf8);

    KrString appended("x");
    appended += withZero;
    EXPECT_EQ(appended, "xab");
    EXPECT_EQ((KrString("y") + withZero).GetLength(), 3);

    KrString moved(std::move(withZero));  // a move is not a copy: every byte goes along
    EXPECT_EQ(moved.GetLength(), 5);

    assigned = "plain";
    EXPECT_EQ(assigned.GetCharset(), KrTextCodec::DEFAULT_CHARSET);
}

TEST(KrStringTest, IndexCheckedAccess)
{
    KrString s("abc");
    EXPECT_EQ(s.GetAt(2), 'c');
    s.SetAt(0, 'X');
    s[1] = 'Y';
    EXPECT_EQ(s, "XYc");
    for (int i : {3, -1, INT_MIN, INT_MAX})
    {
        EXPECT_THROW(s.GetAt(i), std::out_of_range);
        EXPECT_THROW(s.SetAt(i, 'q'), std::out_of_range);
        EXPECT_THROW(s[i], std::out_of_range);
    }
}

TEST(KrStringTest, CompareNoCaseComparesLengthFirst)
{
    struct Case
    {
        KrString a, b;
        int expected;
    };
    const Case cases[] = {
        {"abc", "ABCD", -1},
        {"abcde", "AB", 3},
        {"abc", "ABD", 'c' - 'D'},  // unchanged bytes: 99 - 68
        {"a", "B", 31},
        {"Road", "rOAD", 0},
        {"", "", 0},
        // An equal high byte is skipped; the trail byte below it still ignores case.
        {bytes({0xB0, 'a'}), bytes({0xB0, 'A'}), 0},
        {bytes({0xB0, 'a'}), bytes({0xB1, 'a'}), static_cast<signed char>(0xB0) - static_cast<signed char>(0xB1)},
        {bytes({'a', 0xC1}), bytes({'A', 'a'}), static_cast<signed char>(0xC1) - 'a'},
    };
    for (const Case& c : cases)
    {
        EXPECT_EQ(c.a.CompareNoCase(c.b), c.expected) << c.a.Cstr() << " vs " << c.b.Cstr();
        EXPECT_EQ(c.a.CompareNoCase(c.b.Cstr()), c.expected);
    }
    EXPECT_EQ(KrString("").CompareNoCase(static_cast<const char*>(nullptr)), 0);
    EXPECT_LT(KrString("abc").Compare("abd"), 0);
    EXPECT_EQ(KrString("abc").Compare(nullptr), 3 > 0 ? KrString("abc").Compare("") : 0);
    EXPECT_TRUE(KrString("abc") == "abc");
    EXPECT_TRUE(KrString("abc") != KrString("abd"));
    EXPECT_TRUE(KrString("abc") < KrString("abd"));
    EXPECT_TRUE(KrString("abc") == std::string("abc"));  // unambiguous on every compiler
    EXPECT_TRUE(KrString("abc") != std::string("ab"));
}

TEST(KrStringTest, SearchClampsStartAndReportsMinusOne)
{
    const KrString s("abcabc");
    EXPECT_EQ(s.Find('c'), 2);
    EXPECT_EQ(s.Find('c', 3), 5);
    EXPECT_EQ(s.Find('c', -10), 2);
    EXPECT_EQ(s.Find('c', 100), -1);
    EXPECT_EQ(s.Find("ca"), 2);
    EXPECT_EQ(s.Find("ca", 3), -1);
    EXPECT_EQ(s.Find(static_cast<const char*>(nullptr)), -1);
    EXPECT_EQ(s.Find("", 2), 2);
    EXPECT_EQ(s.FindOneOf("xc"), 2);
    EXPECT_EQ(s.FindOneOf("xyz"), -1);
    EXPECT_EQ(s.FindOneOf(nullptr), -1);
    EXPECT_EQ(s.ReverseFind('a'), 3);
    EXPECT_EQ(s.ReverseFind('q'), -1);
}

TEST(KrStringTest, EditingClampsAndCounts)
{
    KrString s("abc");
    EXPECT_EQ(s.Insert(-5, "<"), 4);
    EXPECT_EQ(s.Insert(99, ">"), 5);
    EXPECT_EQ(s.Insert(2, static_cast<const char*>(nullptr)), 5);
    EXPECT_EQ(s, "<abc>");
    EXPECT_EQ(s.Insert(1, '-', 2), 7);
    EXPECT_EQ(s.Insert(1, '-', 0), 7);
    EXPECT_EQ(s, "<--abc>");

    EXPECT_EQ(s.Delete(-3, 1), 6);
    EXPECT_EQ(s.Delete(4, 100), 4);
    EXPECT_EQ(s.Delete(4, 1), 4);
    EXPECT_EQ(s.Delete(1, 0), 4);
    EXPECT_EQ(s, "--ab");

    EXPECT_EQ(s.Remove('-'), 2);
    EXPECT_EQ(s, "ab");
    KrString r("banana");
    EXPECT_EQ(r.Replace('a', 'o'), 3);
    EXPECT_EQ(r.Replace('o', 'o'), 0);
    EXPECT_EQ(r, "bonono");
}

TEST(KrStringTest, ReplaceDoesNotRescanInsertedText)
{
    struct Case
    {
        const char* text;
        const char* from;
        const char* to;
        int count;
        const char* result;
    };
    const Case cases[] = {
        {"aaa", "a", "aa", 3, "aaaaaa"},
        {"abab", "ab", "b", 2, "bb"},
        {"aaaa", "aa", "a", 2, "aa"},
        {"road road", "road", "highway", 2, "highway highway"},
        {"xyz", "q", "r", 0, "xyz"},
        {"abcabc", "abc", "xyz", 2, "xyzxyz"},
        {"abc", "", "x", 0, "abc"},
        {"abc", "b", "", 1, "ac"},
    };
    for (const Case& c : cases)
    {
        KrString s(c.text);
        EXPECT_EQ(s.Replace(c.from, c.to), c.count) << c.text;
        EXPECT_EQ(s, c.result) << c.text;
    }
    KrString s("abc");
    EXPECT_EQ(s.Replace(nullptr, "x"), 0);
    EXPECT_EQ(s.Replace("a", nullptr), 0);
    EXPECT_EQ(s, "abc");
}

TEST(KrStringTest, Trimming)
{
    EXPECT_EQ(KrString(" \t\r\nab c\n ").TrimLeft(), "ab c\n ");
    EXPECT_EQ(KrString(" \t\r\nab c\n ").TrimRight(), " \t\r\nab c");
    EXPECT_EQ(KrString("xxaxx").TrimLeft('x'), "axx");
    EXPECT_EQ(KrString("xxaxx").TrimRight('x'), "xxa");
    EXPECT_EQ(KrString("xxxx").TrimRight('x'), "");
    EXPECT_EQ(KrString("abcab").TrimLeft("ba"), "cab");
    EXPECT_EQ(KrString("abcab").TrimRight("ba"), "abc");
    EXPECT_EQ(KrString("abc").TrimLeft(static_cast<const char*>(nullptr)), "abc");
    EXPECT_EQ(KrString("abc").TrimRight(static_cast<const char*>(nullptr)), "abc");
    KrString z("ab\0\0", 4);
    EXPECT_EQ(z.TrimRight('\0').GetLength(), 2);
}

TEST(KrStringTest, CaseAndReversalKeepDoubleByteCharacters)
{
    // A high byte and the byte after it are one character: neither changes case.
    const KrString mixed = KrString("abc") + bytes({0xB0, 0x61}) + "d";
    EXPECT_EQ(KrString(mixed).MakeUpper(), KrString("ABC") + bytes({0xB0, 0x61}) + "D");
    EXPECT_EQ(KrString("AB") + bytes({0xC4, 0x41}) + "Z", KrString("AB") + bytes({0xC4, 0x41}) + "Z");
    EXPECT_EQ((KrString("AB") + bytes({0xC4, 0x41}) + "Z").MakeLower(), KrString("ab") + bytes({0xC4, 0x41}) + "z");
    EXPECT_EQ(KrString("x").MakeUpper() + bytes({0xFF}), KrString("X") + bytes({0xFF}));
    EXPECT_EQ(bytes({'a', 0xFF}).MakeUpper(), bytes({'A', 0xFF}));  // high byte last: walk ends

    EXPECT_EQ(KrString("abc").MakeReverse(), "cba");
    EXPECT_EQ(KrString("").MakeReverse(), "");
    EXPECT_EQ((KrString("a") + bytes({0xB0, 0xA1}) + "b").MakeReverse(), KrString("b") + bytes({0xB0, 0xA1}) + "a");
    EXPECT_EQ(bytes({'a', 0xB0}).MakeReverse(), bytes({0xB0, 'a'}));
}

TEST(KrStringTest, SubstringsClampAndAreTaggedWithTheDefaultCharset)
{
    KrString s("abcdef");
    s.SetCharset(kUtf8);
    struct Case
    {
        KrString result;
        const char* expected;
    };
    const Case cases[] = {
        {s.Left(0), ""},          {s.Left(-2), ""},        {s.Left(2), "ab"},       {s.Left(99), "abcdef"},
        {s.Right(0), ""},         {s.Right(2), "ef"},      {s.Right(10), "abcdef"}, {s.Right(-1), ""},
        {s.Mid(6), ""},           {s.Mid(-2), "abcdef"},   {s.Mid(4), "ef"},        {s.Mid(-3, 2), "ab"},
        {s.Mid(2, 0), ""},        {s.Mid(4, 99), "ef"},    {s.Mid(9, 1), ""},       {s.Mid(1, -1), ""},
        {s.SpanIncluding("bac"), "abc"}, {s.SpanIncluding("fedcba"), "abcdef"}, {s.SpanIncluding("x"), ""},
        {s.SpanExcluding("d"), "abc"},   {s.SpanExcluding("xyz"), "abcdef"},    {s.SpanExcluding(nullptr), "abcdef"},
    };
    for (const Case& c : cases)
    {
        EXPECT_EQ(c.result, c.expected);
        EXPECT_EQ(c.result.GetCharset(), KrTextCodec::DEFAULT_CHARSET) << c.expected;
    }
}

TEST(KrStringTest, ConcatenationKeepsTheLeftCharset)
{
    KrString left("ab");
    left.SetCharset(kUtf8);
    EXPECT_EQ((left + KrString("c")).GetCharset(), kUtf8);
    EXPECT_EQ((left + "c"), "abc");
    EXPECT_EQ((left + 'c').GetCharset(), kUtf8);
    EXPECT_EQ(('x' + left), "xab");
    EXPECT_EQ(('x' + left).GetCharset(), KrTextCodec::DEFAULT_CHARSET);
    EXPECT_EQ(("xy" + left).GetCharset(), KrTextCodec::DEFAULT_CHARSET);
    KrString s;
    s += static_cast<const char*>(nullptr);
    s += '\0';
    EXPECT_EQ(s.GetLength(), 1);
}

TEST(KrStringTest, LenientNumberParsing)
{
    struct Case
    {
        const char* text;
        int base;
        unsigned long long value;
    };
    const Case unsignedCases[] = {
        {"0x1f", 16, 31},  {"0X1F", 16, 31}, {"ff zz", 16, 255}, {"17", 8, 0},     {"12a3", 10, 123},
        {"1-2", 10, 12},   {"", 10, 0},      {"0x", 16, 0},      {"x0x1", 16, 1},
        {"18446744073709551616", 10, 0},  // wraps modulo 2^64
        {"FFFFFFFFFFFFFFFFF", 16, 0xFFFFFFFFFFFFFFFFull},
    };
    for (const Case& c : unsignedCases)
        EXPECT_EQ(KrString(c.text).ToULong(c.base), c.value) << c.text << " base " << c.base;

    struct SignedCase
    {
        const char* text;
        int base;
        long long value;
    };
    const SignedCase signedCases[] = {
        {"  --12", 10, -12}, {"-7", 10, -7},  {" \t\r\n", 10, 0}, {"-ff", 16, 255},
        {"\t0xFFFFFFFFFFFFFFFF", 16, -1}, {"12-3", 10, 123}, {"--", 10, 0},
    };
    for (const SignedCase& c : signedCases)
        EXPECT_EQ(KrString(c.text).ToLong(c.base), c.value) << c.text << " base " << c.base;

    EXPECT_EQ(KrString("  42xyz").ToInt(), 42);
    EXPECT_EQ(KrString("ff").ToInt(16), 255);
    EXPECT_EQ(KrString("abc").ToInt(), 0);
    EXPECT_EQ(KrString("4294967295").ToUInt(), 4294967295u);
    EXPECT_DOUBLE_EQ(KrString("2.5e3").ToDouble(), 2500.0);
    EXPECT_FLOAT_EQ(KrString("0.1").ToFloat(), 0.1f);
    EXPECT_EQ(KrString("nope").ToDouble(), 0.0);
}

TEST(KrStringTest, NumbersToText)
{
    struct Case
    {
        KrString text;
        const char* expected;
    };
    const Case cases[] = {
        {KrString::From(0, 10), "0"},
        {KrString::From(255, 16), "0XFF"},
        {KrString::From(-5, 10), "-5"},
        {KrString::From(-1, 16), "0XFFFFFFFFFFFFFFFF"},  // sign-extended to 64 bits
        {KrString::From(0xFFFFFFFFu, 16), "0XFFFFFFFF"},  // zero-extended
        {KrString::From(-1, 2), "1111111111111111111111111111111111111111111111111111111111111111"},
        {KrString::From(35, 36), "Z"},
        {KrString::From(LLONG_MIN, 10), "-9223372036854775808"},
        {KrString::From(ULLONG_MAX, 10), "18446744073709551615"},
        {KrString::From(8u, 8), "10"},
        {KrString::From(5, 1), ""},
    };
    for (const Case& c : cases) EXPECT_EQ(c.text, c.expected);
}

TEST(KrStringTest, HashValSignExtendsBytes)
{
    EXPECT_EQ(KrString("").HashVal(), 0u);
    EXPECT_EQ(KrString("a").HashVal(), 97u);
    EXPECT_EQ(KrString("ab").HashVal(), 3299u);
    // 0xFF is -1 sign-extended: 97 * 33 ^ 0xFFFFFFFF
    EXPECT_EQ((KrString("a") + bytes({0xFF})).HashVal(), 3201u ^ 0xFFFFFFFFu);
}

TEST(KrStringTest, SplitExactAndAsASet)
{
    struct Case
    {
        const char* text;
        const char* delimiter;
        bool exact;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"a,b,,c", ",", true, {"a", "b", "", "c"}},
        {"a,b,,c", ",", false, {"a", "b", "c"}},
        {"a,,b", ",", true, {"a", "", "b"}},
        {"", ",", true, {""}},
        {"", ",", false, {}},
        {",a,", ",", true, {"", "a", ""}},
        {"a<>b<>", "<>", true, {"a", "b", ""}},
        {"a<>b><c", "<>", false, {"a", "b", "c"}},
        {"  a  b ", " ", false, {"a", "b"}},
        {"abc", "", true, {"abc"}},
        {"abc", "", false, {"abc"}},
    };
    KrArray<KrString> out;
    out.Add("stale");
    for (const Case& c : cases)
    {
        const int n = KrString(c.text).Split(out, c.delimiter, c.exact);
        EXPECT_EQ(n, static_cast<int>(c.expected.size())) << c.text;
        EXPECT_EQ(pieces(out), c.expected) << c.text << (c.exact ? " exact" : " set");
    }
}

TEST(KrStringTest, FormatGrowsToAnyLength)
{
    KrString s("previous");
    s.Format("%d-%s", 7, "x");
    EXPECT_EQ(s, "7-x");
    s.Format(static_cast<const char*>(nullptr));
    EXPECT_TRUE(s.IsEmpty());
    s = "previous";
    s.Format("%s", "");
    EXPECT_TRUE(s.IsEmpty());

    const std::string thousand(1000, 'k');
    s.Format("%s", thousand.c_str());
    EXPECT_EQ(s.GetLength(), 1000);

    const std::string megabyte(1 << 20, 'm');
    s.Format("<%s|%s>", megabyte.c_str(), "end");
    EXPECT_EQ(s.GetLength(), (1 << 20) + 6);
    EXPECT_EQ(s.Right(5), "|end>");
}

TEST(KrStringTest, ResourcesAndCharsetsWithoutConfiguration)
{
    KrString s("kept");
    EXPECT_TRUE(s.LoadString(987654));  // true means: no text
    EXPECT_TRUE(s.IsEmpty());
    s.Format(987654u, 1, 2);
    EXPECT_TRUE(s.IsEmpty());

    KrString t("abc");
    EXPECT_TRUE(t.ChangeCharset(KrTextCodec::DEFAULT_CHARSET));  // same charset: nothing to do
}
