#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
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

template <class Out = Bytes>
Out randomBytes(std::mt19937& rng, size_t n)
{
    Out out(n, 0);
    for (auto& b : out) b = static_cast<typename Out::value_type>(rng());
    return out;
}

// Text with repeats, runs and some noise: what a compressor meets in practice.
Bytes mixedData(size_t n, unsigned seed)
{
    std::mt19937 rng(seed);
    static const std::string words[] = {"road ", "river ", "parcel ", "0.125 ", "\n", "<Style/> "};
    Bytes out;
    while (out.size() < n)
    {
        const unsigned kind = rng() % 4;
        const std::string& word = words[rng() % 6];
        if (kind == 0)
            out.insert(out.end(), word.begin(), word.end());
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

// The result (1 on success) and the bytes of Zip or UnZip, or of zlib's own uncompress, the
// reference for every UnZip result. None may write past the destination.
using Result = std::pair<int, Bytes>;
constexpr int kZip = 0, kUnZip = 1, kZlibUnZip = 2;

Result run(int call, const Bytes& in, size_t capacity, int level = 6)
{
    Bytes out(capacity + 1, 0xA5);
    uLongf zlibLength = capacity;
    unsigned int length = static_cast<unsigned int>(capacity);
    const auto size = static_cast<unsigned int>(in.size());
    const int ok = call == kZip     ? KrCompress::Zip(out.data(), length, in.data(), size, level)
                   : call == kUnZip ? KrCompress::UnZip(out.data(), length, in.data(), size)
                                    : uncompress(out.data(), &zlibLength, in.data(), size) == Z_OK;
    EXPECT_EQ(out[capacity], 0xA5) << "wrote past the destination";
    out.resize(call == kZlibUnZip ? zlibLength : length);
    return {ok, out};
}

void expectSameAsZlib(const Bytes& stream, size_t capacity)
{
    EXPECT_EQ(run(kUnZip, stream, capacity), run(kZlibUnZip, stream, capacity)) << capacity;
}

// A stream from zlib's deflate; with the defaults, the bytes of compress2. It may be flushed in
// pieces.
Bytes deflateWith(const Bytes& data, int level, int windowBits = 15, int memLevel = 8,
                  int strategy = Z_DEFAULT_STRATEGY, size_t piece = ~size_t{0})
{
    z_stream z{};
    EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, windowBits, memLevel, strategy), Z_OK);
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

Bytes fromHex(const std::string& hex)
{
    Bytes out;
    for (size_t at = 0; at + 1 < hex.size(); at += 2)
        out.push_back(static_cast<unsigned char>(std::stoi(hex.substr(at, 2), nullptr, 16)));
    return out;
}

TEST(KrCompress, ZipGivesTheBytesOfCompress2)
{
    for (const Bytes& data : {Bytes{}, Bytes{'a'}, mixedData(100000, 1)})
        for (int level = -1; level <= 9; ++level)
            EXPECT_EQ(run(kZip, data, compressBound(data.size()), level),
                      Result(1, deflateWith(data, level)))
                << level;
    // It fails for a destination too small and for a level past 9.
    for (const auto& [capacity, level] : {std::pair{10, 6}, std::pair{8000, 10}})
        EXPECT_FALSE(run(kZip, mixedData(5000, 2), capacity, level).first) << level;
}

// Streams of every encoder setting, expanded into exactly their size, one byte less, far less,
// nothing and more than enough.
TEST(KrCompress, UnZipMatchesUncompressForEveryEncoderSettingAndCapacity)
{
    const Bytes data = mixedData(300000, 3);
    const size_t whole = ~size_t{0};
    // level, window bits, memory level, strategy, flushed in pieces of
    // clang-format off
    const std::tuple<int, int, int, int, size_t> settings[] = {
        {6, 15, 8, Z_DEFAULT_STRATEGY, whole}, {0, 15, 8, Z_DEFAULT_STRATEGY, whole},
        {1, 15, 9, Z_DEFAULT_STRATEGY, whole}, {9, 15, 9, Z_DEFAULT_STRATEGY, 70000},
        {6, 9, 1, Z_DEFAULT_STRATEGY, whole},  {6, 12, 4, Z_FILTERED, whole},
        {6, 15, 8, Z_HUFFMAN_ONLY, whole},     {6, 15, 8, Z_RLE, whole},
        {6, 15, 8, Z_FIXED, whole},            {3, 15, 8, Z_DEFAULT_STRATEGY, 1000},
        {0, 15, 8, Z_DEFAULT_STRATEGY, 1}};
    // clang-format on
    for (const auto& [level, windowBits, memLevel, strategy, piece] : settings)
    {
        const Bytes prefix(data.begin(), data.begin() + (piece == 1 ? 3000 : data.size()));
        SCOPED_TRACE(testing::Message()
                     << level << " " << windowBits << " " << strategy << " " << piece);
        const Bytes stream = deflateWith(prefix, level, windowBits, memLevel, strategy, piece);
        EXPECT_EQ(run(kUnZip, stream, prefix.size()), Result(1, prefix));
        for (size_t capacity : {prefix.size() - 1, size_t{100}, size_t{0}, prefix.size() + 5000})
            expectSameAsZlib(stream, capacity);
    }
}

TEST(KrCompress, UnZipOfDamagedStreamsMatchesUncompress)
{
    const Bytes data = mixedData(70000, 4), stream = deflateWith(data, 6);
    // Trailing bytes after the stream (ignored), the stream truncated anywhere, damaged checksum,
    // header and payload bytes; with the destination large enough and exactly full.
    std::vector<Bytes> streams{stream};
    streams[0].insert(streams[0].end(), {1, 2, 3});
    for (size_t cut = 0; cut < stream.size(); cut += 1 + cut / 3)
        streams.emplace_back(stream.begin(), stream.begin() + cut);
    for (size_t at :
         {stream.size() - 1, stream.size() - 4, size_t{0}, size_t{1}, size_t{2}, stream.size() / 2})
        (streams.emplace_back(stream))[at] ^= 0x10;
    for (const Bytes& damaged : streams)
        for (size_t capacity : {data.size(), data.size() / 2}) expectSameAsZlib(damaged, capacity);
    // Random bytes behind a valid header and without one.
    std::mt19937 rng(5);
    for (int i = 0; i < 300; ++i)
    {
        Bytes noise = randomBytes(rng, 1 + rng() % 400);
        if (i % 2 == 0 && noise.size() > 2) noise[0] = 0x78, noise[1] = 0x9C;
        expectSameAsZlib(noise, rng() % 2000);
    }
}

// Hand-made deflate bodies that the format forbids but a lenient decoder (libdeflate among them)
// would take, each after an allowed twin. zlib refuses them, and a stream that needs a preset
// dictionary; so must UnZip. Expanded, each gives `length` times 'a'.
TEST(KrCompress, UnZipRefusesWhatZlibRefuses)
{
    // clang-format off
    const struct { bool afterRun; const char* body; size_t length; } rows[] = {
        // One dynamic block, "aa": 'a', 256, the last two length symbols and the first and last
        // distance codes have a code; 286 and 30 codes, then 287, 288 length or 31, 32 distance.
        {false, "EDFD010900000080206CEDFF898694470401", 2},
        {false, "F5FD010900000080206CEDFF898E94470401", 2},
        {false, "FDFD010900000080206CEDFF899694470401", 2},
        {false, "EDFE010900000080206CEDFF8986944B0401", 2},
        {false, "EDFF010900000080206CEDFF8986944F0401", 2},
        // One fixed block: "a", then length symbol 285 (258) or the unused 286 or 287, distance 1.
        {false, "4B1C0500", 259}, {false, "4B1C0300", 259}, {false, "4B1C0700", 259},
        // After a stored block of 51601 'a', a fixed block with one match of 3 at distance code 29
        // with extra bits 8191 (32768, the farthest) or at the unused distance codes 30 or 31.
        {true, "03DEFF0F00", 51604}, {true, "033E000000", 51604}, {true, "037E000000", 51604}};
    // clang-format on
    for (const auto& row : rows)
    {
        Bytes stream = fromHex(row.afterRun ? "78010091C96E36" : "7801"), body = fromHex(row.body);
        if (row.afterRun) stream.insert(stream.end(), 51601, 'a');
        stream.insert(stream.end(), body.begin(), body.end());
        const Bytes expanded(row.length, 'a');
        const uLong adler = adler32(1, expanded.data(), static_cast<uInt>(expanded.size()));
        for (int shift = 24; shift >= 0; shift -= 8)
            stream.push_back(static_cast<unsigned char>(adler >> shift));
        SCOPED_TRACE(row.body);
        expectSameAsZlib(stream, 60000);
    }
    // "xyz" with the preset dictionary "abcdefgh", which it does not use.
    expectSameAsZlib(fromHex("78F90E000325ABA8AC020002D7016C"), 100);
}

// ---------------------------------------------------------------- DES

#ifdef ZOBASE_TEST_OPENSSL
// Standard DES of OpenSSL with the bits of every byte of key, input and output reversed.
std::string opensslReference(const std::string& data, const std::string& key, bool triple,
                             bool decipher)
{
    const auto reversed = [](char c)
    {
        unsigned char r = 0;
        for (int i = 0; i < 8; ++i) r = static_cast<unsigned char>(r | ((c >> i) & 1) << (7 - i));
        return r;
    };
    DES_cblock k1, k2, in, result;
    for (int i = 0; i < 8; ++i) k1[i] = reversed(key[i]), k2[i] = reversed(key[triple ? 8 + i : i]);
    DES_key_schedule s1, s2;
    DES_set_key_unchecked(&k1, &s1);
    DES_set_key_unchecked(&k2, &s2);
    std::string out(data.size(), '\0');
    for (size_t at = 0; at < data.size(); at += 8)
    {
        for (int i = 0; i < 8; ++i) in[i] = reversed(data[at + i]);
        // With both keys the same, triple DES is single DES.
        DES_ecb3_encrypt(&in, &result, &s1, &s2, &s1, decipher ? DES_DECRYPT : DES_ENCRYPT);
        for (int i = 0; i < 8; ++i) out[at + i] = static_cast<char>(reversed(result[i]));
    }
    return out;
}
#endif

TEST(KrDesEncrypt, ArgumentsPartialBlocksKeyLengthsAndStandardDes)
{
    using D = KrDesEncrypt;
    // Argument faults return false and touch nothing.
    char in[16] = "plain text", out[16] = {};
    const char key[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_FALSE(D::Work(nullptr, in, 8, key, 8, D::Encrypt));
    EXPECT_FALSE(D::Work(out, nullptr, 8, key, 8, D::Encrypt));
    EXPECT_FALSE(D::Work(out, in, 8, nullptr, 8, D::Encrypt));
    for (int length : {0, -1, -8, -100, std::numeric_limits<int>::min()})
        EXPECT_FALSE(D::Work(out, in, length, key, 8, D::Decrypt)) << length;
    EXPECT_EQ(std::string(out, 16), std::string(16, '\0'));

    // A partial block is written whole (compared with OpenSSL below), and no further.
    ASSERT_TRUE(D::Work(out, in, 5, key, 8, D::Encrypt));
    EXPECT_EQ(std::string(out + 8, 8), std::string(8, '\0'));

#ifdef ZOBASE_TEST_OPENSSL
    // Standard DES, for every key length, both ways. Keys are zero-filled to 16 bytes and cut at
    // 16; zero key bytes past 8 still mean triple.
    std::mt19937 rng(7);
    for (int trial = 0; trial < 400; ++trial)
    {
        const int keyLength = trial % 19;
        const bool decipher = trial % 3 == 0;
        std::string wideKey = randomBytes<std::string>(rng, 18);
        std::fill(wideKey.begin() + std::min(keyLength, 16), wideKey.begin() + 16, '\0');
        const int length = 1 + static_cast<int>(rng() % 200);
        const std::string data = randomBytes<std::string>(rng, (length + 7) / 8 * 8);
        SCOPED_TRACE(testing::Message() << "key length " << keyLength << " data " << length
                                        << " decipher " << decipher);
        // Odd trials work in place; any mode but Encrypt decrypts.
        std::string got = data;
        const D::WorkMode mode = !decipher   ? D::Encrypt
                                 : trial % 2 ? static_cast<D::WorkMode>(7)
                                             : D::Decrypt;
        ASSERT_TRUE(D::Work(&got[0], trial % 2 ? &got[0] : const_cast<char*>(&data[0]), length,
                            wideKey.data(), keyLength, mode));
        ASSERT_EQ(got, opensslReference(data, wideKey, keyLength > 8, decipher));
    }
#endif
}

// ---------------------------------------------------------------- hash codes

// Text codes from an independent model of the walk over the UTF-16 words of the text
// (arbitrary-precision arithmetic reduced to 32 bits by hand at every step, written in another
// language), whatever charset its bytes are in. The floating codes and the fast text code are
// pinned by the fixture of hash codes.
TEST(KrHashCode, CodesOfScalarsAndTexts)
{
    using H = KrHashCode;
    const auto pointer = [](std::uintptr_t p)
    { return H::PointerToHashCode(reinterpret_cast<void*>(p)); };
    const auto text =
        [](const char* bytes, KrTextCodec::Charset charset = KrTextCodec::UTF8_CHARSET)
    {
        KrString s(bytes);
        s.SetCharset(charset);
        return H::StringToHashCode(s);
    };
    // clang-format off
    const std::pair<int, int> rows[] = {
        // The sign bits of a short swamp its shifted copy; a pointer folds its high half in.
        {H::BoolToHashCode(0), 0}, {H::BoolToHashCode(7), 1}, {H::ByteToHashCode(0xFF), 255},
        {H::ShortToHashCode(-1), -1}, {H::ShortToHashCode(1), 0x00010001}, {pointer(0), 0},
        {H::ShortToHashCode(0x1234), 0x12341234}, {pointer(0x12345678), 0x12345678},
        {pointer(static_cast<std::uintptr_t>(0x0000700012345678ULL)),
         sizeof(void*) == 8 ? 0x12345678 ^ 0x7000 : 0x12345678},
        {text("ab"), -840386625}, {text("abc"), 536991770}, {text("abcd"), 1594742810},
        {text("abcde"), 398757997}, {text("hello world"), -1660775320},
        {text("\xE4\xB8\xAD\xE6\x96\x87\xE5\xAD\x97\xE7\xAC\xA6"), 681611322},
        {text("\xD6\xD0\xCE\xC4\xD7\xD6\xB7\xFB", KrTextCodec::GB2312_CHARSET), 681611322},
        {text("\xC3\x9Cn\xC3\xAF\x63\xC3\xB6\x64\xC3\xA9 \xE2\x82\xAC"), -1543245429},
        {text("The quick brown fox jumps over the lazy dog"), 1766444897}};
    // clang-format on
    int row = 0;
    for (const auto& [got, expected] : rows) EXPECT_EQ(got, expected) << "row " << row++;
    // Every stored byte counts, zero bytes included.
    EXPECT_NE(H::FastStringToHashCode(KrString("a\0b", 3)), H::FastStringToHashCode("a"));
}

}  // namespace
