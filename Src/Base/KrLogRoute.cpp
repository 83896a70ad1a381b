#include "KrLogRoute.h"

#include "Base/KrString.h"

namespace KRN::Detail
{

// Until the log family is built into the library nothing records: every record is dropped.
bool RouteToLog(int, int, const KrString&, const char*, int) { return false; }

}  // namespace KRN::Detail
