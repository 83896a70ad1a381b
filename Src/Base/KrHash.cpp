#include "Base/KrHash.h"

#include <cstdlib>
#include <new>

#include "Base/Platform/KrPlatformMemory.h"

namespace KRN
{

namespace Detail
{

namespace
{
constexpr size_t kLargePage = size_t(2) << 20;
// Below this a table lives in ordinary heap blocks.
constexpr size_t kLargeTable = 2 * kLargePage;

size_t roundedToLargePages(size_t bytes)
{
    return (bytes + kLargePage - 1) / kLargePage * kLargePage;
}
}  // namespace

void* AllocateTable(size_t bytes)
{
    if (bytes < kLargeTable) return ::operator new(bytes);
    const size_t rounded = roundedToLargePages(bytes);
    void* block = std::aligned_alloc(kLargePage, rounded);
    if (block == nullptr) throw std::bad_alloc();
    Platform::AdviseLargePages(block, rounded);
    return block;
}

void FreeTable(void* block, size_t bytes)
{
    if (bytes < kLargeTable)
        ::operator delete(block);
    else
        std::free(block);
}

}  // namespace Detail

template class KrHash<KrString>;
template class KrHash<void*>;
template class KrArray<KrHash<KrString>>;

}  // namespace KRN
