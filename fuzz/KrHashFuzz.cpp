// KrHash<KrString> against std::map under arbitrary insertions, lookups, copies and moves:
// every stored key is found with its last value, no other key is, and iteration lists exactly
// the stored entries.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
void check(bool condition)
{
    if (!condition) std::abort();
}

void checkSame(KrHash<KrString>& table, const std::map<std::string, std::string>& model)
{
    check(table.GetCount() == static_cast<int>(model.size()));
    size_t listed = 0;
    KrString key, value;
    for (int pos = table.GetStartPosition(); !table.IsEOF(pos); ++listed)
    {
        table.GetNextAssoc(pos, key, value);
        const auto it = model.find(key);
        check(it != model.end() && it->second == value);
    }
    check(listed == model.size());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    KrHash<KrString> table;
    std::map<std::string, std::string> model;
    size_t at = 0;
    int step = 0;
    while (at + 2 <= size)
    {
        // An operation byte, a length byte, then the key's bytes (zero bytes read as 1, since a
        // stored key stops at a zero byte).
        const uint8_t op = data[at];
        const size_t length = std::min<size_t>(data[at + 1] % 48, size - at - 2);
        std::string text(reinterpret_cast<const char*>(data) + at + 2, length);
        for (char& c : text)
            if (c == 0) c = 1;
        at += 2 + length;
        const KrString key(text.data(), static_cast<int>(text.size()));
        KrString found("untouched");
        switch (op % 8)
        {
            case 0:
            case 1:
            case 2:
            {
                const std::string value = std::to_string(step++) + text;
                table.SetAt(key, KrString(value.data(), static_cast<int>(value.size())));
                if (!text.empty()) model[text] = value;
                break;
            }
            case 3:
            case 4:
            {
                const auto it = model.find(text);
                check(table.Lookup(key, found) == (it != model.end() ? 1 : 0));
                check(it != model.end() ? found == it->second : found == "untouched");
                break;
            }
            case 5:
            {
                KrHash<KrString> copy(table);
                checkSame(copy, model);
                table = std::move(copy);
                break;
            }
            case 6:
            {
                // Many keys at once, so that the table grows several times.
                for (int i = 0; i < 64 + op; ++i)
                {
                    const std::string many = text + std::to_string(i);
                    table.SetAt(KrString(many.data(), static_cast<int>(many.size())), "m");
                    model[many] = "m";
                }
                break;
            }
            default:
                checkSame(table, model);
                break;
        }
    }
    checkSame(table, model);
    return 0;
}
