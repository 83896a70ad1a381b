// Export macro and common definitions shared by every public header of the library.
// Every exported class and free function carries KRN_API; everything else in the shared
// library is hidden, so the exported surface is exactly what these headers declare.
//   class KRN_API KrThing { ... };
//   KRN_API void krlog(const char* format, ...) KRN_PRINTF_LIKE(1, 2);
#pragma once

#if defined(_WIN32)
#if defined(KRN_BUILDING_LIBRARY)
#define KRN_API __declspec(dllexport)
#else
#define KRN_API __declspec(dllimport)
#endif
#define KRN_PRINTF_LIKE(fmt, args)
#else
#define KRN_API __attribute__((visibility("default")))
#define KRN_PRINTF_LIKE(fmt, args) __attribute__((format(printf, fmt, args)))
#endif
