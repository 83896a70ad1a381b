#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
// Results computed in a table and what each must equal; braced lists evaluate in order, so a
// row sees the edits of the rows before it.
using TextCase = std::pair<KrString, KrString>;
using IntCase = std::pair<long long, long long>;
template <class Case>
void expectAll(std::initializer_list<Case> cases)
{
    int row = 0;
    for (const auto& [got, want] : cases) EXPECT_EQ(got, want) << "row " << row++;
}

const KrTextCodec::Charset kUtf8 = KrTextCodec::UTF8_CHARSET;
const KrTextCodec::Charset kDefault = KrTextCodec::DEFAULT_CHARSET;
}  // namespace

TEST(KrStringTest, ConstructionAccessAndCopiesTolerateBadArguments)
{
    KrString s("abc"), padded("abc"), appended, assigned, appendedZero("x");
    // Copies stop at an embedded zero and carry the charset; a move takes every byte.
    KrString withZero("ab\0cd", 5);
    withZero.SetCharset(kUtf8);
    // Braced lists evaluate in order: each row sees the edits of the rows before it.
    // clang-format off
    expectAll<IntCase>({{(padded.SetLength(5), padded.GetLength()), 5}, {padded[4], '\0'},
        {(padded.SetLength(-3), padded.GetLength()), 0},
        {(appended.SetCapacity(-1), appended.Append(nullptr, 4), appended.Append("xyz", -1),
          appended.Append("xyz", 2), appended += static_cast<const char*>(nullptr),
          appended += '\0', appended.GetLength()), 3},
        {s.GetAt(2), 'c'}, {(s.SetAt(0, 'X'), s[1] = 'Y', s == "XYc"), true},
        {KrString(withZero).GetLength(), 2}, {KrString(withZero).GetCharset(), kUtf8},
        {(assigned = withZero).GetLength(), 2}, {assigned.GetCharset(), kUtf8},
        {(appendedZero += withZero) == "xab", true}, {(KrString("y") + withZero).GetLength(), 3},
        {KrString(std::move(withZero)).GetLength(), 5}, {s.GetCharset(), kDefault},
        {(assigned = "plain").GetCharset(), kDefault}});
    expectAll<TextCase>({{KrString(nullptr), ""}, {KrString(nullptr, 5), ""},
        {KrString("abcdef", 3), "abc"}, {KrString("abc", -2), ""}, {KrString('x', 3), "xxx"},
        {KrString('x', 0), ""}, {KrString('x', -4), ""}});
    // clang-format on
    const int outside[] = {3, -1, INT_MIN, INT_MAX};
    for (int i : outside) EXPECT_THROW(s.GetAt(i), std::out_of_range) << i;
    for (int i : outside) EXPECT_THROW(s.SetAt(i, 'q'), std::out_of_range) << i;
    for (int i : outside) EXPECT_THROW(s[i], std::out_of_range) << i;
}

// CompareNoCase compares lengths first. An equal high byte is skipped; the trail byte below it
// still ignores case. Differing bytes are compared unchanged.
TEST(KrStringTest, ComparisonSearchAndEditing)
{
    const auto sc = [](unsigned char c) { return static_cast<int>(static_cast<signed char>(c)); };
    // clang-format off
    const std::tuple<KrString, KrString, int> cases[] = {
        {"abc", "ABCD", -1}, {"abcde", "AB", 3}, {"abc", "ABD", 'c' - 'D'}, {"a", "B", 31},
        {"Road", "rOAD", 0}, {"", "", 0}, {"\xB0" "a", "\xB0" "A", 0},
        {"\xB0" "a", "\xB1" "a", sc(0xB0) - sc(0xB1)}, {"a\xC1", "Aa", sc(0xC1) - 'a'}};
    // clang-format on
    for (const auto& [a, b, expected] : cases)
        EXPECT_EQ(std::make_pair(a.CompareNoCase(b), a.CompareNoCase(b.Cstr())),
                  std::make_pair(expected, expected))
            << a.Cstr() << " vs " << b.Cstr();
    const KrString s("abcabc"), abc("abc");
    const char* none = nullptr;
    KrString e("abc"), r("banana");
    // clang-format off
    expectAll<IntCase>({{KrString("").CompareNoCase(none), 0}, {abc.Compare("abd") < 0, true},
        {abc.Compare(nullptr), abc.Compare("")},
        {s.Find('c'), 2}, {s.Find('c', 3), 5}, {s.Find('c', -10), 2}, {s.Find('c', 99), -1},
        {s.Find("ca"), 2}, {s.Find("ca", 3), -1}, {s.Find(none), -1}, {s.Find("", 2), 2},
        {s.FindOneOf("xc"), 2}, {s.FindOneOf("xyz"), -1}, {s.FindOneOf(nullptr), -1},
        {s.ReverseFind('a'), 3}, {s.ReverseFind('q'), -1},
        {e.Insert(-5, "<"), 4}, {e.Insert(99, ">"), 5}, {e.Insert(2, none), 5},
        {e.Insert(1, '-', 2), 7}, {e.Insert(1, '-', 0), 7}, {e.Delete(-3, 1), 6},
        {e.Delete(4, 100), 4}, {e.Delete(4, 1), 4}, {e.Delete(1, 0), 4}, {e == "--ab", true},
        {e.Remove('-'), 2}, {e == "ab", true}, {r.Replace('a', 'o'), 3}, {r.Replace('o', 'o'), 0},
        {r == "bonono", true}});
    // clang-format on
}

// The in-place replacement (compacting forwards, or growing and filling from the back) must
// give what replacing one occurrence at a time gives, for any number of matches, without
// rescanning inserted text; absent or empty patterns replace nothing.
TEST(KrStringTest, ReplaceMatchesTheOneAtATimeLoop)
{
    std::mt19937 random(5);
    const char* words[] = {"", "a", "ab", "aab", "bab", "abababab", "aa", "b"};
    for (int round = 0; round < 400; ++round)
    {
        std::string text;
        const size_t length = round < 20 ? round : random() % 200;
        for (size_t i = 0; i < length; ++i) text += "ab"[random() % 2];
        const char *from = words[1 + random() % 7], *to = words[random() % 8];
        std::string expected = text;
        int expectedCount = 0;
        for (size_t p = expected.find(from); p != std::string::npos;
             p = expected.find(from, p + std::strlen(to)), ++expectedCount)
            expected.replace(p, std::strlen(from), to);
        KrString actual(text.c_str());
        EXPECT_EQ(actual.Replace(from, to), expectedCount) << text << " " << from << "->" << to;
        EXPECT_EQ(actual, expected) << text << " " << from << "->" << to;
    }
    // A replacement text taken from the string itself is read as it was before the call, also
    // when the growing string moves to a larger buffer.
    KrString s(std::string(40, 'a') + "b"), t("xyx");
    const std::string before = s;
    KrStringW w(u"abcdefghijklmnopqrstuvwxyz");
    // clang-format off
    expectAll<IntCase>({{s.Replace("", "x") + s.Replace(nullptr, "x") + s.Replace("b", nullptr), 0},
        {s.Replace("b", s.Cstr()), 1}, {s == std::string(40, 'a') + before, true},
        {t.Replace(t.Cstr() + 2, "yy"), 2}, {t == "yyyyy", true},  // "x", read before t changes
        {w.Replace(u"z", w.Cstr()), 1},
        {w == u"abcdefghijklmnopqrstuvwxyabcdefghijklmnopqrstuvwxyz", true}});
    // clang-format on
}

// A high byte and the byte after it are one character: neither changes case nor order.
// Substrings are untagged; concatenations keep the charset of the left operand.
TEST(KrStringTest, TrimCaseReversalSubstringsAndConcatenation)
{
    const char* none = nullptr;
    KrString z("ab\0\0", 4), s("abcdef");
    s.SetCharset(kUtf8);
    // clang-format off
    expectAll<TextCase>({
        {KrString(" \t\r\nab c\n ").TrimLeft(), "ab c\n "},
        {KrString(" \t\r\nab c\n ").TrimRight(), " \t\r\nab c"},
        {KrString("xxaxx").TrimLeft('x'), "axx"}, {KrString("xxaxx").TrimRight('x'), "xxa"},
        {KrString("xxxx").TrimRight('x'), ""},     {KrString("abcab").TrimLeft("ba"), "cab"},
        {KrString("abcab").TrimRight("ba"), "abc"}, {KrString("abc").TrimLeft(none), "abc"},
        {KrString("abc").TrimRight(none), "abc"},  {z.TrimRight('\0'), "ab"},
        {KrString("abc\xB0" "ad").MakeUpper(), "ABC\xB0" "aD"},
        {KrString("AB\xC4" "AZ").MakeLower(), "ab\xC4" "Az"},
        {KrString("a\xFF").MakeUpper(), "A\xFF"},  // high byte last: walk ends
        {KrString("abc").MakeReverse(), "cba"},  {KrString("").MakeReverse(), ""},
        {KrString("a\xB0\xA1" "b").MakeReverse(), "b\xB0\xA1" "a"},
        {KrString("a\xB0").MakeReverse(), "\xB0" "a"}});
    const TextCase cases[] = {
        {s.Left(0), ""},   {s.Left(-2), ""},       {s.Left(2), "ab"},   {s.Left(99), "abcdef"},
        {s.Right(0), ""},  {s.Right(2), "ef"},     {s.Right(10), "abcdef"}, {s.Right(-1), ""},
        {s.Mid(6), ""},    {s.Mid(-2), "abcdef"},  {s.Mid(4), "ef"},    {s.Mid(-3, 2), "ab"},
        {s.Mid(2, 0), ""}, {s.Mid(4, 99), "ef"},   {s.Mid(9, 1), ""},   {s.Mid(1, -1), ""},
        {s.SpanIncluding("bac"), "abc"}, {s.SpanIncluding("fedcba"), "abcdef"},
        {s.SpanIncluding("x"), ""},      {s.SpanExcluding("d"), "abc"},
        {s.SpanExcluding("xyz"), "abcdef"}, {s.SpanExcluding(nullptr), "abcdef"},
        {s.Left(2) + "c", "abc"}, {'x' + s.Left(2), "xab"}};
    // clang-format on
    for (const auto& [got, want] : cases)
    {
        EXPECT_EQ(got, want);
        EXPECT_EQ(got.GetCharset(), kDefault) << want.Cstr();
    }
    // clang-format off
    expectAll<IntCase>({{z.GetLength(), 2}, {(s + "c").GetCharset(), kUtf8},
        {(s + KrString("c")).GetCharset(), kUtf8}, {(s + 'c').GetCharset(), kUtf8},
        {('x' + s).GetCharset(), kDefault}, {("xy" + s).GetCharset(), kDefault}});
    // clang-format on
}

// ToInt and ToUInt parse like a 32-bit strtol and strtoul: they saturate where a 64-bit one
// would have let the value wrap through the cast; ToLong and ToULong wrap modulo 2^64. Negative
// values print sign-extended to 64 bits, unsigned ones zero-extended; bases past 36 go on with
// digit + 55.
TEST(KrStringTest, NumbersFromAndToText)
{
    using S = KrString;
    const auto ul = [](const char* text, int base) { return S(text).ToULong(base); };
    const auto l = [](const char* text, int base) { return S(text).ToLong(base); };
    // clang-format off
    expectAll<IntCase>({
        {ul("0x1f", 16), 31}, {ul("0X1F", 16), 31}, {ul("ff zz", 16), 255}, {ul("17", 8), 0},
        {ul("12a3", 10), 123}, {ul("1-2", 10), 12}, {ul("", 10), 0}, {ul("0x", 16), 0},
        {ul("x0x1", 16), 1}, {ul("18446744073709551616", 10), 0}, {ul("FFFFFFFFFFFFFFFFF", 16), -1},
        {l("  --12", 10), -12}, {l("-7", 10), -7}, {l(" \t\r\n", 10), 0}, {l("-ff", 16), 255},
        {l("\t0xFFFFFFFFFFFFFFFF", 16), -1}, {l("12-3", 10), 123}, {l("--", 10), 0},
        {S("  42xyz").ToInt(), 42},           {S("ff").ToInt(16), 255},
        {S("abc").ToInt(), 0},                {S("4294967295").ToUInt(), UINT_MAX},
        {S("4294967296").ToUInt(), UINT_MAX}, {S("-4294967296").ToUInt(), UINT_MAX},
        {S("-1").ToUInt(), UINT_MAX},         {S(" -2").ToUInt(), UINT_MAX - 1},
        {S("0x100000000").ToUInt(16), UINT_MAX}, {S("+7").ToUInt(), 7},
        {S("--7").ToUInt(), 0},               {S("- 7").ToUInt(), 0},
        {S("12").ToUInt(1), 0},               {S("4294967296").ToInt(), INT_MAX},
        {S("-9000000000").ToInt(), INT_MIN},  {S("-2147483648").ToInt(), INT_MIN},
        {S("7fffffff").ToInt(16), INT_MAX}});
    expectAll<TextCase>({
        {S::From(0, 10), "0"}, {S::From(255, 16), "0XFF"}, {S::From(-5, 10), "-5"},
        {S::From(-1, 16), "0XFFFFFFFFFFFFFFFF"}, {S::From(0xFFFFFFFFu, 16), "0XFFFFFFFF"},
        {S::From(-1, 2), std::string(64, '1').c_str()}, {S::From(35, 36), "Z"},
        {S::From(8u, 8), "10"}, {S::From(5, 1), ""}, {S::From(LLONG_MIN, 10), "-9223372036854775808"},
        {S::From(ULLONG_MAX, 10), "18446744073709551615"}, {S::From(100, 40), "2K"},
        {S::From(36, 37), "["}, {S::From(5, 0), ""}});
    // clang-format on
    EXPECT_TRUE(S("2.5e3").ToDouble() == 2500.0 && S("0.1").ToFloat() == 0.1f &&
                S("nope").ToDouble() == 0);
}

TEST(KrStringTest, SplitFormatAndResourceTexts)
{
    // Text, delimiter, exact, pieces.
    // clang-format off
    const std::tuple<const char*, const char*, bool, std::vector<std::string>> cases[] = {
        {"a,b,,c", ",", true, {"a", "b", "", "c"}}, {"a,b,,c", ",", false, {"a", "b", "c"}},
        {"a,,b", ",", true, {"a", "", "b"}}, {"", ",", true, {""}}, {"", ",", false, {}},
        {",a,", ",", true, {"", "a", ""}}, {"a<>b<>", "<>", true, {"a", "b", ""}},
        {"a<>b><c", "<>", false, {"a", "b", "c"}}, {"  a  b ", " ", false, {"a", "b"}},
        {"abc", "", true, {"abc"}}, {"abc", "", false, {"abc"}}};
    // clang-format on
    KrArray<KrString> out;
    out.Add("stale");
    for (const auto& [text, delimiter, exact, expected] : cases)
    {
        EXPECT_EQ(KrString(text).Split(out, delimiter, exact), static_cast<int>(expected.size()));
        EXPECT_EQ(std::vector<std::string>(out.begin(), out.end()), expected)
            << text << (exact ? " exact" : " set");
    }

    // Formatting grows to any length (the log formats megabytes); no format empties the string.
    KrString s("previous"), empty("previous"), none("previous");
    s.Format("%d-%s", 7, "x"), none.Format(static_cast<const char*>(nullptr)),
        empty.Format("%s", "");
    EXPECT_TRUE(s == "7-x" && none.IsEmpty() && empty.IsEmpty());

    // LoadString and Format(id) read the installed loader: its text with its charset, and the
    // not-found flag (true) for empty texts; without a loader every id is missing. Found and
    // missing texts of the configuration's loader are tested with the registry.
    const KrString::ResourceLoader loader = [](unsigned int id)
    {
        KrString text(id == 7 ? "seven %d" : "");
        text.SetCharset(kUtf8);
        return text;
    };
    const KrString::ResourceLoader previous = KrString::SetResourceLoader(loader);
    EXPECT_NE(previous, nullptr);  // the configuration's, installed at load
    // Puts the configuration's loader back even when an assertion below fails.
    const std::shared_ptr<void> restore(nullptr,
                                        [=](void*) { KrString::SetResourceLoader(previous); });
    EXPECT_TRUE(!s.LoadString(7) && s == "seven %d" && s.GetCharset() == kUtf8);
    EXPECT_EQ(KrString::SetResourceLoader(nullptr), loader);
    EXPECT_TRUE(s.LoadString(7) && s.IsEmpty());
    s.Format(7u, 42);
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_TRUE(KrString("abc").ChangeCharset(kDefault));  // same charset: nothing to do
}
