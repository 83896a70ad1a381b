// Arbitrary bytes through every charset pair of the table and every string form. The codec's
// result is checked against one plain iconv call over a five-bytes-per-input-byte buffer.
#include <iconv.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
const int kCharsets[] = {0,   1,   77,  128, 129, 130, 134, 136, 161, 162, 163, 177,
                         178, 186, 204, 222, 238, 250, 251, 252, 253, 254, 255};

KrTextCodec::Charset pick(uint8_t byte)
{
    return static_cast<KrTextCodec::Charset>(
        kCharsets[byte % (sizeof kCharsets / sizeof kCharsets[0])]);
}

void require(bool condition)
{
    if (!condition) std::abort();
}

// The bytes a single iconv call produces, and whether it consumed all the input.
bool plainIconv(KrTextCodec::Charset to, KrTextCodec::Charset from, const std::string& in,
                std::string& out)
{
    iconv_t cd = iconv_open(KrTextCodec::GetCharsetName(to).Cstr(),
                            KrTextCodec::GetCharsetName(from).Cstr());
    require(cd != reinterpret_cast<iconv_t>(-1));
    const size_t capacity = in.size() * 5;
    std::unique_ptr<char[]> buffer(new char[capacity + 1]);
    char* input = const_cast<char*>(in.data());
    size_t inputLeft = in.size();
    char* output = buffer.get();
    size_t outputLeft = capacity;
    iconv(cd, &input, &inputLeft, &output, &outputLeft);
    iconv_close(cd);
    out.assign(buffer.get(), capacity - outputLeft);
    return inputLeft == 0;
}

void throughCodec(KrTextCodec::Charset to, KrTextCodec::Charset from, const KrString& text)
{
    KrTextCodec codec(to, from);
    require(codec.IsOpen());
    KrString out("unchanged");
    const bool converted = codec.Convert(out, text);
    std::string expected;
    require(converted == plainIconv(to, from, text, expected));
    require(converted ? static_cast<const std::string&>(out) == expected : out == "unchanged");
}

void throughChangeCharset(KrTextCodec::Charset to, KrTextCodec::Charset from, const KrString& text)
{
    KrString changed(text.data(), text.GetLength());
    changed.SetCharset(from);
    const std::string before(changed);
    if (!changed.ChangeCharset(to))
        require(static_cast<const std::string&>(changed) == before && changed.GetCharset() == from);
}

void throughWide(KrTextCodec::Charset to, KrTextCodec::Charset from, const KrString& text)
{
    KrStringW wide;
    wide.FromString(text, from);
    KrArray<KrStringW> pieces;
    wide.Split(pieces, u" ,");
    wide.MakeInverse();
    (void)wide.ToString(to);
    (void)wide.CompareNoCase(u"abc");
}

void throughUtf8(KrTextCodec::Charset to, KrTextCodec::Charset from, const KrString& text)
{
    const KrStringUTF8 utf8(text, from);
    require(utf8.find('\0') == std::string::npos);
    (void)utf8.ToString(to);
}

void throughUcs2(KrTextCodec::Charset to, KrTextCodec::Charset from, const KrString& text)
{
    const KrStringUCS2LE ucs2(text, from);
    require(ucs2.GetLength() >= 0 && ucs2.Cstr()[ucs2.GetLength()] == 0);
    const KrString back = ucs2.ToString(to);
    require(back.IsEmpty() || back[back.GetLength() - 1] != '\0');
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Byte 0 picks the target charset, byte 1 the source, byte 2 the string form.
    if (size < 3) return 0;
    const KrTextCodec::Charset to = pick(data[0]);
    const KrTextCodec::Charset from = pick(data[1]);
    const KrString text(reinterpret_cast<const char*>(data) + 3, static_cast<int>(size - 3));
    switch (data[2] % 5)
    {
        case 0:
            throughCodec(to, from, text);
            break;
        case 1:
            throughChangeCharset(to, from, text);
            break;
        case 2:
            throughWide(to, from, text);
            break;
        case 3:
            throughUtf8(to, from, text);
            break;
        default:
            throughUcs2(to, from, text);
            break;
    }
    return 0;
}
