#include "Base/KrStringUTF8.h"

#include <climits>
#include <string>

namespace KRN
{

namespace
{
// The process-wide converters of KrStringUTF8. Each is opened by its first use, with that
// use's charset, and serves every later call whatever charset they pass: a process converts to
// and from UTF-8 with one charset only. They are closed at exit.
KrTextCodec& toUtf8Codec(KrTextCodec::Charset from)
{
    static KrTextCodec codec(KrTextCodec::UTF8_CHARSET, from);
    return codec;
}

KrTextCodec& fromUtf8Codec(KrTextCodec::Charset to)
{
    static KrTextCodec codec(to, KrTextCodec::UTF8_CHARSET);
    return codec;
}
}  // namespace

KrStringUTF8::KrStringUTF8(const KrString& text, KrTextCodec::Charset charset)
{
    KrString converted;
    toUtf8Codec(charset).Convert(converted, text);  // a failure leaves it empty
    assign(converted.c_str());
}

KrString KrStringUTF8::ToString(KrTextCodec::Charset charset) const
{
    KrString text;
    fromUtf8Codec(charset).Convert(text, data(), GetLength());
    text.TrimRight('\0');
    return text;
}

KrStringUCS2LE::KrStringUCS2LE(const KrString& text, KrTextCodec::Charset charset)
{
    KrTextCodec codec(KrTextCodec::UCS2LE_CHARSET, charset);
    KrString bytes;
    codec.Convert(bytes, text);  // a failure leaves it empty
    const int units = bytes.GetLength() / 2;
    SetSize(units + 1);  // the last unit stays the terminating zero
    const auto* byte = reinterpret_cast<const unsigned char*>(bytes.data());
    unsigned short* unit = GetData();
    for (int i = 0; i < units; ++i)
        unit[i] = static_cast<unsigned short>(byte[2 * i] | byte[2 * i + 1] << 8);
}

KrString KrStringUCS2LE::ToString(KrTextCodec::Charset charset) const
{
    KrString text;
    const int units = GetSize();
    if (units < 1 || units > INT_MAX / 2) return text;
    // All units, the terminator included, as little-endian bytes whatever the host order.
    std::string bytes(static_cast<size_t>(units) * 2, '\0');
    const unsigned short* unit = GetData();
    for (int i = 0; i < units; ++i)
    {
        bytes[2 * i] = static_cast<char>(unit[i] & 0xFF);
        bytes[2 * i + 1] = static_cast<char>(unit[i] >> 8);
    }
    KrTextCodec codec(charset, KrTextCodec::UCS2LE_CHARSET);
    codec.Convert(text, bytes.data(), static_cast<int>(bytes.size()));
    text.TrimRight('\0');
    return text;
}

}  // namespace KRN
