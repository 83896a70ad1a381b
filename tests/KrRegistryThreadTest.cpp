#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Base/ZoBase.h"
#include "ScopedEnvironment.h"
#include "ScratchDir.h"

using namespace KRN;

// The root registry is created by whichever thread asks first; every thread must see the same
// fully loaded object, and resource texts load once however many threads ask at the same time.
TEST(KrRegistryThreadTest, RootAndResourcesLoadOnceUnderConcurrentFirstUse)
{
    const ScratchDir dir;
    writeFile(dir.path("krn.xml"),
              "<krn><dpi>120</dpi><resource type=\"external\">res.xml</resource></krn>");
    writeFile(dir.path("res.xml"),
              "<r><section beginid=\"5\"><res>five</res><res>six</res></section></r>");
    const ScopedEnvironment environment("KRN_CONFIG_DIR", dir.root().c_str());

    std::atomic<bool> go{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    std::vector<KrRegistry*> seen(8, nullptr);
    for (int t = 0; t < 8; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                while (!go.load()) std::this_thread::yield();
                seen[static_cast<size_t>(t)] = &KrRegistry::Root();
                for (int i = 0; i < 200; ++i)
                {
                    KrString text;
                    if (krdpi() != 120 || text.LoadString(5 + i % 2) ||
                        text != (i % 2 ? "six" : "five"))
                        ++failures;
                }
            });
    }
    go.store(true);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
    for (KrRegistry* registry : seen) EXPECT_EQ(registry, seen[0]);
}
