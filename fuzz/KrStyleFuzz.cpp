// The first byte chooses the record, the form and the dialect; the rest is an XML text for
// FromXML or the bytes for LoadAll / Load. Whatever was read must then write and read back
// stably: a geometry style's XML written again after one round is the same text, and its
// binary record loads back equal.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

const int kVersions[] = {0, 20031211, 20040101, 20070522};

void fail(const char* what, const std::string& detail)
{
    std::fprintf(stderr, "%s\n%s\n", what, detail.c_str());
    std::abort();
}

void checkStyleXml(const KrStyle& style, int version)
{
    const KrString first = style.ToXML(version);
    KrStyle again;
    if (!first.empty() && !again.FromXML(first, version)) fail("written XML not read", first);
    const KrString second = again.ToXML(version);
    if (first != second) fail("XML changed on the second round", first + "\n--\n" + second);
}

// Colours lose their alpha byte and a transparent back comes back as opaque white.
void checkStyleBinary(const KrStyle& style)
{
    KrMemoryStream out;
    out.Open(KrStreamSave, 64);
    style.SaveAll(out);
    KrMemoryStream in;
    in.Open(KrStreamLoad, static_cast<unsigned int>(out.GetLength()), out.GetData());
    KrStyle loaded;
    loaded.LoadAll(in, KrStyle::GetStoreSize());
    KrStyle expected = style;
    expected.SetLineColor(KrCurrentColortoWinColor(style.GetLineColor()));
    expected.SetFillForeColor(KrCurrentColortoWinColor(style.GetFillForeColor()));
    expected.SetFillBackColor(style.GetFillBackOpaque()
                                  ? KrCurrentColortoWinColor(style.GetFillBackColor())
                                  : KrRGB(255, 255, 255));
    expected.SetFillBackOpaque(1);
    if (in.GetStatus() != KrStreamOK || !(loaded == expected))
        fail("binary round trip changed the style", style.ToXML(0));
}

void loadStyle(const std::string& bytes, uint8_t selector)
{
    std::string copy = bytes;
    KrMemoryStream in;
    in.Open(KrStreamLoad, static_cast<unsigned int>(copy.size()),
            reinterpret_cast<unsigned char*>(copy.data()));
    KrStyle style;
    const int form = selector % 5;
    if (form == 4)
        style.LoadAll(in, 30 + selector % 20);
    else
        style.Load(in, form);
    checkStyleBinary(style);
    checkStyleXml(style, 0);
    checkStyleXml(style, 20031211);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const uint8_t selector = data[0];
    const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    const int version = kVersions[selector >> 2 & 3];
    switch (selector & 3)
    {
        case 0:
        {
            KrStyle style;
            style.FromXML(rest, version);
            checkStyleXml(style, version);
            checkStyleBinary(style);
            break;
        }
        case 1:
        {
            KrTextStyle style;
            style.FromXML(rest, version);
            KrTextStyle again;
            again.FromXML(style.ToXML(version), version);
            (void)again.GetHashCode();
            break;
        }
        case 2:
            loadStyle(rest, static_cast<uint8_t>(selector >> 2));
            break;
        default:
            (void)KrStyle::ConvertRGBColor(KrString(rest));
            break;
    }
    return 0;
}
