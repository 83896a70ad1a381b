#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Base/ZoBase.h"
#include "KrIconvOracle.h"

using namespace KRN;

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
    for (const char* from : sources)
    {
        const auto converted = KrTest::IconvOracle("UTF-8", from, text);
        ASSERT_TRUE(converted.has_value()) << from;
        expected.push_back(*converted);
    }

    std::atomic<int> ready{0}, matches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t)
        threads.emplace_back(
            [&, t]
            {
                KrTextCodec codec(KrString("UTF-8"), KrString(sources[t % 3]));
                ++ready;
                while (ready < 6) std::this_thread::yield();
                KrString out;
                if (codec.Convert(out, KrString(text.data(), static_cast<int>(text.size()))) &&
                    static_cast<const std::string&>(out) == expected[t % 3])
                    ++matches;
            });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(matches, 6);
}
