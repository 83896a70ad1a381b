#include <gtest/gtest.h>

#include <climits>
#include <iterator>
#include <random>
#include <string>
#include <utility>

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
const char kHebrewUtf8[] = "\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d";                    // shalom
const char kArabicUtf8[] = "\xd8\xb3\xd9\x84\xd8\xa7\xd9\x85";                    // salam
const char kThaiUtf8[] = "\xe0\xb9\x84\xe0\xb8\x97\xe0\xb8\xa2";                  // Thai
const char kTurkishUtf8[] = "\xc4\xb0stanbul \xc4\x9f";
// Ends in a character that takes no tone mark: see ConvertMakesNoFlushingCall.
const char kVietUtf8[] = "\xc4\x90\xc3\xa0 N\xc6\xb0.";
const char kBalticUtf8[] = "R\xc4\xabga \xc5\xa0";
const char kCentralUtf8[] = "\xc5\x81\xc3\xb3\x64\xc5\xba";
const char kWesternUtf8[] = "Caf\xc3\xa9 \xc3\x85";

// Charset value, the name GetCharsetName must give (written out by hand), and UTF-8 text
// representable in that charset.
const struct
{
    int value;
    const char *name, *sample;
} kCharsetTable[] = {
    {0, "GB18030", kChineseUtf8},     {1, "GB18030", kChineseUtf8},
    {77, "MACINTOSH", kWesternUtf8},  {128, "SHIFT_JIS", kJapaneseUtf8},
    {129, "CP949", kKoreanUtf8},      {130, "JOHAB", kKoreanUtf8},
    {134, "GB18030", kChineseUtf8},   {136, "BIG5-HKSCS", kJapaneseUtf8},
    {161, "Greek", kGreekUtf8},       {162, "CP1254", kTurkishUtf8},
    {163, "CP1258", kVietUtf8},       {177, "Hebrew", kHebrewUtf8},
    {178, "Arabic", kArabicUtf8},     {186, "CP1257", kBalticUtf8},
    {204, "CP1251", kCyrillicUtf8},   {222, "CP874", kThaiUtf8},
    {238, "CP1250", kCentralUtf8},    {250, "UTF-8", kChineseUtf8},
    {251, "UCS-2LE", kChineseUtf8},   {252, "UCS-2BE", kGreekUtf8},
    {253, "UCS-4LE", kArabicUtf8},    {254, "UCS-4BE", kKoreanUtf8},
    {255, "MACINTOSH", kWesternUtf8}, {7, "GB18030", kChineseUtf8},
    {-3, "GB18030", kChineseUtf8},    {1000, "GB18030", kChineseUtf8},
};

KrString bytesOf(const std::string& s)
{
    return KrString(s.data(), static_cast<int>(s.size()));
}
}  // namespace

TEST(KrTextCodecTest, EveryCharsetOfTheTableIsNamedAndConvertsAsIconvDoes)
{
    for (const auto& c : kCharsetTable)
    {
        const Cs charset = static_cast<Cs>(c.value);
        SCOPED_TRACE(c.value);
        EXPECT_EQ(KrTextCodec::GetCharsetName(charset), c.name);

        const std::string sample = c.sample;
        const auto expected = IconvOracle(c.name, "UTF-8", sample);
        ASSERT_TRUE(expected.has_value());
        KrTextCodec encoder(charset, KrTextCodec::UTF8_CHARSET);
        KrString encoded;
        ASSERT_TRUE(encoder.Convert(encoded, bytesOf(sample)));
        EXPECT_EQ(static_cast<const std::string&>(encoded), *expected);

        KrTextCodec decoder(KrTextCodec::UTF8_CHARSET, charset);
        KrString decoded;
        ASSERT_TRUE(decoder.Convert(decoded, encoded));
        EXPECT_EQ(decoded, sample.c_str());
    }
}

TEST(KrTextCodecTest, GetCharsetTestsNamesInOrder)
{
    const struct
    {
        const char* name;
        int expected;
    } cases[] = {
        {"macintosh", 77},
        {"Shift_JIS", 128},
        {"cp949", 129},
        {"johab", 130},
        {"GB18030", 134},
        {"gb2312", 134},
        {"x-gbk", 134},
        {"zh", 134},
        {"ZH_CN", 1},
        {"big5", 136},
        {"big5-hkscs:1999", 136},
        {"greek", 161},
        {"CP1254", 162},
        {"cp1258", 163},
        {"hebrew", 177},
        {"arabic", 178},
        {"cp1257", 186},
        {"windows-cp1251", 204},
        {"CP874", 222},
        {"cp1250", 238},
        {"utf-8", 250},
        {"UCS-2LE", 251},
        {"ucs-2be", 252},
        {"UCS-4LE", 253},
        {"ucs-4be", 254},
        {"latin1", 1},
        {"", 1},
        {"utf8", 1},
        // The first listed text that is contained decides.
        {"CP12501", 238},
        {"MACINTOSH-SHIFT_JIS", 77},
        {"GBK/BIG5", 134},
        {"UTF-8 UCS-2LE", 250},
    };
    for (const auto& c : cases) EXPECT_EQ(KrTextCodec::GetCharset(c.name), c.expected) << c.name;
    // Not inverse functions: the name of the default charset reads back as simplified Chinese.
    EXPECT_EQ(KrTextCodec::GetCharset(KrTextCodec::GetCharsetName(KrTextCodec::DEFAULT_CHARSET)),
              134);
}

TEST(KrTextCodecTest, FailedConversionsLeaveTheOutputUntouched)
{
    const struct
    {
        const char* label;
        Cs to, from;
        std::string input;
    } cases[] = {
        {"invalid UTF-8", KrTextCodec::UCS2LE_CHARSET, KrTextCodec::UTF8_CHARSET,
         "ab\xff"
         "cd"},
        {"truncated UTF-8", KrTextCodec::GB2312_CHARSET, KrTextCodec::UTF8_CHARSET, "ab\xe5\x8c"},
        {"truncated GB18030", KrTextCodec::UTF8_CHARSET, KrTextCodec::GB2312_CHARSET, "ab\xb1"},
        {"odd UCS-2 byte", KrTextCodec::UTF8_CHARSET, KrTextCodec::UCS2LE_CHARSET,
         std::string("a\0b", 3)},
        {"not in target", KrTextCodec::RUSSIAN_CHARSET, KrTextCodec::UTF8_CHARSET, kChineseUtf8},
    };
    for (const auto& c : cases)
    {
        KrTextCodec codec(c.to, c.from);
        ASSERT_TRUE(codec.IsOpen()) << c.label;
        KrString out("previous");
        out.SetCharset(KrTextCodec::THAI_CHARSET);
        EXPECT_FALSE(codec.Convert(out, bytesOf(c.input))) << c.label;
        EXPECT_EQ(out, "previous") << c.label;
        EXPECT_EQ(out.GetCharset(), KrTextCodec::THAI_CHARSET) << c.label;
    }
}

TEST(KrTextCodecTest, BadArgumentsFailCleanly)
{
    KrTextCodec closed;
    KrString out("kept");
    EXPECT_FALSE(closed.IsOpen());
    EXPECT_FALSE(closed.Convert(out, KrString("abc")));
    EXPECT_EQ(out, "kept");

    KrTextCodec unknown(KrString("UTF-8"), KrString("no-such-charset"));
    EXPECT_FALSE(unknown.IsOpen());
    EXPECT_FALSE(unknown.Convert(out, KrString("abc")));

    KrTextCodec codec(KrTextCodec::UTF8_CHARSET, KrTextCodec::UTF8_CHARSET);
    // Five bytes per input byte must fit an int: longer inputs are refused before any byte is
    // read, so the pointer may be short.
    for (const auto& [input, length] : {std::pair<const char*, int>{nullptr, 3},
                                        {"abc", -1},
                                        {"abc", INT_MAX},
                                        {"abc", INT_MAX / 5 + 1}})
        EXPECT_FALSE(codec.Convert(out, input, length)) << length;
    EXPECT_EQ(out, "kept");

    EXPECT_TRUE(codec.Convert(out, nullptr, 0));
    EXPECT_TRUE(out.IsEmpty());
}

TEST(KrTextCodecTest, ConvertTakesEveryInputByteAndKeepsTheOutputCharset)
{
    KrTextCodec codec(KrTextCodec::UCS2LE_CHARSET, KrTextCodec::UTF8_CHARSET);
    KrString out;
    out.SetCharset(KrTextCodec::GREEK_CHARSET);
    ASSERT_TRUE(codec.Convert(out, "a\0b", 3));
    EXPECT_EQ(static_cast<const std::string&>(out), std::string("a\0\0\0b\0", 6));
    EXPECT_EQ(out.GetCharset(), KrTextCodec::GREEK_CHARSET);

    ASSERT_TRUE(codec.Convert(out, KrString()));
    EXPECT_TRUE(out.IsEmpty());
}

TEST(KrTextCodecTest, LongTextsMatchIconvAcrossBufferRefills)
{
    // Megabytes of output, and a failure found only at the very end.
    std::string text;
    for (int i = 0; text.size() < (3u << 20); ++i) text += i % 5 == 0 ? kChineseUtf8 : "road 12, ";
    const auto expected = IconvOracle("UCS-4BE", "UTF-8", text);
    ASSERT_TRUE(expected.has_value());
    KrTextCodec codec(KrTextCodec::UCS4BE_CHARSET, KrTextCodec::UTF8_CHARSET);
    KrString out("old");
    ASSERT_TRUE(codec.Convert(out, bytesOf(text)));
    EXPECT_TRUE(static_cast<const std::string&>(out) == *expected);

    KrString kept("old");
    EXPECT_FALSE(codec.Convert(kept, bytesOf(text + "\xff")));
    EXPECT_EQ(kept, "old");
}

TEST(KrTextCodecTest, ConvertMayReadFromItsOwnOutput)
{
    KrTextCodec codec(KrTextCodec::UTF8_CHARSET, KrTextCodec::GB2312_CHARSET);
    const auto gb = IconvOracle("GB18030", "UTF-8", kChineseUtf8);
    ASSERT_TRUE(gb.has_value());
    KrString text = bytesOf(*gb + *gb + *gb);
    ASSERT_TRUE(codec.Convert(text, text));
    EXPECT_EQ(static_cast<const std::string&>(text),
              std::string(kChineseUtf8) + kChineseUtf8 + kChineseUtf8);
}

TEST(KrTextCodecTest, OpenClosesTheOldDescriptorAndAFailedOpenLeavesItClosed)
{
    KrTextCodec codec(KrTextCodec::UTF8_CHARSET, KrTextCodec::RUSSIAN_CHARSET);
    ASSERT_TRUE(codec.IsOpen());
    EXPECT_TRUE(codec.Open(KrTextCodec::UTF8_CHARSET, KrTextCodec::GREEK_CHARSET));
    KrString out;
    ASSERT_TRUE(codec.Convert(out, KrString("\xc1")));  // capital alpha in ISO-8859-7
    EXPECT_EQ(out, "\xce\x91");
    EXPECT_FALSE(codec.Open(KrString("UTF-8"), KrString("bogus")));
    EXPECT_FALSE(codec.IsOpen());
    codec.Close();  // closing a closed codec is harmless

    KrTextCodec copy;
    copy = KrTextCodec();  // assigning a closed codec keeps the target closed
    EXPECT_FALSE(copy.IsOpen());
}

TEST(KrTextCodecTest, ChangeCharsetConvertsAndRetagsOrLeavesTheStringAlone)
{
    const auto gb = IconvOracle("GB18030", "UTF-8", kChineseUtf8);
    ASSERT_TRUE(gb.has_value());
    KrString text = bytesOf(*gb);  // DEFAULT_CHARSET reads as GB18030
    ASSERT_TRUE(text.ChangeCharset(KrTextCodec::UTF8_CHARSET));
    EXPECT_EQ(text, kChineseUtf8);
    EXPECT_EQ(text.GetCharset(), KrTextCodec::UTF8_CHARSET);

    ASSERT_TRUE(text.ChangeCharset(KrTextCodec::UCS2BE_CHARSET));
    EXPECT_EQ(static_cast<const std::string&>(text),
              *IconvOracle("UCS-2BE", "UTF-8", kChineseUtf8));

    KrString cyrillic(kCyrillicUtf8);
    cyrillic.SetCharset(KrTextCodec::UTF8_CHARSET);
    EXPECT_FALSE(cyrillic.ChangeCharset(KrTextCodec::GREEK_CHARSET));  // not representable
    EXPECT_EQ(cyrillic, kCyrillicUtf8);
    EXPECT_EQ(cyrillic.GetCharset(), KrTextCodec::UTF8_CHARSET);
    EXPECT_TRUE(cyrillic.ChangeCharset(KrTextCodec::RUSSIAN_CHARSET));
    EXPECT_EQ(cyrillic, "\xcc\xee\xf1\xea\xe2\xe0");
}

TEST(KrTextCodecTest, ConvertMakesNoFlushingCall)
{
    // The CP1258 decoder holds back a final letter in case a tone mark follows; without the
    // flushing call it comes out only at the start of the next conversion.
    KrTextCodec codec(KrTextCodec::UTF8_CHARSET, KrTextCodec::VIETNAMESE_CHARSET);
    KrString out;
    ASSERT_TRUE(codec.Convert(out, KrString("Na")));
    EXPECT_EQ(out, "N");
    ASSERT_TRUE(codec.Convert(out, KrString(".")));
    EXPECT_EQ(out, "a.");
}

// ASCII runs between charsets that pass them through are written without iconv: cuts at the
// runs must not change a byte, nor split a character whose trailing bytes are ASCII (GB18030's
// four-byte forms end in a digit), nor hide an invalid or truncated one.
TEST(KrTextCodecTest, AsciiRunsConvertAsIconvDoes)
{
    const std::string run(40, 'r');
    const std::string gbFour = "\x81\x30\x81\x30";  // U+0080, digits as its second and fourth bytes
    const std::string gbTwo = "\xd6\xd0";           // U+4E2D
    const std::string gbLow = "\x81\x40";           // a two-byte form with an ASCII trailing byte
    const std::pair<const char*, std::string> utf8Cases[] = {
        {"plain", run},
        {"mixed", run + kChineseUtf8 + run + kGreekUtf8 + "x" + run.substr(0, 17) + kKoreanUtf8},
        {"edges", std::string(kChineseUtf8) + run + kChineseUtf8},
        {"short runs", std::string("ab") + kChineseUtf8 + "cd" + kGreekUtf8 + "e"},
        {"all bytes below 0x80",
         []
         {
             std::string s;
             for (int c = 0; c < 128; ++c) s += char(c);
             return s + s;
         }()},
        {"invalid lead before a run", run + "\xe4" + run},
        {"truncated at the end", run + "\xe4\xb8"},
        {"stray continuation", run + "\x80" + run},
    };
    const char* const unicodeForms[] = {"UCS-2LE",  "UCS-2BE", "UCS-4LE", "UCS-4BE",
                                        "UTF-16LE", "GB18030", "UTF-8"};
    for (const auto& [label, text] : utf8Cases)
        for (const char* to : unicodeForms)
        {
            KrTextCodec codec(to, "UTF-8");
            KrString out("old");
            const auto expected = IconvOracle(to, "UTF-8", text);
            ASSERT_EQ(codec.Convert(out, bytesOf(text)), expected.has_value())
                << label << " to " << to;
            EXPECT_EQ(static_cast<const std::string&>(out), expected ? *expected : "old")
                << label << " to " << to;
        }

    const std::pair<const char*, std::string> gbCases[] = {
        {"four-byte form cut by a run", run + gbFour + run + gbFour + gbFour + run},
        {"two-byte forms next to runs",
         gbTwo + run + gbLow + run.substr(0, 20) + gbLow + "@" + run},
        {"digits after a four-byte form", gbFour + "0123456789012345678901234567890123"},
        {"lead byte cut off at the end", run + "\x81"},
        {"lead byte before a run", run + "\x81\x30" + run},
    };
    for (const auto& [label, text] : gbCases)
        for (const char* to : {"UTF-8", "UCS-2LE", "UCS-4BE"})
        {
            KrTextCodec codec(to, "GB18030");
            KrString out("old");
            const auto expected = IconvOracle(to, "GB18030", text);
            ASSERT_EQ(codec.Convert(out, bytesOf(text)), expected.has_value())
                << label << " to " << to;
            EXPECT_EQ(static_cast<const std::string&>(out), expected ? *expected : "old")
                << label << " to " << to;
        }
}

namespace
{
// Converts in through codec and through the iconv oracle and reports the first disagreement:
// success, the bytes on success, the untouched output on failure. False on a disagreement.
bool convertsAsIconv(KrTextCodec& codec, IconvConverter& oracle, const std::string& in,
                     const std::string& label)
{
    KrString out("old");
    const bool converted = codec.Convert(out, bytesOf(in));
    const auto expected = oracle(in);
    const std::string& got = out;
    if (converted == expected.has_value() && got == (expected ? *expected : "old")) return true;
    std::string hex;
    for (unsigned char c : in.substr(0, 48))
        hex += "0123456789abcdef"[c >> 4], hex += "0123456789abcdef"[c & 15], hex += ' ';
    ADD_FAILURE() << label << ": codec " << (converted ? "converted" : "failed") << ", iconv "
                  << (expected ? "converted" : "failed") << " [" << hex << "]";
    return false;
}

std::string utf8Of(uint32_t c)  // also forms surrogates, which no encoder should
{
    std::string s;
    if (c < 0x80) return s += char(c);
    if (c < 0x800) return s += char(0xc0 | c >> 6), s += char(0x80 | (c & 0x3f));
    if (c < 0x10000)
        return s += char(0xe0 | c >> 12), s += char(0x80 | (c >> 6 & 0x3f)),
               s += char(0x80 | (c & 0x3f));
    s += char(0xf0 | c >> 18), s += char(0x80 | (c >> 12 & 0x3f));
    return s += char(0x80 | (c >> 6 & 0x3f)), s += char(0x80 | (c & 0x3f));
}

const char* const kUnicodeTargets[] = {"UCS-2LE",  "UCS-2BE",  "UCS-4LE",  "UCS-4BE",
                                       "UTF-16LE", "UTF-16BE", "UTF-32BE", "UTF-8"};
const char* const kGbSources[] = {"GB18030", "GBK", "CP936"};
const char* const kGbTargets[] = {"UTF-8", "UCS-2LE", "UCS-4LE", "UTF-16BE"};
}  // namespace

// Every byte pattern with a two- or three-byte UTF-8 lead, overlong and surrogate forms
// included: the characters decoded without iconv must be exactly those iconv takes.
TEST(KrTextCodecTest, EveryTwoAndThreeByteUtf8PatternConvertsAsIconvDoes)
{
    for (const char* to : kUnicodeTargets)
    {
        KrTextCodec codec(to, "UTF-8");
        IconvConverter oracle(to, "UTF-8");
        ASSERT_TRUE(codec.IsOpen() && oracle.IsOpen()) << to;
        int failures = 0;
        for (int lead = 0xc0; lead <= 0xef && failures < 5; ++lead)
            for (int second = 0x80; second <= 0xbf; ++second)
            {
                std::string two{char(lead), char(second)};
                if (lead < 0xe0)
                {
                    failures += !convertsAsIconv(codec, oracle, two + "z", to);
                    continue;
                }
                failures += !convertsAsIconv(codec, oracle, two, to);  // cut short
                for (int third = 0x80; third <= 0xbf; ++third)
                    failures += !convertsAsIconv(codec, oracle, two + char(third), to);
            }
    }
}

// Every two-byte code of the GB charsets, alone and before ASCII, against iconv: the decode
// table must equal iconv code for code, refused codes included.
TEST(KrTextCodecTest, EveryTwoByteGbCodeConvertsAsIconvDoes)
{
    for (const char* from : kGbSources)
        for (const char* to : kGbTargets)
        {
            const std::string label = std::string(from) + " to " + to;
            KrTextCodec codec(to, from);
            IconvConverter oracle(to, from);
            ASSERT_TRUE(codec.IsOpen() && oracle.IsOpen()) << label;
            int failures = 0;
            for (int lead = 0x81; lead <= 0xfe && failures < 5; ++lead)
                for (int trail = 0x40; trail <= 0xff; ++trail)
                {
                    const std::string code{char(lead), char(trail)};
                    failures += !convertsAsIconv(codec, oracle, code, label);
                    failures += !convertsAsIconv(codec, oracle, "A" + code + "7", label);
                }
        }
}

// Seeded random texts mixing ASCII runs (short, and long enough to be copied in bulk), every
// length of UTF-8 character, and now and then an invalid or cut-off sequence: wherever the
// codec hands over to iconv and back, the result must be that of one iconv call.
TEST(KrTextCodecTest, RandomMixedUtf8ConvertsAsIconvDoes)
{
    std::mt19937 random(20261123);
    auto below = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    auto text = [&]
    {
        std::string s;
        const uint32_t tokens = 1 + below(40);
        for (uint32_t t = 0; t < tokens; ++t)
        {
            const uint32_t kind = below(100);
            if (kind < 20)
                s.append(below(8) == 0 ? 60 + below(80) : 1 + below(5), char('0' + below(70)));
            else if (kind < 40)
                s += utf8Of(0x80 + below(0x780));
            else if (kind < 75)
            {
                uint32_t c = 0x800 + below(0xf800);
                if (c >= 0xd800 && c <= 0xdfff) c -= 0x800;
                s += utf8Of(below(10) == 0 ? 0xff00 + below(0x100) : c);
            }
            else if (kind < 97)
                s += utf8Of(0x10000 + below(0x100000));
            else
                switch (below(6))
                {
                    case 0:
                        s += char(0x80 + below(0x40));
                        break;  // stray continuation
                    case 1:
                        s += char(0xc0 + below(2)), s += char(0x80 + below(0x40));
                        break;  // overlong
                    case 2:
                        s += char(0xf5 + below(11));
                        break;  // never a lead
                    case 3:
                        s += utf8Of(0xd800 + below(0x800));
                        break;  // surrogate
                    case 4:
                        s += char(0xe0), s += char(0x80 + below(0x20)), s += char(0x80);
                        break;  // overlong
                    default:
                        s += utf8Of(0x800 + below(0x10000)).substr(0, 1 + below(2));
                        break;  // cut
                }
        }
        return s;
    };
    int converted = 0;
    for (int i = 0; i < 1500; ++i)
    {
        const std::string s = text();
        for (const char* to : kUnicodeTargets)
        {
            KrTextCodec codec(to, "UTF-8");
            IconvConverter oracle(to, "UTF-8");
            ASSERT_TRUE(convertsAsIconv(codec, oracle, s,
                                        std::string("text ") + std::to_string(i) + " to " + to));
            converted += oracle(s).has_value();
        }
    }
    // Both outcomes must be well represented for the comparison to mean something.
    const int total = 1500 * static_cast<int>(std::size(kUnicodeTargets));
    EXPECT_GT(converted, total / 5);
    EXPECT_LT(converted, total - total / 5);
}

// The same for the GB charsets: two-byte codes from the whole lead and trail range, four-byte
// forms (valid and not), bytes that never start a character and a lead cut off at the end.
TEST(KrTextCodecTest, RandomMixedGbConvertsAsIconvDoes)
{
    std::mt19937 random(1123);
    auto below = [&](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    // Four-byte forms only for GB18030, which has them.
    auto text = [&](bool fourByteForms)
    {
        std::string s;
        const uint32_t tokens = 1 + below(40);
        for (uint32_t t = 0; t < tokens; ++t)
        {
            const uint32_t kind = below(100);
            if (kind < 20)
                s.append(below(8) == 0 ? 60 + below(80) : 1 + below(5), char('0' + below(70)));
            else if (kind < 99 && (kind < 75 || !fourByteForms))
                s += char(0x81 + below(0x7e)),
                    s += char(0x40 + below(below(100) == 0 ? 0xc0 : 0xbf));
            else if (kind < 99)
            {
                // Mostly in the two ranges that are assigned.
                const uint32_t first = below(20) == 0 ? 0x81 + below(0x7e)
                                       : below(2)     ? 0x81 + below(3)
                                                      : 0x90 + below(4);
                s += char(first), s += char(0x30 + below(10)), s += char(0x81 + below(0x7e)),
                    s += char(0x30 + below(10));
            }
            else
                s += char(below(2) ? 0x80 : 0xff);
        }
        if (below(40) == 0) s += char(0x81 + below(0x7e));
        return s;
    };
    int converted = 0, total = 0;
    for (int i = 0; i < 1000; ++i)
        for (const char* from : kGbSources)
        {
            const std::string s = text(from == kGbSources[0]);
            for (const char* to : kGbTargets)
            {
                KrTextCodec codec(to, from);
                IconvConverter oracle(to, from);
                ASSERT_TRUE(convertsAsIconv(
                    codec, oracle, s, "text " + std::to_string(i) + " from " + from + " to " + to));
                converted += oracle(s).has_value();
                ++total;
            }
        }
    EXPECT_GT(converted, total / 5);
    EXPECT_LT(converted, total - total / 5);
}
