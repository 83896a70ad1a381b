#include "Base/Platform/KrPlatformMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace KRN::Platform
{

void AdviseLargePages(void* block, size_t bytes)
{
#ifdef MADV_HUGEPAGE
    madvise(block, bytes, MADV_HUGEPAGE);
#else
    (void)block;
    (void)bytes;
#endif
}

void PrepareForWriting(void* block, size_t bytes)
{
#ifdef MADV_POPULATE_WRITE
    // madvise takes whole pages: the ones the block covers entirely.
    static const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto first = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t from = (first + page - 1) & ~(page - 1);
    const std::uintptr_t to = (first + bytes) & ~(page - 1);
    if (from < to) madvise(reinterpret_cast<void*>(from), to - from, MADV_POPULATE_WRITE);
#else
    (void)block;
    (void)bytes;
#endif
}

}  // namespace KRN::Platform
