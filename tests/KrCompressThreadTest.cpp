#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

// Work keeps no state between calls: four threads with different keys, key lengths and
// directions, all at once, each get what the same call gives alone.
TEST(KrCompressThreadTest, DesWorkRunsOnSeveralThreadsAtOnce)
{
    struct Job
    {
        std::string key;
        KrDesEncrypt::WorkMode mode;
        std::string input, expected;
    };
    std::vector<Job> jobs;
    for (int t = 0; t < 4; ++t)
    {
        Job job{std::string(t % 2 ? 16 : 8, static_cast<char>('k' + t)),
                t < 2 ? KrDesEncrypt::Encrypt : KrDesEncrypt::Decrypt, std::string(4096, '\0'), ""};
        for (size_t i = 0; i < job.input.size(); ++i) job.input[i] = static_cast<char>(i * (t + 3));
        job.expected.resize(job.input.size());
        KrDesEncrypt::Work(&job.expected[0], &job.input[0], static_cast<int>(job.input.size()),
                           job.key.data(), static_cast<int>(job.key.size()), job.mode);
        jobs.push_back(job);
    }

    std::atomic<bool> go{false};
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (Job& job : jobs)
    {
        threads.emplace_back(
            [&go, &mismatches, &job]
            {
                while (!go) std::this_thread::yield();
                std::string out(job.input.size(), '\0');
                for (int round = 0; round < 50; ++round)
                {
                    KrDesEncrypt::Work(&out[0], &job.input[0], static_cast<int>(job.input.size()),
                                       job.key.data(), static_cast<int>(job.key.size()), job.mode);
                    if (out != job.expected) ++mismatches;
                }
            });
    }
    go = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(mismatches, 0);
}
