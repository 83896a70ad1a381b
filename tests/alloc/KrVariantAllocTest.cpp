// Variants of the small kinds never touch the heap. This program replaces the global operator
// new to count allocations, which is why it is a program of its own: the replacement would
// otherwise apply to every other test.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "Base/ZoBase.h"

namespace
{
std::atomic<long> g_allocations{0};

void* allocate(std::size_t size)
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size != 0 ? size : 1);
}
// Out of line, so that the compiler does not pair an inlined free with operator new.
__attribute__((noinline)) void release(void* p)
{
    std::free(p);
}
}  // namespace

// One line each: the replacements differ only in their signatures.
// clang-format off
void* operator new(std::size_t size) { if (void* p = allocate(size)) return p; throw std::bad_alloc(); }
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { release(p); }
// clang-format on

using namespace KRN;

namespace
{

// Allocations made while work runs.
template <class Work>
long allocationsDuring(Work work)
{
    const long before = g_allocations.load();
    work();
    return g_allocations.load() - before;
}

TEST(KrVariantAlloc, SmallKindsNeverAllocate)
{
    const long count = allocationsDuring(
        []
        {
            // clang-format off
            KrVariant values[] = {KrVariant(), KrVariant(static_cast<unsigned char>(200)),
                                  KrVariant(static_cast<short>(-300)), KrVariant(123456),
                                  KrVariant(-9876543210LL), KrVariant(2.5f), KrVariant(1234.5625),
                                  KrVariant(KrTime(45000.5))};
            // clang-format on
            long long sum = 0;
            for (const KrVariant& value : values)
            {
                KrVariant copy(value), assigned;
                assigned = copy;
                assigned = 7;  // every kind replaced by a setter, and a setter's kind replaced
                assigned = value;
                KrVariant moved(std::move(copy));
                sum += value.ToInt() + value.ToLong() + static_cast<long long>(value.ToDouble());
                sum += (value == moved) + (value < assigned) + (value != assigned);
                // Texts up to the string's inline capacity stay there.
                if (value.GetType() != KrVariant::Time && value.GetType() != KrVariant::Long)
                    sum += value.ToString().GetLength();
            }
            EXPECT_NE(sum, 0);
        });
    EXPECT_EQ(count, 0);
    // The counter itself works: a string beyond any inline capacity, and a block, allocate.
    const unsigned char bytes[] = {1, 2, 3};
    EXPECT_GT(allocationsDuring([] { KrVariant v(KrString("longer than any inline text")); }), 0);
    EXPECT_GT(allocationsDuring([&] { KrVariant v(bytes, 3); }), 0);
}

}  // namespace
