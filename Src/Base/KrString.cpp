#include "Base/KrString.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "Base/KrHash.h"
#include "KrFormatLoop.h"
#include "KrStringAlgorithms.h"

namespace KRN
{

template class KrArray<KrString>;

namespace
{
const char kBlanks[] = "\t\r\n ";

std::atomic<KrString::ResourceLoader> g_resourceLoader{nullptr};

bool isHighByte(char c)
{
    return (static_cast<unsigned char>(c) & 0x80) != 0;
}
char asciiUpper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
char asciiLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

size_t zeroTerminatedLength(const std::string& s)
{
    const void* zero = std::memchr(s.data(), 0, s.size());
    return zero != nullptr ? static_cast<size_t>(static_cast<const char*>(zero) - s.data())
                           : s.size();
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// The lenient parse: bytes that are not digits of the base are skipped.
unsigned long long lenientDigits(const char* text, size_t length, int base)
{
    unsigned long long value = 0;
    if (base == 16)
    {
        if (length >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        {
            text += 2;
            length -= 2;
        }
        for (size_t i = 0; i < length; ++i)
        {
            const int digit = hexDigit(text[i]);
            if (digit >= 0) value = value * 16 + static_cast<unsigned>(digit);
        }
    }
    else if (base == 10)
    {
        for (size_t i = 0; i < length; ++i)
            if (text[i] >= '0' && text[i] <= '9')
                value = value * 10 + static_cast<unsigned>(text[i] - '0');
    }
    return value;
}

KrString digitsOf(unsigned long long value, int base, bool negative)
{
    KrString out;
    if (base < 2) return out;  // no digits could ever end the loop
    char digits[72];
    int n = 0;
    do
    {
        const int digit = static_cast<int>(value % static_cast<unsigned>(base));
        digits[n++] = static_cast<char>(digit < 10 ? '0' + digit : digit + 55);
        value /= static_cast<unsigned>(base);
    } while (value != 0);
    out.reserve(static_cast<size_t>(n) + 2);
    if (negative) out.push_back('-');
    if (base == 16) out.append("0X");
    while (n > 0) out.push_back(digits[--n]);
    return out;
}
}  // namespace

// ---------------------------------------------------------------- construction

KrString::KrString(const char* s) : std::string(s != nullptr ? s : "") {}

KrString::KrString(const char* s, int n)
    : std::string(s != nullptr && n > 0 ? s : "",
                  s != nullptr && n > 0 ? static_cast<size_t>(n) : 0)
{
}

KrString::KrString(char c, int n) : std::string(n > 0 ? static_cast<size_t>(n) : 0, c) {}

KrString::KrString(const KrString& other)
    : std::string(other.data(), zeroTerminatedLength(other)), m_nCharset(other.m_nCharset)
{
}

KrString& KrString::operator=(const KrString& other)
{
    if (this != &other)
    {
        assign(other.data(), zeroTerminatedLength(other));
        m_nCharset = other.m_nCharset;
    }
    return *this;
}

KrString& KrString::operator=(const char* s)
{
    if (s != nullptr)
        assign(s);
    else
        clear();
    m_nCharset = KrTextCodec::DEFAULT_CHARSET;
    return *this;
}

void KrString::SetLength(int n)
{
    resize(n > 0 ? static_cast<size_t>(n) : 0);
}

void KrString::SetCapacity(int n)
{
    if (n > 0) reserve(static_cast<size_t>(n));
}

void KrString::Append(const char* s, int n)
{
    if (s != nullptr && n > 0) append(s, static_cast<size_t>(n));
}

// ---------------------------------------------------------------- comparison and search

namespace
{
int compareNoCase(const char* a, size_t lengthA, const char* b, size_t lengthB)
{
    if (lengthA != lengthB) return static_cast<int>(lengthA) - static_cast<int>(lengthB);
    for (size_t i = 0; i < lengthA; ++i)
    {
        // A byte with the high bit set is a lead or trail byte and must match exactly.
        const bool same = (isHighByte(a[i]) || isHighByte(b[i]))
                              ? a[i] == b[i]
                              : asciiLower(a[i]) == asciiLower(b[i]);
        if (!same) return static_cast<signed char>(a[i]) - static_cast<signed char>(b[i]);
    }
    return 0;
}
}  // namespace

int KrString::CompareNoCase(const KrString& other) const
{
    return compareNoCase(data(), size(), other.data(), other.size());
}

int KrString::CompareNoCase(const char* other) const
{
    const char* text = other != nullptr ? other : "";
    return compareNoCase(data(), size(), text, std::strlen(text));
}

int KrString::Find(char c, int start) const
{
    return Detail::FoundAt(find(c, Detail::ClampPosition(start, size())));
}

int KrString::Find(const char* s, int start) const
{
    if (s == nullptr) return -1;
    return Detail::FoundAt(find(s, Detail::ClampPosition(start, size())));
}

int KrString::FindOneOf(const char* set) const
{
    if (set == nullptr) return -1;
    return Detail::FoundAt(find_first_of(set));
}

int KrString::ReverseFind(char c) const
{
    return Detail::FoundAt(rfind(c));
}

// ---------------------------------------------------------------- editing

int KrString::Insert(int pos, const char* s)
{
    if (s != nullptr) insert(Detail::ClampPosition(pos, size()), s);
    return GetLength();
}

int KrString::Insert(int pos, char c, int count)
{
    if (count >= 1) insert(Detail::ClampPosition(pos, size()), static_cast<size_t>(count), c);
    return GetLength();
}

int KrString::Delete(int start, int count)
{
    return Detail::DeleteClamped<char>(*this, start, count);
}

int KrString::Remove(char c)
{
    return Detail::RemoveEvery<char>(*this, c);
}

int KrString::Replace(char oldChar, char newChar)
{
    return Detail::ReplaceEvery<char>(*this, oldChar, newChar);
}

int KrString::Replace(const char* oldText, const char* newText)
{
    if (oldText == nullptr || newText == nullptr || oldText[0] == '\0') return 0;
    return Detail::ReplaceAll(static_cast<std::string&>(*this), oldText, newText);
}

KrString& KrString::TrimLeft()
{
    return TrimLeft(kBlanks);
}
KrString& KrString::TrimRight()
{
    return TrimRight(kBlanks);
}

KrString& KrString::TrimLeft(char c)
{
    Detail::StripLeading<char>(*this, c);
    return *this;
}

KrString& KrString::TrimRight(char c)
{
    Detail::StripTrailing<char>(*this, c);
    return *this;
}

KrString& KrString::TrimLeft(const char* set)
{
    if (set != nullptr) Detail::StripLeading<char>(*this, set);
    return *this;
}

KrString& KrString::TrimRight(const char* set)
{
    if (set != nullptr) Detail::StripTrailing<char>(*this, set);
    return *this;
}

namespace
{
// Applies a case change to single-byte characters; a byte with the high bit set starts a
// double-byte character, whose trail byte is skipped with it.
template <class CaseChange>
void changeSingleByteCase(std::string& text, CaseChange change)
{
    char* bytes = text.empty() ? nullptr : &text[0];
    for (size_t i = 0; i < text.size(); ++i)
    {
        if (isHighByte(bytes[i]))
            ++i;
        else
            bytes[i] = change(bytes[i]);
    }
}
}  // namespace

KrString& KrString::MakeUpper()
{
    changeSingleByteCase(*this, asciiUpper);
    return *this;
}

KrString& KrString::MakeLower()
{
    changeSingleByteCase(*this, asciiLower);
    return *this;
}

KrString& KrString::MakeReverse()
{
    if (empty()) return *this;
    char* bytes = &std::string::operator[](0);
    const size_t n = size();
    // Pre-swap each double-byte pair so that the full reversal restores its byte order.
    for (size_t i = 0; i + 1 < n; ++i)
    {
        if (isHighByte(bytes[i]))
        {
            std::swap(bytes[i], bytes[i + 1]);
            ++i;
        }
    }
    std::reverse(begin(), end());
    return *this;
}

// ---------------------------------------------------------------- substrings

KrString KrString::Left(int n) const
{
    if (n <= 0) return KrString();
    return KrString(std::string(*this, 0, static_cast<size_t>(n)));
}

KrString KrString::Right(int n) const
{
    if (n <= 0) return KrString();
    if (static_cast<size_t>(n) >= size()) return KrString(static_cast<const std::string&>(*this));
    return KrString(std::string(*this, size() - static_cast<size_t>(n)));
}

KrString KrString::Mid(int start) const
{
    if (start >= GetLength()) return KrString();
    return KrString(std::string(*this, Detail::ClampPosition(start, size())));
}

KrString KrString::Mid(int start, int count) const
{
    if (count <= 0 || start >= GetLength()) return KrString();
    return KrString(
        std::string(*this, Detail::ClampPosition(start, size()), static_cast<size_t>(count)));
}

KrString KrString::SpanIncluding(const char* set) const
{
    if (set == nullptr) return KrString();
    return Left(static_cast<int>(std::min(find_first_not_of(set), size())));
}

KrString KrString::SpanExcluding(const char* set) const
{
    if (set == nullptr) return KrString(static_cast<const std::string&>(*this));
    return Left(static_cast<int>(std::min(find_first_of(set), size())));
}

// ---------------------------------------------------------------- concatenation

KrString& KrString::operator+=(const KrString& s)
{
    append(s.data(), zeroTerminatedLength(s));
    return *this;
}

KrString& KrString::operator+=(const char* s)
{
    if (s != nullptr) append(s);
    return *this;
}

KrString& KrString::operator+=(char c)
{
    push_back(c);
    return *this;
}

KrString KrString::operator+(const KrString& s) const
{
    KrString result(*this);
    return result += s;
}

KrString KrString::operator+(const char* s) const
{
    KrString result(*this);
    return result += s;
}

KrString KrString::operator+(char c) const
{
    KrString result(*this);
    return result += c;
}

KrString operator+(char c, const KrString& s)
{
    KrString result(c, 1);
    return result += s;
}

KrString operator+(const char* s, const KrString& t)
{
    KrString result(s);
    return result += t;
}

// ---------------------------------------------------------------- numbers

// The runtime's long is 32 bits wide for these parses: out-of-range text saturates at the int
// limits rather than wrapping through a 64-bit long.
int KrString::ToInt(int base) const
{
    const long long value = std::strtoll(c_str(), nullptr, base);
    return static_cast<int>(std::min<long long>(std::max<long long>(value, INT_MIN), INT_MAX));
}

// strtoul with a 32-bit unsigned long: the magnitude is range-checked alone and saturates at
// UINT_MAX, then a '-' negates it modulo 2^32 ("-1" is UINT_MAX).
unsigned int KrString::ToUInt(int base) const
{
    const char* text = c_str();
    while (std::isspace(static_cast<unsigned char>(*text))) ++text;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    if (*text == '-' || *text == '+' || std::isspace(static_cast<unsigned char>(*text))) return 0;
    errno = 0;
    const unsigned long long magnitude = std::strtoull(text, nullptr, base);
    if (errno == ERANGE || magnitude > UINT_MAX) return UINT_MAX;
    const unsigned int value = static_cast<unsigned int>(magnitude);
    return negative ? 0u - value : value;
}

long long KrString::ToLong(int base) const
{
    const size_t first = find_first_not_of(kBlanks);
    if (first == npos) return 0;
    const char* text = data() + first;
    size_t length = size() - first;
    if (base == 10 && text[0] == '-')
    {
        while (length > 0 && text[0] == '-')
        {
            ++text;
            --length;
        }
        // Negated in unsigned arithmetic: the digits wrap modulo 2^64 and LLONG_MIN has no
        // positive counterpart.
        return static_cast<long long>(0ULL - lenientDigits(text, length, 10));
    }
    return static_cast<long long>(lenientDigits(text, length, base));
}

unsigned long long KrString::ToULong(int base) const
{
    return lenientDigits(data(), size(), base);
}

float KrString::ToFloat() const
{
    return static_cast<float>(std::strtod(c_str(), nullptr));
}

double KrString::ToDouble() const
{
    return std::strtod(c_str(), nullptr);
}

KrString KrString::From(int value, int base)
{
    return From(static_cast<long long>(value), base);
}

KrString KrString::From(unsigned int value, int base)
{
    return From(static_cast<unsigned long long>(value), base);
}

KrString KrString::From(long value, int base)
{
    return From(static_cast<long long>(value), base);
}

KrString KrString::From(unsigned long value, int base)
{
    return From(static_cast<unsigned long long>(value), base);
}

KrString KrString::From(long long value, int base)
{
    if (base == 10 && value < 0)
        return digitsOf(0ull - static_cast<unsigned long long>(value), 10, true);
    return digitsOf(static_cast<unsigned long long>(value), base, false);
}

KrString KrString::From(unsigned long long value, int base)
{
    return digitsOf(value, base, false);
}

// ---------------------------------------------------------------- formatting and resources

void KrString::Format(const char* format, ...)
{
    if (format == nullptr || format[0] == '\0')
    {
        clear();
        return;
    }
    va_list args;
    va_start(args, format);
    Detail::FormatGrowing(*this, std::strlen(format) + 128, format, args);
    va_end(args);
}

void KrString::Format(unsigned int resourceId, ...)
{
    KrString format;
    format.LoadString(resourceId);
    if (format.empty())
    {
        clear();
        return;
    }
    va_list args;
    va_start(args, resourceId);
    Detail::FormatGrowing(*this, format.size() + 128, format.c_str(), args);
    va_end(args);
}

void KrString::FormatV(const char* format, va_list args)
{
    if (format == nullptr || format[0] == '\0')
    {
        clear();
        return;
    }
    Detail::FormatGrowing(*this, std::strlen(format) + 5, format, args);
}

bool KrString::LoadString(unsigned int id)
{
    const ResourceLoader loader = g_resourceLoader.load(std::memory_order_acquire);
    *this = loader != nullptr ? loader(id) : KrString();
    return IsEmpty();
}

KrString::ResourceLoader KrString::SetResourceLoader(ResourceLoader loader)
{
    return g_resourceLoader.exchange(loader, std::memory_order_acq_rel);
}

unsigned int KrString::HashVal() const
{
    return Detail::ChainHash(data(), size());
}

int KrString::Split(KrArray<KrString>& out, const KrString& delimiter, bool exact) const
{
    out.SetSize(0);  // keeps the array's capacity for the pieces
    if (exact)
    {
        // An empty delimiter cannot cut anything: the whole text is one piece.
        size_t from = 0;
        if (delimiter.size() == 1)
        {
            const char single = delimiter[0];
            for (size_t at = find(single); at != npos; at = find(single, from))
            {
                out.AddNew(data() + from, static_cast<int>(at - from));
                from = at + 1;
            }
        }
        else if (!delimiter.empty())
        {
            for (size_t at = find(delimiter); at != npos; at = find(delimiter, from))
            {
                out.AddNew(data() + from, static_cast<int>(at - from));
                from = at + delimiter.size();
            }
        }
        out.AddNew(data() + from, static_cast<int>(size() - from));
        return out.GetSize();
    }
    const auto addPiece = [&out](const char* piece, size_t length)
    { out.AddNew(piece, static_cast<int>(length)); };
    Detail::SplitOnSet(static_cast<const std::string&>(*this), delimiter, addPiece);
    return out.GetSize();
}

bool KrString::ChangeCharset(Charset charset)
{
    if (charset == m_nCharset) return true;
    KrTextCodec codec(charset, m_nCharset);
    KrString converted;
    if (!codec.Convert(converted, *this)) return false;
    std::string::swap(converted);
    m_nCharset = charset;
    return true;
}

}  // namespace KRN
