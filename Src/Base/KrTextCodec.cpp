#include "Base/KrTextCodec.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "Base/KrString.h"
#include "Base/Platform/KrPlatformCodec.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
// ---------------------------------------------------------------- ASCII without iconv

// The forms ASCII takes in a target charset; see asciiForm.
enum AsciiForm : unsigned char
{
    kNoAsciiForm = 0,
    kAsciiBytes,  // each byte as itself
    kAscii16LE,   // c 0
    kAscii16BE,   // 0 c
    kAscii32LE,   // c 0 0 0
    kAscii32BE    // 0 0 0 c
};

bool sameName(const KrString& name, const char* const* names)
{
    for (; *names != nullptr; ++names)
        if (name.CompareNoCase(*names) == 0) return true;
    return false;
}

// Conversions where an ASCII byte at a character boundary always becomes the same bytes and
// leaves the converter's state alone. Sources must never hold a character back (CP1255 and
// CP1258 do, to combine it with a following mark) and must not use ASCII bytes inside their
// multibyte characters except where a cut at them shows as an incomplete character (GB18030's
// trailing bytes); targets must need no shift sequences and emit no byte-order mark.
AsciiForm asciiForm(const KrString& to, const KrString& from)
{
    static const char* const kSources[] = {"UTF-8",  "UTF8",     "GB18030", "GBK",    "CP936",
                                           "CP1250", "CP1251",   "CP1252",  "CP1254", "CP1257",
                                           "ASCII",  "US-ASCII", nullptr};
    static const char* const kBytes[] = {"UTF-8",  "UTF8",   "GB18030", "GBK",    "CP936", "CP1250",
                                         "CP1251", "CP1252", "CP1254",  "CP1257", nullptr};
    static const char* const k16LE[] = {"UCS-2LE", "UTF-16LE", nullptr};
    static const char* const k16BE[] = {"UCS-2BE", "UTF-16BE", nullptr};
    static const char* const k32LE[] = {"UCS-4LE", "UTF-32LE", nullptr};
    static const char* const k32BE[] = {"UCS-4BE", "UTF-32BE", nullptr};
    if (!sameName(from, kSources)) return kNoAsciiForm;
    if (sameName(to, kBytes)) return kAsciiBytes;
    if (sameName(to, k16LE)) return kAscii16LE;
    if (sameName(to, k16BE)) return kAscii16BE;
    if (sameName(to, k32LE)) return kAscii32LE;
    if (sameName(to, k32BE)) return kAscii32BE;
    return kNoAsciiForm;
}

size_t asciiWidth(unsigned char form)
{
    return form <= kAsciiBytes ? 1 : form <= kAscii16BE ? 2 : 4;
}

// The number of leading bytes below 0x80.
size_t asciiPrefix(const unsigned char* p, size_t length)
{
    size_t i = 0;
#if defined(__SSE2__)
    for (; i + 16 <= length; i += 16)
    {
        const int high =
            _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)));
        if (high != 0) return i + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(high)));
    }
#endif
    while (i < length && p[i] < 0x80) ++i;
    return i;
}

// Runs shorter than this stay with the converter: a call to it costs more than they save.
constexpr size_t kLongRun = 16;

// Where the first ASCII run of at least kLongRun bytes at or after from begins, or length.
// Runs are found by whole 16-byte blocks, so a shorter or unaligned run may be passed over.
size_t nextLongRun(const unsigned char* p, size_t from, size_t length)
{
    size_t at = from;
    for (;; at += kLongRun)
    {
        if (at + kLongRun > length) return length;
#if defined(__SSE2__)
        if (_mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + at))) == 0)
            break;
#else
        if (asciiPrefix(p + at, kLongRun) == kLongRun) break;
#endif
    }
    while (at > from && p[at - 1] < 0x80) --at;
    return at;
}

// Writes n ASCII bytes in form into dest (n * asciiWidth(form) bytes).
void expandAscii(const unsigned char* src, size_t n, unsigned char form, unsigned char* dest)
{
    size_t i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    for (; i + 16 <= n; i += 16)
    {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        auto store = [&](size_t unit, __m128i value) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dest + i * asciiWidth(form) + unit * 16),
                             value);
        };
        switch (form)
        {
            case kAscii16LE:
                store(0, _mm_unpacklo_epi8(v, zero));
                store(1, _mm_unpackhi_epi8(v, zero));
                break;
            case kAscii16BE:
                store(0, _mm_unpacklo_epi8(zero, v));
                store(1, _mm_unpackhi_epi8(zero, v));
                break;
            case kAscii32LE:
            case kAscii32BE:
            {
                const bool little = form == kAscii32LE;
                const __m128i low =
                    little ? _mm_unpacklo_epi8(v, zero) : _mm_unpacklo_epi8(zero, v);
                const __m128i high =
                    little ? _mm_unpackhi_epi8(v, zero) : _mm_unpackhi_epi8(zero, v);
                store(0, little ? _mm_unpacklo_epi16(low, zero) : _mm_unpacklo_epi16(zero, low));
                store(1, little ? _mm_unpackhi_epi16(low, zero) : _mm_unpackhi_epi16(zero, low));
                store(2, little ? _mm_unpacklo_epi16(high, zero) : _mm_unpacklo_epi16(zero, high));
                store(3, little ? _mm_unpackhi_epi16(high, zero) : _mm_unpackhi_epi16(zero, high));
                break;
            }
            default:
                std::memcpy(dest + i, src + i, 16);
                break;
        }
    }
#endif
    const size_t width = asciiWidth(form);
    const bool bigEndian = form == kAscii16BE || form == kAscii32BE;
    for (; i < n; ++i)
    {
        unsigned char* unit = dest + i * width;
        std::memset(unit, 0, width);
        unit[bigEndian ? width - 1 : 0] = src[i];
    }
}

// Appends n ASCII bytes in form through a small staging buffer that stays in cache.
void appendAscii(std::string& out, const unsigned char* src, size_t n, unsigned char form)
{
    const size_t width = asciiWidth(form);
    if (width == 1)
    {
        out.append(reinterpret_cast<const char*>(src), n);
        return;
    }
    unsigned char staging[8192];
    const size_t step = sizeof staging / width;
    for (size_t done = 0; done < n; done += step)
    {
        const size_t part = std::min(step, n - done);
        expandAscii(src + done, part, form, staging);
        out.append(reinterpret_cast<const char*>(staging), part * width);
    }
}
}  // namespace

KrTextCodec::KrTextCodec(const KrString& to, const KrString& from) { Open(to, from); }

KrTextCodec::KrTextCodec(Charset to, Charset from) { Open(to, from); }

KrTextCodec& KrTextCodec::operator=(const KrTextCodec& other)
{
    if (m_pDescriptor != other.m_pDescriptor)
    {
        Close();
        m_pDescriptor = other.m_pDescriptor;
        m_nAsciiForm = other.m_nAsciiForm;
    }
    return *this;
}

bool KrTextCodec::Open(const KrString& to, const KrString& from)
{
    Close();
    m_pDescriptor = Platform::OpenConverter(to.Cstr(), from.Cstr());
    m_nAsciiForm = IsOpen() ? asciiForm(to, from) : kNoAsciiForm;
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
    // The output is capped at five bytes per input byte, as if the converter had been handed
    // one buffer of that size.
    size_t outputBudget = length * kBytesPerInputByte;
    out.reserve(out.size() + length);
    if (m_nAsciiForm == kNoAsciiForm)
        return appendThroughConverter(out, in, length, outputBudget) == length;

    // ASCII runs are written directly; the bytes between them go to the converter up to the
    // next long run. Every run written directly starts at a character boundary: at the start,
    // or where the converter took everything it was given.
    const auto* bytes = reinterpret_cast<const unsigned char*>(in);
    const size_t width = asciiWidth(m_nAsciiForm);
    size_t at = 0;
    while (at < length)
    {
        const size_t run = std::min(asciiPrefix(bytes + at, length - at), outputBudget / width);
        appendAscii(out, bytes + at, run, m_nAsciiForm);
        outputBudget -= run * width;
        at += run;
        if (at == length) break;
        size_t end = nextLongRun(bytes, at, length);
        for (;;)
        {
            const size_t taken = appendThroughConverter(out, in + at, end - at, outputBudget);
            at += taken;
            if (at == end) break;
            // Stopped early: a character cut at the run (its trailing bytes are ASCII), or an
            // invalid one. Either way the converter goes on through the run and sees whether
            // it completes the character.
            if (end == length || (taken == 0 && outputBudget == 0)) return false;
            end = nextLongRun(bytes, end + asciiPrefix(bytes + end, length - end), length);
        }
    }
    return true;
}

size_t KrTextCodec::appendThroughConverter(std::string& out, const char* in, size_t length,
                                           size_t& outputBudget)
{
    // One pass converts through a buffer of at most a megabyte, so that the output is
    // written once into out and no scratch of the full output size is ever allocated or
    // cleared. The short stretches between ASCII runs fit a buffer on the stack.
    const size_t chunkSize = std::min({kChunkSize, outputBudget, length * kBytesPerInputByte});
    if (length == 0 || chunkSize == 0) return 0;
    char small[1024];
    std::unique_ptr<char[]> buffer(chunkSize > sizeof small ? new char[chunkSize] : nullptr);
    char* const chunk = buffer ? buffer.get() : small;
    const char* input = in;
    size_t inputLeft = length;
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
    return length - inputLeft;
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
