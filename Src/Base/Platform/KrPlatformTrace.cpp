#include "Base/Platform/KrPlatformTrace.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace KRN::Platform
{

namespace
{
std::atomic<KrTraceSink> g_traceSink{nullptr};

bool traceToStandardError()
{
    const char* flag = std::getenv("KRN_TRACE");
    return flag != nullptr && flag[0] != '\0';
}
}  // namespace

void SetTraceSink(KrTraceSink sink)
{
    g_traceSink.store(sink, std::memory_order_release);
}

void TraceOutput(const char* text)
{
    if (KrTraceSink sink = g_traceSink.load(std::memory_order_acquire))
    {
        sink(text);
        return;
    }
    if (traceToStandardError()) ErrorOutput(text);
}

void ErrorOutput(const char* text)
{
    std::fputs(text, stderr);
    std::fflush(stderr);
}

}  // namespace KRN::Platform
