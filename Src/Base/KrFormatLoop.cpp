#include "KrFormatLoop.h"

#include <climits>
#include <cstdio>

namespace KRN::Detail
{

namespace
{
constexpr size_t kMaxCapacity = INT_MAX - 1;

int formatOnce(std::string& out, size_t capacity, const char* format, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    out.resize(capacity);
    // capacity + 1: the byte the string keeps for its terminator takes vsnprintf's zero.
    const int written = std::vsnprintf(&out[0], capacity + 1, format, copy);
    va_end(copy);
    return written;
}
}  // namespace

void FormatGrowing(std::string& out, size_t capacity, const char* format, va_list args)
{
    for (;;)
    {
        const int written = formatOnce(out, capacity, format, args);
        if (written >= 0 && static_cast<size_t>(written) <= capacity)
        {
            out.resize(static_cast<size_t>(written));
            return;
        }
        if (capacity >= kMaxCapacity)
        {
            out.clear();
            return;
        }
        const size_t wanted = written < 0 ? capacity * 2 : static_cast<size_t>(written);
        capacity = wanted < kMaxCapacity ? wanted : kMaxCapacity;
    }
}

void FormatInto(std::string& out, size_t capacity, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    FormatGrowing(out, capacity, format, args);
    va_end(args);
}

}  // namespace KRN::Detail
