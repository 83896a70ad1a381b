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
using V = KrVariant;
using UC = unsigned char;

const auto block = [](std::vector<unsigned char> b)
{ return V(b.data(), static_cast<int>(b.size())); };

TEST(KrVariant, ConversionsOfEveryKind)
{
    // clang-format off
    const struct { KrVariant value; const char* text; } cases[] = {
        {V(), ""}, {V(UC(200)), "200"}, {V(short(-32768)), "-32768"}, {V(-7), "-7"},
        {V(LLONG_MIN), "-9223372036854775808"}, {V(LLONG_MIN + 1), "-9223372036854775807"},
        {V(1.5f), "1.5"}, {V(1e10f), "1e+10"}, {V(-3.4e38f), "-3.4e+38"}, {V(3.0), "3.0"},
        {V(0.125), "0.125"}, {V(2.5), "2.5"}, {V(100.0), "100.0"}, {V(-0.5), "-0.5"},
        {V(1e20), "100000000000000000000.0"}, {V(1e-7), "0.0"},
        {V(0.1234567), "0.123457"},  // six decimals, rounded
        {V(kInf), "inf"},  // no decimal point: nothing trimmed, nothing appended
        {V(KrTime(2024, 2, 29, 13, 5, 9)), "2024-02-29 13:05:09"},
        {V(KrString("road 7")), "road 7"}, {block({1, 2, 3}), ""}};
    // clang-format on
    for (const auto& c : cases) EXPECT_EQ(c.value.ToString(), c.text) << c.text;
    // Texts longer than a string keeps inline are formatted again at their full length; the
    // oracle is printf into a buffer large enough for any double.
    for (const double value : {-123456789.125, 1e300, -1.7976931348623157e308, 123456789012345.5})
    {
        char buffer[400];
        std::string expected(buffer, std::snprintf(buffer, sizeof buffer, "%lf", value));
        while (expected.back() == '0') expected.pop_back();
        if (expected.back() == '.') expected.push_back('0');
        EXPECT_EQ(std::string(KrVariant(value).ToString()), expected) << value;
    }

    // ToInt and ToLong round, truncate and saturate; ToDouble widens, parses or gives zero.
    // clang-format off
    const struct { KrVariant value; int asInt; long long asLong; } numbers[] = {
        {V(2.5), 3, 3}, {V(-2.5), -3, -3}, {V(0.4999), 0, 0}, {V(-0.5), -1, -1}, {V(1.5f), 2, 2},
        {V(0.0), 0, 0},  // -0.5 truncates to 0
        {V(0x100000001LL), 1, 0x100000001LL},  // low 32 bits only
        {V(0xFFFFFFFFLL), -1, 0xFFFFFFFFLL}, {V(UC(255)), 255, 255}, {V(short(-1)), -1, -1},
        {V(KrTime(2.9)), 2, 2},  // a time truncates, it does not round
        {V(KrTime(-2.9)), -2, -2}, {V(KrTime(5e9)), INT_MAX, 5000000000LL},
        {V(5e9), INT_MAX, INT_MAX},  // doubles go through 32 bits
        {V(-5e9), INT_MIN, INT_MIN}, {V(2147483646.6), INT_MAX, INT_MAX}, {V(kNaN), 0, 0},
        {V(kInf), INT_MAX, INT_MAX}, {V(-kInf), INT_MIN, INT_MIN}, {V(KrTime(kNaN)), 0, 0},
        {V(KrTime(1e300)), INT_MAX, LLONG_MAX}, {V(KrTime(-1e300)), INT_MIN, LLONG_MIN},
        {V(KrString("42 roads")), 42, 42}, {V(KrString("-9000000000")), INT_MIN, -9000000000LL},
        {V(), 0, 0}, {block({9, 9}), 0, 0}};
    const std::pair<KrVariant, double> doubles[] = {
        {V(UC(250)), 250.0}, {V(0.1f), double(0.1f)}, {V((1LL << 53) + 2), 9007199254740994.0},
        {V(KrTime(45000.25)), 45000.25}, {V(KrString("2.5e3")), 2500.0}, {V(), 0.0}, {block({1}), 0.0}};
    // clang-format on
    for (const auto& c : numbers)
        EXPECT_EQ(std::pair(c.value.ToInt(), c.value.ToLong()), std::pair(c.asInt, c.asLong))
            << c.value.ToString();
    for (const auto& [value, expected] : doubles) EXPECT_EQ(value.ToDouble(), expected) << expected;
}

// Equality never converts between kinds. Within one kind: two nulls are each less than the
// other, and equal; doubles compare plainly, without a tolerance; a block is less only than a
// strictly longer one, by its first differing byte.
TEST(KrVariant, EqualityAndOrder)
{
    // clang-format off
    const std::vector<KrVariant> values = {V(), V(UC(1)), V(short(1)), V(1), V(1LL), V(1.0f),
                                           V(1.0), V(KrTime(1.0)), block({1}), V(KrString("1"))};
    const struct Case { KrVariant a, b; const char* relation; } cases[] = {
        {V(), V(), "<>="}, {V(UC(1)), V(UC(200)), "<"}, {V(short(-5)), V(short(3)), "<"},
        {V(-1LL), V(1LL), "<"}, {V(0x100000000LL), V(0xFFFFFFFFLL), ">"}, {V(-0.5f), V(0.25f), "<"},
        {V(kNaN), V(kNaN), ""}, {V(0.1 + 0.2), V(0.3), ">"}, {V(KrTime(1.0)), V(KrTime(2.0)), "<"},
        {block({1, 2}), block({1, 2, 3}), ""}, {block({1, 1}), block({1, 2, 0}), "<"},
        {block({0x80}), block({0x7F, 0}), ""}, {block({1, 2}), block({1, 2}), "="},
        {block({}), block({}), "="}, {block({}), block({0}), ""},
        {V(KrString("Road")), V(KrString("road")), "<"}, {V(KrString("road")), V(KrString("road")), "="}};
    // clang-format on
    for (size_t i = 0; i < values.size(); ++i)
        for (size_t j = 0; j < values.size(); ++j)  // compared with a copy
            EXPECT_TRUE((values[i] == V(values[j])) == (i == j) &&
                        (i == j || !(values[i] < V(values[j]))))
                << i << " " << j;
    const auto relation = [](const V& a, const V& b)
    { return std::string(a < b ? "<" : "") + (b < a ? ">" : "") + (a == b ? "=" : ""); };
    for (const Case& c : cases)
        EXPECT_EQ(relation(c.a, c.b), c.relation) << c.a.ToString() << " vs " << c.b.ToString();
    const KrVariant nan(kNaN);
    EXPECT_TRUE(nan == nan);  // the very same object
}

TEST(KrVariant, CopiesOwnTheirValueAndSetReplacesTheKind)
{
    KrVariant source = block({1, 2, 3}), assigned, text(KrString("lake")), other(7);
    const KrVariant copy(source);
    assigned = source;
    source.Clear();
    EXPECT_TRUE(source.GetType() == KrVariant::Null && copy == block({1, 2, 3}) &&
                assigned == block({1, 2, 3}));
    EXPECT_NE(copy.GetValue().pStream, assigned.GetValue().pStream);
    other = text;
    text.Set(KrString("river"));
    EXPECT_EQ(other.ToString(), "lake");
    text.Set(*text.GetValue().pString);  // its own string, then itself, keep the value
    const KrVariant& self = text;
    text = self;
    KrVariant moved(std::move(text));
    EXPECT_TRUE(moved.ToString() == "river" && text.GetType() == KrVariant::Null);

    EXPECT_EQ((other = 2.5).GetType(), KrVariant::Double);
    other.Set(static_cast<const unsigned char*>(nullptr), 4);
    EXPECT_EQ(other.GetType(), KrVariant::Binary);
    other = static_cast<short>(3);
    KrVariant::VarValue shortThree;  // where a short lies in the union depends on the byte order
    shortThree.lVal = 0;
    shortThree.sVal = 3;
    EXPECT_EQ(other.GetValue().lVal, shortThree.lVal);  // the rest of the union is zeroed
    EXPECT_EQ((other = KrTime(2000, 1, 1)).GetType(), KrVariant::Time);
    EXPECT_EQ(other.GetValue().dVal, KrTime(2000, 1, 1).GetTime());
    const unsigned char bytes[] = {1, 2, 3};
    for (const KrVariant& e : {KrVariant(bytes, 0), KrVariant(bytes, -1), KrVariant(bytes, INT_MIN),
                               KrVariant(nullptr, 3)})
        EXPECT_TRUE(e.GetType() == KrVariant::Binary && e == block({}) &&
                    !(e < block({0})) &&  // a proper prefix is not less
                    e.ToString().IsEmpty() && e.ToInt() == 0);

    // int64_t is long on this platform; every way in must give the 64-bit kind, not a narrowed
    // one.
    for (const std::int64_t value :
         std::vector<std::int64_t>{0, -1, 1LL << 32 | 1, INT64_MIN, INT64_MAX})
    {
        KrVariant set;
        set.Set(value);
        for (const KrVariant& v : {V(value), set, V() = value})
            EXPECT_TRUE(v.GetType() == KrVariant::Long && v == V(static_cast<long long>(value)))
                << value;
    }
}

}  // namespace
