// The printf growth loop shared by KrString::Format, KrString::FormatV and krtrace.
#pragma once

#include <cstdarg>
#include <string>

namespace KRN::Detail
{

// Formats into out, starting with `capacity` bytes and growing until the whole text fits:
// a truncated (negative) result doubles the capacity, a longer result retries with exactly
// that length. Output is never truncated. When the text cannot fit in an int-sized string,
// or the format itself is rejected at that size, out ends empty.
void FormatGrowing(std::string& out, size_t capacity, const char* format, va_list args);

}  // namespace KRN::Detail
