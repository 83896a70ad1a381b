// Process and system queries of this platform: the ANSI code page derived from the locale, the
// process id, dynamic libraries, screen metrics from a host hook, and memory figures.
#pragma once

namespace KRN::Platform
{

// The code page matching the codeset of the locale named by LC_ALL, else LC_CTYPE, else LANG
// (936 for GB18030/GBK/GB2312, 950 for BIG5*, 932 for SJIS/SHIFT_JIS, 949 for EUC-KR,
// 125x for CP125x, 874 for TIS-620); 1252 for anything else, UTF-8 included.
int AnsiCodePage();
// Code page of one locale name such as "zh_CN.GB18030" or "ru_RU.CP1251@euro".
int CodePageOfLocale(const char* locale);

int CurrentProcessId();

// The value of an environment variable, or null when it is not set.
const char* EnvironmentValue(const char* name);

// dlopen(RTLD_NOW) / dlsym / dlclose; null or false on failure, null arguments and an empty
// library name included.
void* OpenLibrary(const char* path);
void* LibrarySymbol(void* library, const char* name);
bool CloseLibrary(void* library);

// Screen metrics come from the host: without a hook every metric is 0.
using ScreenMetricHook = int (*)(int index);
void SetScreenMetricHook(ScreenMetricHook hook);
int ScreenMetric(int index);

// Memory figures in bytes: page file means RAM + swap.
struct MemoryFigures
{
    unsigned long long availablePhysical = 0;
    unsigned long long totalPhysical = 0;
    unsigned long long availablePageFile = 0;
    unsigned long long totalPageFile = 0;
};
bool QueryMemory(MemoryFigures& figures);

// The library's own pseudo-random sequence: the numbers srand(seed)/rand() would give, drawn from
// a private state so that the caller's rand() sequence is left alone; and the wall clock in whole
// seconds since 1970.
void SeedRandom(unsigned int seed);
int NextRandom();  // 0 to RAND_MAX, at least 32767
long long SecondsSinceEpoch();

}  // namespace KRN::Platform
