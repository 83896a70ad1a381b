// KrToolkit: static helpers used across the library. Character classes for the string
// classes, rounding and angle normalisation, colour brightness and contrast, pixel-format bit
// counts, the XML declaration of the library's files, a two-level splitter, the charset of the
// running system, and thin wrappers over the operating system (process id, dynamic libraries,
// screen size, memory status).
//   int n = KrToolkit::RoundLong(-2.5);                   // -3: halves round away from zero
//   double heading = 370;  KrToolkit::AdjustAngle(heading);  // 10
#pragma once

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"
#include "Base/KrTextCodec.h"

namespace KRN
{

// Pixel formats of raster images; the value is the format's identity.
enum PixelFormat : int
{
    PF_1BPP = 1,
    PF_4BPP = 4,
    PF_8BPP = 8,
    PF_16BPP = 16,
    PF_24BPP = 24,
    PF_32BPP = 32,
    PF_48BPP = 48,
    PF_64BPP = 64,
    PF_32BPP_ALPHA = 320,
    PF_32BPP_PREMULTIPLIED = 3200,
    PF_64BPP_ALPHA = 6400
};

class KRN_API KrToolkit
{
public:
    // All figures in kilobytes. The virtual figures are page file minus physical memory.
    struct MemoryStatus
    {
        unsigned int AvailablePhysicalKB = 0;
        unsigned int TotalPhysicalKB = 0;
        unsigned int AvailableVirtualKB = 0;
        unsigned int TotalVirtualKB = 0;
    };

    static bool IsSpaceChar(char c);  // tab, LF, CR and space only
    static bool IsSpaceChar(char16_t c);
    static bool IsSpaceChar(wchar_t c);  // for wide literals (L'\t'), which are not char16_t here
    static bool IsDigit(char c);
    static bool IsHexDigit(char c);
    static bool IsBigLetter(char c);
    static bool IsLittleLetter(char c);
    // Every byte with the high bit set counts as the first byte of a double-byte character.
    static bool IsLeadByte(char c);
    static bool IsAscii(unsigned short c);  // below 255: 255 itself is not
    // Half-open: low <= value < high.
    static bool InRange(int value, int low, int high);
    static bool InRange(const void* p, const void* low, const void* high);

    // Rounds half away from zero. Values beyond the int range give INT_MIN or INT_MAX, NaN 0.
    static int RoundLong(double value);
    // Brings an angle into [0, 360) / [0, 2 pi) by whole turns. NaN and infinities are left
    // as they are.
    static void AdjustAngle(double& degrees);
    static void AdjustRadian(double& radians);
    // Extent along x / y of a length s turned by an angle of cosine a and sine b, scaled by c
    // and d: sqrt((a s c)^2 + (s b d)^2) and sqrt((b s c)^2 + (s a d)^2).
    static double XRotateResize(double s, double a, double b, double c, double d);
    static double YRotateResize(double s, double a, double b, double c, double d);

    // Each of red, green and blue shifted by delta and kept in [0, 255]. The result is built
    // without alpha: the alpha byte is always 0.
    static unsigned int Brightness(unsigned int color, int delta);
    // Each of red, green and blue moved away from 127 by percent of its distance (towards it
    // for a negative percent) and kept in [0, 255]; alpha becomes 0.
    static unsigned int Contrast(unsigned int color, int percent);

    static int GetBitCount(PixelFormat format);  // 0 for a value that is not a format

    // <?xml version="1.0" encoding="..."?> with the name of the system's charset; no line break.
    static KrString GetXmlFileHeader();
    // Returns text unchanged; the second argument is not used.
    static KrString AdjustXmlString(KrString text, int);
    // Trims text in place (the caller sees it trimmed), splits it on any byte of separators1,
    // splits each piece on any byte of separators2 and puts every non-empty piece in out, which
    // is emptied first. An empty text returns false and changes nothing.
    static bool SlipString(KrString& text, KrArray<KrString>& out, KrString separators1,
                           KrString separators2);
    // The charset of the system's ANSI code page. Only some code pages have one: 1251, 1252,
    // 949 and 1258 among others give 1, the default charset.
    static KrTextCodec::Charset GetCurCharset();

    static int GetCurProcessId();
    // A dynamic library opened by the name given (no extension added); null on failure and for
    // an empty name.
    static void* LoadDll(const KrString& path);
    static void* GetProcAddress(void* module, const KrString& name);
    static bool FreeDll(void* module);

    // Screen metrics have no system source here: the host supplies them through a hook (the
    // index is that of the Windows system metrics). Without a hook every metric is 0.
    using ScreenMetricHook = int (*)(int index);
    static void SetScreenMetricHook(ScreenMetricHook hook);
    // The metric; the full-screen width (16) and height (17) are also remembered.
    static unsigned int GetScreenSize(unsigned int index);
    // The width (16) or height (17) remembered by the last GetScreenSize; 0 otherwise.
    static unsigned int GetScreenSizeFromMemory(unsigned int index);

    // Always true. The figures are read as 64-bit byte counts, so machines above 4 GB report
    // their real sizes (up to 4 TB per field).
    static bool GetMemoryStatus(MemoryStatus& status);
    static unsigned int GetAvailablePhysicalMemory();

private:
    static void SaveScreenSize(unsigned int index, unsigned int value);
};

}  // namespace KRN
