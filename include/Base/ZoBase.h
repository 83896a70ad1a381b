// The whole public interface of the library in one include.
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrCore.h"
#include "Base/KrArray.h"
#include "Base/KrTextCodec.h"
#include "Base/KrString.h"
#include "Base/KrStringUTF8.h"
#include "Base/KrHash.h"
#include "Base/KrBitArray.h"
#include "Base/KrStream.h"
#include "Base/KrMemoryStream.h"
#include "Base/KrFileStream.h"
#include "Base/KrFileStdio.h"
#include "Base/KrMarkup.h"
#include "Base/KrTime.h"
#include "Base/KrFile.h"
