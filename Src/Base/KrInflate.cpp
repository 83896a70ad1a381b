// A deflate decoder tuned for the case of a whole stream in one buffer and a destination that
// is large enough. It is strict: whatever zlib would refuse it refuses too (more than 286
// length or 30 distance codes, distance codes 30 and 31, a distance before the start of the
// output, codes that are over-full or incomplete beyond the single-code case zlib allows), and
// it gives up on anything it need not handle quickly, leaving the exact failure to zlib.
//
// Bits are read least significant first through a 64-bit buffer that is refilled with one
// unaligned load while eight input bytes remain. Huffman codes are looked up in a primary table
// indexed by the next bits, with second-level tables for the few longer codes.
#include "KrInflate.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace KRN::Detail
{

namespace
{

using Entry = std::uint32_t;

// Entry layout: bits 0-5 the bits to consume, code and extra bits together (so that a shift by
// the whole entry needs no mask on x86), 6-8 kind, 9-12 extra bits, 13-16 code bits at this
// level, 17-31 value.
enum Kind : Entry
{
    kLiteral = 0,
    kLength = 1,    // value: length base
    kDistance = 2,  // value: distance base
    kEnd = 3,
    kSubtable = 4,  // value: offset of the second-level table, extra: its index bits
    kInvalid = 5,
};

constexpr Entry makeEntry(Kind kind, unsigned value, unsigned extra, unsigned codeBits)
{
    return Entry{value} << 17 | Entry{codeBits} << 13 | Entry{extra} << 9 | Entry{kind} << 6 |
           (codeBits + extra);
}
// A pointer to a second-level table indexed by the next indexBits bits.
constexpr Entry makeSubtableEntry(unsigned offset, unsigned indexBits, unsigned primaryBits)
{
    return Entry{offset} << 17 | Entry{primaryBits} << 13 | Entry{indexBits} << 9 |
           Entry{kSubtable} << 6 | primaryBits;
}
// A symbol's meaning with its code length filled in.
constexpr Entry withCodeBits(Entry meaning, unsigned codeBits)
{
    return meaning + (codeBits << 13) + codeBits;
}
// clang-format off
inline unsigned bitsOf(Entry e) { return e & 63; }
inline unsigned kindOf(Entry e) { return (e >> 6) & 7; }
inline unsigned extraOf(Entry e) { return (e >> 9) & 15; }
inline unsigned codeBitsOf(Entry e) { return (e >> 13) & 15; }
inline unsigned valueOf(Entry e) { return e >> 17; }
// clang-format on

constexpr unsigned kLitLenBits = 10;
// Output room for the fast match copy: the longest match plus the copy's overrun.
constexpr ptrdiff_t kCopyRoom = 258 + 16;
constexpr unsigned kDistBits = 8;
constexpr unsigned kMaxCodeBits = 15;
constexpr int kMaxLitLen = 288;
constexpr int kMaxDist = 32;
// A second-level table per primary slot that long codes share, each of 2^(15 - primary) slots.
constexpr size_t kLitLenTableSize =
    (1u << kLitLenBits) + kMaxLitLen * (1u << (kMaxCodeBits - kLitLenBits));
constexpr size_t kDistTableSize = (1u << kDistBits) + kMaxDist * (1u << (kMaxCodeBits - kDistBits));

constexpr unsigned short kLengthBase[29] = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                            15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                            67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr unsigned char kLengthExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                            2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr unsigned short kDistBase[30] = {
    1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
    193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
constexpr unsigned char kDistExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                          6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};
constexpr unsigned char kCodeLengthOrder[19] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                11, 4,  12, 3, 13, 2, 14, 1, 15};

// What a literal/length symbol decodes to, before its code length is known.
Entry litLenMeaning(int symbol)
{
    if (symbol < 256) return makeEntry(kLiteral, static_cast<unsigned>(symbol), 0, 0);
    if (symbol == 256) return makeEntry(kEnd, 0, 0, 0);
    if (symbol < 286)
        return makeEntry(kLength, kLengthBase[symbol - 257], kLengthExtra[symbol - 257], 0);
    return makeEntry(kInvalid, 0, 0, 0);
}

Entry distMeaning(int symbol)
{
    if (symbol < 30) return makeEntry(kDistance, kDistBase[symbol], kDistExtra[symbol], 0);
    return makeEntry(kInvalid, 0, 0, 0);
}

unsigned reverseBits(unsigned code, unsigned length)
{
    unsigned r = 0;
    for (unsigned i = 0; i < length; ++i, code >>= 1) r = r << 1 | (code & 1);
    return r;
}

// Which incomplete codes zlib accepts for a table (over-full ones it never does).
enum Incomplete
{
    kNoneAllowed,    // the code-length code
    kSingleAllowed,  // literal/length codes: one 1-bit code alone
    kSingleOrEmpty,  // distance codes: also no code at all
};

// Builds the lookup table of a canonical Huffman code; false for a code zlib refuses.
template <class Meaning>
bool buildTable(const unsigned char* lengths, int count, unsigned primaryBits, Incomplete allowed,
                Entry* table, Meaning meaning)
{
    unsigned histogram[kMaxCodeBits + 1] = {};
    for (int s = 0; s < count; ++s) ++histogram[lengths[s]];
    histogram[0] = 0;
    unsigned maxLength = 0;
    int left = 1;
    for (unsigned len = 1; len <= kMaxCodeBits; ++len)
    {
        left = left * 2 - static_cast<int>(histogram[len]);
        if (left < 0) return false;
        if (histogram[len] != 0) maxLength = len;
    }
    const size_t primarySize = size_t{1} << primaryBits;
    if (left > 0)
    {
        const bool empty = maxLength == 0;
        const bool single = maxLength == 1 && histogram[1] == 1;
        if (allowed == kNoneAllowed || (empty && allowed != kSingleOrEmpty) || (!empty && !single))
            return false;
        const Entry invalid = makeEntry(kInvalid, 0, 0, 1);
        for (size_t i = 0; i < primarySize; ++i) table[i] = invalid;
        if (empty) return true;
    }

    // Symbols in canonical order: by code length, then by symbol.
    unsigned start[kMaxCodeBits + 2] = {};
    for (unsigned len = 1; len <= kMaxCodeBits; ++len) start[len + 1] = start[len] + histogram[len];
    unsigned short sorted[kMaxLitLen];
    for (int s = 0; s < count; ++s)
        if (lengths[s] != 0) sorted[start[lengths[s]]++] = static_cast<unsigned short>(s);
    const unsigned used = start[kMaxCodeBits];  // start[] now holds each length's end

    const unsigned subBits = maxLength > primaryBits ? maxLength - primaryBits : 0;
    size_t nextSubtable = primarySize;
    Entry* sub = nullptr;
    unsigned currentPrefix = ~0u;
    unsigned code = 0, len = 1;
    for (unsigned i = 0; i < used; ++i, ++code)
    {
        const unsigned symbol = sorted[i];
        while (lengths[symbol] != len) code <<= 1, ++len;  // canonical codes grow one bit at a time
        const Entry m = meaning(static_cast<int>(symbol));
        const unsigned reversed = reverseBits(code, len);
        if (len <= primaryBits)
        {
            for (size_t k = reversed; k < primarySize; k += size_t{1} << len)
                table[k] = withCodeBits(m, len);
            continue;
        }
        // Long codes that share their first primaryBits bits are consecutive in canonical order.
        const unsigned prefix = code >> (len - primaryBits);
        if (prefix != currentPrefix)
        {
            currentPrefix = prefix;
            sub = table + nextSubtable;
            table[reversed & (primarySize - 1)] =
                makeSubtableEntry(static_cast<unsigned>(nextSubtable), subBits, primaryBits);
            nextSubtable += size_t{1} << subBits;
        }
        const unsigned rest = len - primaryBits;
        for (size_t k = reversed >> primaryBits; k < (size_t{1} << subBits); k += size_t{1} << rest)
            sub[k] = withCodeBits(m, rest);
    }
    return true;
}

struct Tables
{
    Entry litLen[kLitLenTableSize];
    Entry dist[kDistTableSize];
};

// Input bits, least significant first. Past the end of the input it supplies zero bytes and
// counts them, so that decoding never branches on the end; whether any were consumed is
// checked where it matters.
class BitReader
{
public:
    BitReader(const unsigned char* begin, const unsigned char* end) : m_pNext(begin), m_pEnd(end) {}

    // At least 56 bits counted in the buffer afterwards, and all 64 bits are the input's next
    // bits: a lookup is right as long as it needs no more bits than the buffer still holds.
    void Refill()
    {
        if (m_pEnd - m_pNext >= 8)
        {
            std::uint64_t word;
            std::memcpy(&word, m_pNext, 8);
            m_nBits |= littleEndian(word) << m_nCount;
            m_pNext += (63 - m_nCount) >> 3;
            m_nCount |= 56;
            return;
        }
        while (m_nCount < 56)
        {
            if (m_pNext < m_pEnd)
                m_nBits |= std::uint64_t{*m_pNext++} << m_nCount;
            else
                ++m_nPastEnd;
            m_nCount += 8;
        }
        // As after a word load, the bits above the count are the next input bits.
        if (m_pNext < m_pEnd) m_nBits |= std::uint64_t{*m_pNext} << m_nCount;
    }

    std::uint64_t Peek() const { return m_nBits; }
    void Drop(unsigned n)  // n < 64
    {
        m_nBits >>= (n & 63);
        m_nCount -= n;
    }
    unsigned Take(unsigned n)  // n < 32, with n bits buffered
    {
        const unsigned value = static_cast<unsigned>(m_nBits) & ((1u << n) - 1);
        Drop(n);
        return value;
    }

    // Whether every bit consumed so far came from the input; zero bytes supplied past the end
    // sit at the top of the buffer.
    bool Overrun() const { return m_nPastEnd * 8 > m_nCount; }
    bool FarPastEnd() const { return m_nPastEnd > 8; }

    // Drops to the next byte boundary and hands the buffered whole bytes back to the input, so
    // that stored data and the checksum are read directly. False when the input ran out.
    bool AlignToInput()
    {
        Drop(m_nCount & 7);
        const unsigned buffered = m_nCount >> 3;
        if (m_nPastEnd > buffered) return false;
        m_pNext -= buffered - m_nPastEnd;
        m_nBits = 0;
        m_nCount = 0;
        m_nPastEnd = 0;
        return true;
    }
    const unsigned char* Next() const { return m_pNext; }
    size_t Available() const { return static_cast<size_t>(m_pEnd - m_pNext); }
    void Skip(size_t n) { m_pNext += n; }

private:
    static std::uint64_t littleEndian(std::uint64_t word)
    {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
        return __builtin_bswap64(word);
#else
        return word;
#endif
    }

    const unsigned char* m_pNext;
    const unsigned char* m_pEnd;
    std::uint64_t m_nBits = 0;
    unsigned m_nCount = 0;
    unsigned m_nPastEnd = 0;
};

class Inflater
{
public:
    Inflater(const unsigned char* src, size_t srcLength, unsigned char* dest, size_t capacity)
        : m_in(src, src + srcLength), m_pBegin(dest), m_pOut(dest), m_pEnd(dest + capacity)
    {
    }

    bool Run(size_t& written)
    {
        bool last = false;
        while (!last)
        {
            m_in.Refill();
            last = m_in.Take(1) != 0;
            const unsigned type = m_in.Take(2);
            bool ok = false;
            if (type == 0)
                ok = storedBlock();
            else if (type == 1)
                ok = fixedTables() && codedBlock();
            else if (type == 2)
                ok = dynamicTables() && codedBlock();
            if (!ok || m_in.Overrun()) return false;
        }
        if (!m_in.AlignToInput() || m_in.Available() < 4) return false;
        const unsigned char* check = m_in.Next();
        const std::uint32_t expected = std::uint32_t{check[0]} << 24 |
                                       std::uint32_t{check[1]} << 16 |
                                       std::uint32_t{check[2]} << 8 | check[3];
        written = static_cast<size_t>(m_pOut - m_pBegin);
        return adler32Of(m_pBegin, written) == expected;
    }

private:
    static std::uint32_t adler32Of(const unsigned char* p, size_t n)
    {
        constexpr std::uint32_t kBase = 65521;
        constexpr size_t kChunk = 5552;  // the most bytes before the sums must be reduced
        std::uint64_t a = 1, b = 0;
        while (n > 0)
        {
            size_t chunk = n < kChunk ? n : kChunk;
            n -= chunk;
#if defined(__SSE2__)
            const size_t vectors = chunk / 16;
            if (vectors > 0)
            {
                // Per 16 bytes: a grows by their sum, b by 16 times a before them plus the bytes
                // weighted 16 down to 1.
                const __m128i zero = _mm_setzero_si128();
                const __m128i weightsHigh = _mm_setr_epi16(16, 15, 14, 13, 12, 11, 10, 9);
                const __m128i weightsLow = _mm_setr_epi16(8, 7, 6, 5, 4, 3, 2, 1);
                __m128i sum = zero, sumsBefore = zero, weighted = zero;
                for (size_t v = 0; v < vectors; ++v, p += 16)
                {
                    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
                    sumsBefore = _mm_add_epi32(sumsBefore, sum);
                    sum = _mm_add_epi32(sum, _mm_sad_epu8(x, zero));
                    weighted = _mm_add_epi32(
                        weighted, _mm_madd_epi16(_mm_unpacklo_epi8(x, zero), weightsHigh));
                    weighted = _mm_add_epi32(
                        weighted, _mm_madd_epi16(_mm_unpackhi_epi8(x, zero), weightsLow));
                }
                b += a * 16 * vectors + 16 * std::uint64_t{horizontalSum(sumsBefore)} +
                     horizontalSum(weighted);
                a += horizontalSum(sum);
                chunk -= vectors * 16;
            }
#endif
            for (; chunk > 0; --chunk) a += *p++, b += a;
            a %= kBase;
            b %= kBase;
        }
        return static_cast<std::uint32_t>(b << 16 | a);
    }

#if defined(__SSE2__)
    static std::uint32_t horizontalSum(__m128i v)
    {
        alignas(16) std::uint32_t lanes[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes), v);
        return lanes[0] + lanes[1] + lanes[2] + lanes[3];
    }
#endif

    bool storedBlock()
    {
        if (!m_in.AlignToInput() || m_in.Available() < 4) return false;
        const unsigned char* header = m_in.Next();
        const unsigned length = header[0] | header[1] << 8;
        const unsigned complement = header[2] | header[3] << 8;
        if (length != (~complement & 0xFFFFu)) return false;
        m_in.Skip(4);
        if (m_in.Available() < length || static_cast<size_t>(m_pEnd - m_pOut) < length)
            return false;
        std::memcpy(m_pOut, m_in.Next(), length);
        m_pOut += length;
        m_in.Skip(length);
        return true;
    }

    bool fixedTables()
    {
        if (m_bFixedReady) return true;
        unsigned char lengths[kMaxLitLen + kMaxDist];
        std::memset(lengths, 8, 144);
        std::memset(lengths + 144, 9, 112);
        std::memset(lengths + 256, 7, 24);
        std::memset(lengths + 280, 8, 8);
        std::memset(lengths + kMaxLitLen, 5, kMaxDist);
        m_bFixedReady = buildTable(lengths, kMaxLitLen, kLitLenBits, kNoneAllowed, m_tables->litLen,
                                   litLenMeaning) &&
                        buildTable(lengths + kMaxLitLen, kMaxDist, kDistBits, kNoneAllowed,
                                   m_tables->dist, distMeaning);
        return m_bFixedReady;
    }

    bool dynamicTables()
    {
        m_bFixedReady = false;
        m_in.Refill();
        const int litLenCount = static_cast<int>(m_in.Take(5)) + 257;
        const int distCount = static_cast<int>(m_in.Take(5)) + 1;
        const int codeLengthCount = static_cast<int>(m_in.Take(4)) + 4;
        if (litLenCount > 286 || distCount > 30) return false;

        unsigned char codeLengthLengths[19] = {};
        for (int i = 0; i < codeLengthCount; ++i)
        {
            m_in.Refill();
            codeLengthLengths[kCodeLengthOrder[i]] = static_cast<unsigned char>(m_in.Take(3));
        }
        Entry codeLengthTable[1u << 7];
        const auto plain = [](int symbol)
        { return makeEntry(kLiteral, static_cast<unsigned>(symbol), 0, 0); };
        // The code-length code must be complete (an empty one makes zlib fail later anyway).
        if (!buildTable(codeLengthLengths, 19, 7, kNoneAllowed, codeLengthTable, plain))
            return false;

        unsigned char lengths[kMaxLitLen + kMaxDist];
        const int total = litLenCount + distCount;
        for (int i = 0; i < total;)
        {
            m_in.Refill();
            if (m_in.FarPastEnd()) return false;
            const Entry e = codeLengthTable[m_in.Peek() & 127];
            m_in.Drop(bitsOf(e));
            const unsigned symbol = valueOf(e);
            if (symbol < 16)
            {
                lengths[i++] = static_cast<unsigned char>(symbol);
                continue;
            }
            unsigned char repeated = 0;
            int times;
            if (symbol == 16)
            {
                if (i == 0) return false;
                repeated = lengths[i - 1];
                times = 3 + static_cast<int>(m_in.Take(2));
            }
            else if (symbol == 17)
                times = 3 + static_cast<int>(m_in.Take(3));
            else
                times = 11 + static_cast<int>(m_in.Take(7));
            if (i + times > total) return false;
            std::memset(lengths + i, repeated, static_cast<size_t>(times));
            i += times;
        }
        if (lengths[256] == 0) return false;
        return buildTable(lengths, litLenCount, kLitLenBits, kSingleAllowed, m_tables->litLen,
                          litLenMeaning) &&
               buildTable(lengths + litLenCount, distCount, kDistBits, kSingleOrEmpty,
                          m_tables->dist, distMeaning);
    }

    // The entry for the next code, through the second-level table when the primary entry points
    // to one (whose bits are then consumed).
    static Entry resolve(Entry e, const Entry* table, unsigned primaryBits, BitReader& in)
    {
        if (kindOf(e) != kSubtable) return e;
        in.Drop(primaryBits);
        return table[valueOf(e) + (in.Peek() & ((1u << extraOf(e)) - 1))];
    }

    // Consumes a resolved entry's code and extra bits; returns its value plus the extra bits.
    static unsigned consume(Entry e, BitReader& in)
    {
        const std::uint64_t bits = in.Peek();
        in.Drop(bitsOf(e));
        return valueOf(e) +
               (static_cast<unsigned>(bits >> codeBitsOf(e)) & ((1u << extraOf(e)) - 1));
    }

    // Copies a match of length bytes from distance back, with at least kCopyRoom bytes of room.
    static void copyMatch(unsigned char* out, size_t distance, unsigned length)
    {
        const unsigned char* from = out - distance;
        unsigned char* const stop = out + length;
        if (distance < 8)
        {
            if (distance == 1)
            {
                std::memset(out, *from, length);
                return;
            }
            // Lay down whole periods bytewise until one period multiple reaches eight bytes;
            // from there every word repeats the word that many bytes before it.
            // The least multiple of the distance that is at least eight.
            static constexpr unsigned char kStep[8] = {0, 8, 8, 9, 8, 10, 12, 14};
            const size_t step = kStep[distance];
            for (size_t k = 0; k < step; ++k) out[k] = from[k];
            from = out;
            out += step;
            if (out >= stop) return;
        }
        // Whole words, each read from bytes already written; the last may run up to fifteen
        // bytes past the match.
        do
        {
            std::memcpy(out, from, 8);
            std::memcpy(out + 8, from + 8, 8);
            out += 16, from += 16;
        } while (out < stop);
    }

    // Decodes one Huffman-coded block. The reader, the output cursor and the tables are held in
    // locals: stores through the byte output could otherwise alias them and force reloads. The
    // next code's entry is looked up before each refill, which leaves its bits in place, so that
    // the refill is off the path from one code to the next.
    bool codedBlock()
    {
        BitReader in = m_in;
        const Entry* const litLen = m_tables->litLen;
        const Entry* const dist = m_tables->dist;
        unsigned char* const begin = m_pBegin;
        unsigned char* const end = m_pEnd;
        unsigned char* out = m_pOut;
        constexpr unsigned kLitLenMask = (1u << kLitLenBits) - 1;
        in.Refill();
        Entry e = litLen[in.Peek() & kLitLenMask];
        for (;;)
        {
            // Between two refills at most 48 bits go, so 16 valid bits remain for the lookup
            // of the next code.
            in.Refill();
            if (in.FarPastEnd()) break;
            e = resolve(e, litLen, kLitLenBits, in);
            unsigned kind = kindOf(e);
            if (kind == kLiteral)
            {
                in.Drop(bitsOf(e));
                if (end - out < 3)
                {
                    if (out == end) break;
                    *out++ = static_cast<unsigned char>(valueOf(e));
                    e = litLen[in.Peek() & kLitLenMask];
                    continue;
                }
                // Up to three literals (45 bits) per refill.
                *out++ = static_cast<unsigned char>(valueOf(e));
                e = resolve(litLen[in.Peek() & kLitLenMask], litLen, kLitLenBits, in);
                kind = kindOf(e);
                if (kind == kLiteral)
                {
                    in.Drop(bitsOf(e));
                    *out++ = static_cast<unsigned char>(valueOf(e));
                    e = resolve(litLen[in.Peek() & kLitLenMask], litLen, kLitLenBits, in);
                    kind = kindOf(e);
                    if (kind == kLiteral)
                    {
                        in.Drop(bitsOf(e));
                        *out++ = static_cast<unsigned char>(valueOf(e));
                        e = litLen[in.Peek() & kLitLenMask];
                        continue;
                    }
                }
                in.Refill();
            }
            if (kind != kLength)
            {
                if (kind != kEnd) break;
                in.Drop(bitsOf(e));
                m_in = in;
                m_pOut = out;
                return true;
            }
            const unsigned length = consume(e, in);
            const Entry d = resolve(dist[in.Peek() & ((1u << kDistBits) - 1)], dist, kDistBits, in);
            if (kindOf(d) != kDistance) break;
            const size_t distance = consume(d, in);
            e = litLen[in.Peek() & kLitLenMask];
            if (distance > static_cast<size_t>(out - begin)) break;
            if (end - out >= kCopyRoom)
            {
                copyMatch(out, distance, length);
                out += length;
                continue;
            }
            if (static_cast<size_t>(end - out) < length) break;
            const unsigned char* from = out - distance;
            for (unsigned k = 0; k < length; ++k) out[k] = from[k];
            out += length;
        }
        return false;
    }

    BitReader m_in;
    unsigned char* const m_pBegin;
    unsigned char* m_pOut;
    unsigned char* const m_pEnd;
    std::unique_ptr<Tables> m_tables{new Tables};
    bool m_bFixedReady = false;
};

}  // namespace

bool InflateZlibStream(const unsigned char* src, size_t srcLength, unsigned char* dest,
                       size_t destCapacity, size_t& written)
{
    // The header: deflate, a window of at most 32 KiB, no preset dictionary, check bits right.
    if (srcLength < 2) return false;
    const unsigned cmf = src[0], flags = src[1];
    if ((cmf & 15) != 8 || (cmf >> 4) > 7 || (flags & 0x20) != 0 || (cmf << 8 | flags) % 31 != 0)
        return false;
    Inflater inflater(src + 2, srcLength - 2, dest, destCapacity);
    return inflater.Run(written);
}

}  // namespace KRN::Detail
