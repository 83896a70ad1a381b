// Memory hints to the operating system.
#pragma once

#include <cstddef>

namespace KRN::Platform
{

// Asks for the range to be backed by large pages; a hint only, ignored where unsupported.
void AdviseLargePages(void* block, size_t bytes);

}  // namespace KRN::Platform
