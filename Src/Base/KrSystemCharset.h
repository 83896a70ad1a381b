// The charset of the system's code page, for the families that turn DEFAULT_CHARSET into a real
// one (wide strings) and for KrToolkit::GetCurCharset, which publishes it.
#pragma once

#include "Base/KrTextCodec.h"

namespace KRN::Detail
{

KrTextCodec::Charset SystemCharset();

}  // namespace KRN::Detail
