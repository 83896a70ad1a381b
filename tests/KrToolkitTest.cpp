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
    const double nan = std::numeric_limits<double>::quiet_NaN(), twoPi = 6.283185307179586;
    // clang-format off
    const std::pair<double, int> rounded[] = {
        {2.5, 3},  {-2.5, -3}, {0.0, 0},        {-0.4, 0},       {0.49999999999999994, 1},
        {1.5, 2}, {-1.5, -2}, {-3e10, INT_MIN}, {3e10, INT_MAX}, {2147483646.6, INT_MAX}, {nan, 0}};
    // Degrees wrap exactly; radians are whatever the subtractions of 2 pi leave.
    const std::tuple<double, double, double> angles[] = {
        {720, 0, 720 - 114 * twoPi},        {-30, 330, -30 + 5 * twoPi},
        {360, 0, 360 - 57 * twoPi},         {0, 0, 0},
        {359.5, 359.5, 359.5 - 57 * twoPi}, {-720.5, 359.5, -720.5 + 115 * twoPi}};
    // clang-format on
    for (const auto& [value, expected] : rounded)
        EXPECT_EQ(KrToolkit::RoundLong(value), expected) << value;
    for (auto [value, degrees, radians] : angles)
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
    KrToolkit::AdjustRadian(infinite);
    EXPECT_EQ(huge, std::fmod(1e300, 360.0));
    EXPECT_TRUE(std::isinf(infinite));

    // s = 2, angle with cosine 0.6 and sine 0.8, scales 3 and 0.5: mirror images.
    EXPECT_DOUBLE_EQ(KrToolkit::XRotateResize(2, 0.6, 0.8, 3, 0.5), std::hypot(3.6, 0.8));
    EXPECT_DOUBLE_EQ(KrToolkit::YRotateResize(2, 0.6, 0.8, 3, 0.5), std::hypot(4.8, 0.6));
}

// Channels clamp and alpha is dropped. Contrast 50 on 200: d = 73 * 50 / 100 = 36.5 -> 37;
// on 100: d = -27 * 0.5 = -13.5 -> -14; on 1: -63 -> 0.
TEST(KrToolkitTest, BrightnessAndContrast)
{
    const unsigned int color = KrRGBA(250, 10, 0, 200), other = KrRGB(200, 100, 1);
    // clang-format off
    const std::pair<unsigned int, unsigned int> cases[] = {
        {KrToolkit::Brightness(color, 10), KrRGB(255, 20, 10)},
        {KrToolkit::Brightness(color, -20), KrRGB(230, 0, 0)},
        {KrToolkit::Brightness(color, INT_MAX), KrRGB(255, 255, 255)},
        {KrToolkit::Brightness(color, INT_MIN), KrRGB(0, 0, 0)},
        {KrToolkit::Contrast(color, 0), KrRGB(250, 10, 0)},
        {KrToolkit::Contrast(KrRGBA(127, 127, 127, 9), 1000), KrRGB(127, 127, 127)},
        {KrToolkit::Contrast(other, 50), KrRGB(237, 86, 0)},
        {KrToolkit::Contrast(other, -100), KrRGB(127, 127, 127)},
        {KrToolkit::Contrast(other, INT_MAX), KrRGB(255, 0, 0)}};
    // clang-format on
    int row = 0;
    for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected) << "row " << row++;
}

// LC_ALL, then LC_CTYPE, then LANG decide; code pages without a charset of their own give the
// default, 1.
TEST(KrToolkitTest, CurrentCharsetFollowsTheLocaleWithItsGaps)
{
    // clang-format off
    const struct { const char *all, *ctype, *lang; int charset; const char* xmlName; } cases[] = {
        {"zh_CN.GB18030", "", "", 134, nullptr}, {"zh_CN.gbk", "", "", 134, nullptr},
        {"zh_CN.GB2312", "", "", 134, nullptr},  {"zh_TW.Big5", "", "", 136, nullptr},
        {"zh_HK.BIG5-HKSCS", "", "", 136, nullptr}, {"ja_JP.SJIS", "", "", 128, nullptr},
        {"ja_JP.Shift_JIS", "", "", 128, nullptr},  {"", "", "", 1, nullptr},
        {"th_TH.TIS-620", "", "", 222, nullptr},    {"pl_PL.CP1250", "", "", 238, nullptr},
        {"el_GR.cp1253@euro", "", "", 161, nullptr}, {"el_GR.CP1253", "", "", 161, "Greek"},
        {"tr_TR.CP1254", "", "", 162, nullptr},     {"he_IL.CP1255", "", "", 177, nullptr},
        {"ar_SA.CP1256", "", "", 178, nullptr},     {"lt_LT.CP1257", "", "", 186, nullptr},
        {"ru_RU.CP1251", "", "", 1, nullptr},       {"de_DE.CP1252", "", "", 1, nullptr},
        {"ko_KR.EUC-KR", "", "", 1, nullptr},       {"vi_VN.CP1258", "", "", 1, nullptr},
        {"en_US.UTF-8", "", "", 1, nullptr},        {"C", "", "", 1, nullptr},
        {"zh_CN", "", "", 1, nullptr},
        {"", "ja_JP.SJIS", "zh_CN.GBK", KrTextCodec::SHIFTJIS_CHARSET, nullptr},
        {"", "", "zh_CN.GBK", KrTextCodec::GB2312_CHARSET, "GB18030"}};
    // clang-format on
    for (const auto& c : cases)
    {
        ScopedEnvironment locale("LC_ALL", c.all);
        locale.Set("LC_CTYPE", c.ctype);
        locale.Set("LANG", c.lang);
        EXPECT_EQ(KrToolkit::GetCurCharset(), c.charset) << c.all << c.ctype << c.lang;
        if (c.xmlName != nullptr)
            EXPECT_EQ(KrToolkit::GetXmlFileHeader(),
                      "<?xml version=\"1.0\" encoding=\"" + std::string(c.xmlName) + "\"?>");
    }
}

TEST(KrToolkitTest, SlipStringSplitsTwiceAndTrimsTheCallersText)
{
    KrArray<KrString> out;
    out.Add("old");
    KrString empty, text(" \r\na,b;c,,;d;\t"), rows("1 2|3 4");
    EXPECT_FALSE(KrToolkit::SlipString(empty, out, ",", ";"));
    EXPECT_EQ(pieces(out), std::vector<std::string>{"old"});
    EXPECT_TRUE(KrToolkit::SlipString(text, out, ",", ";"));
    EXPECT_EQ(text, "a,b;c,,;d;");
    EXPECT_EQ(pieces(out), (std::vector<std::string>{"a", "b", "c", "d"}));
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

// Without a hook every metric is 0. Only the width and height (16, 17) are remembered, until
// the next query replaces them.
TEST(KrToolkitTest, ScreenSizeComesFromTheHostHookAndIsRemembered)
{
    EXPECT_TRUE(KrToolkit::GetScreenSizeFromMemory(16) == 0 && KrToolkit::GetScreenSize(16) == 0);
    KrToolkit::SetScreenMetricHook([](int i) { return i == 16 ? 1920 : i == 17 ? 1080 : -5; });
    EXPECT_EQ(KrToolkit::GetScreenSize(16), 1920u);
    EXPECT_EQ(KrToolkit::GetScreenSize(17), 1080u);
    EXPECT_EQ(KrToolkit::GetScreenSize(0), static_cast<unsigned int>(-5));
    KrToolkit::SetScreenMetricHook(nullptr);
    EXPECT_EQ(KrToolkit::GetScreenSizeFromMemory(16), 1920u);
    EXPECT_EQ(KrToolkit::GetScreenSizeFromMemory(17), 1080u);
    EXPECT_EQ(KrToolkit::GetScreenSizeFromMemory(0), 0u);
    EXPECT_TRUE(KrToolkit::GetScreenSize(17) == 0 && KrToolkit::GetScreenSizeFromMemory(17) == 0);
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
