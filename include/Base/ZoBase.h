// The whole public interface of the library in one include.
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrCore.h"
#include "Base/KrArray.h"
#include "Base/KrTextCodec.h"
#include "Base/KrString.h"
#include "Base/KrStringW.h"
#include "Base/KrStringUTF8.h"
#include "Base/KrToolkit.h"
