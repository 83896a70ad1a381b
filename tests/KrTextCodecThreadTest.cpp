#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Base/ZoBase.h"
#include "KrIconvOracle.h"
#include "RunThreads.h"

using namespace KRN;

using KrTest::IconvOracle;

// The decode table of a GB charset is built on first use: threads that all convert at once
// from charsets none of them used before must each get exactly what iconv gives.
TEST(KrTextCodecThreadTest, FirstConversionsFromGbCharsetsRunOnSeveralThreadsAtOnce)
{
    // Two-byte codes from all over the table that every one of the charsets has.
    const char* const sources[] = {"GBK", "CP936", "GB18030"};
    KrTest::IconvConverter gbk("UTF-8", "GBK"), cp936("UTF-8", "CP936");
    std::string text;
    for (int lead = 0x81; lead <= 0xfe; lead += 3)
        for (int trail = 0x40; trail <= 0xfe; trail += 5)
        {
            const std::string code{char(lead), char(trail), ' '};
            if (gbk(code) && cp936(code)) text += code;
        }
    ASSERT_GT(text.size(), 3000u);
    std::vector<std::string> expected;
    for (const char* from : sources) expected.push_back(*IconvOracle("UTF-8", from, text));
    std::atomic<int> ready{0}, matches{0};
    runThreads(6,
               [&](int t)
               {
                   KrTextCodec codec(KrString("UTF-8"), KrString(sources[t % 3]));
                   for (++ready; ready < 6;) std::this_thread::yield();
                   KrString out;
                   matches += codec.Convert(out, KrString(text)) && out == expected[t % 3];
               });
    EXPECT_EQ(matches, 6);
}

// KrStringUTF8 converts with two process-wide converters, each opened by its first use with
// that use's charset (nothing else in this program uses them). Threads that start at once and
// pass charsets that change from call to call must all get what the first call's charset gives:
// invalid input an empty text, a zero cutting the text, and trailing zeros dropped on the way
// back.
TEST(KrTextCodecThreadTest, KrStringUTF8KeepsTheCharsetOfItsFirstUseOnEveryThread)
{
    const KrTextCodec::Charset charsets[] = {
        KrTextCodec::RUSSIAN_CHARSET, KrTextCodec::EASTEUROPE_CHARSET, KrTextCodec::TURKISH_CHARSET,
        KrTextCodec::BALTIC_CHARSET};
    const std::string in[] = {"\xcc\xee\xf1", "a\x98", std::string("ab\0cd", 5)};
    const std::string utf8[] = {"\xd0\x9c\xd0\xbe\xd1\x81", "\xc4\x8c\xc3\xae",
                                std::string("xy\0\0", 4)};
    std::mutex serialised;     // the converters are shared: calls must not overlap
    static std::string first;  // like the converters, kept for the process (--gtest_repeat)
    std::vector<std::string> got[4];
    std::atomic<int> ready{0};
    runThreads(4,
               [&](int t)
               {
                   for (++ready; ready < 4;) std::this_thread::yield();  // all start at once
                   for (int i = 0; i < 3; ++i)
                   {
                       const KrTextCodec::Charset charset = charsets[(t + i) % 4];
                       const std::lock_guard<std::mutex> lock(serialised);
                       if (first.empty()) first = KrTextCodec::GetCharsetName(charset);
                       got[t].push_back(KrStringUTF8(KrString(in[i]), charset));
                       KrStringUTF8 text;
                       text.assign(utf8[i]);
                       got[t].push_back(text.ToString(charset));
                   }
               });
    std::vector<std::string> expected;
    for (int i = 0; i < 3; ++i)
    {
        std::string decoded = IconvOracle("UTF-8", first, in[i]).value_or(""),
                    encoded = IconvOracle(first, "UTF-8", utf8[i]).value_or("");
        expected.push_back(decoded.substr(0, decoded.find('\0')));
        expected.push_back(encoded.erase(encoded.find_last_not_of('\0') + 1));
    }
    for (int t = 0; t < 4; ++t) EXPECT_EQ(got[t], expected) << "thread " << t << ", " << first;
}
