#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <tuple>
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

int screenMetric(int index)
{
    return index == 16 ? 1920 : index == 17 ? 1080 : index == 0 ? -5 : 7;
}
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
        EXPECT_EQ(KrToolkit::IsHexDigit(c),
                  u != 0 && std::strchr("0123456789ABCDEFabcdef", c) != nullptr);
        EXPECT_EQ(KrToolkit::IsBigLetter(c), u >= 'A' && u <= 'Z');
        EXPECT_EQ(KrToolkit::IsLittleLetter(c), u >= 'a' && u <= 'z');
        EXPECT_EQ(KrToolkit::IsLeadByte(c), u >= 0x80);
    }
    // The wide overloads take the same four spaces; ideographic space is not one.
    for (char16_t c : {9, 10, 13, 32, 11, 12, 97, 0x3000})
    {
        const bool space = c == 9 || c == 10 || c == 13 || c == 32;
        EXPECT_EQ(KrToolkit::IsSpaceChar(c), space) << c;
        EXPECT_EQ(KrToolkit::IsSpaceChar(static_cast<wchar_t>(c)), space) << c;
    }
    EXPECT_FALSE(KrToolkit::IsSpaceChar(static_cast<wchar_t>(0x10020)));
    EXPECT_TRUE(KrToolkit::IsAscii(254) && !KrToolkit::IsAscii(255));
    EXPECT_TRUE(KrToolkit::InRange(0, 0, 5) && !KrToolkit::InRange(5, 0, 5));  // half-open
    const char block[4] = {};
    EXPECT_TRUE(KrToolkit::InRange(block + 3, block, block + 4) &&
                !KrToolkit::InRange(block + 4, block, block + 4));
}

TEST(KrToolkitTest, RoundingAndAngles)
{
    // v + 0.5 is computed in double before truncating: the largest double below one half sums
    // to exactly 1.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // clang-format off
    const std::pair<double, int> rounded[] = {
        {2.5, 3},  {-2.5, -3}, {0.0, 0},        {-0.4, 0},       {0.49999999999999994, 1},
        {1.5, 2}, {-1.5, -2}, {-3e10, INT_MIN}, {3e10, INT_MAX}, {2147483646.6, INT_MAX}, {nan, 0}};
    // clang-format on
    for (const auto& [value, expected] : rounded)
        EXPECT_EQ(KrToolkit::RoundLong(value), expected) << value;

    // Degrees wrap exactly; radians are whatever the subtractions of 2 pi leave.
    const double twoPi = 6.283185307179586;
    const std::tuple<double, double, double> angles[] = {
        {720, 0, 720 - 114 * twoPi},        {-30, 330, -30 + 5 * twoPi},
        {360, 0, 360 - 57 * twoPi},         {0, 0, 0},
        {359.5, 359.5, 359.5 - 57 * twoPi}, {-720.5, 359.5, -720.5 + 115 * twoPi}};
    for (const auto& [value, degrees, radians] : angles)
    {
        double d = value, r = value;
        KrToolkit::AdjustAngle(d);
        KrToolkit::AdjustRadian(r);
        EXPECT_DOUBLE_EQ(d, degrees) << value;
        EXPECT_NEAR(r, radians, 1e-9) << value;
        EXPECT_TRUE(r >= 0 && r < twoPi) << value;
    }
    // Huge and infinite values neither hang nor leave the range unless they cannot be reduced.
    double huge = 1e300, infinite = std::numeric_limits<double>::infinity();
    KrToolkit::AdjustAngle(huge);
    EXPECT_EQ(huge, std::fmod(1e300, 360.0));
    KrToolkit::AdjustRadian(infinite);
    EXPECT_TRUE(std::isinf(infinite));

    // s = 2, angle with cosine 0.6 and sine 0.8, scales 3 and 0.5: mirror images.
    EXPECT_DOUBLE_EQ(KrToolkit::XRotateResize(2, 0.6, 0.8, 3, 0.5),
                     std::sqrt(3.6 * 3.6 + 0.8 * 0.8));
    EXPECT_DOUBLE_EQ(KrToolkit::YRotateResize(2, 0.6, 0.8, 3, 0.5),
                     std::sqrt(4.8 * 4.8 + 0.6 * 0.6));
}

TEST(KrToolkitTest, BrightnessContrastAndBitCounts)
{
    // Channels clamp and alpha is dropped. Contrast 50 on 200: d = 73 * 50 / 100 = 36.5 -> 37;
    // on 100: d = -27 * 0.5 = -13.5 -> -14; on 1: -63 -> 0.
    const unsigned int color = KrRGBA(250, 10, 0, 200);
    const std::pair<unsigned int, unsigned int> cases[] = {
        {KrToolkit::Brightness(color, 10), KrRGB(255, 20, 10)},
        {KrToolkit::Brightness(color, -20), KrRGB(230, 0, 0)},
        {KrToolkit::Brightness(color, INT_MAX), KrRGB(255, 255, 255)},
        {KrToolkit::Brightness(color, INT_MIN), KrRGB(0, 0, 0)},
        {KrToolkit::Contrast(color, 0), KrRGB(250, 10, 0)},
        {KrToolkit::Contrast(KrRGBA(127, 127, 127, 9), 1000), KrRGB(127, 127, 127)},
        {KrToolkit::Contrast(KrRGB(200, 100, 1), 50), KrRGB(237, 86, 0)},
        {KrToolkit::Contrast(KrRGB(200, 100, 1), -100), KrRGB(127, 127, 127)},
        {KrToolkit::Contrast(KrRGB(200, 100, 1), INT_MAX), KrRGB(255, 0, 0)}};
    int row = 0;
    for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected) << "row " << row++;

    const std::pair<int, int> bits[] = {{1, 1},     {4, 4},   {8, 8},   {16, 16},  {24, 24},
                                        {32, 32},   {48, 48}, {64, 64}, {320, 32}, {3200, 32},
                                        {6400, 64}, {2, 0},   {0, 0},   {-1, 0},   {640, 0}};
    for (const auto& [format, count] : bits)
        EXPECT_EQ(KrToolkit::GetBitCount(static_cast<PixelFormat>(format)), count) << format;
}

TEST(KrToolkitTest, CurrentCharsetFollowsTheLocaleWithItsGaps)
{
    // Code pages without a charset of their own give the default, 1.
    // clang-format off
    const std::pair<const char*, int> cases[] = {
        {"zh_CN.GB18030", 134}, {"zh_CN.gbk", 134}, {"zh_CN.GB2312", 134}, {"zh_TW.Big5", 136},
        {"zh_HK.BIG5-HKSCS", 136}, {"ja_JP.SJIS", 128},  {"ja_JP.Shift_JIS", 128}, {"", 1},
        {"th_TH.TIS-620", 222},  {"pl_PL.CP1250", 238},  {"el_GR.cp1253@euro", 161},
        {"tr_TR.CP1254", 162}, {"he_IL.CP1255", 177}, {"ar_SA.CP1256", 178}, {"lt_LT.CP1257", 186},
        {"ru_RU.CP1251", 1}, {"de_DE.CP1252", 1}, {"ko_KR.EUC-KR", 1}, {"vi_VN.CP1258", 1},
        {"en_US.UTF-8", 1},      {"C", 1},               {"zh_CN", 1}};
    // clang-format on
    for (const auto& [name, expected] : cases)
    {
        ScopedLocale locale(name);
        EXPECT_EQ(KrToolkit::GetCurCharset(), expected) << name;
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
    EXPECT_EQ(KrToolkit::GetCurProcessId(),
              std::stoi(std::filesystem::read_symlink("/proc/self").string()));

    void* zlib = KrToolkit::LoadDll("libz.so.1");
    ASSERT_NE(zlib, nullptr);
    using Version = const char* (*)();
    auto version = reinterpret_cast<Version>(KrToolkit::GetProcAddress(zlib, "zlibVersion"));
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(version()[0], '1');
    EXPECT_EQ(KrToolkit::GetProcAddress(zlib, "noSuchFunction"), nullptr);
    EXPECT_TRUE(KrToolkit::FreeDll(zlib));

    // None of these can be opened (no extension is added); the null module yields no symbol.
    for (const char* name : {"", "libz", "no-such-library.so", "/"})
    {
        void* module = KrToolkit::LoadDll(name);
        EXPECT_EQ(module, nullptr) << name;
        EXPECT_EQ(KrToolkit::GetProcAddress(module, "zlibVersion"), nullptr);
        EXPECT_FALSE(KrToolkit::FreeDll(module));
    }
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
