// The first byte chooses the input's use: an XML text read by KrColorTable::FromXML, or bytes
// loaded into a KrColorset and used as gradient stops and lookup heights. A table that reads
// must write XML that reads back to the same range and colours; every lookup must stay defined.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

void fail(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

bool sameNumber(double a, double b)
{
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    if (std::isinf(a) || std::isinf(b)) return a == b;
    return std::fabs(a - b) <= 1e-10 * std::fmax(1.0, std::fabs(a));
}

template <class T>
T take(const uint8_t*& data, size_t& size)
{
    T value{};
    const size_t n = size < sizeof(T) ? size : sizeof(T);
    std::memcpy(&value, data, n);
    data += n;
    size -= n;
    return value;
}

void lookups(const KrColorTable& table, const uint8_t* data, size_t size)
{
    const double fixed[] = {0.0, -1.0, 1e308, -1e308, NAN, INFINITY, -INFINITY, 1e-310};
    for (double z : fixed) table.GetColor(z);
    while (size >= sizeof(double) + 3 * sizeof(float))
    {
        const double z = take<double>(data, size);
        float normal[3];
        for (float& n : normal) n = take<float>(data, size);
        table.GetColor(z);
        const unsigned long long lit = table.GetLightenColor(z, normal);
        if (lit > 0xFFFFFFu) fail("shaded colour has an alpha byte");
        const float ratio = table.GetLightRatio(normal);
        if (!(ratio >= 0 && ratio <= 1)) fail("light ratio outside 0..1");
    }
}

void fromXml(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    KrColorTable table;
    table.SetZFloor(-3);
    table.SetZCeiling(5);
    table.SetLightZ(1);
    table.CreateDefault();
    if (size > 0 && data[0] & 1) table.SetWaterLevel(1);
    if (!table.FromXML(KrString(text.c_str()), 0)) return;
    lookups(table, data, size);

    KrColorTable back;
    if (!back.FromXML(table.ToXML(0, KrString()), 20031211)) fail("written XML does not read back");
    if (!sameNumber(back.GetZFloor(), table.GetZFloor()) ||
        !sameNumber(back.GetZCeiling(), table.GetZCeiling()))
        fail("Z range changed in the round trip");
    if (back.GetSize() != table.GetSize()) fail("colour count changed in the round trip");
    for (int i = 0; i < table.GetSize(); ++i)
        if ((back.GetRGB(i) ^ table.GetRGB(i)) & 0xFFFFFFu)
            fail("colour changed in the round trip");
}

void fromBytes(const uint8_t* data, size_t size)
{
    const int count = take<int>(data, size);
    const uint8_t style = take<uint8_t>(data, size);
    KrColorset stops;
    stops.SetColorSize(static_cast<int>(size / 4) + (count & 3));
    KrMemoryStream in;
    in.Open(KrStreamLoad, static_cast<unsigned int>(size), const_cast<uint8_t*>(data));
    stops.Load(in);
    for (unsigned int c : stops)
        if (c > 0xFFFFFFu) fail("a loaded colour kept its alpha byte");

    KrColorset set;
    const int limited = count % 40000;
    if (set.MakeGradient(limited, stops) > KrColorset::kMaxColors) fail("gradient too long");
    KrArray<int> positions;
    for (int i = 0; i < stops.GetSize(); ++i)
        positions.Add(static_cast<int>(stops[i] % 70000) - 100);
    set.MakeGradient(stops, positions);
    set.MakeStockGradient(limited, static_cast<KrStockGradientStyle>(style % 40 - 5), style & 1);
    if (set.GetSize() != (limited < 1 ? 0 : limited > 32767 ? 32767 : limited)) fail("stock size");

    KrColorTable table;
    table.FromColorset(stops);
    table.SetZFloor(take<double>(data, size));
    table.SetZCeiling(take<double>(data, size));
    table.SetLightX(1);
    if (style & 2) table.SetWaterLevel(take<double>(data, size));
    lookups(table, data, size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    if (data[0] % 2 == 0)
        fromXml(data + 1, size - 1);
    else
        fromBytes(data + 1, size - 1);
    return 0;
}
