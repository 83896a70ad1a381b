// Character sets of the library. Every KrString carries one of these codes; conversions
// between them go through KrTextCodec.
#pragma once

#include "Base/KrDefs.h"

namespace KRN
{

class KRN_API KrTextCodec
{
public:
    // The Windows GDI character-set codes, plus the library's own codes 250-254 for the
    // Unicode forms. A plain number is cast to this type.
    enum Charset : int
    {
        ANSI_CHARSET = 0,
        DEFAULT_CHARSET = 1,  // the initial charset of every KrString
        MAC_CHARSET = 77,
        SHIFTJIS_CHARSET = 128,
        HANGUL_CHARSET = 129,
        JOHAB_CHARSET = 130,
        GB2312_CHARSET = 134,
        CHINESEBIG5_CHARSET = 136,
        GREEK_CHARSET = 161,
        TURKISH_CHARSET = 162,
        VIETNAMESE_CHARSET = 163,
        HEBREW_CHARSET = 177,
        ARABIC_CHARSET = 178,
        BALTIC_CHARSET = 186,
        RUSSIAN_CHARSET = 204,
        THAI_CHARSET = 222,
        EASTEUROPE_CHARSET = 238,
        UTF8_CHARSET = 250,
        UCS2LE_CHARSET = 251,
        UCS2BE_CHARSET = 252,
        UCS4LE_CHARSET = 253,
        UCS4BE_CHARSET = 254,
        OEM_CHARSET = 255
    };
};

}  // namespace KRN
