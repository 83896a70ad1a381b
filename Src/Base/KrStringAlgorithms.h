// Editing and splitting shared by the narrow and the wide string.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace KRN::Detail
{

// A position clamped into [0, length].
inline size_t ClampPosition(int pos, size_t length)
{
    if (pos <= 0) return 0;
    return static_cast<size_t>(pos) < length ? static_cast<size_t>(pos) : length;
}

// A standard search result as an int, -1 for not found.
inline int FoundAt(size_t found)
{
    return found == std::string::npos ? -1 : static_cast<int>(found);
}

// Erases count units from start (negative start is 0); nothing when count < 1 or start is at
// or past the end. Returns the new length.
template <class Ch>
int DeleteClamped(std::basic_string<Ch>& text, int start, int count)
{
    if (start < 0) start = 0;
    if (count >= 1 && static_cast<size_t>(start) < text.size())
        text.erase(static_cast<size_t>(start), static_cast<size_t>(count));
    return static_cast<int>(text.size());
}

// Removes every c; returns how many were removed.
template <class Ch>
int RemoveEvery(std::basic_string<Ch>& text, Ch c)
{
    const auto kept = std::remove(text.begin(), text.end(), c);
    const int removed = static_cast<int>(text.end() - kept);
    text.erase(kept, text.end());
    return removed;
}

// Replaces every oldChar by newChar; returns the count (0 at once when they are equal).
template <class Ch>
int ReplaceEvery(std::basic_string<Ch>& text, Ch oldChar, Ch newChar)
{
    if (oldChar == newChar) return 0;
    int count = 0;
    for (Ch& c : text)
    {
        if (c == oldChar)
        {
            c = newChar;
            ++count;
        }
    }
    return count;
}

// Strip the leading / trailing run of units matching what (a unit or a zero-terminated set).
template <class Ch, class What>
void StripLeading(std::basic_string<Ch>& text, What what)
{
    text.erase(0, std::min(text.find_first_not_of(what), text.size()));
}

template <class Ch, class What>
void StripTrailing(std::basic_string<Ch>& text, What what)
{
    const size_t last = text.find_last_not_of(what);
    text.resize(last == std::basic_string<Ch>::npos ? 0 : last + 1);
}

// Replaces every occurrence of the non-empty oldText by newText and returns the count. Text
// produced by a replacement is never searched again. The work is done in place: a shorter
// replacement compacts the text forwards, a longer one grows it once and fills it from the
// back, so each byte moves at most once and no second buffer is needed.
template <class Ch>
int ReplaceAll(std::basic_string<Ch>& text, const Ch* oldText, const Ch* newText)
{
    using String = std::basic_string<Ch>;
    using Traits = std::char_traits<Ch>;
    // Texts inside the string itself (its terminator included) are copied first: the splice
    // below moves their bytes and may reallocate the buffer they point into.
    const std::less<const Ch*> before;
    const auto inside = [&](const Ch* p)
    { return !before(p, text.data()) && !before(text.data() + text.size(), p); };
    if (inside(oldText) || inside(newText))
    {
        const String oldCopy(oldText), newCopy(newText);
        return ReplaceAll(text, oldCopy.c_str(), newCopy.c_str());
    }
    const size_t oldLength = Traits::length(oldText);
    const size_t newLength = Traits::length(newText);
    size_t found = text.find(oldText, 0, oldLength);
    if (found == String::npos) return 0;
    const auto next = [&](size_t from) { return text.find(oldText, from, oldLength); };

    int count = 0;
    if (newLength <= oldLength)
    {
        // The write position never passes the read position, so the search sees original text.
        Ch* data = &text[0];
        size_t read = 0;
        size_t write = 0;
        for (; found != String::npos; found = next(read), ++count)
        {
            Traits::move(data + write, data + read, found - read);
            write += found - read;
            Traits::copy(data + write, newText, newLength);
            write += newLength;
            read = found + oldLength;
        }
        Traits::move(data + write, data + read, text.size() - read);
        text.resize(write + text.size() - read);
        return count;
    }
    // Growing: find every match first (a few on the stack, more in a vector), then fill from the
    // back, where the moved text always lands beyond what is still to be read.
    size_t onStack[32];
    std::vector<size_t> more;
    for (; found != String::npos; found = next(found + oldLength), ++count)
    {
        if (count < 32)
            onStack[count] = found;
        else
            more.push_back(found);
    }
    const size_t oldSize = text.size();
    text.resize(oldSize + static_cast<size_t>(count) * (newLength - oldLength));
    Ch* data = &text[0];
    size_t end = oldSize;        // end of the original text still to be placed
    size_t write = text.size();  // where the placed text begins
    for (int k = count - 1; k >= 0; --k)
    {
        const size_t at = k < 32 ? onStack[k] : more[static_cast<size_t>(k - 32)];
        const size_t tail = end - (at + oldLength);
        write -= tail;
        Traits::move(data + write, data + at + oldLength, tail);
        write -= newLength;
        Traits::copy(data + write, newText, newLength);
        end = at;
    }
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
