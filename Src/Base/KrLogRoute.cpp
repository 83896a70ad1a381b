#include "KrLogRoute.h"

#include <atomic>

namespace KRN::Detail
{

namespace
{
// Constant-initialised, so it is valid before any static constructor of the library runs.
std::atomic<LogRoute> g_route{nullptr};
}  // namespace

LogRoute SetLogRoute(LogRoute route)
{
    return g_route.exchange(route, std::memory_order_acq_rel);
}

bool RouteToLog(int level, int code, const KrString& message, const char* codeFile, int codeLine)
{
    const LogRoute route = g_route.load(std::memory_order_acquire);
    return route != nullptr && route(level, code, message, codeFile, codeLine);
}

}  // namespace KRN::Detail
