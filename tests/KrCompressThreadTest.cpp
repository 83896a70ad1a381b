#include <gtest/gtest.h>

#include <string>

#include "Base/ZoBase.h"
#include "RunThreads.h"

using namespace KRN;

// Work keeps no state between calls: four threads with different keys, key lengths and
// directions, all at once, each get what the same call gives alone.
TEST(KrCompressThreadTest, DesWorkRunsOnSeveralThreadsAtOnce)
{
    const auto work = [](int t)
    {
        std::string text(4096, '\0'), key(t % 2 ? 16 : 8, static_cast<char>('k' + t));
        for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * (t + 3));
        KrDesEncrypt::Work(&text[0], &text[0], 4096, key.data(), static_cast<int>(key.size()),
                           t < 2 ? KrDesEncrypt::Encrypt : KrDesEncrypt::Decrypt);
        return text;
    };
    std::string expected[4];
    for (int t = 0; t < 4; ++t) expected[t] = work(t);
    runThreads(4,
               [&](int t)
               {
                   for (int round = 0; round < 50; ++round) EXPECT_EQ(work(t), expected[t]);
               });
}
