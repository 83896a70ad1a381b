// Fast whole-buffer expansion of zlib streams, internal to KrCompress::UnZip.
#pragma once

#include <cstddef>

namespace KRN::Detail
{

// Expands the zlib stream at src into dest. Returns true, with the expanded length in written,
// only when zlib's uncompress would succeed with the same capacity and produce the same bytes;
// in every other case returns false and the caller asks zlib for its exact result. Bytes of dest
// past the expanded length may be overwritten (never past destCapacity).
bool InflateZlibStream(const unsigned char* src, size_t srcLength, unsigned char* dest,
                       size_t destCapacity, size_t& written);

}  // namespace KRN::Detail
