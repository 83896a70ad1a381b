// Date parsing and formatting, wildcard matching and path resolution on arbitrary texts.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Base/ZoBase.h"

using namespace KRN;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3) return 0;
    // The first byte picks the split between text and pattern, the second the match flags,
    // the third a serial date for formatting.
    const size_t cut = 3 + data[0] % (size - 2);
    const unsigned int flags = data[1] & 31u;
    KrString text(reinterpret_cast<const char*>(data) + 3, static_cast<int>(cut - 3));
    KrString pattern(reinterpret_cast<const char*>(data) + cut, static_cast<int>(size - cut));

    KrTime parsed(static_cast<double>(static_cast<int8_t>(data[2])) * 40000.0 + data[1] / 7.0);
    parsed.ParseDateTime(text, pattern);
    (void)parsed.GetDayOfWeek();
    (void)parsed.Format(pattern.Cstr());

    const unsigned char matched = KrFile::Match(pattern, text, flags);
    KRASSERT(matched == 0 || matched == 1);
    // A pattern always matches itself once every special character is escaped.
    KrString literal;
    for (char c : static_cast<const std::string&>(text))
    {
        if (c == '\0') break;
        if (std::strchr("*?[]()|,\\", c) != nullptr) literal += '\\';
        literal += c;
    }
    KRASSERT(KrFile::Match(literal, text, flags & ~2u) == 1);

    (void)KrFile::GetAbsolutePath(text, pattern);
    (void)KrFile::GetRelativePath(text, pattern);
    (void)KrFile::ChangeExt(text, pattern);
    return 0;
}
