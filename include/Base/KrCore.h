// Core helpers used everywhere in the library: checked memory blocks handed out through an
// out-parameter, the non-fatal assertion reporter, the debugger trace, floating-point equality,
// the byte-order query and the 32-bit colour word (red in the low byte, alpha in the high byte).
// None of them locks; all may be called from any thread. The only state is the trace sink and
// the source of the dpi setting, set once at start-up.
//   void* block = nullptr;
//   if (krmalloc(&block, size)) { ...; krfree(&block); }
//   KRASSERT(count >= 0);  // reports and carries on
#pragma once

#include "Base/KrDefs.h"

namespace KRN
{

// Memory blocks. Every function returns 1 on success and 0 on failure and never throws.
// Blocks come from malloc and are released with krfree (or free).
KRN_API int krmalloc(void** p, unsigned long size);  // size 0 succeeds with *p null
KRN_API int krcalloc(void** p, unsigned long size);  // size is a byte count; block is zeroed
// Size 0 frees the block and nulls *p. On failure *p and the old block are left untouched.
KRN_API int krresize(void** p, unsigned long size);
// A null source or size 0 succeeds with *p null.
KRN_API int krmemdup(void** p, const void* src, unsigned long size);
KRN_API void krfree(void** p);  // frees a non-null *p and nulls it

// Prints "file:line: KRASSERT(expression) failed." to standard error and returns: an assertion
// failure neither aborts nor throws. Note the argument order: the expression comes first.
KRN_API void krassert(const char* expression, const char* file, unsigned int line);

// printf-style trace to the host's trace sink. Without a sink the text goes to standard error,
// and only when the environment variable KRN_TRACE is set and not empty. No newline is added.
KRN_API void krtrace(const char* format, ...) KRN_PRINTF_LIKE(1, 2);

// Receives every krtrace text. Set it once at start-up, before other threads trace; null
// restores the default behaviour.
using KrTraceSink = void (*)(const char* text);
KRN_API void krsettracesink(KrTraceSink sink);

// Relative equality with tolerance 1e-10. Next to an exact zero the test is absolute and strict
// (|other| < 1e-10); otherwise |a - b| <= 1e-10 * max(|a|, |b|), inclusive. NaN is never equal.
KRN_API bool krequal(double a, double b);
// Absolute equality: |a - b| < tolerance, strictly. A tolerance <= 0 never compares equal,
// not even for identical values.
KRN_API bool krequal(double a, double b, double tolerance);

KRN_API bool krisbigendian();
KRN_API double krinfinitebig();  // positive infinity
// Screen resolution in dots per inch from the "dpi" setting of the configuration; 72 when the
// setting is missing, not a number, zero or negative.
KRN_API int krdpi();
// Where krdpi reads the setting; a result below 1 means "not set". The configuration registry
// installs its reader when the library loads; with none (null) krdpi is 72. Returns the
// source it replaces.
using KrDpiSource = int (*)();
KRN_API KrDpiSource krsetdpisource(KrDpiSource source);

// The colour word: red in bits 0-7, green 8-15, blue 16-23, alpha 24-31. A colour built
// without alpha has alpha 0, not 255.
constexpr unsigned int KrRGB(unsigned char r, unsigned char g, unsigned char b)
{
    return (unsigned int)b << 16 | (unsigned int)g << 8 | r;
}
constexpr unsigned int KrRGBA(unsigned char r, unsigned char g, unsigned char b, unsigned char a)
{
    return (unsigned int)a << 24 | KrRGB(r, g, b);
}
constexpr unsigned char KrREDVAL(unsigned int c)
{
    return (unsigned char)(c & 0xFF);
}
constexpr unsigned char KrGREENVAL(unsigned int c)
{
    return (unsigned char)(c >> 8 & 0xFF);
}
constexpr unsigned char KrBLUEVAL(unsigned int c)
{
    return (unsigned char)(c >> 16 & 0xFF);
}
constexpr unsigned char KrALPHAVAL(unsigned int c)
{
    return (unsigned char)(c >> 24);
}
// True when red, green and blue agree; alpha is ignored.
constexpr bool KrISSAMERGB(unsigned int c1, unsigned int c2)
{
    return (c1 & 0x00FFFFFFu) == (c2 & 0x00FFFFFFu);
}
// Both layouts keep red in the low byte, so the two directions are the same operation: they
// clear the alpha byte. They exist so that callers state which way they convert.
constexpr unsigned int KrWinColortoCurrentColor(unsigned int c)
{
    return c & 0x00FFFFFFu;
}
constexpr unsigned int KrCurrentColortoWinColor(unsigned int c)
{
    return c & 0x00FFFFFFu;
}

}  // namespace KRN

// Reports a false condition through krassert and carries on; compiled into every build.
#define KRASSERT(condition) \
    ((condition) ? (void)0 : ::KRN::krassert(#condition, __FILE__, __LINE__))
