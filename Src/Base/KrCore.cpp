#include "Base/KrCore.h"

#include <atomic>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "Base/Platform/KrPlatformTrace.h"
#include "KrFormatLoop.h"

namespace KRN
{

namespace
{
constexpr int kDefaultDpi = 72;
std::atomic<KrDpiSource> g_dpiSource{nullptr};
}  // namespace

int krmalloc(void** p, unsigned long size)
{
    *p = nullptr;
    if (size == 0) return 1;
    *p = std::malloc(size);
    return *p != nullptr ? 1 : 0;
}

int krcalloc(void** p, unsigned long size)
{
    *p = nullptr;
    if (size == 0) return 1;
    *p = std::calloc(size, 1);
    return *p != nullptr ? 1 : 0;
}

int krresize(void** p, unsigned long size)
{
    if (size == 0)
    {
        krfree(p);
        return 1;
    }
    void* grown = std::realloc(*p, size);
    if (grown == nullptr) return 0;
    *p = grown;
    return 1;
}

int krmemdup(void** p, const void* src, unsigned long size)
{
    *p = nullptr;
    if (size == 0 || src == nullptr) return 1;
    if (krmalloc(p, size) == 0) return 0;
    std::memcpy(*p, src, size);
    return 1;
}

void krfree(void** p)
{
    if (*p == nullptr) return;
    std::free(*p);
    *p = nullptr;
}

void krassert(const char* expression, const char* file, unsigned int line)
{
    std::string text;
    text += file != nullptr ? file : "(null)";
    text += ':' + std::to_string(static_cast<int>(line)) + ": KRASSERT(";
    text += expression != nullptr ? expression : "(null)";
    text += ") failed.\n";
    Platform::ErrorOutput(text.c_str());
}

void krtrace(const char* format, ...)
{
    if (format == nullptr) return;
    std::string text;
    va_list args;
    va_start(args, format);
    Detail::FormatGrowing(text, std::strlen(format) + 128, format, args);
    va_end(args);
    Platform::TraceOutput(text.c_str());
}

void krsettracesink(KrTraceSink sink)
{
    Platform::SetTraceSink(sink);
}

bool krequal(double a, double b)
{
    constexpr double e = 1e-10;
    if (a == 0.0) return -e < b && b < e;
    if (b == 0.0) return -e < a && a < e;
    const double m = std::fabs(a) > std::fabs(b) ? std::fabs(a) : std::fabs(b);
    const double d = a - b;
    return -e * m <= d && d <= e * m;
}

bool krequal(double a, double b, double tolerance)
{
    if (!(tolerance > 0.0)) return false;
    const double d = a - b;
    return -tolerance < d && d < tolerance;
}

bool krisbigendian()
{
    const std::uint16_t probe = 1;
    unsigned char first = 0;
    std::memcpy(&first, &probe, 1);
    return first == 0;
}

double krinfinitebig()
{
    return std::numeric_limits<double>::infinity();
}

int krdpi()
{
    const KrDpiSource source = g_dpiSource.load(std::memory_order_acquire);
    const int dpi = source != nullptr ? source() : 0;
    return dpi > 0 ? dpi : kDefaultDpi;
}

KrDpiSource krsetdpisource(KrDpiSource source)
{
    return g_dpiSource.exchange(source, std::memory_order_acq_rel);
}

}  // namespace KRN
