#include "Base/KrStringW.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "Base/KrCore.h"
#include "KrStringAlgorithms.h"
#include "KrSystemCharset.h"

namespace KRN
{

template class KrArray<KrStringW>;

namespace
{
const char16_t kBlanks[] = u"\t\r\n ";

char16_t asciiUpper(char16_t c)
{
    return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 32) : c;
}
char16_t asciiLower(char16_t c)
{
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
}

// DEFAULT_CHARSET stands for the system's charset in wide conversions.
KrTextCodec::Charset resolved(KrTextCodec::Charset charset)
{
    return charset == KrTextCodec::DEFAULT_CHARSET ? Detail::SystemCharset() : charset;
}

// Wide text is UCS-2 in the host's byte order.
KrTextCodec::Charset wideCharset()
{
    return krisbigendian() ? KrTextCodec::UCS2BE_CHARSET : KrTextCodec::UCS2LE_CHARSET;
}
}  // namespace

KrStringW::KrStringW(const char16_t* s)
{
    if (s != nullptr) assign(s);
}

KrStringW::KrStringW(const char16_t* s, int n)
{
    if (s != nullptr && n > 0) assign(s, static_cast<size_t>(n));
}

KrStringW::KrStringW(const KrString& text)
{
    FromString(text, KrTextCodec::DEFAULT_CHARSET);
}

KrStringW& KrStringW::operator=(const char16_t* s)
{
    if (s != nullptr)
        assign(s);
    else
        clear();
    return *this;
}

void KrStringW::SetCapacity(int n)
{
    if (n > 0) reserve(static_cast<size_t>(n));
}

int KrStringW::CompareNoCase(const char16_t* other) const
{
    KrStringW left(*this);
    KrStringW right(other);
    left.MakeLower();
    right.MakeLower();
    return left.compare(right);
}

// ---------------------------------------------------------------- search

int KrStringW::Find(char16_t c, int start) const
{
    return Detail::FoundAt(find(c, Detail::ClampPosition(start, size())));
}

int KrStringW::Find(const char16_t* s, int start) const
{
    if (s == nullptr) return -1;
    return Detail::FoundAt(find(s, Detail::ClampPosition(start, size())));
}

int KrStringW::FindOneOf(const char16_t* set) const
{
    if (set == nullptr) return -1;
    return Detail::FoundAt(find_first_of(set));
}

int KrStringW::ReverseFind(char16_t c) const
{
    return Detail::FoundAt(rfind(c));
}

// ---------------------------------------------------------------- editing

int KrStringW::Insert(int pos, const char16_t* s)
{
    if (s != nullptr) insert(Detail::ClampPosition(pos, size()), s);
    return GetLength();
}

int KrStringW::Insert(int pos, char16_t c, int count)
{
    if (count >= 1) insert(Detail::ClampPosition(pos, size()), static_cast<size_t>(count), c);
    return GetLength();
}

int KrStringW::Delete(int start, int count)
{
    return Detail::DeleteClamped<char16_t>(*this, start, count);
}

int KrStringW::Remove(char16_t c)
{
    return Detail::RemoveEvery<char16_t>(*this, c);
}

int KrStringW::Replace(char16_t oldChar, char16_t newChar)
{
    return Detail::ReplaceEvery<char16_t>(*this, oldChar, newChar);
}

int KrStringW::Replace(const char16_t* oldText, const char16_t* newText)
{
    if (oldText == nullptr || newText == nullptr || oldText[0] == 0) return 0;
    return Detail::ReplaceAll(static_cast<Base&>(*this), oldText, newText);
}

KrStringW& KrStringW::TrimLeft()
{
    return TrimLeft(kBlanks);
}
KrStringW& KrStringW::TrimRight()
{
    return TrimRight(kBlanks);
}

KrStringW& KrStringW::TrimLeft(char16_t c)
{
    Detail::StripLeading<char16_t>(*this, c);
    return *this;
}

KrStringW& KrStringW::TrimRight(char16_t c)
{
    Detail::StripTrailing<char16_t>(*this, c);
    return *this;
}

KrStringW& KrStringW::TrimLeft(const char16_t* set)
{
    if (set != nullptr) Detail::StripLeading<char16_t>(*this, set);
    return *this;
}

KrStringW& KrStringW::TrimRight(const char16_t* set)
{
    if (set != nullptr) Detail::StripTrailing<char16_t>(*this, set);
    return *this;
}

void KrStringW::MakeUpper()
{
    std::transform(begin(), end(), begin(), asciiUpper);
}
void KrStringW::MakeLower()
{
    std::transform(begin(), end(), begin(), asciiLower);
}
void KrStringW::MakeInverse()
{
    std::reverse(begin(), end());
}

// ---------------------------------------------------------------- substrings

KrStringW KrStringW::Left(int n) const
{
    if (n < 0) return KrStringW();
    return KrStringW(Base(*this, 0, static_cast<size_t>(n)));
}

KrStringW KrStringW::Right(int n) const
{
    if (n < 0) return *this;
    if (static_cast<size_t>(n) >= size()) return KrStringW();
    return KrStringW(Base(*this, size() - static_cast<size_t>(n)));
}

KrStringW KrStringW::Mid(int start) const
{
    if (start >= GetLength()) return KrStringW();
    return KrStringW(Base(*this, Detail::ClampPosition(start, size())));
}

KrStringW KrStringW::Mid(int start, int count) const
{
    if (count < 0 || start >= GetLength()) return KrStringW();
    return KrStringW(Base(*this, Detail::ClampPosition(start, size()), static_cast<size_t>(count)));
}

KrStringW KrStringW::SpanIncluding(const char16_t* set) const
{
    if (set == nullptr) return KrStringW();
    return Left(static_cast<int>(std::min(find_first_not_of(set), size())));
}

KrStringW KrStringW::SpanExcluding(const char16_t* set) const
{
    if (set == nullptr) return *this;
    return Left(static_cast<int>(std::min(find_first_of(set), size())));
}

int KrStringW::Split(KrArray<KrStringW>& out, const KrStringW& delimiters) const
{
    const int before = out.GetSize();
    const auto addPiece = [&out](const char16_t* piece, size_t length)
    { out.Add(KrStringW(Base(piece, length))); };
    Detail::SplitOnSet(static_cast<const Base&>(*this), delimiters, addPiece);
    return out.GetSize() - before;
}

// ---------------------------------------------------------------- conversion

KrString KrStringW::ToString(Charset charset) const
{
    KrString text;
    if (size() > static_cast<size_t>(INT_MAX / 2)) return text;
    KrTextCodec codec(resolved(charset), wideCharset());
    codec.Convert(text, reinterpret_cast<const char*>(data()), static_cast<int>(size() * 2));
    return text;
}

void KrStringW::FromString(const KrString& text, Charset charset)
{
    KrTextCodec codec(wideCharset(), resolved(charset));
    KrString bytes;
    if (!codec.Convert(bytes, text))
    {
        clear();
        return;
    }
    // The converted bytes are read as a zero-terminated wide text.
    Base units(bytes.size() / 2, u'\0');
    if (!units.empty()) std::memcpy(&units[0], bytes.data(), units.size() * 2);
    units.resize(std::min(units.find(u'\0'), units.size()));
    Base::swap(units);
}

}  // namespace KRN
