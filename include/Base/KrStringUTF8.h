// Text in a fixed Unicode encoding, independent of the host's byte order and of any KrString
// charset: KrStringUTF8 holds UTF-8 bytes, KrStringUCS2LE holds little-endian UCS-2 units
// followed by one terminating zero unit. Both are made from a KrString plus the charset its
// bytes are in, and give a KrString back in a requested charset. No byte-order mark is ever
// written or expected.
//   KrStringUTF8 utf8(gbText, KrTextCodec::GB2312_CHARSET);  // the bytes to store or send
//   KrString back = utf8.ToString(KrTextCodec::GB2312_CHARSET);
#pragma once

#include <string>

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"
#include "Base/KrTextCodec.h"

namespace KRN
{

class KRN_API KrStringUTF8 : public std::string
{
public:
    KrStringUTF8() = default;
    // UTF-8 form of text (all its bytes) read as charset, cut at the first zero the conversion
    // gives; invalid input gives an empty object. DEFAULT_CHARSET means GB18030 here, not the
    // system's charset. The converter is created on the first call and kept for the process:
    // later calls reuse it WHATEVER charset they pass. Every call shares that one converter, so
    // threads that construct concurrently must serialise.
    KrStringUTF8(const KrString& text, KrTextCodec::Charset charset);

    // The text converted from UTF-8 into charset, trailing zero bytes removed. Like the
    // constructor, the first call fixes the target charset for the rest of the process, and
    // concurrent calls must be serialised.
    KrString ToString(KrTextCodec::Charset charset) const;

    const char* Cstr() const { return c_str(); }
    int GetLength() const { return static_cast<int>(size()); }
};

class KRN_API KrStringUCS2LE : public KrArray<unsigned short>
{
public:
    KrStringUCS2LE() { Add(0); }  // only the terminator
    // UCS-2LE form of text read as charset (DEFAULT_CHARSET means GB18030 here, not the
    // system's).
    KrStringUCS2LE(const KrString& text, KrTextCodec::Charset charset);

    // The units converted into charset, trailing zero bytes removed.
    KrString ToString(KrTextCodec::Charset charset) const;

    // Units without the terminator; -1 for an object without storage.
    int GetLength() const { return GetSize() - 1; }
    const unsigned short* Cstr() const { return GetData(); }
    const KrArray<unsigned short>& GetChars() const { return *this; }
};

}  // namespace KRN
