#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"
#include "ScopedEnvironment.h"

using namespace KRN;

// The wide overloads take the same four spaces; ideographic space is not one.
TEST(KrToolkitTest, CharacterClassesAndSplitting)
{
    for (int i = -128; i < 128; ++i)
    {
        const char c = static_cast<char>(i);
        const unsigned char u = static_cast<unsigned char>(c);
        const bool space = u == 9 || u == 10 || u == 13 || u == 32;
        SCOPED_TRACE(i);
        EXPECT_EQ(KrToolkit::IsSpaceChar(c), space);
        EXPECT_EQ(KrToolkit::IsSpaceChar(static_cast<char16_t>(u)), space);
        EXPECT_EQ(KrToolkit::IsSpaceChar(static_cast<wchar_t>(u)), space);
        EXPECT_EQ(KrToolkit::IsDigit(c), u >= '0' && u <= '9');
        EXPECT_EQ(KrToolkit::IsHexDigit(c),
                  u != 0 && std::strchr("0123456789ABCDEFabcdef", c) != nullptr);
        EXPECT_EQ(KrToolkit::IsBigLetter(c), u >= 'A' && u <= 'Z');
        EXPECT_EQ(KrToolkit::IsLittleLetter(c), u >= 'a' && u <= 'z');
        EXPECT_EQ(KrToolkit::IsLeadByte(c), u >= 0x80);
    }
    EXPECT_FALSE(KrToolkit::IsSpaceChar(u'\u3000') || KrToolkit::IsSpaceChar(L'\u3000') ||
                 KrToolkit::IsSpaceChar(static_cast<wchar_t>(0x10020)));
    EXPECT_TRUE(KrToolkit::IsAscii(254) && !KrToolkit::IsAscii(255));
    EXPECT_TRUE(KrToolkit::InRange(0, 0, 5) && !KrToolkit::InRange(5, 0, 5));  // half-open
    const char block[4] = {};
    EXPECT_TRUE(KrToolkit::InRange(block + 3, block, block + 4) &&
                !KrToolkit::InRange(block + 4, block, block + 4));

    // SlipString splits twice and trims the caller's text.
    KrArray<KrString> out;
    out.Add("old");
    const auto pieces = [&out] { return std::vector<std::string>(out.begin(), out.end()); };
    KrString empty, text(" \r\na,b;c,,;d;\t"), rows("1 2|3 4");
    EXPECT_FALSE(KrToolkit::SlipString(empty, out, ",", ";"));
    EXPECT_EQ(pieces(), std::vector<std::string>{"old"});
    EXPECT_TRUE(KrToolkit::SlipString(text, out, ",", ";"));
    EXPECT_EQ(text, "a,b;c,,;d;");
    EXPECT_EQ(pieces(), (std::vector<std::string>{"a", "b", "c", "d"}));
    EXPECT_TRUE(KrToolkit::SlipString(rows, out, "|", " "));
    EXPECT_EQ(pieces(), (std::vector<std::string>{"1", "2", "3", "4"}));
    EXPECT_EQ(KrToolkit::AdjustXmlString("a<b", 3), "a<b");
}

TEST(KrToolkitTest, RoundingAnglesAndColourArithmetic)
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
    const auto adjusted = [](void (*adjust)(double&), double v) { return adjust(v), v; };
    for (auto [value, degrees, radians] : angles)
    {
        const double r = adjusted(KrToolkit::AdjustRadian, value);
        EXPECT_DOUBLE_EQ(adjusted(KrToolkit::AdjustAngle, value), degrees) << value;
        EXPECT_TRUE(std::abs(r - radians) < 1e-9 && r >= 0 && r < twoPi) << value << ": " << r;
    }
    // Huge and infinite values neither hang nor leave the range unless they cannot be reduced.
    EXPECT_EQ(adjusted(KrToolkit::AdjustAngle, 1e300), std::fmod(1e300, 360.0));
    EXPECT_TRUE(std::isinf(adjusted(KrToolkit::AdjustRadian, INFINITY)));

    // s = 2, angle with cosine 0.6 and sine 0.8, scales 3 and 0.5: mirror images.
    EXPECT_DOUBLE_EQ(KrToolkit::XRotateResize(2, 0.6, 0.8, 3, 0.5), std::hypot(3.6, 0.8));
    EXPECT_DOUBLE_EQ(KrToolkit::YRotateResize(2, 0.6, 0.8, 3, 0.5), std::hypot(4.8, 0.6));

    // Channels clamp and alpha is dropped. Contrast 50 on 200: d = 73 * 50 / 100 = 36.5 -> 37;
    // on 100: d = -27 * 0.5 = -13.5 -> -14; on 1: -63 -> 0.
    const unsigned int color = KrRGBA(250, 10, 0, 200), other = KrRGB(200, 100, 1);
    // clang-format off
    const std::pair<unsigned int, unsigned int> cases[] = {
        {KrToolkit::Brightness(color, 10), KrRGB(255, 20, 10)},
        {KrToolkit::Brightness(color, -20), KrRGB(230, 0, 0)},
        {KrToolkit::Brightness(color, INT_MAX), 0xFFFFFF}, {KrToolkit::Brightness(color, INT_MIN), 0},
        {KrToolkit::Contrast(color, 0), KrRGB(250, 10, 0)},
        {KrToolkit::Contrast(KrRGBA(127, 127, 127, 9), 1000), KrRGB(127, 127, 127)},
        {KrToolkit::Contrast(other, 50), KrRGB(237, 86, 0)},
        {KrToolkit::Contrast(other, -100), KrRGB(127, 127, 127)},
        {KrToolkit::Contrast(other, INT_MAX), KrRGB(255, 0, 0)}};
    // clang-format on
    int row = 0;
    for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected) << "row " << row++;
    // KrImgToolkitTest pins the bit counts of the formats; an unknown one counts none here.
    EXPECT_EQ(KrToolkit::GetBitCount(static_cast<PixelFormat>(2)), 0);
}

// LC_ALL, then LC_CTYPE, then LANG decide; code pages without a charset of their own give the
// default, 1.
TEST(KrToolkitTest, CurrentCharsetFollowsTheLocaleWithItsGaps)
{
    // clang-format off
    const std::pair<const char*, int> cases[] = {
        {"zh_CN.GB18030", 134}, {"zh_CN.gbk", 134}, {"zh_CN.GB2312", 134}, {"zh_TW.Big5", 136},
        {"zh_HK.BIG5-HKSCS", 136}, {"ja_JP.SJIS", 128},  {"ja_JP.Shift_JIS", 128}, {"", 1},
        {"th_TH.TIS-620", 222},  {"pl_PL.CP1250", 238},  {"el_GR.cp1253@euro", 161},
        {"tr_TR.CP1254", 162}, {"he_IL.CP1255", 177}, {"ar_SA.CP1256", 178}, {"lt_LT.CP1257", 186},
        {"ru_RU.CP1251", 1}, {"de_DE.CP1252", 1}, {"ko_KR.EUC-KR", 1}, {"vi_VN.CP1258", 1},
        {"en_US.UTF-8", 1},      {"C", 1},               {"zh_CN", 1}};
    // clang-format on
    const auto inLocale = [](const char* all, const char* ctype, const char* lang)
    {
        ScopedEnvironment locale("LC_ALL", all);
        locale.Set("LC_CTYPE", ctype);
        locale.Set("LANG", lang);
        return std::pair(KrToolkit::GetCurCharset(), std::string(KrToolkit::GetXmlFileHeader()));
    };
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(inLocale(name, "", "").first, expected) << name;
    EXPECT_EQ(inLocale("", "ja_JP.SJIS", "zh_CN.GBK").first, KrTextCodec::SHIFTJIS_CHARSET);
    EXPECT_EQ(inLocale("", "", "zh_CN.GBK"),
              std::pair(KrTextCodec::GB2312_CHARSET,
                        std::string("<?xml version=\"1.0\" encoding=\"GB18030\"?>")));
    EXPECT_EQ(inLocale("el_GR.CP1253", "", "").second,
              "<?xml version=\"1.0\" encoding=\"Greek\"?>");
}

// The process id and the memory status agree with /proc; a library opens without an added
// extension; the screen size comes from the host hook. Without a hook every metric is 0; only
// the width and height (16, 17) are remembered, until the next query replaces them.
TEST(KrToolkitTest, ProcessLibrariesMemoryAndScreenComeFromTheHost)
{
    EXPECT_EQ(KrToolkit::GetCurProcessId(),
              std::stoi(std::filesystem::read_symlink("/proc/self").string()));
    void* zlib = KrToolkit::LoadDll("libz.so.1");
    ASSERT_NE(zlib, nullptr);
    auto version =
        reinterpret_cast<const char* (*)()>(KrToolkit::GetProcAddress(zlib, "zlibVersion"));
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(version()[0], '1');
    EXPECT_EQ(KrToolkit::GetProcAddress(zlib, "noSuchFunction"), nullptr);
    EXPECT_TRUE(KrToolkit::FreeDll(zlib));
    for (const char* name : {"", "libz", "no-such-library.so", "/"})
        EXPECT_EQ(KrToolkit::LoadDll(name), nullptr) << name;
    EXPECT_TRUE(!KrToolkit::GetProcAddress(nullptr, "zlibVersion") && !KrToolkit::FreeDll(nullptr));

    std::ifstream meminfo("/proc/meminfo");  // "Name:   value kB" lines
    const std::string info((std::istreambuf_iterator<char>(meminfo)), {});
    const auto meminfoKB = [&info](const std::string& name)
    { return std::stoull(info.substr(info.find(name + ":") + name.size() + 1)); };
    KrToolkit::MemoryStatus status;
    EXPECT_TRUE(KrToolkit::GetMemoryStatus(status));
    EXPECT_EQ(status.TotalPhysicalKB, meminfoKB("MemTotal"));
    EXPECT_EQ(status.TotalVirtualKB, meminfoKB("SwapTotal"));
    EXPECT_TRUE(0 < status.AvailablePhysicalKB &&
                status.AvailablePhysicalKB <= status.TotalPhysicalKB &&
                status.AvailableVirtualKB <= status.TotalVirtualKB);
    EXPECT_GT(KrToolkit::GetAvailablePhysicalMemory(), 0u);

    std::vector<unsigned int> got = {KrToolkit::GetScreenSizeFromMemory(16),
                                     KrToolkit::GetScreenSize(16)};
    KrToolkit::SetScreenMetricHook([](int i) { return i == 16 ? 1920 : i == 17 ? 1080 : -5; });
    for (int index : {16, 17, 0}) got.push_back(KrToolkit::GetScreenSize(index));
    KrToolkit::SetScreenMetricHook(nullptr);
    for (int index : {16, 17, 0}) got.push_back(KrToolkit::GetScreenSizeFromMemory(index));
    got.push_back(KrToolkit::GetScreenSize(17));
    got.push_back(KrToolkit::GetScreenSizeFromMemory(17));
    EXPECT_EQ(got, (std::vector<unsigned int>{0, 0, 1920, 1080, 0xFFFFFFFBu, 1920, 1080, 0, 0, 0}));
}
