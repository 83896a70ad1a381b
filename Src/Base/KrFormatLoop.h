// printf into a growing string: the one loop behind KrString::Format, krtrace and every other
// place the library formats a text of unknown length.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

#include "Base/KrDefs.h"

namespace KRN::Detail
{

// A first capacity that keeps a short text in the inline storage of a std::string (at least
// 15 characters in the common standard libraries), so formatting it allocates nothing.
constexpr size_t kInlineFormatCapacity = 15;

// Formats into out, starting with `capacity` bytes and growing until the whole text fits:
// a truncated (negative) result doubles the capacity, a longer result retries with exactly
// that length. Output is never truncated. When the text cannot fit in an int-sized string,
// or the format itself is rejected at that size, out ends empty.
void FormatGrowing(std::string& out, size_t capacity, const char* format, va_list args);

// FormatGrowing with the arguments given in place.
void FormatInto(std::string& out, size_t capacity, const char* format, ...) KRN_PRINTF_LIKE(3, 4);

// printf of one value into a new text (a std::string or a class derived from it); a short text
// stays in the string's inline storage.
template <class Text, class Value>
Text FormatValue(const char* format, Value value)
{
    Text text;
    FormatInto(text, kInlineFormatCapacity, format, value);
    return text;
}

}  // namespace KRN::Detail
