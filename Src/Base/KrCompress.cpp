#include "Base/KrCompress.h"

#include <zlib.h>

#include <cstdint>
#include <cstring>

#include "Base/KrString.h"
#include "Base/KrStringUTF8.h"
#include "KrInflate.h"
#include "KrLogRoute.h"

namespace KRN
{

// ---------------------------------------------------------------- compression

namespace
{
// The message code a zlib result is logged under, or 0 for a result that is not logged.
int messageCodeFor(int zlibResult, bool expanding)
{
    switch (zlibResult)
    {
        case Z_MEM_ERROR:
            return KrCompress::MsgOutOfMemory;
        case Z_BUF_ERROR:
            return KrCompress::MsgBufferTooSmall;
        case Z_STREAM_ERROR:
            return KrCompress::MsgBadParameter;
        case Z_DATA_ERROR:
            return expanding ? KrCompress::MsgBadData : 0;
        default:
            return 0;
    }
}

// One error record for a failed call; its text is the message resource of the code.
void logFailure(int zlibResult, bool expanding, int codeLine)
{
    const int code = messageCodeFor(zlibResult, expanding);
    if (code == 0) return;
    KrString message;
    message.LoadString(static_cast<unsigned int>(code));
    Detail::RouteToLog(Detail::RouteError, code, message, __FILE__, codeLine);
}
}  // namespace

unsigned char KrCompress::Zip(unsigned char* pDest, unsigned int& nDestLen,
                              const unsigned char* pSrc, unsigned int nSrcLen, int nLevel)
{
    uLongf written = nDestLen;
    const int result = compress2(pDest, &written, pSrc, nSrcLen, nLevel);
    nDestLen = static_cast<unsigned int>(written);
    if (result == Z_OK) return 1;
    logFailure(result, false, __LINE__);
    return 0;
}

unsigned char KrCompress::UnZip(unsigned char* pDest, unsigned int& nDestLen,
                                const unsigned char* pSrc, unsigned int nSrcLen)
{
    // The fast decoder takes the well-formed streams that fit; zlib settles everything else,
    // which gives every failure exactly zlib's result and partial output.
    size_t expanded = 0;
    if (pDest != nullptr && pSrc != nullptr && nDestLen > 0 &&
        Detail::InflateZlibStream(pSrc, nSrcLen, pDest, nDestLen, expanded))
    {
        nDestLen = static_cast<unsigned int>(expanded);
        return 1;
    }
    uLongf written = nDestLen;
    const int result = uncompress(pDest, &written, pSrc, nSrcLen);
    nDestLen = static_cast<unsigned int>(written);
    if (result == Z_OK) return 1;
    logFailure(result, true, __LINE__);
    return 0;
}

// ---------------------------------------------------------------- hash codes

namespace
{
constexpr std::uint32_t kHashSeed = 0x15051505u;
constexpr std::uint32_t kHashMix = 0x5D588B65u;

// h * 33 + (h >> 27) with the shift arithmetic on the signed value, then XOR x; all wraps at 32
// bits.
inline std::uint32_t hashStep(std::uint32_t h, std::uint32_t x)
{
    const auto sign = static_cast<std::uint32_t>(static_cast<std::int32_t>(h) >> 27);
    return (h * 33u + sign) ^ x;
}

inline int combine(std::uint32_t h1, std::uint32_t h2)
{
    return static_cast<int>(h1 + h2 * kHashMix);
}

inline std::uint32_t signedByte(char c)
{
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(c)));
}

template <class T>
inline T bitsOf(const void* p)
{
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}
}  // namespace

KrHashCode::~KrHashCode() = default;

int KrHashCode::BoolToHashCode(unsigned char b)
{
    return b != 0 ? 1 : 0;
}

int KrHashCode::ByteToHashCode(unsigned char b)
{
    return b;
}

int KrHashCode::ShortToHashCode(short s)
{
    const auto wide = static_cast<std::uint32_t>(static_cast<std::int32_t>(s));
    return static_cast<int>(wide | wide << 16);
}

int KrHashCode::LONGToHashCode(long long n)
{
    return static_cast<int>(static_cast<std::uint32_t>(static_cast<unsigned long long>(n)));
}

int KrHashCode::PointerToHashCode(void* p)
{
    const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(p));
    return static_cast<int>(static_cast<std::uint32_t>(address ^ (address >> 32)));
}

int KrHashCode::FloatToHashCode(float f)
{
    if (f == 0.0f) return 0;
    return static_cast<int>(bitsOf<std::uint32_t>(&f));
}

int KrHashCode::DoubleToHashCode(double d)
{
    if (d == 0.0) return 0;
    const auto bits = bitsOf<std::uint64_t>(&d);
    return static_cast<int>(static_cast<std::uint32_t>(bits ^ (bits >> 32)));
}

int KrHashCode::FastStringToHashCode(const KrString& s)
{
    std::uint32_t h1 = kHashSeed;
    std::uint32_t h2 = kHashSeed;
    const char* byte = s.data();
    const size_t size = s.size();
    size_t i = 0;
    for (; i + 1 < size; i += 2)
    {
        h1 = hashStep(h1, signedByte(byte[i]));
        h2 = hashStep(h2, signedByte(byte[i + 1]));
    }
    if (i < size) h1 = hashStep(h1, signedByte(byte[i]));
    return combine(h1, h2);
}

int KrHashCode::StringToHashCode(const KrString& s)
{
    const KrStringUCS2LE units(s, s.GetCharset());
    const unsigned short* unit = units.Cstr();
    // Words are read two units at a time; the terminating zero unit completes an odd tail, so
    // no read goes past the array.
    const auto word = [unit](int index)
    {
        return static_cast<std::uint32_t>(unit[2 * index]) |
               static_cast<std::uint32_t>(unit[2 * index + 1]) << 16;
    };
    std::uint32_t h1 = kHashSeed;
    std::uint32_t h2 = kHashSeed;
    int next = 0;
    for (int n = units.GetLength(); n >= 1; n -= 4)
    {
        h1 = hashStep(h1, word(next++));
        if (n < 3) break;
        h2 = hashStep(h2, word(next++));
    }
    return combine(h1, h2);
}

}  // namespace KRN
