#include "Base/KrToolkit.h"

#include "KrSystemCharset.h"

#include <atomic>
#include <climits>
#include <cmath>
#include <cstdint>

#include "Base/KrCore.h"
#include "Base/Platform/KrPlatformSystem.h"

namespace KRN
{

namespace
{
constexpr unsigned int kFullScreenWidth = 16;
constexpr unsigned int kFullScreenHeight = 17;

std::atomic<unsigned int> g_screenWidth{0};
std::atomic<unsigned int> g_screenHeight{0};

// Subtracts or adds whole periods until value lies in [0, period). A value far outside is
// first reduced with fmod (exact), so that huge inputs cannot keep the loops busy.
void wrapIntoPeriod(double& value, double period)
{
    if (!std::isfinite(value)) return;
    if (std::fabs(value) > period * 65536) value = std::fmod(value, period);
    while (value >= period) value -= period;
    while (value < 0) value += period;
}

unsigned char clampChannel(long long value)
{
    if (value > 255) return 255;
    if (value < 1) return 0;
    return static_cast<unsigned char>(value);
}

template <class Channel>
unsigned int mapChannels(unsigned int color, Channel channel)
{
    return KrRGB(channel(KrREDVAL(color)), channel(KrGREENVAL(color)), channel(KrBLUEVAL(color)));
}

unsigned int kilobytes(unsigned long long bytes)
{
    const unsigned long long kb = (bytes + 512) / 1024;  // half away from zero
    return kb > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(kb);
}
}  // namespace

// ---------------------------------------------------------------- character classes

bool KrToolkit::IsSpaceChar(char c)
{
    return c == '\t' || c == '\n' || c == '\r' || c == ' ';
}
bool KrToolkit::IsSpaceChar(char16_t c)
{
    return c == u'\t' || c == u'\n' || c == u'\r' || c == u' ';
}
bool KrToolkit::IsSpaceChar(wchar_t c)
{
    return c == L'\t' || c == L'\n' || c == L'\r' || c == L' ';
}
bool KrToolkit::IsDigit(char c)
{
    return c >= '0' && c <= '9';
}
bool KrToolkit::IsHexDigit(char c)
{
    return IsDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}
bool KrToolkit::IsBigLetter(char c)
{
    return c >= 'A' && c <= 'Z';
}
bool KrToolkit::IsLittleLetter(char c)
{
    return c >= 'a' && c <= 'z';
}
bool KrToolkit::IsLeadByte(char c)
{
    return (static_cast<unsigned char>(c) & 0x80) != 0;
}
bool KrToolkit::IsAscii(unsigned short c)
{
    return c < 255;
}
bool KrToolkit::InRange(int value, int low, int high)
{
    return low <= value && value < high;
}

bool KrToolkit::InRange(const void* p, const void* low, const void* high)
{
    // Compared as addresses: the pointers need not point into one object.
    const auto at = reinterpret_cast<uintptr_t>(p);
    return reinterpret_cast<uintptr_t>(low) <= at && at < reinterpret_cast<uintptr_t>(high);
}

// ---------------------------------------------------------------- numbers and geometry

int KrToolkit::RoundLong(double value)
{
    if (std::isnan(value)) return 0;
    const double rounded = value <= 0 ? std::trunc(value - 0.5) : std::trunc(value + 0.5);
    if (rounded <= static_cast<double>(INT_MIN)) return INT_MIN;
    if (rounded >= static_cast<double>(INT_MAX)) return INT_MAX;
    return static_cast<int>(rounded);
}

void KrToolkit::AdjustAngle(double& degrees)
{
    wrapIntoPeriod(degrees, 360.0);
}

void KrToolkit::AdjustRadian(double& radians)
{
    wrapIntoPeriod(radians, 6.283185307179586);
}

double KrToolkit::XRotateResize(double s, double a, double b, double c, double d)
{
    return std::sqrt((a * s * c) * (a * s * c) + (s * b * d) * (s * b * d));
}

double KrToolkit::YRotateResize(double s, double a, double b, double c, double d)
{
    return std::sqrt((b * s * c) * (b * s * c) + (s * a * d) * (s * a * d));
}

// ---------------------------------------------------------------- colours and pixels

unsigned int KrToolkit::Brightness(unsigned int color, int delta)
{
    return mapChannels(color, [delta](unsigned char v)
                       { return clampChannel(static_cast<long long>(v) + delta); });
}

unsigned int KrToolkit::Contrast(unsigned int color, int percent)
{
    return mapChannels(color,
                       [percent](unsigned char v)
                       {
                           const int shift = RoundLong((v - 127.0) * percent / 100.0);
                           return clampChannel(static_cast<long long>(v) + shift);
                       });
}

int KrToolkit::GetBitCount(PixelFormat format)
{
    switch (format)
    {
        case PF_1BPP:
        case PF_4BPP:
        case PF_8BPP:
        case PF_16BPP:
        case PF_24BPP:
        case PF_32BPP:
        case PF_48BPP:
        case PF_64BPP:
            return static_cast<int>(format);
        case PF_32BPP_ALPHA:
        case PF_32BPP_PREMULTIPLIED:
            return 32;
        case PF_64BPP_ALPHA:
            return 64;
    }
    return 0;
}

// ---------------------------------------------------------------- text

KrString KrToolkit::GetXmlFileHeader()
{
    return "<?xml version=\"1.0\" encoding=\"" + KrTextCodec::GetCharsetName(GetCurCharset()) +
           "\"?>";
}

KrString KrToolkit::AdjustXmlString(KrString text, int)
{
    return text;
}

bool KrToolkit::SlipString(KrString& text, KrArray<KrString>& out, KrString separators1,
                           KrString separators2)
{
    if (text.IsEmpty()) return false;
    out.RemoveAll();
    text.TrimLeft(" \r\n\t");
    text.TrimRight(" \r\n\t");
    KrArray<KrString> firstLevel;
    KrArray<KrString> secondLevel;
    text.Split(firstLevel, separators1, false);
    for (const KrString& piece : firstLevel)
    {
        piece.Split(secondLevel, separators2, false);
        out.Append(secondLevel);
    }
    return true;
}

KrTextCodec::Charset KrToolkit::GetCurCharset()
{
    return Detail::SystemCharset();
}

// ---------------------------------------------------------------- operating system

int KrToolkit::GetCurProcessId()
{
    return Platform::CurrentProcessId();
}

void* KrToolkit::LoadDll(const KrString& path)
{
    return Platform::OpenLibrary(path.Cstr());
}

void* KrToolkit::GetProcAddress(void* module, const KrString& name)
{
    return Platform::LibrarySymbol(module, name.Cstr());
}

bool KrToolkit::FreeDll(void* module)
{
    return Platform::CloseLibrary(module);
}

void KrToolkit::SetScreenMetricHook(ScreenMetricHook hook)
{
    Platform::SetScreenMetricHook(hook);
}

unsigned int KrToolkit::GetScreenSize(unsigned int index)
{
    const auto value = static_cast<unsigned int>(Platform::ScreenMetric(static_cast<int>(index)));
    SaveScreenSize(index, value);
    return value;
}

unsigned int KrToolkit::GetScreenSizeFromMemory(unsigned int index)
{
    if (index == kFullScreenWidth) return g_screenWidth.load(std::memory_order_relaxed);
    if (index == kFullScreenHeight) return g_screenHeight.load(std::memory_order_relaxed);
    return 0;
}

void KrToolkit::SaveScreenSize(unsigned int index, unsigned int value)
{
    if (index == kFullScreenWidth) g_screenWidth.store(value, std::memory_order_relaxed);
    if (index == kFullScreenHeight) g_screenHeight.store(value, std::memory_order_relaxed);
}

bool KrToolkit::GetMemoryStatus(MemoryStatus& status)
{
    Platform::MemoryFigures figures;
    Platform::QueryMemory(figures);
    status.AvailablePhysicalKB = kilobytes(figures.availablePhysical);
    status.TotalPhysicalKB = kilobytes(figures.totalPhysical);
    status.AvailableVirtualKB = kilobytes(figures.availablePageFile - figures.availablePhysical);
    status.TotalVirtualKB = kilobytes(figures.totalPageFile - figures.totalPhysical);
    return true;
}

unsigned int KrToolkit::GetAvailablePhysicalMemory()
{
    MemoryStatus status;
    GetMemoryStatus(status);
    return status.AvailablePhysicalKB;
}

}  // namespace KRN
