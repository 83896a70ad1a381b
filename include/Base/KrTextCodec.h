// Character sets of the library and the converter between them. Every KrString carries one of
// the Charset codes; KrTextCodec owns one iconv conversion descriptor and converts whole byte
// strings from one charset (or iconv name) to another:
//   KrTextCodec codec(KrTextCodec::UTF8_CHARSET, KrTextCodec::GB2312_CHARSET);  // to, from
//   KrString utf8;
//   if (codec.Convert(utf8, gbText)) ...
#pragma once

#include <cstddef>
#include <string>

#include "Base/KrDefs.h"

namespace KRN
{

class KrString;

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

    KrTextCodec() = default;  // closed
    // Open with two iconv names, target first. Whether it opened is not reported: test IsOpen.
    KrTextCodec(const KrString& to, const KrString& from);
    KrTextCodec(Charset to, Charset from);
    ~KrTextCodec() { Close(); }

    // Copies the descriptor itself, so both codecs then share it and whichever closes first
    // leaves the other with a dead descriptor. Do not copy an open codec; a closed one is fine.
    KrTextCodec& operator=(const KrTextCodec& other);
    KrTextCodec(const KrTextCodec&) = delete;

    // Closes any open descriptor first; false (and closed) when iconv knows either name not.
    bool Open(const KrString& to, const KrString& from);
    bool Open(Charset to, Charset from);  // through GetCharsetName
    bool IsOpen() const;
    void Close();

    // Converts all length bytes (zeros included). Runs of ASCII between UTF-8, GB18030 and the
    // Unicode forms, and the two- and three-byte UTF-8 characters and the two-byte GB18030 (GBK,
    // CP936) characters going to UTF-8 or a UCS-2/UCS-4/UTF-16/UTF-32 form, are converted
    // without iconv, with the same result; iconv takes only the rest. Succeeds only when every
    // input byte was consumed; on failure (closed codec, invalid or truncated input, an input
    // longer than INT_MAX / 5 bytes) returns false and leaves out untouched. On success out holds
    // exactly the converted bytes; its charset member is not changed, callers set it. No final
    // flushing call is made, so a decoder that holds back a character (CP1258 keeps a letter that a
    // tone mark could follow) gives it out at the start of the next conversion on this codec.
    bool Convert(KrString& out, const KrString& in);
    bool Convert(KrString& out, const char* in, int length);  // null in fails unless length is 0

    // The iconv name of a charset. ANSI_CHARSET, DEFAULT_CHARSET, GB2312_CHARSET and every code
    // not in the table give "GB18030"; OEM_CHARSET shares "MACINTOSH" with MAC_CHARSET.
    static KrString GetCharsetName(Charset charset);
    // The charset whose name is contained (ignoring case) in name, testing in a fixed order, so
    // "CP12501" reads as EASTEUROPE_CHARSET; "ZH" alone is GB2312_CHARSET and anything unknown
    // DEFAULT_CHARSET. Not the inverse of GetCharsetName: the name of DEFAULT_CHARSET reads back
    // as GB2312_CHARSET.
    static Charset GetCharset(const KrString& name);

private:
    bool appendConverted(std::string& out, const char* in, size_t length);

    void* m_pDescriptor = reinterpret_cast<void*>(-1);  // the iconv_t; all bits set when closed
    // How ASCII comes out when both charsets are known to pass it through unchanged and
    // statelessly (see KrTextCodec.cpp); 0 when every byte goes through the descriptor.
    unsigned char m_nAsciiForm = 0;
    // The source whose characters are decoded without iconv when the target is a Unicode form
    // (see KrTextCodec.cpp); 0 when only ASCII runs are.
    unsigned char m_nFastSource = 0;
};

}  // namespace KRN
