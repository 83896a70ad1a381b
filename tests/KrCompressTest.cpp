#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"

#ifdef ZOBASE_TEST_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/des.h>
#endif

using namespace KRN;

namespace
{

using Bytes = std::vector<unsigned char>;

Bytes randomBytes(std::mt19937& rng, size_t n)
{
    Bytes out(n);
    for (auto& b : out) b = static_cast<unsigned char>(rng());
    return out;
}

// Text with repeats, runs and some noise: what a compressor meets in practice.
Bytes mixedData(size_t n, unsigned seed)
{
    std::mt19937 rng(seed);
    static const char* const words[] = {"road ", "river ", "parcel ", "0.125 ", "\n", "<Style/> "};
    Bytes out;
    while (out.size() < n)
    {
        const unsigned kind = rng() % 4;
        if (kind == 0)
            for (const char* w = words[rng() % 6]; *w != 0; ++w)
                out.push_back(static_cast<unsigned char>(*w));
        else if (kind == 1)
            out.insert(out.end(), rng() % 300, static_cast<unsigned char>(rng()));
        else if (kind == 2)
            out.push_back(static_cast<unsigned char>(rng()));
        else if (out.size() > 10)
        {
            const size_t from = rng() % out.size(), len = 3 + rng() % 200;
            for (size_t i = 0; i < len && out.size() < n + 300; ++i) out.push_back(out[from + i]);
        }
    }
    out.resize(n);
    return out;
}

// ---------------------------------------------------------------- compression

// The result (1 on success) and the bytes of UnZip, or of zlib's own uncompress, the reference
// for every UnZip result. Neither may write past the destination.
struct Expanded
{
    int result;
    Bytes bytes;
};

Expanded krUnZip(const Bytes& stream, size_t capacity, bool withZlib = false)
{
    Bytes out(capacity + 1, 0xA5);
    uLongf zlibLength = capacity;
    unsigned int length = static_cast<unsigned int>(capacity);
    const int ok = withZlib
                       ? uncompress(out.data(), &zlibLength, stream.data(), stream.size()) == Z_OK
                       : KrCompress::UnZip(out.data(), length, stream.data(),
                                           static_cast<unsigned int>(stream.size()));
    EXPECT_EQ(out[capacity], 0xA5) << "wrote past the destination";
    out.resize(withZlib ? zlibLength : length);
    return {ok, out};
}

void expectSameAsZlib(const Bytes& stream, size_t capacity)
{
    const Expanded reference = krUnZip(stream, capacity, true), got = krUnZip(stream, capacity);
    EXPECT_EQ(got.result, reference.result);
    EXPECT_EQ(got.bytes, reference.bytes);
}

Bytes zlibCompress(const Bytes& data, int level)
{
    Bytes stream(compressBound(data.size()));
    uLongf length = stream.size();
    EXPECT_EQ(compress2(stream.data(), &length, data.data(), data.size(), level), Z_OK);
    stream.resize(length);
    return stream;
}

// A stream from zlib's deflate with the given parameters, optionally flushed in pieces and
// primed with a preset dictionary.
Bytes deflateWith(const Bytes& data, int level, int windowBits, int memLevel, int strategy,
                  size_t piece, const Bytes& dictionary = {})
{
    z_stream z{};
    EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, windowBits, memLevel, strategy), Z_OK);
    if (!dictionary.empty())
        deflateSetDictionary(&z, dictionary.data(), static_cast<uInt>(dictionary.size()));
    Bytes out(deflateBound(&z, data.size()) + (data.size() / piece + 1) * 16);
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    size_t at = 0;
    do
    {
        const size_t n = std::min(piece, data.size() - at);
        z.next_in = const_cast<unsigned char*>(data.data() + at);
        z.avail_in = static_cast<uInt>(n);
        at += n;
        EXPECT_NE(deflate(&z, at == data.size() ? Z_FINISH : Z_FULL_FLUSH), Z_STREAM_ERROR);
    } while (at < data.size());
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

TEST(KrCompress, ZipGivesTheBytesOfCompress2)
{
    for (const Bytes& data : {Bytes{}, Bytes{'a'}, mixedData(100000, 1)})
        for (int level = -1; level <= 9; ++level)
        {
            SCOPED_TRACE(level);
            const Bytes expected = zlibCompress(data, level);
            Bytes got(expected.size() + 10);
            unsigned int length = static_cast<unsigned int>(got.size());
            ASSERT_TRUE(KrCompress::Zip(got.data(), length, data.data(),
                                        static_cast<unsigned int>(data.size()), level));
            got.resize(length);
            EXPECT_EQ(got, expected);
        }
    // It fails for a destination too small and for a level past 9.
    const Bytes data = mixedData(5000, 2);
    Bytes out(8000);
    unsigned int length = 10;
    EXPECT_FALSE(KrCompress::Zip(out.data(), length, data.data(), 5000, 6));
    length = static_cast<unsigned int>(out.size());
    EXPECT_FALSE(KrCompress::Zip(out.data(), length, data.data(), 5000, 10));
}

TEST(KrCompress, UnZipExpandsStreamsOfEveryEncoderSetting)
{
    const Bytes data = mixedData(300000, 3);
    struct Setting
    {
        int level, windowBits, memLevel, strategy;
        size_t piece;
    };
    const size_t whole = ~size_t{0};
    // clang-format off
    const Setting settings[] = {
        {6, 15, 8, Z_DEFAULT_STRATEGY, whole}, {0, 15, 8, Z_DEFAULT_STRATEGY, whole},
        {1, 15, 9, Z_DEFAULT_STRATEGY, whole}, {9, 15, 9, Z_DEFAULT_STRATEGY, 70000},
        {6, 9, 1, Z_DEFAULT_STRATEGY, whole},  {6, 12, 4, Z_FILTERED, whole},
        {6, 15, 8, Z_HUFFMAN_ONLY, whole},     {6, 15, 8, Z_RLE, whole},
        {6, 15, 8, Z_FIXED, whole},            {3, 15, 8, Z_DEFAULT_STRATEGY, 1000},
        {0, 15, 8, Z_DEFAULT_STRATEGY, 1}};
    // clang-format on
    for (const Setting& s : settings)
    {
        SCOPED_TRACE(testing::Message()
                     << s.level << " " << s.windowBits << " " << s.strategy << " " << s.piece);
        const Bytes prefix(data.begin(), data.begin() + (s.piece == 1 ? 3000 : data.size()));
        const Bytes stream =
            deflateWith(prefix, s.level, s.windowBits, s.memLevel, s.strategy, s.piece);
        const Expanded got = krUnZip(stream, prefix.size());
        EXPECT_TRUE(got.result);
        EXPECT_TRUE(got.bytes == prefix);
    }
}

// Matches at every short distance, ending at every offset from the end of the destination.
TEST(KrCompress, UnZipCopiesShortPeriodsUpToTheLastByte)
{
    std::mt19937 rng(8);
    Bytes data;
    for (int period = 1; period <= 20; ++period)
    {
        const Bytes unit = randomBytes(rng, static_cast<size_t>(period));
        for (int i = 0; i < 300; ++i) data.push_back(unit[i % period]);
        data.push_back(static_cast<unsigned char>(rng()));
    }
    for (size_t end = data.size() - 400; end <= data.size(); ++end)
    {
        const Bytes prefix(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(end));
        const Bytes stream = zlibCompress(prefix, 9);
        for (size_t slack : {size_t{0}, size_t{7}, size_t{300}})
        {
            const Expanded got = krUnZip(stream, prefix.size() + slack);
            ASSERT_TRUE(got.result && got.bytes == prefix) << end << " " << slack;
        }
    }
}

TEST(KrCompress, UnZipFailuresMatchUncompress)
{
    const Bytes data = mixedData(70000, 4);
    const Bytes stream = zlibCompress(data, 6);

    // Exact fit, one byte too small, far too small, empty destination, room to spare.
    for (size_t capacity :
         {data.size(), data.size() - 1, size_t{100}, size_t{0}, data.size() + 5000})
    {
        SCOPED_TRACE(capacity);
        expectSameAsZlib(stream, capacity);
    }
    // Trailing bytes after the stream are ignored.
    Bytes trailing = stream;
    trailing.insert(trailing.end(), {1, 2, 3});
    expectSameAsZlib(trailing, data.size());
    // Truncated anywhere, with the destination large enough and exactly full.
    for (size_t cut = 0; cut < stream.size(); cut += 1 + cut / 3)
    {
        SCOPED_TRACE(cut);
        const Bytes truncated(stream.begin(), stream.begin() + cut);
        expectSameAsZlib(truncated, data.size());
        expectSameAsZlib(truncated, data.size() / 2);
    }
    // Damaged checksum, header and payload bytes.
    for (size_t at :
         {stream.size() - 1, stream.size() - 4, size_t{0}, size_t{1}, size_t{2}, stream.size() / 2})
    {
        SCOPED_TRACE(at);
        Bytes damaged = stream;
        damaged[at] ^= 0x10;
        expectSameAsZlib(damaged, data.size());
    }
    // Random bytes behind a valid header and without one.
    std::mt19937 rng(5);
    for (int i = 0; i < 300; ++i)
    {
        Bytes noise = randomBytes(rng, 1 + rng() % 400);
        if (i % 2 == 0 && noise.size() > 2)
        {
            noise[0] = 0x78;
            noise[1] = 0x9C;
        }
        expectSameAsZlib(noise, rng() % 2000);
    }
}

// Hand-made streams that the deflate format forbids but a lenient decoder (libdeflate among them)
// would take: more than 286 length codes or 30 distance codes in a block header, and the unused
// length codes 286 and 287 and distance codes 30 and 31 of the fixed code. zlib refuses them, and a
// stream that needs a preset dictionary; so must UnZip.
TEST(KrCompress, UnZipRefusesWhatZlibRefuses)
{
    const Bytes data = mixedData(2000, 6);
    const Bytes needsDictionary = deflateWith(data, 6, 15, 8, Z_DEFAULT_STRATEGY, ~size_t{0},
                                              Bytes(data.begin(), data.begin() + 500));
    ASSERT_EQ(needsDictionary[1] & 0x20, 0x20);  // FDICT set
    struct BitWriter
    {
        Bytes out;
        int used = 8;
        void bits(unsigned value, int n)  // least significant first
        {
            for (int i = 0; i < n; ++i)
            {
                if (used == 8) out.push_back(0), used = 0;
                out.back() |= static_cast<unsigned char>(((value >> i) & 1) << used++);
            }
        }
        void code(unsigned value, int n)  // Huffman codes go most significant first
        {
            for (int i = n - 1; i >= 0; --i) bits(value >> i, 1);
        }
        void fixedLiteral(int symbol)
        {
            if (symbol < 144)
                code(0x30 + symbol, 8);
            else if (symbol < 256)
                code(0x190 + symbol - 144, 9);
            else if (symbol < 280)
                code(symbol - 256, 7);
            else
                code(0xC0 + symbol - 280, 8);
        }
    };
    // A deflated body behind a zlib header and before the Adler-32 of what it expands to.
    const auto zlibWrap = [](const Bytes& deflated, const Bytes& expanded)
    {
        Bytes stream(2 + deflated.size(), 0x78);
        stream[1] = 0x01;
        std::copy(deflated.begin(), deflated.end(), stream.begin() + 2);
        const uLong adler = adler32(1, expanded.data(), static_cast<uInt>(expanded.size()));
        for (int shift = 24; shift >= 0; shift -= 8)
            stream.push_back(static_cast<unsigned char>(adler >> shift));
        return stream;
    };
    // One final fixed block: "a", what body writes, the end; it expands to `length` times 'a'.
    const auto fixedBlock = [&](auto body, size_t length)
    {
        BitWriter w;
        w.bits(3, 3);
        w.fixedLiteral('a');
        body(w);
        w.fixedLiteral(256);
        return zlibWrap(w.out, Bytes(length, 'a'));
    };
    // 200 copies of length 258 at distance 1, then one of length 3 at distance code dcode.
    const auto longRun = [&](unsigned dcode, unsigned extra, int extraBits)
    {
        const auto body = [&](BitWriter& w)
        {
            for (int i = 0; i < 200; ++i) w.fixedLiteral(285), w.code(0, 5);
            w.fixedLiteral(257), w.code(dcode, 5), w.bits(extra, extraBits);
        };
        return fixedBlock(body, 1 + 200 * 258 + 3);
    };
    // Length symbol `symbol` at distance 1.
    const auto reservedLength = [&](int symbol)
    { return fixedBlock([&](BitWriter& w) { w.fixedLiteral(symbol), w.code(0, 5); }, 1 + 258); };
    // Dynamic block with nlen length codes and ndist distance codes; symbols 'a', 256 and the
    // last two length symbols get 2-bit codes, distance code 0 a 1-bit one. Body: "aa".
    const auto wideHeader = [&](int nlen, int ndist)
    {
        BitWriter w;
        w.bits(5, 3);  // final block, dynamic codes
        w.bits(static_cast<unsigned>(nlen - 257), 5);
        w.bits(static_cast<unsigned>(ndist - 1), 5);
        w.bits(19 - 4, 4);
        const int order[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
        for (int symbol : order)
            w.bits(symbol == 0 || symbol == 1 || symbol == 2 || symbol == 18 ? 2 : 0, 3);
        std::vector<int> lengths(nlen + ndist, 0);
        lengths['a'] = lengths[256] = lengths[nlen - 2] = lengths[nlen - 1] = 2;
        lengths[nlen] = 1;
        lengths[nlen + ndist - 1] = 1;
        for (size_t i = 0; i < lengths.size();)
        {
            size_t run = 0;
            while (i + run < lengths.size() && lengths[i + run] == 0 && run < 138) ++run;
            if (run >= 11)
            {
                w.code(3, 2), w.bits(static_cast<unsigned>(run - 11), 7), i += run;
                continue;
            }
            w.code(static_cast<unsigned>(lengths[i]), 2), ++i;  // symbols 0, 1, 2 code as 0, 1, 2
        }
        w.code(0, 2);
        w.code(0, 2);
        w.code(1, 2);
        return zlibWrap(w.out, Bytes{'a', 'a'});
    };
    const size_t big = 60000;
    EXPECT_TRUE(krUnZip(longRun(29, 8191, 13), big).result);  // 32768 is the farthest distance
    EXPECT_TRUE(krUnZip(wideHeader(286, 30), 10).result);
    EXPECT_TRUE(krUnZip(reservedLength(285), big).result);
    for (const Bytes& stream : {longRun(30, 0, 14), longRun(31, 0, 14), reservedLength(286),
                                reservedLength(287), wideHeader(287, 30), wideHeader(288, 30),
                                wideHeader(286, 31), wideHeader(286, 32), needsDictionary})
    {
        expectSameAsZlib(stream, big);
        EXPECT_FALSE(krUnZip(stream, big).result);
    }
}

// ---------------------------------------------------------------- DES

TEST(KrDesEncrypt, ArgumentsPartialBlocksAndKeyLengths)
{
    // Argument faults return false and touch nothing.
    char in[16] = "plain text", out[16] = {};
    const char key[20] = {1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 0, 0, 0, 0, 0, 11, 12, 13, 14};
    EXPECT_FALSE(KrDesEncrypt::Work(nullptr, in, 8, key, 8, KrDesEncrypt::Encrypt));
    EXPECT_FALSE(KrDesEncrypt::Work(out, nullptr, 8, key, 8, KrDesEncrypt::Encrypt));
    EXPECT_FALSE(KrDesEncrypt::Work(out, in, 8, nullptr, 8, KrDesEncrypt::Encrypt));
    for (int length : {0, -1, -8, -100, std::numeric_limits<int>::min()})
        EXPECT_FALSE(KrDesEncrypt::Work(out, in, length, key, 8, KrDesEncrypt::Decrypt)) << length;
    EXPECT_EQ(std::string(out, 16), std::string(16, '\0'));

    // A partial block is written whole, and no further.
    std::memset(out, 0x5A, sizeof out);
    ASSERT_TRUE(KrDesEncrypt::Work(out, in, 5, key, 8, KrDesEncrypt::Encrypt));
    EXPECT_NE(std::string(out + 5, 3), std::string(3, '\x5A'));
    EXPECT_EQ(std::string(out + 8, 8), std::string(8, '\x5A'));
    char back[8];
    ASSERT_TRUE(KrDesEncrypt::Work(back, out, 5, key, 8, KrDesEncrypt::Decrypt));
    EXPECT_EQ(std::string(back, 8), std::string(in, 8));

    // Keys are zero-filled to 16 bytes and cut at 16; zero key bytes past 8 still mean triple.
    const auto encrypt = [&](int from, int length)
    {
        EXPECT_TRUE(KrDesEncrypt::Work(out, in, 8, key + from, length, KrDesEncrypt::Encrypt));
        return std::string(out, 8);
    };
    EXPECT_NE(encrypt(0, 8), encrypt(0, 16));
    EXPECT_EQ(encrypt(0, 0), encrypt(8, 8));
    EXPECT_EQ(encrypt(0, 20), encrypt(0, 16));
}

#ifdef ZOBASE_TEST_OPENSSL
unsigned char reversed(unsigned char b)
{
    unsigned char r = 0;
    for (int i = 0; i < 8; ++i) r = static_cast<unsigned char>(r | ((b >> i) & 1) << (7 - i));
    return r;
}

// Standard DES of OpenSSL with the bits of every byte of key, input and output reversed.
Bytes opensslReference(const Bytes& data, const Bytes& key16, bool triple, bool decipher)
{
    DES_cblock k1, k2;
    for (int i = 0; i < 8; ++i) k1[i] = reversed(key16[i]), k2[i] = reversed(key16[8 + i]);
    DES_key_schedule s1, s2;
    DES_set_key_unchecked(&k1, &s1);
    DES_set_key_unchecked(&k2, &s2);
    Bytes out(data.size());
    for (size_t at = 0; at < data.size(); at += 8)
    {
        DES_cblock in, result;
        for (int i = 0; i < 8; ++i) in[i] = reversed(data[at + i]);
        if (triple)
            DES_ecb3_encrypt(&in, &result, &s1, &s2, &s1, decipher ? DES_DECRYPT : DES_ENCRYPT);
        else
            DES_ecb_encrypt(&in, &result, &s1, decipher ? DES_DECRYPT : DES_ENCRYPT);
        for (int i = 0; i < 8; ++i) out[at + i] = reversed(result[i]);
    }
    return out;
}

TEST(KrDesEncrypt, MatchesStandardDesWithBitReversedBytes)
{
    std::mt19937 rng(7);
    for (int trial = 0; trial < 400; ++trial)
    {
        const int keyLength = 1 + trial % 16;
        const bool decipher = trial % 3 == 0;
        Bytes key = randomBytes(rng, 16);
        std::fill(key.begin() + keyLength, key.end(), 0);
        const int length = 1 + static_cast<int>(rng() % 200);
        const Bytes data = randomBytes(rng, (length + 7) / 8 * 8);
        SCOPED_TRACE(testing::Message() << "key length " << keyLength << " data " << length
                                        << " decipher " << decipher);

        Bytes out(data.size());
        ASSERT_TRUE(
            KrDesEncrypt::Work(reinterpret_cast<char*>(out.data()),
                               reinterpret_cast<char*>(const_cast<unsigned char*>(data.data())),
                               length, reinterpret_cast<const char*>(key.data()), keyLength,
                               decipher ? KrDesEncrypt::Decrypt : KrDesEncrypt::Encrypt));
        ASSERT_EQ(out, opensslReference(data, key, keyLength > 8, decipher));

        // And back again, in place.
        ASSERT_TRUE(KrDesEncrypt::Work(
            reinterpret_cast<char*>(out.data()), reinterpret_cast<char*>(out.data()), length,
            reinterpret_cast<const char*>(key.data()), keyLength,
            decipher ? KrDesEncrypt::Encrypt : static_cast<KrDesEncrypt::WorkMode>(7)));
        ASSERT_EQ(out, data);
    }
}
#endif

// ---------------------------------------------------------------- hash codes

TEST(KrHashCode, ScalarCodes)
{
    const auto pointer = [](std::uintptr_t p) { return reinterpret_cast<void*>(p); };
    // The sign bits of a short swamp its shifted copy; a pointer folds its high half in.
    const std::pair<int, int> cases[] = {
        {KrHashCode::BoolToHashCode(0), 0},
        {KrHashCode::BoolToHashCode(7), 1},
        {KrHashCode::ByteToHashCode(0xFF), 255},
        {KrHashCode::ShortToHashCode(-1), -1},
        {KrHashCode::ShortToHashCode(1), 0x00010001},
        {KrHashCode::ShortToHashCode(0x1234), 0x12341234},
        {KrHashCode::ShortToHashCode(-2), -2},
        {KrHashCode::LONGToHashCode(0x123456789ABCDEF0LL), static_cast<int>(0x9ABCDEF0u)},
        {KrHashCode::LONGToHashCode(-1), -1},
        {KrHashCode::PointerToHashCode(nullptr), 0},
        {KrHashCode::PointerToHashCode(pointer(0x12345678)), 0x12345678},
        {KrHashCode::PointerToHashCode(pointer(static_cast<std::uintptr_t>(0x0000700012345678ULL))),
         sizeof(void*) == 8 ? 0x12345678 ^ 0x7000 : 0x12345678},
    };
    int row = 0;
    for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected) << "row " << row++;
}

TEST(KrHashCode, FloatingCodesAreBitPatternsAndZeroForBothZeros)
{
    // Patterns written out by hand from the IEEE 754 encodings.
    const double inf = std::numeric_limits<double>::infinity();
    // clang-format off
    const std::tuple<double, unsigned int, unsigned int> rows[] = {
        {0.0, 0, 0}, {-0.0, 0, 0}, {1.0, 0x3F800000u, 0x3FF00000u},
        {-1.5, 0xBFC00000u, 0xBFF80000u},
        {3.14159, 0x40490FD0u, 0xB012A797u}, {1e30, 0x7149F2CAu, 0x7F89B2B3u},
        {inf, 0x7F800000u, 0x7FF00000u}};
    // clang-format on
    for (const auto& [value, floatCode, doubleCode] : rows)
    {
        SCOPED_TRACE(value);
        EXPECT_EQ(KrHashCode::FloatToHashCode(static_cast<float>(value)),
                  static_cast<int>(floatCode));
        EXPECT_EQ(KrHashCode::DoubleToHashCode(value), static_cast<int>(doubleCode));
    }
}

// Expected codes from an independent model of the two-accumulator walk (arbitrary-precision
// arithmetic reduced to 32 bits by hand at every step, written in another language).
TEST(KrHashCode, FastStringHashWalksSignedBytesInPairs)
{
    // clang-format off
    const std::pair<std::string, int> rows[] = {
        {"", 757602046}, {"a", -842352705}, {"ab", 2101109631}, {"abc", 842210264},
        {"abcd", 1235493370}, {"hello world", 999733123}, {"\xFF\x80\x7F", -2099117183},
        {"\xD6\xD0\xCE\xC4", 1496838664},
        {"The quick brown fox jumps over the lazy dog", 1113475709}};
    // clang-format on
    for (const auto& [bytes, code] : rows)
    {
        SCOPED_TRACE(bytes);
        const KrString text(bytes.data(), static_cast<int>(bytes.size()));
        EXPECT_EQ(KrHashCode::FastStringToHashCode(text), code);
    }
    // Every stored byte counts, zero bytes included.
    EXPECT_NE(KrHashCode::FastStringToHashCode(KrString("a\0b", 3)),
              KrHashCode::FastStringToHashCode(KrString("a")));
}

TEST(KrHashCode, StringHashWalksUtf16WordsOfTheText)
{
    // clang-format off
    const std::pair<const char*, int> rows[] = {
        {"", 757602046}, {"a", -842352705}, {"ab", -840386625}, {"abc", 536991770},
        {"abcd", 1594742810}, {"abcde", 398757997}, {"hello world", -1660775320},
        {"\xE4\xB8\xAD\xE6\x96\x87\xE5\xAD\x97\xE7\xAC\xA6", 681611322},
        {"\xC3\x9Cn\xC3\xAF\x63\xC3\xB6\x64\xC3\xA9 \xE2\x82\xAC", -1543245429},
        {"The quick brown fox jumps over the lazy dog", 1766444897}};
    // clang-format on
    for (const auto& [utf8, code] : rows)
    {
        SCOPED_TRACE(utf8);
        KrString text(utf8);
        text.SetCharset(KrTextCodec::UTF8_CHARSET);
        EXPECT_EQ(KrHashCode::StringToHashCode(text), code);
    }
    // The code depends on the characters, not on the charset the bytes are in.
    KrString gb("\xD6\xD0\xCE\xC4\xD7\xD6\xB7\xFB");
    gb.SetCharset(KrTextCodec::GB2312_CHARSET);
    EXPECT_EQ(KrHashCode::StringToHashCode(gb), 681611322);
}

}  // namespace
