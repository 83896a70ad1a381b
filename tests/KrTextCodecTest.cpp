#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"
#include "KrIconvOracle.h"

using namespace KRN;
using KrTest::IconvConverter;
using KrTest::IconvOracle;

namespace
{
using Cs = KrTextCodec::Charset;

const char kGreekUtf8[] = "\xce\x91\xce\xb8\xce\xae\xce\xbd\xce\xb1";             // Athens
const char kCyrillicUtf8[] = "\xd0\x9c\xd0\xbe\xd1\x81\xd0\xba\xd0\xb2\xd0\xb0";  // Moscow
const char kChineseUtf8[] = "\xe5\x8c\x97\xe4\xba\xac\xe5\xb8\x82";               // Beijing city
const char kJapaneseUtf8[] = "\xe6\x9d\xb1\xe4\xba\xac";                          // Tokyo
const char kKoreanUtf8[] = "\xec\x84\x9c\xec\x9a\xb8";                            // Seoul
const char kWesternUtf8[] = "Caf\xc3\xa9 \xc3\x85";

// The bytes of a string and its charset tag, to compare both at once.
using Tagged = std::pair<std::string, int>;
const auto tagged = [](const KrString& s) { return Tagged(s, s.GetCharset()); };

// Converts every input with one codec and with one iconv descriptor, and reports where they
// disagree (success, the bytes on success, the untouched output on failure), up to five times.
// Counts the inputs compared and those iconv converted.
void compareWithIconv(const char* to, const char* from, const std::vector<std::string>& inputs,
                      int* total = nullptr, int* converted = nullptr)
{
    // Under qemu-user on s390x the C library's UTF-8 to UTF-16BE and UTF-32BE conversions (done
    // with the host's conversion instructions) refuse valid text, so they cannot be the reference
    // there; the cross runner sets ZOBASE_TEST_UNDER_QEMU.
    const std::string pair = std::string(from) + " to " + to;
    if (std::getenv("ZOBASE_TEST_UNDER_QEMU") &&
        (pair == "UTF-8 to UTF-16BE" || pair == "UTF-8 to UTF-32BE"))
        return;
    KrTextCodec codec(to, from);
    IconvConverter oracle(to, from);
    ASSERT_TRUE(codec.IsOpen() && oracle.IsOpen()) << from << " to " << to;
    int failures = 0;
    for (size_t i = 0; i < inputs.size() && failures < 5; ++i)
    {
        KrString out("old");
        const bool ok = codec.Convert(out, KrString(inputs[i]));
        const auto expected = oracle(inputs[i]);
        if (total != nullptr) ++*total, *converted += expected.has_value();
        if (ok == expected.has_value() && out == expected.value_or("old")) continue;
        ADD_FAILURE() << from << " to " << to << " #" << i << ": codec converted " << ok
                      << ", iconv " << expected.has_value() << " "
                      << testing::PrintToString(inputs[i].substr(0, 48));
        ++failures;
    }
}

std::string utf8Of(uint32_t c)  // also forms surrogates, which no encoder should
{
    if (c < 0x80) return std::string(1, char(c));
    const int extra = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    std::string s(1, char(0xff00 >> (extra + 1) | c >> 6 * extra));
    for (int shift = 6 * extra - 6; shift >= 0; shift -= 6) s += char(0x80 | (c >> shift & 0x3f));
    return s;
}

const char* const kUnicodeTargets[] = {"UCS-2LE",  "UCS-2BE",  "UCS-4LE", "UCS-4BE", "UTF-16LE",
                                       "UTF-16BE", "UTF-32BE", "UTF-8",   "GB18030"};
const char* const kGbSources[] = {"GB18030", "GBK", "CP936"};
const char* const kGbTargets[] = {"UTF-8", "UCS-2LE", "UCS-4LE", "UTF-16BE"};
}  // namespace

// Charset value, the name GetCharsetName must give (written out by hand), and UTF-8 text
// representable in that charset, which must convert both ways as iconv does. Then names in:
// the first listed text that the name contains decides.
TEST(KrTextCodecTest, EveryCharsetOfTheTableIsNamedAndConvertsAsIconvDoes)
{
    // clang-format off
    const std::tuple<int, const char*, const char*> charsets[] = {
        {0, "GB18030", kChineseUtf8}, {1, "GB18030", kChineseUtf8}, {77, "MACINTOSH", kWesternUtf8},
        {128, "SHIFT_JIS", kJapaneseUtf8}, {129, "CP949", kKoreanUtf8}, {130, "JOHAB", kKoreanUtf8},
        {134, "GB18030", kChineseUtf8}, {136, "BIG5-HKSCS", kJapaneseUtf8},
        {161, "Greek", kGreekUtf8}, {162, "CP1254", "\xc4\xb0stanbul \xc4\x9f"},
        {163, "CP1258", "\xc4\x90\xc3\xa0 N\xc6\xb0."},  // ends in a letter that takes no tone mark
        {177, "Hebrew", "\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d"},
        {178, "Arabic", "\xd8\xb3\xd9\x84\xd8\xa7\xd9\x85"},
        {186, "CP1257", "R\xc4\xabga \xc5\xa0"}, {204, "CP1251", kCyrillicUtf8},
        {222, "CP874", "\xe0\xb9\x84\xe0\xb8\x97\xe0\xb8\xa2"},
        {238, "CP1250", "\xc5\x81\xc3\xb3\x64\xc5\xba"}, {250, "UTF-8", kChineseUtf8},
        {251, "UCS-2LE", kChineseUtf8}, {252, "UCS-2BE", kGreekUtf8}, {7, "GB18030", kChineseUtf8},
        {253, "UCS-4LE", kGreekUtf8}, {254, "UCS-4BE", kKoreanUtf8}, {-3, "GB18030", kChineseUtf8},
        {255, "MACINTOSH", kWesternUtf8}, {1000, "GB18030", kChineseUtf8}};
    const std::pair<const char*, int> names[] = {
        {"macintosh", 77}, {"Shift_JIS", 128}, {"cp949", 129},  {"johab", 130}, {"GB18030", 134},
        {"gb2312", 134},   {"x-gbk", 134},     {"zh", 134},     {"ZH_CN", 1},   {"big5", 136},
        {"big5-hkscs:1999", 136}, {"greek", 161}, {"CP1254", 162}, {"cp1258", 163}, {"hebrew", 177},
        {"arabic", 178}, {"cp1257", 186}, {"windows-cp1251", 204}, {"CP874", 222}, {"cp1250", 238},
        {"utf-8", 250},    {"UCS-2LE", 251},   {"ucs-2be", 252}, {"UCS-4LE", 253}, {"ucs-4be", 254},
        {"latin1", 1},     {"", 1},            {"utf8", 1},     {"CP12501", 238}, {"GBK/BIG5", 134},
        {"MACINTOSH-SHIFT_JIS", 77}, {"UTF-8 UCS-2LE", 250}};
    // clang-format on
    for (const auto& [value, name, sample] : charsets)
    {
        const Cs charset = static_cast<Cs>(value);
        SCOPED_TRACE(value);
        EXPECT_EQ(KrTextCodec::GetCharsetName(charset), name);
        KrString encoded, decoded;
        EXPECT_TRUE(KrTextCodec(charset, KrTextCodec::UTF8_CHARSET).Convert(encoded, sample) &&
                    KrTextCodec(KrTextCodec::UTF8_CHARSET, charset).Convert(decoded, encoded));
        EXPECT_EQ(encoded, IconvOracle(name, "UTF-8", sample).value_or("refused by iconv"));
        EXPECT_EQ(decoded, sample);
    }
    for (const auto& [name, expected] : names)
        EXPECT_EQ(KrTextCodec::GetCharset(name), expected) << name;
}

TEST(KrTextCodecTest, ConvertTakesEveryInputByteOrLeavesTheOutputUntouched)
{
    KrTextCodec codec(KrTextCodec::UCS2LE_CHARSET, KrTextCodec::UTF8_CHARSET);
    KrString out("x");
    out.SetCharset(KrTextCodec::GREEK_CHARSET);
    EXPECT_TRUE(codec.Convert(out, "a\0b", 3));
    EXPECT_EQ(tagged(out), Tagged(std::string("a\0\0\0b\0", 6), KrTextCodec::GREEK_CHARSET));
    EXPECT_TRUE(codec.Convert(out, KrString()) && out.IsEmpty());

    const std::string gb = *IconvOracle("GB18030", "UTF-8", kChineseUtf8);
    KrString same(gb + gb + gb);
    ASSERT_TRUE(
        KrTextCodec(KrTextCodec::UTF8_CHARSET, KrTextCodec::GB2312_CHARSET).Convert(same, same));
    EXPECT_EQ(same, std::string(kChineseUtf8) + kChineseUtf8 + kChineseUtf8);

    // Megabytes of output, and a failure found only at the very end.
    std::string big;
    for (int i = 0; big.size() < (3u << 20); ++i) big += i % 5 == 0 ? kChineseUtf8 : "road 12, ";
    KrTextCodec wide(KrTextCodec::UCS4BE_CHARSET, KrTextCodec::UTF8_CHARSET);
    ASSERT_TRUE(wide.Convert(out, KrString(big)));
    EXPECT_TRUE(out == IconvOracle("UCS-4BE", "UTF-8", big).value_or(""));
    KrString kept("old");
    EXPECT_TRUE(!wide.Convert(kept, KrString(big + "\xff")) && kept == "old");

    // Invalid and cut UTF-8 and GB text are compared with iconv below, untouched output included.
    const Cs utf8 = KrTextCodec::UTF8_CHARSET;
    KrTextCodec oddUcs2(utf8, KrTextCodec::UCS2LE_CHARSET),
        cyrillic(KrTextCodec::RUSSIAN_CHARSET, utf8), closed,
        unknown(KrString("UTF-8"), KrString("no-such-charset")), plain(utf8, utf8);
    EXPECT_TRUE(oddUcs2.IsOpen() && cyrillic.IsOpen() && !closed.IsOpen() && !unknown.IsOpen());
    KrString untouched("kept");
    untouched.SetCharset(KrTextCodec::THAI_CHARSET);
    EXPECT_FALSE(oddUcs2.Convert(untouched, "a\0b", 3) ||
                 cyrillic.Convert(untouched, kChineseUtf8) || closed.Convert(untouched, "abc") ||
                 unknown.Convert(untouched, "abc"));
    // Five bytes per input byte must fit an int: longer inputs are refused before any byte is
    // read, so the pointer may be short.
    const std::pair<const char*, int> refused[] = {
        {nullptr, 3}, {"abc", -1}, {"abc", INT_MAX}, {"abc", INT_MAX / 5 + 1}};
    for (const auto& [input, length] : refused)
        EXPECT_FALSE(plain.Convert(untouched, input, length)) << length;
    EXPECT_EQ(tagged(untouched), Tagged("kept", KrTextCodec::THAI_CHARSET));
    EXPECT_TRUE(plain.Convert(untouched, nullptr, 0) && untouched.IsEmpty());
}

TEST(KrTextCodecTest, OpenCloseAndChangeCharset)
{
    KrTextCodec codec(KrTextCodec::UTF8_CHARSET, KrTextCodec::RUSSIAN_CHARSET), copy;
    KrString out;
    EXPECT_TRUE(codec.IsOpen() &&
                codec.Open(KrTextCodec::UTF8_CHARSET, KrTextCodec::GREEK_CHARSET));
    EXPECT_TRUE(codec.Convert(out, KrString("\xc1")) && out == "\xce\x91");  // capital alpha
    EXPECT_FALSE(codec.Open(KrString("UTF-8"), KrString("bogus")) || codec.IsOpen());  // closed
    codec.Close();         // closing a closed codec is harmless
    copy = KrTextCodec();  // assigning a closed codec keeps the target closed
    EXPECT_FALSE(copy.IsOpen());

    // ChangeCharset converts and retags, or leaves the string alone.
    KrString s(*IconvOracle("GB18030", "UTF-8", kChineseUtf8)), cyrillic(kCyrillicUtf8);
    EXPECT_TRUE(s.ChangeCharset(KrTextCodec::UTF8_CHARSET));  // from DEFAULT_CHARSET
    EXPECT_EQ(tagged(s), Tagged(kChineseUtf8, KrTextCodec::UTF8_CHARSET));
    EXPECT_TRUE(s.ChangeCharset(KrTextCodec::UCS2BE_CHARSET));
    EXPECT_EQ(tagged(s), Tagged(*IconvOracle("UCS-2BE", "UTF-8", kChineseUtf8), 252));
    cyrillic.SetCharset(KrTextCodec::UTF8_CHARSET);
    EXPECT_TRUE(cyrillic.ChangeCharset(KrTextCodec::RUSSIAN_CHARSET));
    EXPECT_EQ(cyrillic, "\xcc\xee\xf1\xea\xe2\xe0");

    // No flushing call: the CP1258 decoder holds back a final letter in case a tone mark
    // follows, and gives it only at the start of the next conversion.
    KrTextCodec viet(KrTextCodec::UTF8_CHARSET, KrTextCodec::VIETNAMESE_CHARSET);
    KrString first, second;
    EXPECT_TRUE(viet.Convert(first, KrString("Na")) && viet.Convert(second, KrString(".")));
    EXPECT_EQ(first + "|" + second, "N|a.");
}

// What is decoded without iconv must be exactly what iconv takes, refused codes included, and
// wherever the codec hands over to iconv and back the result must be that of one iconv call.
// The inputs: every byte pattern with a two- or three-byte UTF-8 lead, overlong and surrogate
// forms included, and every two-byte code of the GB charsets, alone and between ASCII; then
// seeded random texts mixing ASCII runs (short, and long enough to be copied in bulk), every
// length of UTF-8 character, GB two- and four-byte forms (digits as their second and fourth
// bytes), and now and then an invalid or cut-off sequence.
TEST(KrTextCodecTest, EveryShortCodeAndRandomMixedTextsConvertAsIconvDoes)
{
    std::mt19937 random(20261123);
    auto below = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    auto asciiRun = [&]
    { return std::string(below(8) == 0 ? 60 + below(80) : 1 + below(5), char('0' + below(70))); };
    // clang-format off
    const std::function<std::string()> invalid[] = {
        [&] { return std::string{char(0x80 + below(0x40))}; },                   // continuation
        [&] { return std::string{char(0xc0 + below(2)), char(0x80 + below(0x40))}; },  // overlong
        [&] { return std::string{char(0xf5 + below(11))}; },                     // never a lead
        [&] { return utf8Of(0xd800 + below(0x800)); },                           // surrogate
        [&] { return std::string{char(0xe0), char(0x80 + below(0x20)), char(0x80)}; },  // overlong
        [&] { return utf8Of(0x800 + below(0x10000)).substr(0, 1 + below(2)); }};  // cut
    // clang-format on
    // Up to 40 tokens, each chosen by a draw below 100.
    auto text = [&](const std::function<std::string(uint32_t)>& token)
    {
        std::string s;
        for (uint32_t t = 0, tokens = 1 + below(40); t < tokens; ++t) s += token(below(100));
        return s;
    };
    auto utf8Token = [&](uint32_t kind)
    {
        const uint32_t c = 0x800 + below(0xf800);
        const bool surrogate = c >= 0xd800 && c <= 0xdfff;
        return kind < 20   ? asciiRun()
               : kind < 40 ? utf8Of(0x80 + below(0x780))
               : kind < 75 ? utf8Of(below(10) == 0 ? 0xff00 + below(0x100)
                                    : surrogate    ? c - 0x800
                                                   : c)
               : kind < 97 ? utf8Of(0x10000 + below(0x100000))
                           : invalid[below(6)]();
    };
    // Four-byte forms only for GB18030, which has them; mostly in the two assigned ranges.
    auto gbText = [&](bool fourByteForms)
    {
        std::string s = text(
            [&](uint32_t kind)
            {
                if (kind < 20) return asciiRun();
                if (kind < 99 && (kind < 75 || !fourByteForms))
                    return std::string{char(0x81 + below(0x7e)),
                                       char(0x40 + below(below(100) == 0 ? 0xc0 : 0xbf))};
                if (kind == 99) return std::string(1, char(below(2) ? 0x80 : 0xff));
                return std::string{char(below(20) == 0 ? 0x81 + below(0x7e)
                                        : below(2)     ? 0x81 + below(3)
                                                       : 0x90 + below(4)),
                                   char(0x30 + below(10)), char(0x81 + below(0x7e)),
                                   char(0x30 + below(10))};
            });
        if (below(40) == 0) s += char(0x81 + below(0x7e));
        return s;
    };
    // Fixed cases first: every byte below 0x80; runs cutting a GB four-byte form (U+0080, digits
    // as its second and fourth bytes) or next to two-byte forms with an ASCII trailing byte; a
    // lead byte cut off at the end or before a run.
    std::string low, run(40, 'r');
    for (int c = 0; c < 128; ++c) low += char(c);
    const std::string four = "\x81\x30\x81\x30", two = "\xd6\xd0", low2 = "\x81\x40";
    std::vector<std::string> utf8{low + low, run + "\xe4" + run, run + "\x80" + run,
                                  run + "\xe4\xb8"};
    std::vector<std::string> gb[3] = {{run + four + run + four + four + run,
                                       four + "01234567890123456789",
                                       two + run + low2 + run.substr(0, 20) + low2 + "@" + run,
                                       run + "\x81", run + "\x81\x30" + run}};
    std::vector<std::string> shortUtf8, shortGb;
    for (int lead = 0xc0; lead <= 0xef; ++lead)
        for (int second = 0x80; second <= 0xbf; ++second)
        {
            const std::string two{char(lead), char(second)};
            shortUtf8.push_back(lead < 0xe0 ? two + "z" : two);
            for (int third = 0x80; lead >= 0xe0 && third <= 0xbf; ++third)
                shortUtf8.push_back(two + char(third));
        }
    for (int lead = 0x81; lead <= 0xfe; ++lead)
        for (int trail = 0x40; trail <= 0xff; ++trail)
            shortGb.push_back({char(lead), char(trail)}),
                shortGb.push_back({'A', char(lead), char(trail), '7'});
    for (int i = 0; i < 1500; ++i) utf8.push_back(text(utf8Token));
    for (int i = 0; i < 1000; ++i)
        for (int from = 0; from < 3; ++from) gb[from].push_back(gbText(from == 0));
    int converted = 0, total = 0;
    for (const char* to : kUnicodeTargets)
        compareWithIconv(to, "UTF-8", shortUtf8),
            compareWithIconv(to, "UTF-8", utf8, &total, &converted);
    for (int from = 0; from < 3; ++from)
        for (const char* to : kGbTargets)
            compareWithIconv(to, kGbSources[from], shortGb),
                compareWithIconv(to, kGbSources[from], gb[from], &total, &converted);
    // Both outcomes must be well represented for the comparison to mean something.
    EXPECT_GT(converted, total / 5);
    EXPECT_LT(converted, total - total / 5);
}
