// Debugger trace output of this platform. There is no system debugger channel here, so the
// text goes to a host-installed sink, or to standard error when KRN_TRACE is set.
#pragma once

#include "Base/KrCore.h"

namespace KRN::Platform
{

void SetTraceSink(KrTraceSink sink);
void TraceOutput(const char* text);
// Writes text to standard error at once, whatever the trace settings.
void ErrorOutput(const char* text);

}  // namespace KRN::Platform
