#include "Base/Platform/KrPlatformTime.h"

#include <time.h>

namespace KRN::Platform
{

namespace
{
// 23:59:59, 31 December 3000 UTC: the last second the 64-bit runtime conversion accepts.
const long long kLastConvertibleSecond = 32535215999LL;
// Seconds from 1 January 1601 to 1 January 1970.
const unsigned long long kFileTimeEpochOffset = 11644473600ULL;
}  // namespace

long long CurrentUnixTime()
{
    return static_cast<long long>(::time(nullptr));
}

bool ToLocalTime(long long unixTime, std::tm& fields)
{
    if (unixTime < 0 || unixTime > kLastConvertibleSecond) return false;
    const time_t value = static_cast<time_t>(unixTime);
    return ::localtime_r(&value, &fields) != nullptr;
}

size_t FormatTime(char* buffer, size_t size, const char* format, const std::tm& fields)
{
    if (buffer == nullptr || size == 0 || format == nullptr) return 0;
    return std::strftime(buffer, size, format, &fields);
}

unsigned int TickCountMs()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const unsigned long long ms = static_cast<unsigned long long>(now.tv_sec) * 1000ULL +
                                  static_cast<unsigned long long>(now.tv_nsec) / 1000000ULL;
    return static_cast<unsigned int>(ms);
}

unsigned long long SystemTimeAsFileTime()
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<unsigned long long>(now.tv_sec) + kFileTimeEpochOffset) * 10000000ULL +
           static_cast<unsigned long long>(now.tv_nsec) / 100ULL;
}

std::clock_t ProcessorClock()
{
    return std::clock();
}

}  // namespace KRN::Platform
