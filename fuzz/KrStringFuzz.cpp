// Number parsing, searching, splitting and editing of KrString on arbitrary bytes.
#include <cstddef>
#include <cstdint>

#include "Base/ZoBase.h"

using namespace KRN;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2) return 0;
    // The first byte picks the split point between text and pattern, the second a position.
    const size_t cut = 2 + data[0] % (size - 1);
    const int position = static_cast<int>(static_cast<int8_t>(data[1])) * 3;
    KrString text(reinterpret_cast<const char*>(data) + 2, static_cast<int>(cut - 2));
    KrString pattern(reinterpret_cast<const char*>(data) + cut, static_cast<int>(size - cut));

    (void)text.ToInt(16);
    (void)text.ToLong(10);
    (void)text.ToULong(16);
    (void)text.ToDouble();
    (void)text.HashVal();
    (void)text.CompareNoCase(pattern);
    (void)text.Find(pattern.Cstr(), position);
    (void)text.Mid(position, position + 7);
    (void)text.Right(position);

    KrArray<KrString> pieces;
    text.Split(pieces, pattern, true);
    text.Split(pieces, pattern, false);

    KrString edited(text);
    edited.Replace(pattern.Left(3).Cstr(), pattern.Cstr());
    edited.Insert(position, pattern.Cstr());
    edited.Delete(position, position);
    edited.MakeReverse().MakeUpper().TrimLeft(pattern.Left(2).Cstr());
    KRASSERT(edited.GetLength() >= 0);
    return 0;
}
