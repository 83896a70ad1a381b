// Compression, hash codes and block encryption: three small static utility classes.
// KrCompress packs and expands memory blocks as plain zlib streams; KrHashCode turns scalars and
// strings into the 32-bit codes that stored tables depend on; KrDesEncrypt enciphers and
// deciphers blocks with DES or two-key triple DES. The compressed and enciphered bytes and the
// hash values are part of the data format and never change.
//
//     unsigned int packedLen = capacity;  // zlib's compressBound(size) is always enough
//     KrCompress::Zip(packed, packedLen, data, size, 6);
//     unsigned int expandedLen = size;     // the caller stores size beside the block
//     KrCompress::UnZip(data, expandedLen, packed, packedLen);
//     const int code = KrHashCode::FastStringToHashCode(name);
#pragma once

#include "Base/KrDefs.h"

namespace KRN
{

class KrString;

// Whole-buffer zlib compression. The compressed form is the plain zlib stream (2-byte header,
// deflate data, Adler-32 trailer) with nothing of the library's own: the caller keeps the
// expanded size, or a bound on it, beside the block. nDestLen is the capacity on entry and the
// number of bytes written on return, also after a failure. Both functions are reentrant.
class KRN_API KrCompress
{
public:
    // Message codes of the one error record (level 400) a failure leaves in the log.
    enum MessageCode : int
    {
        MsgOutOfMemory = 11023,     // zlib Z_MEM_ERROR
        MsgBufferTooSmall = 30118,  // Z_BUF_ERROR: the destination cannot hold the result
        MsgBadParameter = 30122,    // Z_STREAM_ERROR: a bad level or a null buffer
        MsgBadData = 29554,         // Z_DATA_ERROR from UnZip only: damaged, truncated, or needs a
                                    // preset dictionary
    };

    // The bytes of zlib's compress2 at nLevel (0-9, or -1 for zlib's default). True on success.
    static unsigned char Zip(unsigned char* pDest, unsigned int& nDestLen,
                             const unsigned char* pSrc, unsigned int nSrcLen, int nLevel);
    // Expands one zlib stream from any encoder, with the results of zlib's uncompress: bytes after
    // the end of the stream are ignored; a destination that fills before the end fails with
    // MsgBufferTooSmall; a damaged or truncated stream, or one that needs a preset dictionary,
    // fails with MsgBadData. As with uncompress, an empty destination (nDestLen 0) succeeds,
    // writing nothing, for a stream that expands to at most ONE byte, and fails with MsgBadData
    // for a longer one. Destination bytes past the expanded length may be overwritten (never past
    // nDestLen). True on success.
    static unsigned char UnZip(unsigned char* pDest, unsigned int& nDestLen,
                               const unsigned char* pSrc, unsigned int nSrcLen);
};

class KRN_API KrHashCode
{
public:
    virtual ~KrHashCode();

    static int BoolToHashCode(unsigned char b);  // 1 when b is non-zero, else 0
    static int ByteToHashCode(unsigned char b);  // b
    static int ShortToHashCode(short s);         // s | s << 16, s sign-extended: -1 gives -1
    static int LONGToHashCode(long long n);      // the low 32 bits of n
    // The pointer's 32-bit value; a 64-bit pointer gives its low 32 bits XOR its high 32 bits.
    static int PointerToHashCode(void* p);
    // 0 for both signed zeros, otherwise the IEEE 754 bit pattern of f.
    static int FloatToHashCode(float f);
    // 0 for both signed zeros, otherwise the high 32 bits XOR the low 32 bits of the pattern.
    static int DoubleToHashCode(double d);

    // Two interleaved accumulators over the stored bytes, each byte taken as a signed char.
    // The empty string gives 757602046.
    static int FastStringToHashCode(const KrString& s);
    // The same accumulators over the string's UCS-2LE form (converted from its charset), read
    // as little-endian 32-bit words of two UTF-16 units each.
    static int StringToHashCode(const KrString& s);
};

// DES and two-key triple DES in electronic-codebook mode (no chaining, no padding, no length
// recorded). The block operation is FIPS 46 DES with the library's own bit numbering: DES bit n
// (from 1) of a block or key is bit (n - 1) % 8, counted from the least significant end, of byte
// (n - 1) / 8. The results therefore differ from published DES test vectors; the numbering is
// part of the stored format. Work keeps no state between calls and may run on several threads
// at once.
class KRN_API KrDesEncrypt
{
public:
    enum WorkMode : int
    {
        Encrypt = 0,
        Decrypt = 1  // any non-zero mode deciphers
    };

    virtual ~KrDesEncrypt();

    // Enciphers or deciphers nLen bytes of pIn into pOut, a whole 8-byte block at a time: a final
    // partial block is read whole and written whole, so BOTH buffers must hold nLen rounded up to
    // a multiple of 8. pOut may equal pIn. The key is the first min(nKeyLen, 16) bytes of pKey,
    // zero-filled to 16: up to 8 bytes give single DES (an empty key is eight zero bytes); more
    // give two-key triple DES, enciphering K1-K2-K1 (EDE) and deciphering D-E-D. A 16-byte key
    // whose second half is zero is therefore not the same as its first 8 bytes. Returns false,
    // touching nothing, when a pointer is null or nLen < 1.
    static unsigned char Work(char* pOut, char* pIn, int nLen, const char* pKey, int nKeyLen,
                              WorkMode mode);
};

}  // namespace KRN
