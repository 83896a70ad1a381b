#include <gtest/gtest.h>

#include <atomic>

#include "Base/ZoBase.h"
#include "RunThreads.h"
#include "ScopedEnvironment.h"
#include "ScratchDir.h"

using namespace KRN;

// The root registry is created by whichever thread asks first; every thread must see the same
// fully loaded object, and resource texts load once however many threads ask at the same time.
// The root must not exist yet: ctest runs each test in a process of its own.
TEST(KrRegistryThreadTest, RootAndResourcesLoadOnceUnderConcurrentFirstUse)
{
    const ScratchDir dir;
    writeFile(dir.path("krn.xml"),
              "<krn><dpi>120</dpi><resource type=\"external\">res.xml</resource></krn>");
    writeFile(dir.path("res.xml"),
              "<r><section beginid=\"5\"><res>five</res><res>six</res></section></r>");
    const ScopedEnvironment environment("KRN_CONFIG_DIR", dir.root().c_str());
    constexpr int kThreads = 8;
    std::atomic<int> ready{0}, failures{0};
    std::vector<KrRegistry*> seen(kThreads, nullptr);
    runThreads(kThreads,
               [&](int t)
               {
                   for (++ready; ready.load() < kThreads;) std::this_thread::yield();
                   seen[static_cast<size_t>(t)] = &KrRegistry::Root();
                   for (int i = 0; i < 200; ++i)
                   {
                       KrString text;
                       failures += krdpi() != 120 || text.LoadString(5 + i % 2) ||
                                   text != (i % 2 ? "six" : "five");
                   }
               });
    EXPECT_EQ(failures.load(), 0);
    for (KrRegistry* registry : seen) EXPECT_EQ(registry, seen[0]);
}
