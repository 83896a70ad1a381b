#include "Base/KrVariant.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <new>

#include "Base/KrCore.h"
#include "Base/KrMemoryStream.h"
#include "Base/KrTime.h"
#include "Base/KrToolkit.h"
#include "KrFormatLoop.h"

namespace KRN
{

namespace
{

// A time is a day number with the time of day as its fraction: it converts by truncation, the
// day it falls on, where the other floating values round.
int truncateToInt(double value)
{
    if (std::isnan(value)) return 0;
    if (value >= 2147483647.0) return INT_MAX;
    if (value <= -2147483648.0) return INT_MIN;
    return static_cast<int>(value);
}

long long truncateToLong(double value)
{
    if (std::isnan(value)) return 0;
    // 2^63 is the first double past LLONG_MAX.
    if (value >= 9223372036854775808.0) return LLONG_MAX;
    if (value <= -9223372036854775808.0) return LLONG_MIN;
    return static_cast<long long>(value);
}

// Builds the bytes of a binary variant: a stream opened for loading that owns a copy of the
// bytes. Null when the stream cannot be allocated.
KrMemoryStream* newBlockStream(const unsigned char* pData, unsigned int nSize)
{
    void* copy = nullptr;
    if (!krmemdup(&copy, pData, nSize)) return nullptr;
    KrMemoryStream* stream = new (std::nothrow) KrMemoryStream;
    if (stream == nullptr)
    {
        krfree(&copy);
        return nullptr;
    }
    stream->Open(KrStreamLoad, 0, nullptr);
    stream->GiveBuffer(static_cast<unsigned char*>(copy), copy != nullptr ? nSize : 0);
    return stream;
}

// The bytes of a block: the buffer is taken and handed straight back, which leaves the
// stream's bytes in place.
struct BlockBytes
{
    unsigned char* pData = nullptr;
    unsigned int nSize = 0;
};
BlockBytes readBlock(KrMemoryStream* stream)
{
    BlockBytes bytes;
    stream->TakeBuffer(bytes.pData, bytes.nSize);
    stream->GiveBuffer(bytes.pData, bytes.nSize);
    if (bytes.pData == nullptr) bytes.nSize = 0;
    return bytes;
}

KrString* newString(const KrString& value)
{
    try
    {
        return new KrString(value);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

// "%lf", then trailing zeros of the decimals trimmed, keeping at least one decimal.
KrString doubleText(double value)
{
    KrString text = Detail::FormatValue<KrString>("%lf", value);
    if (text.find('.') == std::string::npos) return text;
    size_t length = text.size();
    while (length > 0 && text[length - 1] == '0') --length;
    if (length > 0 && text[length - 1] == '.') ++length;  // keeps the zero after the point
    text.resize(length);
    return text;
}

}  // namespace

KrVariant::KrVariant(const KrTime& value)
{
    setInline(Time).dVal = value.GetTime();
}

KrVariant::KrVariant(const KrString& value)
{
    setInline(String).pString = newString(value);
}

KrVariant::KrVariant(const unsigned char* pData, int nSize)
{
    Set(pData, nSize);
}

KrVariant::KrVariant(const KrVariant& other)
{
    copyFrom(other);
}

KrVariant::KrVariant(KrVariant&& other) noexcept : m_nType(other.m_nType), m_value(other.m_value)
{
    other.setInline(Null);
}

void KrVariant::Set(const KrTime& value)
{
    reset(Time).dVal = value.GetTime();
}

void KrVariant::Set(const KrString& value)
{
    // The argument may be this variant's own string.
    KrString* copy = newString(value);
    reset(String).pString = copy;
}

void KrVariant::Set(const unsigned char* pData, int nSize)
{
    const unsigned int nBytes =
        pData != nullptr && nSize > 0 ? static_cast<unsigned int>(nSize) : 0;
    KrMemoryStream* stream = newBlockStream(pData, nBytes);
    reset(Binary).pStream = stream;
}

const KrVariant& KrVariant::operator=(const KrVariant& other)
{
    if (this != &other)
    {
        Clear();
        copyFrom(other);
    }
    return *this;
}

const KrVariant& KrVariant::operator=(KrVariant&& other) noexcept
{
    if (this != &other)
    {
        Clear();
        m_nType = other.m_nType;
        m_value = other.m_value;
        other.setInline(Null);
    }
    return *this;
}

void KrVariant::copyFrom(const KrVariant& other)
{
    m_value = other.m_value;
    if (other.m_nType == String)
    {
        m_value.pString =
            other.m_value.pString != nullptr ? newString(*other.m_value.pString) : nullptr;
    }
    else if (other.m_nType == Binary)
    {
        m_value.pStream = nullptr;
        if (other.m_value.pStream != nullptr)
        {
            const BlockBytes bytes = readBlock(other.m_value.pStream);
            m_value.pStream = newBlockStream(bytes.pData, bytes.nSize);
        }
    }
    m_nType = other.m_nType;
}

void KrVariant::releaseOwned(VarType type, VarValue value) noexcept
{
    if (type == Binary)
        delete value.pStream;
    else if (type == String)
        delete value.pString;
}

double KrVariant::stringToDouble(const KrString* pString)
{
    return pString != nullptr ? pString->ToDouble() : 0.0;
}

int KrVariant::ToInt() const
{
    switch (m_nType)
    {
        case Byte:
            return m_value.bVal;
        case Short:
            return m_value.sVal;
        case Integer:
            return m_value.nVal;
        case Long:
            return static_cast<int>(static_cast<unsigned int>(m_value.lVal));
        case Float:
            return KrToolkit::RoundLong(m_value.fVal);
        case Double:
            return KrToolkit::RoundLong(m_value.dVal);
        case Time:
            return truncateToInt(m_value.dVal);
        case String:
            return m_value.pString != nullptr ? m_value.pString->ToInt(10) : 0;
        default:
            return 0;
    }
}

long long KrVariant::ToLong() const
{
    switch (m_nType)
    {
        case Byte:
            return m_value.bVal;
        case Short:
            return m_value.sVal;
        case Integer:
            return m_value.nVal;
        case Long:
            return m_value.lVal;
        case Float:
            return KrToolkit::RoundLong(m_value.fVal);
        case Double:
            return KrToolkit::RoundLong(m_value.dVal);
        case Time:
            return truncateToLong(m_value.dVal);
        case String:
            return m_value.pString != nullptr ? m_value.pString->ToLong(10) : 0;
        default:
            return 0;
    }
}

KrString KrVariant::ToString() const
{
    switch (m_nType)
    {
        case Byte:
            return Detail::FormatValue<KrString>("%hd", static_cast<short>(m_value.bVal));
        case Short:
            return Detail::FormatValue<KrString>("%hd", m_value.sVal);
        case Integer:
            return Detail::FormatValue<KrString>("%d", m_value.nVal);
        case Long:
            return Detail::FormatValue<KrString>("%lld", m_value.lVal);
        case Float:
            return Detail::FormatValue<KrString>("%g", static_cast<double>(m_value.fVal));
        case Double:
            return doubleText(m_value.dVal);
        case Time:
            return KrTime(m_value.dVal).Format("%Y-%m-%d %X");
        case String:
            return m_value.pString != nullptr ? KrString(*m_value.pString) : KrString();
        default:
            return KrString();
    }
}

unsigned char KrVariant::operator==(const KrVariant& other) const
{
    if (this == &other) return 1;
    if (m_nType != other.m_nType) return 0;
    const VarValue& a = m_value;
    const VarValue& b = other.m_value;
    switch (m_nType)
    {
        case Null:
            return 1;
        case Byte:
            return a.bVal == b.bVal;
        case Short:
            return a.sVal == b.sVal;
        case Integer:
            return a.nVal == b.nVal;
        case Long:
            return a.lVal == b.lVal;
        case Float:
            return a.fVal == b.fVal;
        case Double:
        case Time:
            return a.dVal == b.dVal;
        case Binary:
        {
            if (a.pStream == nullptr || b.pStream == nullptr) return 0;
            const BlockBytes x = readBlock(a.pStream);
            const BlockBytes y = readBlock(b.pStream);
            return x.nSize == y.nSize &&
                   (x.nSize == 0 || std::memcmp(x.pData, y.pData, x.nSize) == 0);
        }
        case String:
            if (a.pString == nullptr || b.pString == nullptr) return 0;
            return a.pString->Compare(b.pString->Cstr()) == 0;
        default:
            return 0;
    }
}

unsigned char KrVariant::operator<(const KrVariant& other) const
{
    if (m_nType != other.m_nType) return 0;
    const VarValue& a = m_value;
    const VarValue& b = other.m_value;
    switch (m_nType)
    {
        case Null:
            return 1;
        case Byte:
            return a.bVal < b.bVal;
        case Short:
            return a.sVal < b.sVal;
        case Integer:
            return a.nVal < b.nVal;
        case Long:
            return a.lVal < b.lVal;
        case Float:
            return a.fVal < b.fVal;
        case Double:
        case Time:
            return a.dVal < b.dVal;
        case Binary:
        {
            if (a.pStream == nullptr || b.pStream == nullptr) return 0;
            const BlockBytes x = readBlock(a.pStream);
            const BlockBytes y = readBlock(b.pStream);
            if (x.nSize >= y.nSize) return 0;
            for (unsigned int i = 0; i < x.nSize; ++i)
                if (x.pData[i] != y.pData[i]) return x.pData[i] < y.pData[i];
            return 0;
        }
        case String:
            if (a.pString == nullptr || b.pString == nullptr) return 0;
            return a.pString->Compare(b.pString->Cstr()) < 0;
        default:
            return 0;
    }
}

}  // namespace KRN
