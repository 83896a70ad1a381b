#include "Base/Platform/KrPlatformCodec.h"

#include <iconv.h>

#include <cerrno>

namespace KRN::Platform
{

void* OpenConverter(const char* to, const char* from)
{
    if (to == nullptr || from == nullptr) return ClosedConverter();
    return reinterpret_cast<void*>(iconv_open(to, from));
}

void CloseConverter(void* converter)
{
    if (converter != ClosedConverter()) iconv_close(static_cast<iconv_t>(converter));
}

ConvertResult Convert(void* converter, const char** input, size_t* inputLeft, char** output,
                      size_t* outputLeft)
{
    // glibc's iconv takes a non-const input pointer but never writes through it.
    char* in = const_cast<char*>(*input);
    const size_t result =
        iconv(static_cast<iconv_t>(converter), &in, inputLeft, output, outputLeft);
    *input = in;
    if (result != static_cast<size_t>(-1)) return ConvertResult::Done;
    return errno == E2BIG ? ConvertResult::OutputFull : ConvertResult::Invalid;
}

}  // namespace KRN::Platform
