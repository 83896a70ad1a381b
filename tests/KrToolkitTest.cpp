#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "Base/ZoBase.h"
#include "ScopedEnvironment.h"

using namespace KRN;

namespace
{
// Sets LC_ALL, LC_CTYPE and LANG for one scope.
struct ScopedLocale : ScopedEnvironment
{
    ScopedLocale(const char* all, const char* ctype = "", const char* lang = "")
    {
        Set("LC_ALL", all);
        Set("LC_CTYPE", ctype);
        Set("LANG", lang);
    }
};

std::vector<std::string> pieces(const KrArray<KrString>& a)
{
    return std::vector<std::string>(a.begin(), a.end());
}

// A "Name:   value kB" line of /proc/meminfo.
unsigned long long meminfoKB(const std::string& name)
{
    std::ifstream in("/proc/meminfo");
    std::string key, unit;
    unsigned long long value = 0;
    while (in >> key >> value >> unit)
        if (key == name + ":") return value;
    return 0;
}

int screenMetric(int index) { return index == 16 ? 1920 : index == 17 ? 1080 : index == 0 ? -5 : 7; }
}  // namespace

TEST(KrToolkitTest, CharacterClasses)
{
    for (int i = -128; i < 128; ++i)
    {
        const char c = static_cast<char>(i);
        const unsigned char u = static_cast<unsigned char>(c);
        SCOPED_TRACE(i);
        EXPECT_EQ(KrToolkit::IsSpaceChar(c), u == 9 || u == 10 || u == 13 || u == 32);
        EXPECT_EQ(KrToolkit::IsDigit(c), u >= '0' && u <= '9');
        EXPECT_EQ(KrToolkit::IsHexDigit(c), u != 0 && std::strchr("0123456789ABCDEFabcdef", c) != nullptr);
        EXPECT_EQ(KrToolkit::IsBigLetter(c), u >= 'A' && u <= 'Z');
        EXPECT_EQ(KrToolkit::IsLittleLetter(c), u >= 'a' && u <= 'z');
        EXPECT_EQ(KrToolkit::IsLeadByte(c), u >= 0x80);
    }
    // The wide overload: ideographic space is not a space.
    EXPECT_TRUE(KrToolkit::IsSpaceChar(u'\r') && !KrToolkit::IsSpaceChar(u'\v'));
    EXPECT_FALSE(KrToolkit::IsSpaceChar(static_cast<char16_t>(0x3000)));
    EXPECT_TRUE(KrToolkit::IsAscii(254) && !KrToolkit::IsAscii(255));
    EXPECT_TRUE(KrToolkit::InRange(0, 0, 5) && !KrToolkit::InRange(5, 0, 5));  // half-open
    const char block[4] = {};
    EXPECT_TRUE(KrToolkit::InRange(block + 3, block, block + 4) && !KrToolkit::InRange(block + 4, block, block + 4));
}

TEST(KrToolkitTest, RoundLongRoundsHalfAwayFromZeroAndSaturates)
{
    const struct { double value; int expected; } cases[] = {
        {2.5, 3},   {-2.5, -3},  {0.0, 0},       {-0.4, 0},
        // v + 0.5 is computed in double before truncating: the largest double below one half
        // sums to exactly 1.
        {0.49999999999999994, 1},
        {1.5, 2},   {-1.5, -2},  {2147483646.6, INT_MAX}, {-3e10, INT_MIN}, {3e10, INT_MAX},
        {std::numeric_limits<double>::quiet_NaN(), 0},
    };
    for (const auto& c : cases) EXPECT_EQ(KrToolkit::RoundLong(c.value), c.expected) << c.value;
}

TEST(KrToolkitTest, AnglesWrapIntoOneTurn)
{
    const double twoPi = 6.283185307179586;
    const struct { double value, degrees, radians; } cases[] = {
        {720, 0, 720 - 114 * twoPi},  // radians: whatever 114 subtractions leave
        {-30, 330, -30 + 5 * twoPi},
        {360, 0, 360 - 57 * twoPi},
        {0, 0, 0},
        {359.5, 359.5, 359.5 - 57 * twoPi},
        {-720.5, 359.5, -720.5 + 115 * twoPi},
    };
    for (const auto& c : cases)
    {
        double degrees = c.value;
        KrToolkit::AdjustAngle(degrees);
        EXPECT_DOUBLE_EQ(degrees, c.degrees) << c.value;
        double radians = c.value;
        KrToolkit::AdjustRadian(radians);
        EXPECT_NEAR(radians, c.radians, 1e-9) << c.value;
        EXPECT_TRUE(radians >= 0 && radians < twoPi) << c.value;
    }
    // Huge and infinite values neither hang nor leave the range unless they cannot be reduced.
    double huge = 1e300;
    KrToolkit::AdjustAngle(huge);
    EXPECT_EQ(huge, std::fmod(1e300, 360.0));
    double infinite = std::numeric_limits<double>::infinity();
    KrToolkit::AdjustRadian(infinite);
    EXPECT_TRUE(std::isinf(infinite));
}

TEST(KrToolkitTest, RotateResizeAreMirrorImages)
{
    // s = 2, angle with cosine 0.6 and sine 0.8, scales 3 and 0.5.
    EXPECT_DOUBLE_EQ(KrToolkit::XRotateResize(2, 0.6, 0.8, 3, 0.5), std::sqrt(3.6 * 3.6 + 0.8 * 0.8));
    EXPECT_DOUBLE_EQ(KrToolkit::YRotateResize(2, 0.6, 0.8, 3, 0.5), std::sqrt(4.8 * 4.8 + 0.6 * 0.6));
}

TEST(KrToolkitTest, BrightnessAndContrastClampChannelsAndDropAlpha)
{
    const unsigned int color = KrRGBA(250, 10, 0, 200);
    EXPECT_EQ(KrToolkit::Brightness(color, 10), KrRGB(255, 20, 10));
    EXPECT_EQ(KrToolkit::Brightness(color, -20), KrRGB(230, 0, 0));
    EXPECT_EQ(KrToolkit::Brightness(color, INT_MAX), KrRGB(255, 255, 255));
    EXPECT_EQ(KrToolkit::Brightness(color, INT_MIN), KrRGB(0, 0, 0));

    EXPECT_EQ(KrToolkit::Contrast(color, 0), KrRGB(250, 10, 0));
    EXPECT_EQ(KrToolkit::Contrast(KrRGBA(127, 127, 127, 9), 1000), KrRGB(127, 127, 127));
    // 200: d = 73 * 50 / 100 = 36.5 -> 37; 100: d = -27 * 0.5 = -13.5 -> -14; 1: -63 -> 0.
    EXPECT_EQ(KrToolkit::Contrast(KrRGB(200, 100, 1), 50), KrRGB(237, 86, 0));
    EXPECT_EQ(KrToolkit::Contrast(KrRGB(200, 100, 1), -100), KrRGB(127, 127, 127));
    EXPECT_EQ(KrToolkit::Contrast(KrRGB(200, 100, 1), INT_MAX), KrRGB(255, 0, 0));
}

TEST(KrToolkitTest, BitCountsOfPixelFormats)
{
    const std::pair<int, int> cases[] = {{1, 1},     {4, 4},     {8, 8},     {16, 16}, {24, 24}, {32, 32},
                                         {48, 48},   {64, 64},   {320, 32},  {3200, 32}, {6400, 64},
                                         {2, 0},     {0, 0},     {-1, 0},    {640, 0}};
    for (const auto& [format, bits] : cases)
        EXPECT_EQ(KrToolkit::GetBitCount(static_cast<PixelFormat>(format)), bits) << format;
}

TEST(KrToolkitTest, CurrentCharsetFollowsTheLocaleWithItsGaps)
{
    const struct { const char* locale; int expected; } cases[] = {
        {"zh_CN.GB18030", 134}, {"zh_CN.gbk", 134},        {"zh_CN.GB2312", 134},   {"zh_TW.Big5", 136},
        {"zh_HK.BIG5-HKSCS", 136}, {"ja_JP.SJIS", 128},    {"ja_JP.Shift_JIS", 128}, {"th_TH.TIS-620", 222},
        {"pl_PL.CP1250", 238},  {"el_GR.cp1253@euro", 161}, {"tr_TR.CP1254", 162},  {"he_IL.CP1255", 177},
        {"ar_SA.CP1256", 178},  {"lt_LT.CP1257", 186},
        // Code pages without a charset of their own give the default.
        {"ru_RU.CP1251", 1},    {"de_DE.CP1252", 1},       {"ko_KR.EUC-KR", 1},    {"vi_VN.CP1258", 1},
        {"en_US.UTF-8", 1},     {"C", 1},                  {"zh_CN", 1},           {"", 1},
    };
    for (const auto& c : cases)
    {
        ScopedLocale locale(c.locale);
        EXPECT_EQ(KrToolkit::GetCurCharset(), c.expected) << c.locale;
    }
    {
        ScopedLocale locale("", "ja_JP.SJIS", "zh_CN.GBK");  // LC_ALL empty: LC_CTYPE decides
        EXPECT_EQ(KrToolkit::GetCurCharset(), KrTextCodec::SHIFTJIS_CHARSET);
    }
    {
        ScopedLocale locale("", "", "zh_CN.GBK");
        EXPECT_EQ(KrToolkit::GetCurCharset(), KrTextCodec::GB2312_CHARSET);
        EXPECT_EQ(KrToolkit::GetXmlFileHeader(), "<?xml version=\"1.0\" encoding=\"GB18030\"?>");
    }
    ScopedLocale greek("el_GR.CP1253");
    EXPECT_EQ(KrToolkit::GetXmlFileHeader(), "<?xml version=\"1.0\" encoding=\"Greek\"?>");
}

TEST(KrToolkitTest, SlipStringSplitsTwiceAndTrimsTheCallersText)
{
    KrArray<KrString> out;
    out.Add("old");
    KrString empty;
    EXPECT_FALSE(KrToolkit::SlipString(empty, out, ",", ";"));
    EXPECT_EQ(pieces(out), std::vector<std::string>{"old"});

    KrString text(" \r\na,b;c,,;d;\t");
    EXPECT_TRUE(KrToolkit::SlipString(text, out, ",", ";"));
    EXPECT_EQ(text, "a,b;c,,;d;");
    EXPECT_EQ(pieces(out), (std::vector<std::string>{"a", "b", "c", "d"}));

    KrString rows("1 2|3 4");
    EXPECT_TRUE(KrToolkit::SlipString(rows, out, "|", " "));
    EXPECT_EQ(pieces(out), (std::vector<std::string>{"1", "2", "3", "4"}));
    EXPECT_EQ(KrToolkit::AdjustXmlString("a<b", 3), "a<b");
}

TEST(KrToolkitTest, ProcessAndLibraries)
{
    EXPECT_EQ(KrToolkit::GetCurProcessId(), std::stoi(std::filesystem::read_symlink("/proc/self").string()));

    void* zlib = KrToolkit::LoadDll("libz.so.1");
    ASSERT_NE(zlib, nullptr);
    using Version = const char* (*)();
    auto version = reinterpret_cast<Version>(KrToolkit::GetProcAddress(zlib, "zlibVersion"));
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(version()[0], '1');
    EXPECT_EQ(KrToolkit::GetProcAddress(zlib, "noSuchFunction"), nullptr);
    EXPECT_TRUE(KrToolkit::FreeDll(zlib));

    EXPECT_EQ(KrToolkit::LoadDll("libz"), nullptr);  // no extension is added
    EXPECT_EQ(KrToolkit::GetProcAddress(nullptr, "zlibVersion"), nullptr);
    EXPECT_FALSE(KrToolkit::FreeDll(nullptr));
}

TEST(KrToolkitTest, ScreenSizeComesFromTheHostHookAndIsRemembered)
{
    EXPECT_EQ(KrToolkit::GetScreenSizeFromMemory(16), 0u);
    EXPECT_EQ(KrToolkit::GetScreenSize(16), 0u);  // no hook: every metric is 0
    KrToolkit::SetScreenMetricHook(screenMetric);
    EXPECT_EQ(KrToolkit::GetScreenSize(16), 1920u);
    EXPECT_EQ(KrToolkit::GetScreenSize(17), 1080u);
    EXPECT_EQ(KrToolkit::GetScreenSize(0), static_cast<unsigned int>(-5));
    KrToolkit::SetScreenMetricHook(nullptr);
    // Only the width and height are remembered, until the next query replaces them.
    EXPECT_EQ(KrToolkit::GetScreenSizeFromMemory(16), 1920u);
    EXPECT_EQ(KrToolkit::GetScreenSizeFromMemory(17), 1080u);
    EXPECT_EQ(KrToolkit::GetScreenSizeFromMemory(0), 0u);
    EXPECT_EQ(KrToolkit::GetScreenSize(17), 0u);
    EXPECT_EQ(KrToolkit::GetScreenSizeFromMemory(17), 0u);
}

TEST(KrToolkitTest, MemoryStatusAgreesWithProcMeminfo)
{
    KrToolkit::MemoryStatus status;
    EXPECT_TRUE(KrToolkit::GetMemoryStatus(status));
    EXPECT_EQ(status.TotalPhysicalKB, meminfoKB("MemTotal"));
    EXPECT_EQ(status.TotalVirtualKB, meminfoKB("SwapTotal"));
    EXPECT_GT(status.AvailablePhysicalKB, 0u);
    EXPECT_LE(status.AvailablePhysicalKB, status.TotalPhysicalKB);
    EXPECT_LE(status.AvailableVirtualKB, status.TotalVirtualKB);
    EXPECT_GT(KrToolkit::GetAvailablePhysicalMemory(), 0u);
}

TEST(KrToolkitTest, EdgeInputsOfLibrariesAndWideSpaces)
{
    // None of these names a library that can be opened; each gives null, and the null module
    // then yields no symbol.
    const char* const names[] = {"", "libz", "no-such-library.so", "/"};
    for (const char* name : names)
    {
        SCOPED_TRACE(name);
        void* module = KrToolkit::LoadDll(name);
        EXPECT_EQ(module, nullptr);
        EXPECT_EQ(KrToolkit::GetProcAddress(module, "zlibVersion"), nullptr);
        EXPECT_FALSE(KrToolkit::FreeDll(module));
    }

    // Wide literals take the same four spaces as the other character types.
    // clang-format off
    const struct { wchar_t c; bool space; } wide[] = {
        {L'\t', true}, {L'\n', true}, {L'\r', true}, {L' ', true}, {L'\v', false}, {L'\f', false},
        {L'a', false}, {static_cast<wchar_t>(0x3000), false}, {static_cast<wchar_t>(0x10020), false}};
    // clang-format on
    for (const auto& row : wide)
        EXPECT_EQ(KrToolkit::IsSpaceChar(row.c), row.space) << static_cast<long>(row.c);
}
