#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "Base/ZoBase.h"
#include "RunThreads.h"

using namespace KRN;

// Work keeps no state between calls: four threads with different keys, key lengths and
// directions, all at once, each get what the same call gives alone.
TEST(KrCompressThreadTest, DesWorkRunsOnSeveralThreadsAtOnce)
{
    const auto work = [](int t, std::string& out)
    {
        std::string input(4096, '\0'), key(t % 2 ? 16 : 8, static_cast<char>('k' + t));
        for (size_t i = 0; i < input.size(); ++i) input[i] = static_cast<char>(i * (t + 3));
        out.resize(input.size());
        KrDesEncrypt::Work(&out[0], &input[0], static_cast<int>(input.size()), key.data(),
                           static_cast<int>(key.size()),
                           t < 2 ? KrDesEncrypt::Encrypt : KrDesEncrypt::Decrypt);
    };
    std::string expected[4];
    for (int t = 0; t < 4; ++t) work(t, expected[t]);
    std::atomic<int> mismatches{0};
    runThreads(4,
               [&](int t)
               {
                   std::string out;
                   for (int round = 0; round < 50; ++round)
                   {
                       work(t, out);
                       mismatches += out != expected[t];
                   }
               });
    EXPECT_EQ(mismatches, 0);
}
