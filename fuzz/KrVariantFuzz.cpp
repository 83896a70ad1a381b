// Fractions and the variant's conversions on arbitrary doubles and texts. The first eight bytes
// are a double, the next four the largest denominator of the fraction, the rest a text that is
// also used as a binary block.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// Aborts with the line of the broken invariant, so that the fuzzer reports it.
void checkAt(bool holds, int line)
{
    if (holds) return;
    std::fprintf(stderr, "KrVariantFuzz: invariant at line %d broken\n", line);
    std::abort();
}
#define check(condition) checkAt(condition, __LINE__)

void fraction(double value, int maxDenominator)
{
    double rest = value;
    const KrFraction f(rest, maxDenominator);
    const int limit = maxDenominator < 1 ? 1 : maxDenominator;
    check(f.GetDenominator() >= 1 && f.GetDenominator() <= 1000000);
    check(f.GetDenominator() <= limit || f.GetDenominator() <= 20);
    check(f.GetNumerator() >= 0);
    check(f.GetNegative() == (value < 0 ? 0 : 1));
    check(rest >= 0 && rest < 1);
    // Below the saturation the fraction is the magnitude to within one step of its denominator.
    const double magnitude = std::fabs(value);
    if (std::isfinite(value) && magnitude * f.GetDenominator() < 2e9)
    {
        const double error =
            std::fabs(static_cast<double>(f.GetNumerator()) / f.GetDenominator() - magnitude);
        check(error <= 1.0 / f.GetDenominator() + 1e-6);
    }
}

void doubleConversions(double value)
{
    const KrVariant v(value);
    const KrString text = v.ToString();
    if (std::isfinite(value))
    {
        const double back = std::strtod(text.Cstr(), nullptr);
        check(std::fabs(back - value) <= 5.01e-7 + std::fabs(value) * 1e-15);
        check(text.Find('.') >= 0 && text[text.GetLength() - 1] != '.');
    }
    const int rounded = v.ToInt();
    if (std::fabs(value) < 2e9) check(std::fabs(rounded - value) <= 0.5000001);
    check(v.ToLong() == rounded);
    check(KrVariant(static_cast<float>(value)).ToInt() ==
          KrVariant(static_cast<double>(static_cast<float>(value))).ToInt());
    (void)KrVariant(KrTime(value)).ToString();
    (void)KrVariant(KrTime(value)).ToLong();
}

void textConversions(const uint8_t* data, size_t size)
{
    const KrString raw(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const KrVariant v(raw);
    // The variant holds a copy, and copies of a KrString stop at the first zero byte.
    const KrString text(raw);
    check(v.ToString() == text);
    check(v.ToInt() == text.ToInt(10) && v.ToLong() == text.ToLong(10));
    const double parsed = v.ToDouble();
    check(parsed == text.ToDouble() || (std::isnan(parsed) && std::isnan(text.ToDouble())));
    (void)KrVariant(parsed).ToString();

    const KrVariant block(data, static_cast<int>(size));
    const KrVariant copy(block);
    check(copy == block && !(copy < block));
    const KrVariant shorter(data, static_cast<int>(size / 2));
    check(size / 2 == size || !(block < shorter));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 12) return 0;
    double value;
    std::memcpy(&value, data, sizeof value);
    int maxDenominator;
    std::memcpy(&maxDenominator, data + 8, sizeof maxDenominator);
    fraction(value, maxDenominator);
    fraction(value, maxDenominator & 0xFFFF);
    doubleConversions(value);
    textConversions(data + 12, size - 12);
    return 0;
}
