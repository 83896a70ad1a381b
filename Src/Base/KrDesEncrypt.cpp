// DES with the library's bit numbering: DES bit n of a block or key is bit (n - 1) % 8 of byte
// (n - 1) / 8, least significant first. That numbering is folded into the initial and final
// permutations, so the rounds run on the usual most-significant-first halves.
//
// The halves are kept rotated right by one bit through the rounds: the eight 6-bit groups of the
// expansion then sit at fixed byte-aligned places (even groups in R, odd groups in R rotated by
// four), the subkeys are laid out to match, and each S-box table already holds its output passed
// through the P permutation in the same rotated form.
#include <cstdint>
#include <cstring>

#include "Base/KrCompress.h"

namespace KRN
{

namespace
{

using Word = std::uint32_t;

constexpr unsigned char kRoundPermutation[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23,
                                                 26, 5, 18, 31, 10, 2,  8,  24, 14, 32, 27,
                                                 3,  9, 19, 13, 30, 6,  22, 11, 4,  25};

constexpr unsigned char kKeyChoice1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                           10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                           63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                           14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr unsigned char kKeyChoice2[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr unsigned char kKeyShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

constexpr unsigned char kSBoxes[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8, 3, 10, 6, 12, 5,  9,  0,  7,  0,  15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5, 3, 8,  4, 1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2, 4, 9,  1, 7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4, 9,  7,  2, 13, 12, 0,  5,  10, 3,  13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9, 11, 5,  0, 14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,
     9,  3,  2,  15, 13, 8,  10, 1, 3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7, 11, 4,  2,  8,  13, 7, 0,  9, 3, 4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6, 4,  9,  8,  15, 3,  0, 11, 1, 2, 12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7, 4,  15, 14, 3,  11, 5, 2,  12},
    {7, 13, 14, 3, 0, 6,  9, 10, 1,  2, 8,  5, 11, 12, 4,  15, 13, 8,  11, 5, 6, 15,
     0, 3,  4,  7, 2, 12, 1, 10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3, 14,
     5, 2,  8,  4, 3, 15, 0, 6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4, 1,  7,  10, 11, 6, 8, 5,  3, 15, 13, 0,  14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5, 0,  15, 10, 3,  9, 8, 6,  4, 2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,
     6,  3,  0, 14, 11, 8,  12, 7, 1, 14, 2, 13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6, 8,  0, 13, 3,  4,  14, 7,  5, 11, 10, 15, 4, 2, 7, 12,
     9,  5,  6,  1,  13, 14, 0, 11, 3, 8,  9,  14, 15, 5,  2, 8,  12, 3,  7, 0, 4, 10,
     1,  13, 11, 6,  4,  3,  2, 12, 9, 5,  15, 10, 11, 14, 1, 7,  6,  0,  8, 13},
    {4, 11, 2,  14, 15, 0,  8,  13, 3, 12, 9,  7, 5,  10, 6,  1,  13, 0,  11, 7,  4, 9,
     1, 10, 14, 3,  5,  12, 2,  15, 8, 6,  1,  4, 11, 13, 12, 3,  7,  14, 10, 15, 6, 8,
     0, 5,  9,  2,  6,  11, 13, 8,  1, 4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2, 8,  4, 6, 15, 11, 1,  10, 9,  3, 14, 5,  0,  12, 7,  1,  15, 13, 8, 10, 3,
     7,  4, 12, 5, 6, 11, 0,  14, 9,  2,  7, 11, 4,  1,  9,  12, 14, 2,  0,  6, 10, 13,
     15, 3, 5,  8, 2, 1,  14, 7,  4,  10, 8, 13, 15, 12, 9,  0,  3,  5,  6,  11}};

constexpr Word rotateRight(Word w, int n)
{
    return (w >> n) | (w << (32 - n));
}

// Standard bit n (1 = most significant) of a 32-bit half.
constexpr Word halfBit(int n)
{
    return Word{1} << (32 - n);
}

// S-box g applied to the 6-bit group v (first bit most significant), placed at its nibble of the
// round output, passed through P and rotated into the round domain.
constexpr Word sBoxThroughP(int g, int v)
{
    const int row = ((v >> 4) & 2) | (v & 1);
    const int column = (v >> 1) & 15;
    const Word beforeP = Word{kSBoxes[g][row * 16 + column]} << (28 - 4 * g);
    Word afterP = 0;
    for (int i = 0; i < 32; ++i)
        if (beforeP & halfBit(kRoundPermutation[i])) afterP |= halfBit(i + 1);
    return rotateRight(afterP, 1);
}

struct SBoxTables
{
    Word entry[8][64] = {};
};

constexpr SBoxTables makeSBoxTables()
{
    SBoxTables t;
    for (int g = 0; g < 8; ++g)
        for (int v = 0; v < 64; ++v) t.entry[g][v] = sBoxThroughP(g, v);
    return t;
}

constexpr SBoxTables kSBox = makeSBoxTables();

// The initial permutation is a transpose of the 8 x 8 bit matrix whose rows are the block's
// bytes, followed by a choice of rows: with the library's bit numbering, row r of the transpose
// collects bit r of every byte, and the rows 1, 3, 5, 7 form L, the rows 0, 2, 4, 6 form R (each
// first row most significant). Reordering the bits of every byte first (even bits low, odd bits
// high) and the bytes after (a byte swap) leaves L in the low and R in the high 32 bits.
inline std::uint64_t swapBits(std::uint64_t x, std::uint64_t mask, int shift)
{
    const std::uint64_t t = (x ^ (x >> shift)) & mask;
    return x ^ t ^ (t << shift);
}

inline std::uint64_t transpose8x8(std::uint64_t x)
{
    x = swapBits(x, 0x00AA00AA00AA00AAull, 7);
    x = swapBits(x, 0x0000CCCC0000CCCCull, 14);
    return swapBits(x, 0x00000000F0F0F0F0ull, 28);
}

// Bits 0, 2, 4, 6 of every byte to its low nibble, bits 1, 3, 5, 7 to its high nibble.
inline std::uint64_t evenBitsLow(std::uint64_t x)
{
    return swapBits(swapBits(x, 0x2222222222222222ull, 1), 0x0C0C0C0C0C0C0C0Cull, 2);
}

inline std::uint64_t evenBitsBack(std::uint64_t x)
{
    return swapBits(swapBits(x, 0x0C0C0C0C0C0C0C0Cull, 2), 0x2222222222222222ull, 1);
}

inline Word rotateLeft(Word w, int n)
{
    return (w << n) | (w >> (32 - n));
}

// The block's bytes to the two halves, each rotated right by one for the rounds.
inline void initialPermutation(std::uint64_t block, Word& l, Word& r)
{
    const std::uint64_t halves = __builtin_bswap64(transpose8x8(evenBitsLow(block)));
    l = rotateRight(static_cast<Word>(halves), 1);
    r = rotateRight(static_cast<Word>(halves >> 32), 1);
}

inline std::uint64_t finalPermutation(Word l, Word r)
{
    const std::uint64_t halves = std::uint64_t{rotateLeft(r, 1)} << 32 | rotateLeft(l, 1);
    return evenBitsBack(transpose8x8(__builtin_bswap64(halves)));
}

// One subkey as the two words the round XORs in: the even groups 0, 2, 4, 6 at bits 26, 18, 10
// and 2 of the first, the odd groups 7, 1, 3, 5 at the same places of the second.
struct Subkey
{
    Word even, odd;
};

struct Schedule
{
    Subkey round[16];
};

// The subkeys in the order of use: reversed for deciphering.
Schedule makeSchedule(const unsigned char key[8], bool decipher)
{
    unsigned char cd[56];
    for (int i = 0; i < 56; ++i)
    {
        const int n = kKeyChoice1[i] - 1;
        cd[i] = (key[n / 8] >> (n % 8)) & 1;
    }
    Schedule s{};
    for (int r = 0; r < 16; ++r)
    {
        for (int shift = 0; shift < kKeyShifts[r]; ++shift)
        {
            const unsigned char c0 = cd[0], d0 = cd[28];
            std::memmove(cd, cd + 1, 27);
            cd[27] = c0;
            std::memmove(cd + 28, cd + 29, 27);
            cd[55] = d0;
        }
        Word group[8] = {};
        for (int i = 0; i < 48; ++i) group[i / 6] = (group[i / 6] << 1) | cd[kKeyChoice2[i] - 1];
        Subkey& k = s.round[decipher ? 15 - r : r];
        k.even = group[0] << 26 | group[2] << 18 | group[4] << 10 | group[6] << 2;
        k.odd = group[7] << 26 | group[1] << 18 | group[3] << 10 | group[5] << 2;
    }
    return s;
}

inline Word feistel(Word r, const Subkey& k)
{
    const Word u = r ^ k.even;
    const Word t = rotateRight(r, 4) ^ k.odd;
    return kSBox.entry[0][u >> 26] ^ kSBox.entry[2][(u >> 18) & 63] ^
           kSBox.entry[4][(u >> 10) & 63] ^ kSBox.entry[6][(u >> 2) & 63] ^
           kSBox.entry[7][t >> 26] ^ kSBox.entry[1][(t >> 18) & 63] ^
           kSBox.entry[3][(t >> 10) & 63] ^ kSBox.entry[5][(t >> 2) & 63];
}

// Sixteen rounds on the halves (l, r); on return they hold the pre-output, swapped, so that the
// result of one pass feeds the next directly.
inline void rounds(Word& l, Word& r, const Schedule& s)
{
    for (int i = 0; i < 16; i += 2)
    {
        l ^= feistel(r, s.round[i]);
        r ^= feistel(l, s.round[i + 1]);
    }
    const Word swap = l;
    l = r;
    r = swap;
}

inline std::uint64_t loadBlock(const char* p)
{
    unsigned char b[8];
    std::memcpy(b, p, 8);
    std::uint64_t w = 0;
    for (int i = 7; i >= 0; --i) w = w << 8 | b[i];
    return w;
}

inline void storeBlock(char* p, std::uint64_t w)
{
    unsigned char b[8];
    for (int i = 0; i < 8; ++i) b[i] = static_cast<unsigned char>(w >> (8 * i));
    std::memcpy(p, b, 8);
}

// Single DES with outer, or outer - inner - outer for triple DES; the initial and final
// permutations between the passes cancel, so each block goes through them once.
template <bool kTriple>
void runBlocks(char* out, const char* in, long long blocks, const Schedule& outer,
               const Schedule& inner)
{
    for (long long b = 0; b < blocks; ++b, in += 8, out += 8)
    {
        Word l, r;
        initialPermutation(loadBlock(in), l, r);
        rounds(l, r, outer);
        if (kTriple)
        {
            rounds(l, r, inner);
            rounds(l, r, outer);
        }
        storeBlock(out, finalPermutation(l, r));
    }
}

}  // namespace

KrDesEncrypt::~KrDesEncrypt() = default;

unsigned char KrDesEncrypt::Work(char* pOut, char* pIn, int nLen, const char* pKey, int nKeyLen,
                                 WorkMode mode)
{
    if (pOut == nullptr || pIn == nullptr || pKey == nullptr || nLen < 1) return 0;
    unsigned char key[16] = {};
    if (nKeyLen > 0) std::memcpy(key, pKey, nKeyLen < 16 ? nKeyLen : 16);
    const long long blocks = (static_cast<long long>(nLen) + 7) / 8;
    const bool decipher = mode != Encrypt;
    const Schedule outer = makeSchedule(key, decipher);
    if (nKeyLen > 8)
        runBlocks<true>(pOut, pIn, blocks, outer, makeSchedule(key + 8, !decipher));
    else
        runBlocks<false>(pOut, pIn, blocks, outer, outer);
    return 1;
}

}  // namespace KRN
