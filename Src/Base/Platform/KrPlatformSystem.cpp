#include "Base/Platform/KrPlatformSystem.h"

#include <dlfcn.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

namespace KRN::Platform
{

namespace
{
constexpr int kWesternCodePage = 1252;

const char* localeName()
{
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"})
    {
        const char* value = std::getenv(variable);
        if (value != nullptr && value[0] != '\0') return value;
    }
    return "";
}

// The codeset of "language_TERRITORY.codeset@modifier", upper-cased, without '-' and '_'.
std::string normalisedCodeset(const char* locale)
{
    const char* dot = std::strchr(locale, '.');
    std::string codeset;
    if (dot == nullptr) return codeset;
    for (const char* c = dot + 1; *c != '\0' && *c != '@'; ++c)
    {
        if (*c == '-' || *c == '_') continue;
        codeset += (*c >= 'a' && *c <= 'z') ? static_cast<char>(*c - 'a' + 'A') : *c;
    }
    return codeset;
}

bool startsWith(const std::string& text, const char* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

std::atomic<ScreenMetricHook> g_screenMetricHook{nullptr};
}  // namespace

int CodePageOfLocale(const char* locale)
{
    if (locale == nullptr) return kWesternCodePage;
    const std::string codeset = normalisedCodeset(locale);
    if (codeset == "GB18030" || codeset == "GBK" || codeset == "GB2312") return 936;
    if (startsWith(codeset, "BIG5")) return 950;
    if (codeset == "SJIS" || codeset == "SHIFTJIS") return 932;
    if (codeset == "EUCKR") return 949;
    if (codeset == "TIS620") return 874;
    if (codeset.size() == 6 && startsWith(codeset, "CP125") && codeset[5] >= '0' &&
        codeset[5] <= '8')
        return 1250 + (codeset[5] - '0');
    return kWesternCodePage;
}

int AnsiCodePage()
{
    return CodePageOfLocale(localeName());
}

int CurrentProcessId()
{
    return static_cast<int>(getpid());
}

const char* EnvironmentValue(const char* name)
{
    return name != nullptr ? std::getenv(name) : nullptr;
}

void* OpenLibrary(const char* path)
{
    // An empty name would give the running program itself: it names no library.
    if (path == nullptr || *path == '\0') return nullptr;
    return dlopen(path, RTLD_NOW);
}

void* LibrarySymbol(void* library, const char* name)
{
    if (library == nullptr || name == nullptr) return nullptr;
    return dlsym(library, name);
}

bool CloseLibrary(void* library)
{
    return library != nullptr && dlclose(library) == 0;
}

void SetScreenMetricHook(ScreenMetricHook hook)
{
    g_screenMetricHook.store(hook, std::memory_order_release);
}

int ScreenMetric(int index)
{
    ScreenMetricHook hook = g_screenMetricHook.load(std::memory_order_acquire);
    return hook != nullptr ? hook(index) : 0;
}

bool QueryMemory(MemoryFigures& figures)
{
    struct sysinfo info;
    if (sysinfo(&info) != 0)
    {
        figures = MemoryFigures();
        return false;
    }
    const unsigned long long unit = info.mem_unit != 0 ? info.mem_unit : 1;
    figures.availablePhysical = (info.freeram + info.bufferram) * unit;
    figures.totalPhysical = info.totalram * unit;
    figures.availablePageFile = (info.freeram + info.bufferram + info.freeswap) * unit;
    figures.totalPageFile = (info.totalram + info.totalswap) * unit;
    return true;
}

namespace
{
// glibc's rand() is random() over a 128-byte state; the same generator on a state of our own gives
// the same numbers for the same seed without moving the process's rand() sequence.
struct PrivateGenerator
{
    std::mutex lock;
    char state[128] = {};
    random_data data = {};

    PrivateGenerator() { initstate_r(1, state, sizeof state, &data); }
};

PrivateGenerator& generator()
{
    static PrivateGenerator instance;
    return instance;
}
}  // namespace

void SeedRandom(unsigned int seed)
{
    PrivateGenerator& g = generator();
    std::lock_guard<std::mutex> guard(g.lock);
    srandom_r(seed, &g.data);
}

int NextRandom()
{
    PrivateGenerator& g = generator();
    std::lock_guard<std::mutex> guard(g.lock);
    int32_t value = 0;
    random_r(&g.data, &value);
    return value;
}

long long SecondsSinceEpoch()
{
    return static_cast<long long>(std::time(nullptr));
}

}  // namespace KRN::Platform
