// Editing and splitting shared by the narrow and the wide string.
#pragma once

#include <cstring>
#include <string>

namespace KRN::Detail
{

// Replaces every occurrence of the non-empty oldText by newText and returns the count. Text
// produced by a replacement is never searched again.
template <class Ch>
int ReplaceAll(std::basic_string<Ch>& text, const Ch* oldText, const Ch* newText)
{
    using String = std::basic_string<Ch>;
    const size_t oldLength = std::char_traits<Ch>::length(oldText);
    const size_t newLength = std::char_traits<Ch>::length(newText);
    size_t found = text.find(oldText, 0, oldLength);
    if (found == String::npos) return 0;

    int count = 0;
    if (oldLength == newLength)
    {
        for (; found != String::npos; found = text.find(oldText, found + oldLength, oldLength), ++count)
            std::char_traits<Ch>::copy(&text[found], newText, newLength);
        return count;
    }
    // Building the result once is the same as replacing in place and resuming after each
    // inserted text, without moving the tail once per occurrence.
    String result;
    result.reserve(newLength > oldLength ? text.size() + (newLength - oldLength) * 4 : text.size());
    size_t copied = 0;
    for (; found != String::npos; found = text.find(oldText, copied, oldLength), ++count)
    {
        result.append(text, copied, found - copied);
        result.append(newText, newLength);
        copied = found + oldLength;
    }
    result.append(text, copied, String::npos);
    text.swap(result);
    return count;
}

// Calls add(piece, length) for each maximal run of units that are not in delimiters, in order;
// runs of delimiters give no empty pieces.
template <class Ch, class Add>
void SplitOnSet(const std::basic_string<Ch>& text, const std::basic_string<Ch>& delimiters, Add add)
{
    using String = std::basic_string<Ch>;
    size_t at = 0;
    for (;;)
    {
        const size_t first = text.find_first_not_of(delimiters, at);
        if (first == String::npos) return;
        at = text.find_first_of(delimiters, first);
        const size_t end = at == String::npos ? text.size() : at;
        add(text.data() + first, end - first);
        if (at == String::npos) return;
    }
}

}  // namespace KRN::Detail
