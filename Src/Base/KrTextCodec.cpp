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
// Converts through the descriptor, appending to out and taking the output from outputBudget;
// returns the input bytes consumed.
size_t convertThrough(void* descriptor, std::string& out, const char* in, size_t length,
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
            Platform::Convert(descriptor, &input, &inputLeft, &output, &outputLeft);
        const size_t produced = offered - outputLeft;
        out.append(chunk, produced);
        outputBudget -= produced;
        if (result == Platform::ConvertResult::Invalid) break;
        // A full buffer that took nothing: the next character alone does not fit.
        if (result == Platform::ConvertResult::OutputFull && produced == 0) break;
    }
    return length - inputLeft;
}

// ---------------------------------------------------------------- whole characters without iconv

// Sources whose non-ASCII characters the codec decodes itself when the target is UTF-8 or one of
// the fixed-width Unicode forms. Everything a source's decoder refuses goes to iconv.
enum FastSource : unsigned char
{
    kNoFastSource = 0,
    kFromUtf8,     // two- and three-byte characters
    kFromGb18030,  // two-byte characters, through a table (see DoubleByteTable)
    kFromGbk,
    kFromCp936
};

FastSource fastSource(const KrString& to, const KrString& from, unsigned char asciiForm)
{
    static const char* const kUtf8[] = {"UTF-8", "UTF8", nullptr};
    static const char* const kGb18030[] = {"GB18030", nullptr};
    static const char* const kGbk[] = {"GBK", nullptr};
    static const char* const kCp936[] = {"CP936", nullptr};
    // A byte-form target must be UTF-8 itself; the wider forms are all Unicode.
    if (asciiForm == kNoAsciiForm || (asciiForm == kAsciiBytes && !sameName(to, kUtf8)))
        return kNoFastSource;
    if (sameName(from, kUtf8)) return kFromUtf8;
    if (sameName(from, kGb18030)) return kFromGb18030;
    if (sameName(from, kGbk)) return kFromGbk;
    if (sameName(from, kCp936)) return kFromCp936;
    return kNoFastSource;
}

// The characters of the two-byte codes of a GB-family charset (lead 0x81-0xFE, trail
// 0x40-0xFF), 0 where the code is not one character of the Basic Multilingual Plane outside
// the surrogates. It is filled by asking iconv for every code, one at a time, so it holds
// exactly what iconv gives; the codes marked 0 keep going to iconv.
class DoubleByteTable
{
public:
    static constexpr unsigned kTrails = 0x100 - 0x40;
    static constexpr unsigned kLeads = 0xff - 0x81;

    explicit DoubleByteTable(const char* charset) : m_codes(new uint16_t[kLeads * kTrails]())
    {
        void* converter = Platform::OpenConverter("UCS-4LE", charset);
        if (converter == Platform::ClosedConverter()) return;
        for (unsigned lead = 0; lead < kLeads; ++lead)
            for (unsigned trail = 0; trail < kTrails; ++trail)
            {
                const char code[2] = {static_cast<char>(0x81 + lead),
                                      static_cast<char>(0x40 + trail)};
                const char* input = code;
                size_t inputLeft = sizeof code;
                unsigned char unit[8];
                char* output = reinterpret_cast<char*>(unit);
                size_t outputLeft = sizeof unit;
                if (Platform::Convert(converter, &input, &inputLeft, &output, &outputLeft) !=
                        Platform::ConvertResult::Done ||
                    inputLeft != 0 || outputLeft != sizeof unit - 4)
                    continue;
                const uint32_t c = unit[0] | unit[1] << 8 | unit[2] << 16 | uint32_t(unit[3]) << 24;
                if (c >= 0x80 && c <= 0xffff && (c < 0xd800 || c > 0xdfff))
                    m_codes[lead * kTrails + trail] = static_cast<uint16_t>(c);
            }
        Platform::CloseConverter(converter);
    }

    const uint16_t* Codes() const { return m_codes.get(); }

private:
    std::unique_ptr<uint16_t[]> m_codes;
};

// Built on first use, once per process.
const uint16_t* doubleByteCodes(unsigned char source)
{
    switch (source)
    {
        case kFromGb18030:
        {
            static const DoubleByteTable table("GB18030");
            return table.Codes();
        }
        case kFromGbk:
        {
            static const DoubleByteTable table("GBK");
            return table.Codes();
        }
        case kFromCp936:
        {
            static const DoubleByteTable table("CP936");
            return table.Codes();
        }
        default:
            return nullptr;
    }
}

// The length of the character at p (p[0] >= 0x80) when the fast path takes it, with the
// character in c; 0 when it goes to iconv.
inline size_t decodeUtf8(const unsigned char* p, const unsigned char* end, uint32_t& c)
{
    const unsigned lead = p[0];
    // Three-byte characters first: they are the common ones in CJK text.
    if ((lead & 0xf0) == 0xe0)
    {
        // Both trailing bytes 10xxxxxx: their bits above the low six are 10 and stay so.
        if (end - p < 3 || ((p[1] ^ 0x80u) | (p[2] ^ 0x80u)) > 0x3f) return 0;
        c = (lead & 0x0f) << 12 | (p[1] & 0x3f) << 6 | (p[2] & 0x3f);
        // Overlong forms and surrogates are left to iconv, which refuses them.
        return c >= 0x800 && c - 0xd800 >= 0x800 ? 3 : 0;
    }
    if (lead >= 0xc2 && lead <= 0xdf)
    {
        if (end - p < 2 || (p[1] & 0xc0) != 0x80) return 0;
        c = (lead & 0x1f) << 6 | (p[1] & 0x3f);
        return 2;
    }
    return 0;
}

inline size_t decodeDoubleByte(const unsigned char* p, const unsigned char* end,
                               const uint16_t* codes, uint32_t& c)
{
    const unsigned lead = p[0] - 0x81u;
    if (lead >= DoubleByteTable::kLeads || end - p < 2) return 0;
    const unsigned trail = p[1] - 0x40u;
    if (trail >= DoubleByteTable::kTrails) return 0;
    c = codes[lead * DoubleByteTable::kTrails + trail];
    return c != 0 ? 2 : 0;
}

// Where the stretch of characters the fast path refuses, starting at at, ends: there the fast
// path takes a character again. iconv gets the whole stretch in one call. For input that is
// not what it seems the guess may be wrong; iconv then stops short and takes the rest.
size_t refusedUtf8(const unsigned char* in, size_t at, size_t length)
{
    size_t end = at + 1;
    while (end < length && in[end] >= 0x80 && (in[end] < 0xc2 || in[end] > 0xef)) ++end;
    return end;
}

size_t refusedDoubleByte(const unsigned char* in, size_t at, size_t length, const uint16_t* codes)
{
    size_t end = at;
    uint32_t c = 0;
    while (end < length && in[end] >= 0x80 &&
           decodeDoubleByte(in + end, in + length, codes, c) == 0)
    {
        const bool lead = in[end] >= 0x81 && in[end] <= 0xfe && end + 1 < length;
        if (lead && in[end + 1] >= 0x30 && in[end + 1] <= 0x39)
            end = std::min(end + 4, length);  // a four-byte form
        else
            end += lead ? 2 : 1;
    }
    return end;
}

// Writes character c (below 0x10000) in the target form.
template <unsigned char Form>
inline unsigned char* encode(unsigned char* o, uint32_t c)
{
    switch (Form)
    {
        case kAsciiBytes:  // UTF-8
            if (c < 0x80)
            {
                *o = static_cast<unsigned char>(c);
                return o + 1;
            }
            if (c < 0x800)
            {
                o[0] = static_cast<unsigned char>(0xc0 | c >> 6);
                o[1] = static_cast<unsigned char>(0x80 | (c & 0x3f));
                return o + 2;
            }
            o[0] = static_cast<unsigned char>(0xe0 | c >> 12);
            o[1] = static_cast<unsigned char>(0x80 | (c >> 6 & 0x3f));
            o[2] = static_cast<unsigned char>(0x80 | (c & 0x3f));
            return o + 3;
        case kAscii16LE:
            o[0] = static_cast<unsigned char>(c);
            o[1] = static_cast<unsigned char>(c >> 8);
            return o + 2;
        case kAscii16BE:
            o[0] = static_cast<unsigned char>(c >> 8);
            o[1] = static_cast<unsigned char>(c);
            return o + 2;
        case kAscii32LE:
            o[0] = static_cast<unsigned char>(c);
            o[1] = static_cast<unsigned char>(c >> 8);
            o[2] = 0;
            o[3] = 0;
            return o + 4;
        default:  // kAscii32BE
            o[0] = 0;
            o[1] = 0;
            o[2] = static_cast<unsigned char>(c >> 8);
            o[3] = static_cast<unsigned char>(c);
            return o + 4;
    }
}

// Converts in[0, length) when the source is a FastSource and the target a Unicode form: the
// characters the decoder takes are written here, each stretch it refuses goes to iconv in one
// call. Both start at character boundaries and the decoders hold no state, so the result is
// that of one iconv call over the whole input. Once iconv stops inside a stretch (invalid
// input, or a guess of the stretch's end that cut a character), iconv takes all the rest.
// Refused stretches closer than this (in input bytes) go to iconv in one call.
constexpr size_t kStretchGap = 32;

// ASCII runs this long are written straight into the output rather than through the staging.
constexpr size_t kLongAsciiRun = 64;

template <unsigned char Form, bool FromUtf8>
bool appendDecoded(void* descriptor, std::string& out, const unsigned char* in, size_t length,
                   size_t& outputBudget, const uint16_t* codes)
{
    [[maybe_unused]] constexpr size_t kWidth =
        Form == kAsciiBytes ? 1 : Form <= kAscii16BE ? 2 : 4;
    unsigned char staging[16384];
    // Room for the widest step: sixteen ASCII bytes in the widest form.
    unsigned char* const stagingLimit = staging + sizeof staging - 16 * 4;
    size_t at = 0;
    while (at < length)
    {
        // The decoded part never gives more than four bytes per input byte; when the budget
        // could not hold that, iconv alone keeps to it.
        if (outputBudget / 4 < length - at)
            return convertThrough(descriptor, out, reinterpret_cast<const char*>(in) + at,
                                  length - at, outputBudget) == length - at;
        const unsigned char* p = in + at;
        const unsigned char* const end = in + length;
        unsigned char* o = staging;
        for (;;)
        {
            if (o > stagingLimit)
            {
                out.append(reinterpret_cast<const char*>(staging),
                           static_cast<size_t>(o - staging));
                outputBudget -= static_cast<size_t>(o - staging);
                o = staging;
            }
            if (p == end) break;
            if (*p < 0x80)
            {
#if defined(__SSE2__)
                if (end - p >= 16)
                {
                    const int high =
                        _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
                    if (high == 0)
                    {
                        const size_t run =
                            16 + asciiPrefix(p + 16, static_cast<size_t>(end - p) - 16);
                        if (run < kLongAsciiRun)
                        {
                            expandAscii(p, 16, Form, o);
                            p += 16;
                            o += 16 * kWidth;
                            continue;
                        }
                        // A long run: staged output first, then the run straight into out.
                        out.append(reinterpret_cast<const char*>(staging),
                                   static_cast<size_t>(o - staging));
                        outputBudget -= static_cast<size_t>(o - staging);
                        o = staging;
                        appendAscii(out, p, run, Form);
                        outputBudget -= run * kWidth;
                        p += run;
                        continue;
                    }
                    const auto run =
                        static_cast<unsigned>(__builtin_ctz(static_cast<unsigned>(high)));
                    for (unsigned i = 0; i < run; ++i) o = encode<Form>(o, p[i]);
                    p += run;
                    continue;
                }
#endif
                o = encode<Form>(o, *p++);
                continue;
            }
            uint32_t c = 0;
            const size_t n = FromUtf8 ? decodeUtf8(p, end, c) : decodeDoubleByte(p, end, codes, c);
            if (n == 0) break;
            o = encode<Form>(o, c);
            p += n;
        }
        out.append(reinterpret_cast<const char*>(staging), static_cast<size_t>(o - staging));
        outputBudget -= static_cast<size_t>(o - staging);
        at = static_cast<size_t>(p - in);
        if (at == length) break;

        // Stretches only a few characters apart go to iconv together, the characters between
        // them included: one call costs more than iconv takes to convert those.
        auto refusedEnd = [&](size_t from) {
            return FromUtf8 ? refusedUtf8(in, from, length)
                            : refusedDoubleByte(in, from, length, codes);
        };
        size_t stretchEnd = refusedEnd(at);
        for (size_t next = stretchEnd; next < length && next - stretchEnd < kStretchGap;)
        {
            uint32_t c = 0;
            const size_t n = in[next] < 0x80 ? 1
                             : FromUtf8      ? decodeUtf8(in + next, in + length, c)
                                             : decodeDoubleByte(in + next, in + length, codes, c);
            if (n != 0)
                next += n;
            else
                next = stretchEnd = refusedEnd(next);
        }
        const char* const stretch = reinterpret_cast<const char*>(in) + at;
        const size_t taken =
            convertThrough(descriptor, out, stretch, stretchEnd - at, outputBudget);
        if (taken != stretchEnd - at)
        {
            const size_t rest = length - at - taken;
            return convertThrough(descriptor, out, stretch + taken, rest, outputBudget) == rest;
        }
        at = stretchEnd;
    }
    return true;
}

using DecodedAppender = bool (*)(void*, std::string&, const unsigned char*, size_t, size_t&,
                                 const uint16_t*);

template <bool FromUtf8>
DecodedAppender decodedAppender(unsigned char form)
{
    switch (form)
    {
        case kAsciiBytes:
            return appendDecoded<kAsciiBytes, FromUtf8>;
        case kAscii16LE:
            return appendDecoded<kAscii16LE, FromUtf8>;
        case kAscii16BE:
            return appendDecoded<kAscii16BE, FromUtf8>;
        case kAscii32LE:
            return appendDecoded<kAscii32LE, FromUtf8>;
        default:
            return appendDecoded<kAscii32BE, FromUtf8>;
    }
}
}  // namespace

KrTextCodec::KrTextCodec(const KrString& to, const KrString& from)
{
    Open(to, from);
}

KrTextCodec::KrTextCodec(Charset to, Charset from)
{
    Open(to, from);
}

KrTextCodec& KrTextCodec::operator=(const KrTextCodec& other)
{
    if (m_pDescriptor != other.m_pDescriptor)
    {
        Close();
        m_pDescriptor = other.m_pDescriptor;
        m_nAsciiForm = other.m_nAsciiForm;
        m_nFastSource = other.m_nFastSource;
    }
    return *this;
}

bool KrTextCodec::Open(const KrString& to, const KrString& from)
{
    Close();
    m_pDescriptor = Platform::OpenConverter(to.Cstr(), from.Cstr());
    m_nAsciiForm = IsOpen() ? asciiForm(to, from) : kNoAsciiForm;
    m_nFastSource = fastSource(to, from, m_nAsciiForm);
    return IsOpen();
}

bool KrTextCodec::Open(Charset to, Charset from)
{
    return Open(GetCharsetName(to), GetCharsetName(from));
}

bool KrTextCodec::IsOpen() const
{
    return m_pDescriptor != Platform::ClosedConverter();
}

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
    if (m_nFastSource != kNoFastSource)
    {
        const bool fromUtf8 = m_nFastSource == kFromUtf8;
        // Room for all the output but that of four-byte characters: ASCII in a wide form, or
        // three UTF-8 bytes for a two-byte character.
        const size_t width = asciiWidth(m_nAsciiForm);
        out.reserve(out.size() + length * width + (width == 1 ? length / 2 : 0));
        const DecodedAppender append =
            fromUtf8 ? decodedAppender<true>(m_nAsciiForm) : decodedAppender<false>(m_nAsciiForm);
        return append(m_pDescriptor, out, reinterpret_cast<const unsigned char*>(in), length,
                      outputBudget, doubleByteCodes(m_nFastSource));
    }
    if (m_nAsciiForm == kNoAsciiForm)
        return convertThrough(m_pDescriptor, out, in, length, outputBudget) == length;

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
            const size_t taken =
                convertThrough(m_pDescriptor, out, in + at, end - at, outputBudget);
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

}  // namespace KRN
