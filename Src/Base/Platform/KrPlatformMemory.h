// Memory hints to the operating system.
#pragma once

#include <cstddef>

namespace KRN::Platform
{

// Asks for the range to be backed by large pages; a hint only, ignored where unsupported.
void AdviseLargePages(void* block, size_t bytes);

// Makes the pages of a block that is about to be written in full present at once, instead of one
// page fault per page as the writes reach them. Worth it for blocks of megabytes; a hint only,
// ignored where unsupported. (Large pages were measured too: on virtual machines whose host backs
// memory lazily they made a fresh block slower to fill, not faster.)
void PrepareForWriting(void* block, size_t bytes);

}  // namespace KRN::Platform
