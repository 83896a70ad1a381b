#include "Base/Platform/KrPlatformMemory.h"

#include <sys/mman.h>

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

}  // namespace KRN::Platform
