// KrStringW: the library's wide string, UTF-16/UCS-2 units (char16_t) in host byte order, with
// the vocabulary of KrString and conversion to and from a KrString in any charset.
//   KrStringW wide(KrString("road"));  wide.MakeUpper();
//
// Several operations deliberately differ from their narrow namesakes:
// - Right(n) with n at or past the length gives an EMPTY string (the narrow one gives all).
// - CompareNoCase is a true lexicographic order of the lower-cased strings.
// - Split always splits on a set of units and APPENDS to out, which is not emptied first.
// - MakeUpper/MakeLower/MakeInverse return nothing; MakeInverse reverses units (surrogate
//   pairs are not kept together).
// - Conversions read DEFAULT_CHARSET as the charset of the system (KrToolkit::GetCurCharset).
#pragma once

#include <string>

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"
#include "Base/KrTextCodec.h"

namespace KRN
{

class KRN_API KrStringW : public std::basic_string<char16_t>
{
public:
    using Base = std::basic_string<char16_t>;
    using Charset = KrTextCodec::Charset;

    KrStringW() = default;
    KrStringW(const Base& s) : Base(s) {}
    KrStringW(Base&& s) noexcept : Base(std::move(s)) {}
    KrStringW(const char16_t* s);         // null gives an empty string
    KrStringW(const char16_t* s, int n);  // the first n units; null or n < 0 gives empty
    // The text read in the system's charset: FromString(text, DEFAULT_CHARSET).
    KrStringW(const KrString& text);
    KrStringW(const KrStringW&) = default;
    KrStringW(KrStringW&&) noexcept = default;
    ~KrStringW() = default;
    KrStringW& operator=(const KrStringW&) = default;
    KrStringW& operator=(KrStringW&&) noexcept = default;
    KrStringW& operator=(const char16_t* s);

    const char16_t* Cstr() const { return c_str(); }
    const char16_t* GetData() const { return c_str(); }
    operator const char16_t*() const { return c_str(); }
    int GetLength() const { return static_cast<int>(size()); }
    bool IsEmpty() const { return empty(); }
    int GetCapacity() const { return static_cast<int>(capacity()); }
    void SetCapacity(int n);  // reserves; a negative capacity changes nothing
    void Empty() { clear(); }

    // Index checked: an index at or past the length throws std::out_of_range.
    char16_t GetAt(int i) const { return at(asIndex(i)); }
    char16_t operator[](int i) const { return at(asIndex(i)); }
    char16_t& operator[](int i) { return at(asIndex(i)); }
    void SetAt(int i, char16_t c) { at(asIndex(i)) = c; }

    int Compare(const char16_t* s) const { return compare(s != nullptr ? s : u""); }
    bool operator==(const char16_t* s) const { return Compare(s) == 0; }
    bool operator!=(const char16_t* s) const { return Compare(s) != 0; }
    // Lower-cases copies of both and compares them: negative, 0 or positive.
    int CompareNoCase(const char16_t* other) const;

    int Find(char16_t c, int start = 0) const;
    int Find(const char16_t* s, int start = 0) const;
    int FindOneOf(const char16_t* set) const;
    int ReverseFind(char16_t c) const;

    // As KrString: Insert and Delete return the new length, Remove and Replace a count.
    int Insert(int pos, const char16_t* s);      // pos clamped to [0, length]
    int Insert(int pos, char16_t c, int count);  // count < 1 inserts nothing
    int Delete(int start, int count = 1);        // start < 0 is 0; cut at the end
    int Remove(char16_t c);
    int Replace(char16_t oldChar, char16_t newChar);
    // Text produced by a replacement is never searched again.
    int Replace(const char16_t* oldText, const char16_t* newText);

    KrStringW& TrimLeft();  // strips tab, CR, LF and space
    KrStringW& TrimRight();
    KrStringW& TrimLeft(char16_t c);
    KrStringW& TrimRight(char16_t c);
    KrStringW& TrimLeft(const char16_t* set);  // a null set changes nothing
    KrStringW& TrimRight(const char16_t* set);

    // ASCII letters only: other units are left as they are.
    void MakeUpper();
    void MakeLower();
    void MakeInverse();  // reverses the order of the units

    KrStringW Left(int n) const;                // n < 0 gives empty, n >= length all
    KrStringW Right(int n) const;               // n < 0 gives all, n >= length EMPTY
    KrStringW Mid(int start) const;             // start <= 0 gives the whole string
    KrStringW Mid(int start, int count) const;  // count < 0 gives empty; start < 0 is 0
    KrStringW SpanIncluding(const char16_t* set) const;
    KrStringW SpanExcluding(const char16_t* set) const;

    // Appends to out (not emptied) each non-empty run of units not in delimiters; returns the
    // number of pieces appended.
    int Split(KrArray<KrStringW>& out, const KrStringW& delimiters) const;

    // The text in charset (DEFAULT_CHARSET means the system's), tagged DEFAULT_CHARSET whatever
    // charset was asked for; a failed conversion gives an empty string.
    KrString ToString(Charset charset) const;
    // Replaces the content by text read as charset (the argument, not text's own charset;
    // DEFAULT_CHARSET means the system's), up to the first zero unit. Invalid text leaves this
    // string empty.
    void FromString(const KrString& text, Charset charset);

private:
    static size_t asIndex(int i) { return static_cast<unsigned int>(i); }
};

extern template class KRN_API KrArray<KrStringW>;

}  // namespace KRN
