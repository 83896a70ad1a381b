#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

KrVariant block(std::vector<unsigned char> bytes)
{
    return KrVariant(bytes.data(), static_cast<int>(bytes.size()));
}

TEST(KrVariant, ToStringOfEveryKind)
{
    // clang-format off
    const struct { KrVariant value; const char* text; } cases[] = {
        {KrVariant(), ""}, {KrVariant(static_cast<unsigned char>(200)), "200"},
        {KrVariant(static_cast<short>(-32768)), "-32768"}, {KrVariant(-7), "-7"},
        {KrVariant(LLONG_MIN), "-9223372036854775808"}, {KrVariant(1.5f), "1.5"},
        {KrVariant(1e10f), "1e+10"}, {KrVariant(3.0), "3.0"}, {KrVariant(0.125), "0.125"},
        {KrVariant(2.5), "2.5"}, {KrVariant(100.0), "100.0"}, {KrVariant(-0.5), "-0.5"},
        {KrVariant(1e20), "100000000000000000000.0"},
        {KrVariant(0.1234567), "0.123457"},  // six decimals, rounded
        {KrVariant(1e-7), "0.0"},
        {KrVariant(kInf), "inf"},  // no decimal point: nothing trimmed, nothing appended
        {KrVariant(KrTime(2024, 2, 29, 13, 5, 9)), "2024-02-29 13:05:09"},
        {KrVariant(KrString("road 7")), "road 7"}, {block({1, 2, 3}), ""}};
    // clang-format on
    for (const auto& c : cases) EXPECT_EQ(c.value.ToString(), c.text) << c.text;
}

TEST(KrVariant, ToIntAndToLongRoundTruncateAndSaturate)
{
    // clang-format off
    const struct { KrVariant value; int asInt; long long asLong; } cases[] = {
        {KrVariant(2.5), 3, 3}, {KrVariant(-2.5), -3, -3},
        {KrVariant(0.0), 0, 0},  // -0.5 truncates to 0
        {KrVariant(0.4999), 0, 0}, {KrVariant(-0.5), -1, -1}, {KrVariant(1.5f), 2, 2},
        {KrVariant(0x100000001LL), 1, 0x100000001LL},  // low 32 bits only
        {KrVariant(0xFFFFFFFFLL), -1, 0xFFFFFFFFLL},
        {KrVariant(static_cast<unsigned char>(255)), 255, 255},
        {KrVariant(static_cast<short>(-1)), -1, -1},
        {KrVariant(KrTime(2.9)), 2, 2},  // a time truncates, it does not round
        {KrVariant(KrTime(-2.9)), -2, -2}, {KrVariant(KrTime(5e9)), INT_MAX, 5000000000LL},
        {KrVariant(5e9), INT_MAX, INT_MAX},  // doubles go through 32 bits
        {KrVariant(-5e9), INT_MIN, INT_MIN}, {KrVariant(2147483646.6), INT_MAX, INT_MAX},
        {KrVariant(kNaN), 0, 0}, {KrVariant(kInf), INT_MAX, INT_MAX},
        {KrVariant(-kInf), INT_MIN, INT_MIN}, {KrVariant(KrTime(kNaN)), 0, 0},
        {KrVariant(KrTime(1e300)), INT_MAX, LLONG_MAX},
        {KrVariant(KrTime(-1e300)), INT_MIN, LLONG_MIN},
        {KrVariant(KrString("42 roads")), 42, 42},
        {KrVariant(KrString("-9000000000")),
         INT_MIN, -9000000000LL},
        {KrVariant(), 0, 0}, {block({9, 9}), 0, 0}};
    // clang-format on
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i)
    {
        EXPECT_EQ(cases[i].value.ToInt(), cases[i].asInt) << "case " << i;
        EXPECT_EQ(cases[i].value.ToLong(), cases[i].asLong) << "case " << i;
    }
}

TEST(KrVariant, ToDoubleWidensParsesOrGivesZero)
{
    // clang-format off
    const std::pair<KrVariant, double> cases[] = {
        {KrVariant(static_cast<unsigned char>(250)), 250.0}, {KrVariant(0.1f), double(0.1f)},
        {KrVariant((1LL << 53) + 2), 9007199254740994.0}, {KrVariant(KrTime(45000.25)), 45000.25},
        {KrVariant(KrString("2.5e3")), 2500.0}, {KrVariant(), 0.0}, {block({1}), 0.0}};
    // clang-format on
    for (const auto& [value, expected] : cases) EXPECT_EQ(value.ToDouble(), expected) << expected;
}

TEST(KrVariant, EqualityNeverConvertsBetweenKinds)
{
    // clang-format off
    const std::vector<KrVariant> values = {
        KrVariant(), KrVariant(static_cast<unsigned char>(1)), KrVariant(static_cast<short>(1)),
        KrVariant(1), KrVariant(1LL), KrVariant(1.0f), KrVariant(1.0), KrVariant(KrTime(1.0)),
        block({1}), KrVariant(KrString("1"))};
    // clang-format on
    for (size_t i = 0; i < values.size(); ++i)
        for (size_t j = 0; j < values.size(); ++j)
        {
            const KrVariant copy(values[j]);
            EXPECT_EQ(values[i] == copy, i == j) << i << " " << j;
            EXPECT_FALSE(i != j && values[i] < copy) << i << " " << j;
        }
}

TEST(KrVariant, OrderWithinOneKind)
{
    using V = KrVariant;
    using UC = unsigned char;
    // clang-format off
    const struct Case { KrVariant a, b; bool less, greater, equal; } cases[] = {
        // Two nulls are each less than the other, and equal.
        {V(), V(), true, true, true}, {V(UC(1)), V(UC(200)), true, false, false},
        {V(short(-5)), V(short(3)), true, false, false}, {V(-1LL), V(1LL), true, false, false},
        {V(0x100000000LL), V(0xFFFFFFFFLL), false, true, false},
        {V(-0.5f), V(0.25f), true, false, false}, {V(kNaN), V(kNaN), false, false, false},
        {V(0.1 + 0.2), V(0.3), false, true, false},  // plain ==, no tolerance
        {V(KrTime(1.0)), V(KrTime(2.0)), true, false, false},
        // A block is less only than a strictly longer one, by its first differing byte.
        {block({1, 2}), block({1, 2, 3}), false, false, false},
        {block({1, 1}), block({1, 2, 0}), true, false, false},
        {block({0x80}), block({0x7F, 0}), false, false, false},
        {block({1, 2}), block({1, 2}), false, false, true},
        {block({}), block({}), false, false, true},
        {block({}), block({0}), false, false, false},
        {V(KrString("Road")), V(KrString("road")), true, false, false},
        {V(KrString("road")), V(KrString("road")), false, false, true}};
    // clang-format on
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i)
    {
        const Case& c = cases[i];
        EXPECT_EQ(c.a < c.b, c.less) << "case " << i;
        EXPECT_EQ(c.b < c.a, c.greater) << "case " << i;
        EXPECT_EQ(c.a == c.b, c.equal) << "case " << i;
    }
    const KrVariant nan(kNaN);
    EXPECT_TRUE(nan == nan);  // the very same object
}

TEST(KrVariant, CopiesOwnTheirStringAndBlock)
{
    KrVariant source = block({1, 2, 3});
    const KrVariant copy(source);
    KrVariant assigned;
    assigned = source;
    source.Clear();
    EXPECT_EQ(source.GetType(), KrVariant::Null);
    EXPECT_TRUE(copy == block({1, 2, 3}));
    EXPECT_TRUE(assigned == block({1, 2, 3}));
    EXPECT_NE(copy.GetValue().pStream, assigned.GetValue().pStream);

    KrVariant text(KrString("lake"));
    KrVariant other(7);
    other = text;
    text.Set(KrString("river"));
    EXPECT_EQ(other.ToString(), "lake");

    // Assigning a variant its own string or itself keeps the value.
    text.Set(*text.GetValue().pString);
    EXPECT_EQ(text.ToString(), "river");
    const KrVariant& self = text;
    text = self;
    EXPECT_EQ(text.ToString(), "river");

    KrVariant moved(std::move(text));
    EXPECT_EQ(moved.ToString(), "river");
    EXPECT_EQ(text.GetType(), KrVariant::Null);
}

TEST(KrVariant, SetReplacesTheKindAndEmptyBlocksAreEmpty)
{
    KrVariant v(KrString("field"));
    v = 2.5;
    EXPECT_EQ(v.GetType(), KrVariant::Double);
    v.Set(static_cast<const unsigned char*>(nullptr), 4);
    EXPECT_EQ(v.GetType(), KrVariant::Binary);
    v = static_cast<short>(3);
    EXPECT_EQ(v.GetType(), KrVariant::Short);
    KrVariant::VarValue shortThree;  // where a short lies in the union depends on the byte order
    shortThree.lVal = 0;
    shortThree.sVal = 3;
    EXPECT_EQ(v.GetValue().lVal, shortThree.lVal);  // the rest of the union is zeroed
    v = KrTime(2000, 1, 1);
    EXPECT_EQ(v.GetType(), KrVariant::Time);
    EXPECT_EQ(v.GetValue().dVal, KrTime(2000, 1, 1).GetTime());

    const unsigned char bytes[] = {1, 2, 3};
    for (const KrVariant& e : {KrVariant(bytes, 0), KrVariant(bytes, -1), KrVariant(bytes, INT_MIN),
                               KrVariant(nullptr, 3)})
    {
        EXPECT_EQ(e.GetType(), KrVariant::Binary);
        EXPECT_TRUE(e == block({}));
        EXPECT_FALSE(e < block({0}));  // a proper prefix is not less
        EXPECT_TRUE(e.ToString().IsEmpty() && e.ToInt() == 0);
    }
}

}  // namespace

// int64_t is long on this platform; every way in must give the 64-bit kind, not a narrowed one.
TEST(KrVariant, FixedWidth64BitValuesAreLongs)
{
    const std::int64_t values[] = {0, -1, 0x100000001LL, INT64_MIN, INT64_MAX};
    for (const std::int64_t value : values)
    {
        SCOPED_TRACE(value);
        KrVariant set, assigned;
        set.Set(value);
        assigned = value;
        for (const KrVariant& v : {KrVariant(value), set, assigned})
        {
            EXPECT_EQ(v.GetType(), KrVariant::Long);
            EXPECT_EQ(v.ToLong(), static_cast<long long>(value));
            EXPECT_TRUE(v == KrVariant(static_cast<long long>(value)));
        }
    }
}

// Texts longer than a string keeps inline are formatted again at their full length; the oracle
// is printf into a buffer large enough for any double.
TEST(KrVariant, LongNumberTextsAreNeverCut)
{
    const double values[] = {-123456789.125, 1e300, -1.7976931348623157e308, 123456789012345.5};
    for (const double value : values)
    {
        char buffer[400];
        const int length = std::snprintf(buffer, sizeof buffer, "%lf", value);
        std::string expected(buffer, static_cast<size_t>(length));
        while (expected.back() == '0') expected.pop_back();
        if (expected.back() == '.') expected.push_back('0');
        EXPECT_EQ(std::string(KrVariant(value).ToString()), expected) << value;
    }
    EXPECT_EQ(std::string(KrVariant(LLONG_MIN + 1).ToString()), "-9223372036854775807");
    EXPECT_EQ(std::string(KrVariant(-3.4e38f).ToString()), "-3.4e+38");
}
