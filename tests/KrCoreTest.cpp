#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

// The colour words are constexpr: checked as the library is compiled.
static_assert(KrRGB(1, 2, 3) == 0x00030201u && KrRGBA(1, 2, 3, 4) == 0x04030201u);
static_assert(KrREDVAL(0xA1B2C3D4u) == 0xD4 && KrGREENVAL(0xA1B2C3D4u) == 0xC3 &&
              KrBLUEVAL(0xA1B2C3D4u) == 0xB2 && KrALPHAVAL(0xA1B2C3D4u) == 0xA1);
static_assert(KrISSAMERGB(0x01030201u, 0xFF030201u) && !KrISSAMERGB(0x01030201u, 0x01030202u));
static_assert(KrWinColortoCurrentColor(0xFF123456u) == 0x00123456u &&
              KrCurrentColortoWinColor(0xFF123456u) == 0x00123456u);

TEST(KrCoreTest, MemoryHelpersHandOutTakeBackAndKeepTheOldBlockOnFailure)
{
    void* p = reinterpret_cast<void*>(0x1);
    EXPECT_TRUE(krmalloc(&p, 0) == 1 && p == nullptr);
    EXPECT_TRUE(krmemdup(&p, nullptr, 16) == 1 && p == nullptr);
    ASSERT_EQ(krcalloc(&p, 64), 1);
    EXPECT_EQ(std::string(static_cast<char*>(p), 64), std::string(64, '\0'));
    std::memcpy(p, "kept", 5);
    ASSERT_EQ(krresize(&p, 4096), 1);
    // No allocator can satisfy this; the sanitizers are told to return null rather than abort.
    const unsigned long impossible = std::numeric_limits<unsigned long>::max() - 4096;
    void* before = p;
    EXPECT_TRUE(krresize(&p, impossible) == 0 && p == before);
    EXPECT_STREQ(static_cast<char*>(p), "kept");
    EXPECT_TRUE(krresize(&p, 0) == 1 && p == nullptr);
    krfree(&p);  // a null block is left alone
    EXPECT_TRUE(p == nullptr && krmalloc(&p, impossible) == 0 && p == nullptr);
    ASSERT_EQ(krmemdup(&p, "abc", 4), 1);
    EXPECT_STREQ(static_cast<char*>(p), "abc");
    krfree(&p);
    EXPECT_EQ(p, nullptr);
}

// Without a tolerance: relative to the larger magnitude, with a strict absolute bound next to
// zero (1e-10 is out, 9.9e-11 in); 1e10 and 1e10 - 1 are exactly e * M apart and equal, the
// relative bound being inclusive; tiny values of which neither is zero take the relative test.
// 1.0 + 1e-10 is stored as 1 + 1.0000000827e-10, more than 1e-10 * (1 + 1e-10) from 1.0: the
// rule applied to the doubles says not equal, though the decimals sit on the bound. With a
// tolerance: strictly within it, and a tolerance of zero or below matches nothing.
TEST(KrCoreTest, EqualityFollowsItsBounds)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), R = nan;  // R: relative
    // clang-format off
    const struct { double a, b, tolerance; bool equal; } cases[] = {
        {0.0, 1e-10, R, false}, {0.0, 9.9e-11, R, true}, {-9.9e-11, 0.0, R, true},
        {1.0, 1.0 + 0.5e-10, R, true}, {1e10, 1e10 - 1.0, R, true}, {1e10, 1e10 - 1.001, R, false},
        {1.0, 1.0 + 3e-10, R, false}, {1e-300, 2e-300, R, false}, {-5.0, -5.0, R, true},
        {1e20, 1e20 * (1 + 5e-11), R, true}, {nan, nan, R, false}, {0.0, nan, R, false},
        {1.0, nan, R, false}, {1.0, 1.0 + 1e-10, R, false}, {1.0, 1.0 + 0.99e-10, R, true},
        {5.0, 5.0, 0.0, false}, {5.0, 5.0, -1.0, false}, {1.0, 1.5, 0.5, false},
        {1.0, 1.49, 0.5, true}, {1.49, 1.0, 0.5, true}, {nan, 1.0, 10.0, false}};
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(std::isnan(c.tolerance) ? krequal(c.a, c.b) : krequal(c.a, c.b, c.tolerance),
                  c.equal)
            << c.a << " vs " << c.b << " within " << c.tolerance;
}

TEST(KrCoreTest, AssertionsTracesAndHostFacts)
{
    testing::internal::CaptureStderr();
    krassert("x > 0", "a.cpp", 12);
    const int value = 0;
    KRASSERT(value == 1);
    KRASSERT(value == 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "a.cpp:12: KRASSERT(x > 0) failed.\n" + std::string(__FILE__) + ":" +
                  std::to_string(__LINE__ - 4) + ": KRASSERT(value == 1) failed.\n");

    static std::string traced;
    krsettracesink([](const char* text) { traced += text; });
    const std::string big(100000, 'z');
    krtrace("%s=%d", "answer", 42);
    krtrace("[%s]", big.c_str());
    krsettracesink(nullptr);
    EXPECT_EQ(traced, "answer=42[" + big + "]");

    // The byte order is the compiler's. krdpi takes the installed source's positive answers
    // and falls back to 72 for the rest, including when no source is installed.
    EXPECT_EQ(krisbigendian(), __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__);  // the compiler's view
    const double inf = krinfinitebig();
    std::uint64_t bits;
    std::memcpy(&bits, &inf, sizeof bits);
    EXPECT_EQ(bits, 0x7FF0000000000000ull);

    static int answer = 0;
    const KrDpiSource previous = krsetdpisource([] { return answer; });
    EXPECT_NE(previous, nullptr);  // the configuration's, installed at load
    std::vector<int> dpis;
    for (int given : {96, 1, 0, -120, std::numeric_limits<int>::min()})
        dpis.push_back((answer = given, krdpi()));
    krsetdpisource(nullptr);
    dpis.push_back(krdpi());
    krsetdpisource(previous);
    EXPECT_EQ(dpis, (std::vector<int>{96, 1, 72, 72, 72, 72}));
}
