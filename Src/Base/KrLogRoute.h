// The one road from the lower families (compression, streams, files) to the process log. They
// report a failure worth keeping here instead of including the log, which sits above them; the
// log's own source provides the definition, so a record lands there as if the caller had called
// KrLogFile::GetInstance(false).RecordLog(level, code, message, codeFile, codeLine) itself.
#pragma once

namespace KRN
{

class KrString;

namespace Detail
{
// level: 100 debug, 200 info, 300 warning, 400 error, 500 fatal. Returns whether the log
// accepted the record.
bool RouteToLog(int level, int code, const KrString& message, const char* codeFile, int codeLine);
}  // namespace Detail

}  // namespace KRN
