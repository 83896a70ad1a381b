// The names of the charsets: the iconv name of each code, and the code a name stands for; and
// the charset of the system's code page.
#include "Base/KrString.h"
#include "Base/KrTextCodec.h"
#include "Base/Platform/KrPlatformSystem.h"
#include "KrSystemCharset.h"

namespace KRN
{

namespace
{
struct NameTest
{
    const char* text;
    KrTextCodec::Charset charset;
    bool whole = false;  // the name must equal text rather than contain it
};

// Substring tests, in the order they are tried: the first hit decides.
const NameTest kNameTests[] = {
    {"MACINTOSH", KrTextCodec::MAC_CHARSET},    {"SHIFT_JIS", KrTextCodec::SHIFTJIS_CHARSET},
    {"CP949", KrTextCodec::HANGUL_CHARSET},     {"JOHAB", KrTextCodec::JOHAB_CHARSET},
    {"GB18030", KrTextCodec::GB2312_CHARSET},   {"GB2312", KrTextCodec::GB2312_CHARSET},
    {"GBK", KrTextCodec::GB2312_CHARSET},       {"ZH", KrTextCodec::GB2312_CHARSET, true},
    {"BIG5", KrTextCodec::CHINESEBIG5_CHARSET}, {"GREEK", KrTextCodec::GREEK_CHARSET},
    {"CP1254", KrTextCodec::TURKISH_CHARSET},   {"CP1258", KrTextCodec::VIETNAMESE_CHARSET},
    {"HEBREW", KrTextCodec::HEBREW_CHARSET},    {"ARABIC", KrTextCodec::ARABIC_CHARSET},
    {"CP1257", KrTextCodec::BALTIC_CHARSET},    {"CP1251", KrTextCodec::RUSSIAN_CHARSET},
    {"CP874", KrTextCodec::THAI_CHARSET},       {"CP1250", KrTextCodec::EASTEUROPE_CHARSET},
    {"UTF-8", KrTextCodec::UTF8_CHARSET},       {"UCS-2LE", KrTextCodec::UCS2LE_CHARSET},
    {"UCS-2BE", KrTextCodec::UCS2BE_CHARSET},   {"UCS-4LE", KrTextCodec::UCS4LE_CHARSET},
    {"UCS-4BE", KrTextCodec::UCS4BE_CHARSET},
};
}  // namespace

KrString KrTextCodec::GetCharsetName(Charset charset)
{
    switch (charset)
    {
        case MAC_CHARSET:
        case OEM_CHARSET:
            return "MACINTOSH";
        case SHIFTJIS_CHARSET:
            return "SHIFT_JIS";
        case HANGUL_CHARSET:
            return "CP949";
        case JOHAB_CHARSET:
            return "JOHAB";
        case CHINESEBIG5_CHARSET:
            return "BIG5-HKSCS";
        case GREEK_CHARSET:
            return "Greek";
        case TURKISH_CHARSET:
            return "CP1254";
        case VIETNAMESE_CHARSET:
            return "CP1258";
        case HEBREW_CHARSET:
            return "Hebrew";
        case ARABIC_CHARSET:
            return "Arabic";
        case BALTIC_CHARSET:
            return "CP1257";
        case RUSSIAN_CHARSET:
            return "CP1251";
        case THAI_CHARSET:
            return "CP874";
        case EASTEUROPE_CHARSET:
            return "CP1250";
        case UTF8_CHARSET:
            return "UTF-8";
        case UCS2LE_CHARSET:
            return "UCS-2LE";
        case UCS2BE_CHARSET:
            return "UCS-2BE";
        case UCS4LE_CHARSET:
            return "UCS-4LE";
        case UCS4BE_CHARSET:
            return "UCS-4BE";
        default:
            return "GB18030";  // the default, ANSI and simplified-Chinese charsets among others
    }
}

KrTextCodec::Charset KrTextCodec::GetCharset(const KrString& name)
{
    KrString upper(name);
    upper.MakeUpper();
    for (const NameTest& test : kNameTests)
    {
        if (test.whole ? upper == test.text : upper.Find(test.text) >= 0) return test.charset;
    }
    return DEFAULT_CHARSET;
}

KrTextCodec::Charset Detail::SystemCharset()
{
    switch (Platform::AnsiCodePage())
    {
        case 874:
            return KrTextCodec::THAI_CHARSET;
        case 932:
            return KrTextCodec::SHIFTJIS_CHARSET;
        case 936:
            return KrTextCodec::GB2312_CHARSET;
        case 950:
            return KrTextCodec::CHINESEBIG5_CHARSET;
        case 1250:
            return KrTextCodec::EASTEUROPE_CHARSET;
        case 1253:
            return KrTextCodec::GREEK_CHARSET;
        case 1254:
            return KrTextCodec::TURKISH_CHARSET;
        case 1255:
            return KrTextCodec::HEBREW_CHARSET;
        case 1256:
            return KrTextCodec::ARABIC_CHARSET;
        case 1257:
            return KrTextCodec::BALTIC_CHARSET;
        default:
            return KrTextCodec::DEFAULT_CHARSET;  // 1251, 1252, 949 and 1258 included
    }
}

}  // namespace KRN
