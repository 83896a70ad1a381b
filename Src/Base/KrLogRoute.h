// The road from the lower families (compression, streams, files) to the process log, which sits
// above them. They report a failure worth keeping through RouteToLog; the log installs the route
// when the library is loaded, before any of them can run, so a record lands there as if the
// caller had called KrLogFile::GetInstance(false).RecordLog(level, code, message, codeFile,
// codeLine) itself. Without a route (a log that was never linked in) records are dropped.
#pragma once

namespace KRN
{

class KrString;

namespace Detail
{
// Level values of the log, for callers that cannot include it.
enum LogRouteLevel : int
{
    RouteDebug = 100,
    RouteInfo = 200,
    RouteWarning = 300,
    RouteError = 400,
    RouteFatal = 500
};

// Returns whether the log accepted the record.
using LogRoute = bool (*)(int level, int code, const KrString& message, const char* codeFile,
                          int codeLine);

// Installs the route and returns the one it replaces; null removes it.
LogRoute SetLogRoute(LogRoute route);
// Passes the record to the installed route; false when there is none.
bool RouteToLog(int level, int code, const KrString& message, const char* codeFile, int codeLine);
}  // namespace Detail

}  // namespace KRN
