// Internal: checks that a KrMarkup index describes what a fresh parse of its text finds.
// Used by the tests and the fuzz target after edits; not installed.
#pragma once

#include <string>

#include "Base/KrMarkup.h"

namespace KRN
{

class KrMarkupProbe : public KrMarkup
{
public:
    explicit KrMarkupProbe(const KrMarkup& markup) : KrMarkup(markup) {}
    explicit KrMarkupProbe(const char* text) : KrMarkup(text) {}

    int IndexBytes() const { return m_nPosAllocated * static_cast<int>(sizeof(PosEntry)); }
    int ElementCount() const { return m_iPosFree - 1; }
    int SegmentCount() const { return static_cast<int>(m_segments.size()); }
    const void* SegmentAddress(int segment) const { return m_segments[segment].get(); }

    // Empty when parsing the edited text afresh gives the same elements (offsets, nesting,
    // names and attributes) as the edited index; otherwise what differs.
    static std::string Mismatch(const KrMarkup& edited)
    {
        const KrMarkupProbe index(edited);
        const KrMarkupProbe fresh(edited.GetDoc().Cstr());
        int i = index.entry(0).iFirstChild;
        int j = fresh.entry(0).iFirstChild;
        if ((i == 0) != (j == 0)) return "root presence differs";
        while (i != 0)
        {
            const std::string where = index.describe(i);
            const PosEntry& a = index.entry(i);
            const PosEntry& b = fresh.entry(j);
            if (a.nStartL != b.nStartL || a.nStartR != b.nStartR || a.nEndL != b.nEndL ||
                a.nEndR != b.nEndR)
                return "offsets differ at " + where + " vs " + fresh.describe(j);
            if (a.nReserved != PosLinked) return "removed element still linked: " + where;
            if (a.iFirstChild != 0 && index.entry(a.iFirstChild).iParent != i)
                return "bad parent link under " + where;
            if (index.attributes(i) != fresh.attributes(j)) return "attributes differ at " + where;
            if ((a.iFirstChild == 0) != (b.iFirstChild == 0)) return "children differ at " + where;
            if (a.iFirstChild != 0)
            {
                i = a.iFirstChild;
                j = b.iFirstChild;
                continue;
            }
            while (i != 0 && index.entry(i).iNextSibling == 0)
            {
                if (fresh.entry(j).iNextSibling != 0)
                    return "fresh parse has more siblings after " + where;
                i = index.entry(i).iParent;
                j = fresh.entry(j).iParent;
            }
            if (i == 0) break;
            if (fresh.entry(j).iNextSibling == 0)
                return "index has more siblings after " + index.describe(i);
            if (index.entry(index.entry(i).iNextSibling).iParent != index.entry(i).iParent)
                return "bad sibling link after " + index.describe(i);
            i = index.entry(i).iNextSibling;
            j = fresh.entry(j).iNextSibling;
        }
        return std::string();
    }

private:
    std::string describe(int pos) const
    {
        const PosEntry& e = entry(pos);
        return "<" + std::string(x_GetTagName(pos)) + "> #" + std::to_string(pos) + " [" +
               std::to_string(e.nStartL) + "," + std::to_string(e.nStartR) + "," +
               std::to_string(e.nEndL) + "," + std::to_string(e.nEndR) + "]";
    }

    // Tag name, then name=value of each attribute, as the readers see them.
    std::string attributes(int pos) const
    {
        std::string all = x_GetTagName(pos);
        TokenPos token;
        token.szDoc = m_strDoc.c_str();
        token.nNext = entry(pos).nStartL + 1;
        for (int n = 0; n < 64 && x_FindAttrib(token, nullptr, n == 0 ? 1 : 0); ++n)
        {
            const std::string name = x_GetToken(token);
            all += " " + name + "=" + std::string(x_GetAttrib(pos, name.c_str()));
        }
        return all;
    }
};

}  // namespace KRN
