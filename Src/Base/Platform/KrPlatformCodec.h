// Character-set conversion of this platform (iconv). A converter is an opaque handle; the
// portable code above drives it through a bounded output buffer and decides what a result means.
#pragma once

#include <cstddef>

namespace KRN::Platform
{

// The handle of a converter that is not open (all bits set).
inline void* ClosedConverter()
{
    return reinterpret_cast<void*>(-1);
}

// A converter from the charset named from to the one named to; ClosedConverter() when either
// name is unknown or a name is null.
void* OpenConverter(const char* to, const char* from);
// Closing ClosedConverter() does nothing.
void CloseConverter(void* converter);

enum class ConvertResult
{
    Done,        // every input byte was consumed
    OutputFull,  // the output buffer filled up before the input ended
    Invalid      // an invalid or incomplete sequence stopped the conversion
};

// Converts from *input (inputLeft bytes) into *output (outputLeft bytes), advancing all four
// as the converter moves.
ConvertResult Convert(void* converter, const char** input, size_t* inputLeft, char** output,
                      size_t* outputLeft);

}  // namespace KRN::Platform
