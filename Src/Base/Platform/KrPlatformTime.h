// Clocks and the calendar conversion of this platform, for KrTime: the wall clock in seconds,
// its conversion to local broken-down time, strftime, the millisecond tick counter and the
// system time as a file time.
#pragma once

#include <cstddef>
#include <ctime>

namespace KRN::Platform
{

// Seconds since 1 January 1970 00:00 UTC.
long long CurrentUnixTime();
// Local broken-down time of unixTime (localtime_r). Refuses values before 1970 and after the
// year 3000, the range the library's time conversion accepts on every platform.
bool ToLocalTime(long long unixTime, std::tm& fields);
// strftime into buffer; 0 when the text is empty or does not fit.
size_t FormatTime(char* buffer, size_t size, const char* format, const std::tm& fields);
// Milliseconds of CLOCK_MONOTONIC, truncated to 32 bits: wraps after about 49.7 days.
unsigned int TickCountMs();
// CLOCK_REALTIME in 100-ns units since 1 January 1601 UTC.
unsigned long long SystemTimeAsFileTime();
// Processor time used by the process, in clock() ticks (CLOCKS_PER_SEC per second); -1 when
// the system cannot tell.
std::clock_t ProcessorClock();

}  // namespace KRN::Platform
