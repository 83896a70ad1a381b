// KrString: the library's byte string. A std::string that also remembers the charset of its
// bytes (a KrTextCodec::Charset, 1 by default), with a vocabulary of its own for searching,
// editing, trimming, number conversion, formatting, hashing and splitting.
//   KrString path = "Maps/Roads.xml";
//   KrString ext = path.Mid(path.ReverseFind('.'));  ext.MakeLower();
//   KrArray<KrString> parts;  path.Split(parts, "/");
//
// Positions and lengths are int; a failed search returns -1. Out-of-range positions and counts
// are clamped or give empty results; null C strings are treated as empty. Only GetAt, SetAt and
// operator[] throw (std::out_of_range) for an index at or past the length.
//
// Two behaviours to keep in mind:
// - Copying from another KrString (copy, assignment, +=, +) copies up to its first zero byte.
// - Substrings (Left, Mid, Right, Span...) always come back tagged with DEFAULT_CHARSET.
#pragma once

#include <cstdarg>
#include <string>

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrTextCodec.h"

namespace KRN
{

class KRN_API KrString : public std::string
{
public:
    using Charset = KrTextCodec::Charset;

    // Every constructor but the copy constructor tags the string with DEFAULT_CHARSET.
    KrString() = default;
    KrString(const std::string& s) : std::string(s) {}
    KrString(std::string&& s) noexcept : std::string(std::move(s)) {}
    KrString(const char* s);                        // null gives an empty string
    KrString(const char* s, int n);                 // the first n bytes; null or n < 0 gives empty
    KrString(char c, int n);                        // n copies of c; n < 1 gives empty
    KrString(const KrString& other);                // bytes up to the first zero, and the charset
    KrString(KrString&& other) noexcept = default;  // takes every byte and the charset
    ~KrString() = default;

    KrString& operator=(const KrString& other);  // bytes up to the first zero, and the charset
    KrString& operator=(KrString&& other) noexcept = default;
    KrString& operator=(const char* s);  // as KrString(s): charset becomes 1

    const char* Cstr() const { return c_str(); }
    operator const char*() const { return c_str(); }
    int GetLength() const { return static_cast<int>(size()); }
    bool IsEmpty() const { return empty(); }
    int GetCapacity() const { return static_cast<int>(capacity()); }
    void SetLength(int n);              // pads with zero bytes; a negative length empties
    void SetCapacity(int n);            // reserves; a negative capacity changes nothing
    void Empty() { clear(); }           // the charset stays
    void Append(const char* s, int n);  // n bytes at s; null or n < 1 appends nothing

    char GetAt(int i) const { return at(asIndex(i)); }
    char operator[](int i) const { return at(asIndex(i)); }
    char& operator[](int i) { return at(asIndex(i)); }
    void SetAt(int i, char c) { at(asIndex(i)) = c; }

    Charset GetCharset() const { return m_nCharset; }
    void SetCharset(Charset charset) { m_nCharset = charset; }  // retags, converts nothing

    // Comparison is byte-wise and ignores the charset.
    int Compare(const char* s) const { return compare(s != nullptr ? s : ""); }
    bool operator==(const char* s) const { return Compare(s) == 0; }
    bool operator!=(const char* s) const { return Compare(s) != 0; }
    bool operator==(const KrString& s) const { return static_cast<const std::string&>(*this) == s; }
    bool operator!=(const KrString& s) const { return !(*this == s); }
    bool operator==(const std::string& s) const
    {
        return static_cast<const std::string&>(*this) == s;
    }
    bool operator!=(const std::string& s) const { return !(*this == s); }
    bool operator<(const KrString& s) const { return static_cast<const std::string&>(*this) < s; }
    // Strings of different length compare by length only: the result is the length difference,
    // whose sign tells only which is longer. Equal lengths compare ASCII letters without case;
    // a byte with the high bit set must match exactly. Meant for equality tests.
    int CompareNoCase(const KrString& other) const;
    int CompareNoCase(const char* other) const;

    int Find(char c, int start = 0) const;
    int Find(const char* s, int start = 0) const;
    int FindOneOf(const char* set) const;
    int ReverseFind(char c) const;

    // Editing. Insert and Delete return the new length; Remove and Replace a count.
    int Insert(int pos, const char* s);      // pos clamped to [0, length]
    int Insert(int pos, char c, int count);  // count < 1 inserts nothing
    int Delete(int start, int count = 1);    // start < 0 is 0; cut at the end
    int Remove(char c);
    int Replace(char oldChar, char newChar);
    // Replaces every occurrence of oldText; text produced by a replacement is never searched
    // again, so Replace("a", "aa") always terminates.
    int Replace(const char* oldText, const char* newText);

    KrString& TrimLeft();  // strips tab, CR, LF and space
    KrString& TrimRight();
    KrString& TrimLeft(char c);
    KrString& TrimRight(char c);
    KrString& TrimLeft(const char* set);
    KrString& TrimRight(const char* set);

    // Case changes touch ASCII bytes only; a byte with the high bit set starts a double-byte
    // character, which is left alone with its trail byte.
    KrString& MakeUpper();
    KrString& MakeLower();
    // Reverses the bytes, keeping each double-byte character's two bytes in order.
    KrString& MakeReverse();

    KrString Left(int n) const;                     // n > length gives the whole string
    KrString Right(int n) const;                    // n > length gives the whole string
    KrString Mid(int start) const;                  // start <= 0 gives the whole string
    KrString Mid(int start, int count) const;       // start < 0 is 0; cut at the end
    KrString SpanIncluding(const char* set) const;  // leading run of bytes in set
    KrString SpanExcluding(const char* set) const;  // leading run of bytes not in set

    KrString& operator+=(const KrString& s);
    KrString& operator+=(const char* s);
    KrString& operator+=(char c);
    // The result keeps the left operand's charset.
    KrString operator+(const KrString& s) const;
    KrString operator+(const char* s) const;
    KrString operator+(char c) const;

    int ToInt(int base = 10) const;  // strtol
    // strtoul with a 32-bit unsigned long: text beyond the range saturates at UINT_MAX, and a
    // leading '-' negates modulo 2^32 ("-1" is UINT_MAX).
    unsigned int ToUInt(int base = 10) const;
    // Leading blanks skipped; in base 10 any run of leading '-' negates once.
    long long ToLong(int base = 10) const;
    // Bases 10 and 16 only (others give 0). Every byte that is not a digit of the base is
    // skipped rather than ending the number: "12a3" is 123 in base 10. "0x" is allowed in
    // base 16. Overflow wraps.
    unsigned long long ToULong(int base = 10) const;
    float ToFloat() const;
    double ToDouble() const;
    // Digits 0-9, then 'A' onwards (digit + 55) in bases above 10; a base below 2 gives an
    // empty string. Base 16 is prefixed "0X". Negative values get a "-" in base 10 only;
    // in other bases they print as their 64-bit two's complement.
    static KrString From(int value, int base = 10);
    static KrString From(unsigned int value, int base = 10);
    static KrString From(long value, int base = 10);
    static KrString From(unsigned long value, int base = 10);
    static KrString From(long long value, int base = 10);
    static KrString From(unsigned long long value, int base = 10);

    // printf-style formatting into this string, of any length. A null or empty format empties it.
    void Format(const char* format, ...) KRN_PRINTF_LIKE(2, 3);
    // As above, with the format text taken from the string resource resourceId.
    void Format(unsigned int resourceId, ...);

    // Loads the string resource with the decimal key id. Returns true when NO text was found
    // (the string is then empty) and false when it was: the result is a not-found flag.
    bool LoadString(unsigned int id);
    bool LoadResString(unsigned int id) { return LoadString(id); }

    // Where LoadString finds its texts: loader returns the text of an id, empty when it has
    // none. The configuration registry installs its resource table when the library loads;
    // with no loader (null) every id is not found. Returns the loader it replaces.
    using ResourceLoader = KrString (*)(unsigned int id);
    static ResourceLoader SetResourceLoader(ResourceLoader loader);

    // h = h * 33 ^ byte, each byte sign-extended; stored hash tables depend on this exact value.
    unsigned int HashVal() const;

    // Splits into out, which is emptied first; returns the number of pieces.
    // exact: delimiter is one whole string and every occurrence cuts ("a,,b" gives a, "", b).
    // otherwise: delimiter is a set of bytes and runs of them give no empty pieces.
    int Split(KrArray<KrString>& out, const KrString& delimiter, bool exact = true) const;

    // Converts the bytes into charset and retags; on failure the string is unchanged.
    bool ChangeCharset(Charset charset);

private:
    void FormatV(const char* format, va_list args);
    // A negative index becomes one far past the end, so at() rejects it.
    static size_t asIndex(int i) { return static_cast<unsigned int>(i); }

    Charset m_nCharset = KrTextCodec::DEFAULT_CHARSET;
};

// These give a new string with DEFAULT_CHARSET.
KRN_API KrString operator+(char c, const KrString& s);
KRN_API KrString operator+(const char* s, const KrString& t);

extern template class KRN_API KrArray<KrString>;

}  // namespace KRN
