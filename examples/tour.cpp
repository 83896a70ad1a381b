// A short tour of the library: each section shows one family at work and prints what it did.
#include <cstdio>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

void section(const char* title) { std::printf("\n== %s\n", title); }

void tourCore()
{
    section("core helpers");
    const unsigned int teal = KrRGBA(0, 128, 128, 255);
    std::printf("KrRGBA(0,128,128,255) = 0x%08X  red %u green %u blue %u alpha %u\n", teal,
                KrREDVAL(teal), KrGREENVAL(teal), KrBLUEVAL(teal), KrALPHAVAL(teal));
    std::printf("krequal(0.1 + 0.2, 0.3) = %s, big-endian host: %s, dpi %d\n",
                krequal(0.1 + 0.2, 0.3) ? "true" : "false", krisbigendian() ? "yes" : "no", krdpi());
    void* block = nullptr;
    const int ok = krmemdup(&block, "tour", 5);
    std::printf("krmemdup copied \"%s\" (result %d); ", static_cast<const char*>(block), ok);
    krfree(&block);
    std::printf("after krfree the pointer is %s\n", block == nullptr ? "null" : "set");
}

void tourString()
{
    section("narrow string");
    KrString path("  C:\\data\\roads.shp  ");
    path.TrimLeft().TrimRight();
    std::printf("trimmed: [%s], extension at %d, file: %s\n", path.Cstr(), path.ReverseFind('.'),
                path.Mid(path.ReverseFind('\\') + 1).Cstr());
    KrString text("a-b-c");
    const int replaced = text.Replace("-", "--");
    std::printf("Replace(\"-\", \"--\") on a-b-c: %d replacements -> %s\n", replaced, text.Cstr());
    KrString formatted;
    formatted.Format("%s has %d layers and %.2f km of roads", "Atlas", 12, 1234.5);
    std::printf("Format: %s\n", formatted.Cstr());
    std::printf("From(255, 16) = %s, ToULong(\"0x1f\", 16) = %llu, lenient ToULong(\"12a3\") = %llu\n",
                KrString::From(255, 16).Cstr(), KrString("0x1f").ToULong(16), KrString("12a3").ToULong());
    std::printf("CompareNoCase(\"Road\", \"ROAD\") = %d, HashVal(\"ab\") = %u\n",
                KrString("Road").CompareNoCase("ROAD"), KrString("ab").HashVal());
    KrArray<KrString> pieces;
    const int exact = KrString("a,b,,c").Split(pieces, ",", true);
    const int loose = KrString("a,b,,c").Split(pieces, ",", false);
    std::printf("Split(\"a,b,,c\", \",\"): exact %d pieces, as a set %d pieces\n", exact, loose);
}

void tourContainers()
{
    section("containers");
    KrArray<int> numbers;
    for (int i = 1; i <= 4; ++i) numbers.Add(i * i);
    numbers.InsertAt(-5, 0, 1);
    std::printf("array:");
    for (int v : numbers) std::printf(" %d", v);
    try
    {
        numbers.GetAt(99);
    }
    catch (const std::out_of_range& e)
    {
        std::printf("  GetAt(99) -> %s", e.what());
    }
    std::printf("\n");

    KrList<KrString> layers;
    layers.AddTail("rivers");
    layers.AddTail("roads");
    layers.AddHead("land");
    std::printf("list backwards:");
    for (auto pos = layers.GetTailPosition(); !layers.IsBOF(pos);)
        std::printf(" %s", layers.GetPrev(pos).Cstr());
    std::printf("\n");

    KrContainer<int> recent;
    recent.SetCapacity(3);
    for (int i = 1; i <= 5; ++i) recent.Add(i);
    std::printf("ring of 3 after adding 1..5 holds %d items, newest first: %d %d %d\n",
                recent.GetSize(), recent[0], recent[1], recent[2]);

    KrDict<int, int> squares;
    for (int i = 0; i < 5; ++i) squares.SetAt(i, i * i);
    int value = -1;
    const bool found3 = squares.Lookup(3, value);
    const bool found7 = squares.Lookup(7, value);
    std::printf("dictionary: Lookup(3) %s %d, Lookup(7) %s\n", found3 ? "found" : "missing", value,
                found7 ? "found" : "missing");
}

void tourText()
{
    section("text in every charset");
    // "Beijing, Changjiang Road" in GB18030, the library's default charset.
    const KrString gb("\xb1\xb1\xbe\xa9\xca\xd0\xb3\xa4\xbd\xad\xc2\xb7");
    const KrTextCodec::Charset chinese = KrTextCodec::GB2312_CHARSET;
    std::printf("GB18030: %d bytes, charset name %s\n", gb.GetLength(),
                KrTextCodec::GetCharsetName(chinese).Cstr());

    const KrStringUTF8 utf8(gb, chinese);
    std::printf("UTF-8:   %d bytes: %s\n", utf8.GetLength(), utf8.Cstr());

    const KrStringUCS2LE ucs2(gb, chinese);
    std::printf("UCS-2LE: %d units:", ucs2.GetLength());
    for (int i = 0; i < ucs2.GetLength(); ++i) std::printf(" %04X", ucs2[i]);
    std::printf("\n");

    KrStringW wide;
    wide.FromString(gb, chinese);
    wide.MakeInverse();
    std::printf("wide:    %d units, reversed and back in UTF-8: %s\n", wide.GetLength(),
                wide.ToString(KrTextCodec::UTF8_CHARSET).Cstr());
    wide.MakeInverse();

    const bool same =
        utf8.ToString(chinese) == gb && ucs2.ToString(chinese) == gb && wide.ToString(chinese) == gb;
    std::printf("all three forms convert back to the same GB18030 bytes: %s\n", same ? "yes" : "no");
    KrString changed(gb);
    changed.ChangeCharset(KrTextCodec::UTF8_CHARSET);
    std::printf("ChangeCharset(UTF-8) retags the string as charset %d; this system's charset is %d\n",
                changed.GetCharset(), KrToolkit::GetCurCharset());
}

}  // namespace

int main()
{
    std::printf("ZoBase200 tour\n");
    tourCore();
    tourString();
    tourContainers();
    tourText();
    std::printf("\ntour complete\n");
    return 0;
}
