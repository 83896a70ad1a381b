// Arbitrary registry documents through the three loaders, then queries and copies.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
// A name taken from the document itself, so that queries hit entries reasonably often.
KrString nameAt(const KrString& text, size_t seed)
{
    if (text.empty()) return "x";
    const size_t at = seed % text.size();
    const size_t open = text.rfind('<', at);
    const size_t begin = open == std::string::npos ? 0 : open + 1;
    size_t end = begin;
    while (end < text.size() && end - begin < 32 && text[end] != '>' && text[end] != ' ' &&
           text[end] != '/')
        ++end;
    return KrString(text.data() + begin, static_cast<int>(end - begin));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    setenv("KRN_CONFIG_DIR", "/nonexistent-zobase-config/", 1);
    const KrString text(reinterpret_cast<const char*>(data), static_cast<int>(size));
    KrRegistry registry;
    registry.LoadDoc(text);
    KrRegistryResource resources;
    resources.LoadDoc(text);
    KrRegistryEpsFont fonts;
    fonts.LoadDoc(text);

    for (size_t i = 0; i < 8; ++i)
    {
        const KrString name = nameAt(text, i * 7919 + size);
        (void)registry.Value(name);
        (void)registry.Obj(name)[name];
        (void)registry.Seq(name).GetSize();
        (void)registry.ObjSeq(name).GetSize();
        (void)registry.SubReg(name).SubReg(name).Value(name);
        (void)registry.GetSubFileName(name);
        (void)resources.Value(KrString::From(static_cast<int>(i)));
        (void)fonts.Value(name);
    }
    KrRegistry copy(registry);
    copy = resources;
    return 0;
}
