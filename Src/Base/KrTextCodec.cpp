#include "Base/KrTextCodec.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "Base/KrString.h"
#include "Base/Platform/KrPlatformCodec.h"

namespace KRN
{

namespace
{
// Five output bytes per input byte hold the longest expansion among the table's charsets (one
// byte becoming a UCS-4 unit). Output lengths are int, so larger inputs are refused.
constexpr size_t kBytesPerInputByte = 5;
constexpr size_t kMaxInputLength = static_cast<size_t>(INT_MAX) / kBytesPerInputByte;

// Each refill of the output buffer makes the converter redo part of its internal steps; a megabyte
// keeps that cost small while the buffer stays in cache.
constexpr size_t kChunkSize = 1 << 20;

// True when the bytes [in, in + length) lie in out's storage, which appending may move.
bool overlaps(const std::string& out, const char* in, size_t length)
{
    const auto first = reinterpret_cast<uintptr_t>(out.data());
    const auto last = first + out.capacity();
    const auto begin = reinterpret_cast<uintptr_t>(in);
    return begin < last && begin + length > first;
}

struct NameTest
{
    const char* text;
    KrTextCodec::Charset charset;
    bool whole = false;  // the name must equal text rather than contain it
};

// Substring tests, in the order they are tried: the first hit decides.
const NameTest kNameTests[] = {
    {"MACINTOSH", KrTextCodec::MAC_CHARSET},        {"SHIFT_JIS", KrTextCodec::SHIFTJIS_CHARSET},
    {"CP949", KrTextCodec::HANGUL_CHARSET},         {"JOHAB", KrTextCodec::JOHAB_CHARSET},
    {"GB18030", KrTextCodec::GB2312_CHARSET},       {"GB2312", KrTextCodec::GB2312_CHARSET},
    {"GBK", KrTextCodec::GB2312_CHARSET},           {"ZH", KrTextCodec::GB2312_CHARSET, true},
    {"BIG5", KrTextCodec::CHINESEBIG5_CHARSET},
    {"GREEK", KrTextCodec::GREEK_CHARSET},          {"CP1254", KrTextCodec::TURKISH_CHARSET},
    {"CP1258", KrTextCodec::VIETNAMESE_CHARSET},    {"HEBREW", KrTextCodec::HEBREW_CHARSET},
    {"ARABIC", KrTextCodec::ARABIC_CHARSET},        {"CP1257", KrTextCodec::BALTIC_CHARSET},
    {"CP1251", KrTextCodec::RUSSIAN_CHARSET},       {"CP874", KrTextCodec::THAI_CHARSET},
    {"CP1250", KrTextCodec::EASTEUROPE_CHARSET},    {"UTF-8", KrTextCodec::UTF8_CHARSET},
    {"UCS-2LE", KrTextCodec::UCS2LE_CHARSET},       {"UCS-2BE", KrTextCodec::UCS2BE_CHARSET},
    {"UCS-4LE", KrTextCodec::UCS4LE_CHARSET},       {"UCS-4BE", KrTextCodec::UCS4BE_CHARSET},
};
}  // namespace

KrTextCodec::KrTextCodec(const KrString& to, const KrString& from) { Open(to, from); }

KrTextCodec::KrTextCodec(Charset to, Charset from) { Open(to, from); }

KrTextCodec& KrTextCodec::operator=(const KrTextCodec& other)
{
    if (m_pDescriptor != other.m_pDescriptor)
    {
        Close();
        m_pDescriptor = other.m_pDescriptor;
    }
    return *this;
}

bool KrTextCodec::Open(const KrString& to, const KrString& from)
{
    Close();
    m_pDescriptor = Platform::OpenConverter(to.Cstr(), from.Cstr());
    return IsOpen();
}

bool KrTextCodec::Open(Charset to, Charset from) { return Open(GetCharsetName(to), GetCharsetName(from)); }

bool KrTextCodec::IsOpen() const { return m_pDescriptor != Platform::ClosedConverter(); }

void KrTextCodec::Close()
{
    if (!IsOpen()) return;
    Platform::CloseConverter(m_pDescriptor);
    m_pDescriptor = Platform::ClosedConverter();
}

bool KrTextCodec::Convert(KrString& out, const KrString& in)
{
    return Convert(out, in.data(), in.GetLength());
}

bool KrTextCodec::Convert(KrString& out, const char* in, int length)
{
    if (!IsOpen() || length < 0 || (in == nullptr && length > 0)) return false;
    const size_t inputLength = static_cast<size_t>(length);
    if (inputLength > kMaxInputLength) return false;
    if (inputLength == 0)
    {
        out.Empty();
        return true;
    }
    if (overlaps(out, in, inputLength))
    {
        KrString converted;
        if (!appendConverted(converted, in, inputLength)) return false;
        static_cast<std::string&>(out).swap(converted);
        return true;
    }
    // The result goes after the old text, which is dropped only once the conversion succeeded.
    const size_t oldLength = out.size();
    if (!appendConverted(out, in, inputLength))
    {
        out.resize(oldLength);
        return false;
    }
    out.erase(0, oldLength);
    return true;
}

bool KrTextCodec::appendConverted(std::string& out, const char* in, size_t length)
{
    // One pass converts through a buffer of at most a megabyte, so that the output is
    // written once into out and no scratch of the full output size is ever allocated or
    // cleared. The output is capped at five bytes per input byte, as if the converter had been
    // handed one buffer of that size.
    size_t outputBudget = length * kBytesPerInputByte;
    const size_t chunkSize = std::min(kChunkSize, outputBudget);
    std::unique_ptr<char[]> buffer(new char[chunkSize]);
    char* const chunk = buffer.get();
    const char* input = in;
    size_t inputLeft = length;
    out.reserve(out.size() + length);
    while (inputLeft != 0 && outputBudget != 0)
    {
        char* output = chunk;
        const size_t offered = std::min(chunkSize, outputBudget);
        size_t outputLeft = offered;
        const Platform::ConvertResult result =
            Platform::Convert(m_pDescriptor, &input, &inputLeft, &output, &outputLeft);
        const size_t produced = offered - outputLeft;
        out.append(chunk, produced);
        outputBudget -= produced;
        if (result == Platform::ConvertResult::Invalid) break;
        // A full buffer that took nothing: the next character alone does not fit.
        if (result == Platform::ConvertResult::OutputFull && produced == 0) break;
    }
    return inputLeft == 0;
}

KrString KrTextCodec::GetCharsetName(Charset charset)
{
    switch (charset)
    {
    case MAC_CHARSET:
    case OEM_CHARSET: return "MACINTOSH";
    case SHIFTJIS_CHARSET: return "SHIFT_JIS";
    case HANGUL_CHARSET: return "CP949";
    case JOHAB_CHARSET: return "JOHAB";
    case CHINESEBIG5_CHARSET: return "BIG5-HKSCS";
    case GREEK_CHARSET: return "Greek";
    case TURKISH_CHARSET: return "CP1254";
    case VIETNAMESE_CHARSET: return "CP1258";
    case HEBREW_CHARSET: return "Hebrew";
    case ARABIC_CHARSET: return "Arabic";
    case BALTIC_CHARSET: return "CP1257";
    case RUSSIAN_CHARSET: return "CP1251";
    case THAI_CHARSET: return "CP874";
    case EASTEUROPE_CHARSET: return "CP1250";
    case UTF8_CHARSET: return "UTF-8";
    case UCS2LE_CHARSET: return "UCS-2LE";
    case UCS2BE_CHARSET: return "UCS-2BE";
    case UCS4LE_CHARSET: return "UCS-4LE";
    case UCS4BE_CHARSET: return "UCS-4BE";
    default: return "GB18030";  // the default, ANSI and simplified-Chinese charsets among others
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

}  // namespace KRN
