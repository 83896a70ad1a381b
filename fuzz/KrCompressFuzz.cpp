// Arbitrary blocks through UnZip (checked against zlib's own uncompress, byte for byte, with the
// destination sized to the byte by the input), through Zip and back, and through the DES.
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
void require(bool condition)
{
    if (!condition) std::abort();
}

// UnZip into an exactly sized heap block, so that any write past it is caught; the result must
// be zlib's in every respect.
void expandLikeZlib(const uint8_t* stream, size_t size, unsigned int capacity)
{
    std::unique_ptr<unsigned char[]> ours(new unsigned char[capacity + 1]);
    std::unique_ptr<unsigned char[]> theirs(new unsigned char[capacity + 1]);
    unsigned int ourLength = capacity;
    const bool ok = KrCompress::UnZip(capacity == 0 ? nullptr : ours.get(), ourLength, stream,
                                      static_cast<unsigned int>(size));
    uLongf theirLength = capacity;
    const int result =
        uncompress(capacity == 0 ? nullptr : theirs.get(), &theirLength, stream, size);
    require(ok == (result == Z_OK));
    require(ourLength == theirLength);
    require(std::memcmp(ours.get(), theirs.get(), ourLength) == 0);
}

// Compresses the payload, damages the stream as the control bytes say, and expands it.
void damagedRoundTrip(const uint8_t* control, const uint8_t* data, size_t size)
{
    const int level = control[0] % 11 - 1;
    unsigned int packedLength = static_cast<unsigned int>(compressBound(size));
    std::unique_ptr<unsigned char[]> packed(new unsigned char[packedLength]);
    require(
        KrCompress::Zip(packed.get(), packedLength, data, static_cast<unsigned int>(size), level));
    if (control[1] & 1) packedLength -= packedLength * control[2] / 256;  // truncate
    if (control[1] & 2)
        packed[control[3] % packedLength] ^= static_cast<unsigned char>(1u << (control[2] & 7));
    const unsigned int slack = control[1] >> 2;
    const auto expanded = static_cast<unsigned int>(size);
    expandLikeZlib(packed.get(), packedLength, expanded > 32 ? expanded - 32 + slack : slack);
    expandLikeZlib(packed.get(), packedLength, expanded + slack);
}

void cipher(const uint8_t* control, const uint8_t* data, size_t size)
{
    const int keyLength = control[0] % 24 - 2;  // negative, empty, single, triple, over long
    const int length = static_cast<int>(size) - control[1] % 4;  // down to -3
    const size_t room = (size + 7) / 8 * 8 + 8;
    std::unique_ptr<char[]> in(new char[room]()), out(new char[room]), back(new char[room]);
    std::memcpy(in.get(), data, size);
    const char key[16] = {static_cast<char>(control[2]),
                          static_cast<char>(control[3]),
                          3,
                          4,
                          5,
                          6,
                          7,
                          8,
                          9,
                          10,
                          11,
                          12,
                          13,
                          14,
                          15,
                          static_cast<char>(control[1])};
    const bool done =
        KrDesEncrypt::Work(out.get(), in.get(), length, key, keyLength, KrDesEncrypt::Encrypt);
    require(done == (length > 0));
    if (!done) return;
    require(
        KrDesEncrypt::Work(back.get(), out.get(), length, key, keyLength, KrDesEncrypt::Decrypt));
    require(std::memcmp(back.get(), in.get(), (length + 7) / 8 * 8) == 0);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Byte 0 picks the operation; the next bytes are its control bytes.
    if (size < 5) return 0;
    const uint8_t* body = data + 5;
    const size_t bodySize = size - 5;
    switch (data[0] % 4)
    {
        case 0:
        case 1:
            expandLikeZlib(body, bodySize,
                           static_cast<unsigned int>(data[1] | data[2] << 8 | (data[3] & 3) << 16));
            break;
        case 2:
            damagedRoundTrip(data + 1, body, bodySize);
            break;
        default:
            cipher(data + 1, body, bodySize);
            break;
    }
    return 0;
}
