#include "Base/KrBitArray.h"

#include <climits>
#include <stdexcept>

namespace KRN
{

namespace
{
size_t wordsFor(long long bits)
{
    return static_cast<size_t>((bits + 31) / 32);
}
}  // namespace

KrBitArray::KrBitArray(int nSize, bool bValue)
{
    SetSize(nSize, bValue);
}

int KrBitArray::GetCapacity() const
{
    const size_t bits = m_vecWords.capacity() * 32;
    return bits > INT_MAX ? INT_MAX : static_cast<int>(bits);
}

void KrBitArray::SetCapacity(int nCapacity)
{
    if (nCapacity > 0) m_vecWords.reserve(wordsFor(nCapacity));
}

void KrBitArray::SetSize(int nNewSize, bool bValue)
{
    if (nNewSize < 0) nNewSize = 0;
    const int oldSize = m_nSize;
    m_vecWords.resize(wordsFor(nNewSize), 0);
    m_nSize = nNewSize;
    for (int i = oldSize; i < nNewSize; ++i) setBit(static_cast<unsigned int>(i), bValue);
    // Bits past the size stay zero so that growing never exposes old values.
    if (nNewSize < oldSize && (nNewSize & 31) != 0)
        m_vecWords.back() &= (1u << (nNewSize & 31)) - 1;
}

void KrBitArray::checkIndex(int nIndex) const
{
    if (static_cast<unsigned int>(nIndex) >= static_cast<unsigned int>(m_nSize))
        throw std::out_of_range("invalid vector<bool> subscript");
}

bool KrBitArray::GetAt(int nIndex) const
{
    checkIndex(nIndex);
    return bit(static_cast<unsigned int>(nIndex));
}

void KrBitArray::SetAt(int nIndex, bool bValue)
{
    checkIndex(nIndex);
    setBit(static_cast<unsigned int>(nIndex), bValue);
}

void KrBitArray::setBit(unsigned int i, bool value)
{
    const std::uint32_t mask = 1u << (i & 31);
    if (value)
        m_vecWords[i >> 5] |= mask;
    else
        m_vecWords[i >> 5] &= ~mask;
}

int KrBitArray::Add(bool bValue)
{
    if (m_nSize == INT_MAX) throw std::length_error("vector<bool> too long");
    SetSize(m_nSize + 1, bValue);
    return m_nSize - 1;
}

int KrBitArray::Append(const KrBitArray& other)
{
    const int first = m_nSize;
    insertBits(m_nSize, other);
    return first;
}

void KrBitArray::InsertAt(int nIndex, bool bValue)
{
    KrBitArray one(1, bValue);
    insertBits(nIndex, one);
}

void KrBitArray::InsertAt(int nIndex, const KrBitArray& other)
{
    insertBits(nIndex, other);
}

void KrBitArray::insertBits(int nIndex, const KrBitArray& bits)
{
    if (nIndex < 0) nIndex = 0;
    if (nIndex > m_nSize) nIndex = m_nSize;
    const int count = bits.m_nSize;  // read first: bits may be this array
    if (count == 0) return;
    if (m_nSize > INT_MAX - count) throw std::length_error("vector<bool> too long");
    const KrBitArray source = &bits == this ? bits : KrBitArray();
    const KrBitArray& from = &bits == this ? source : bits;
    const int oldSize = m_nSize;
    SetSize(oldSize + count, false);
    for (int i = oldSize - 1; i >= nIndex; --i)
        setBit(static_cast<unsigned int>(i + count), bit(static_cast<unsigned int>(i)));
    for (int i = 0; i < count; ++i)
        setBit(static_cast<unsigned int>(nIndex + i), from.bit(static_cast<unsigned int>(i)));
}

void KrBitArray::FreeExtra()
{
    const size_t needed = wordsFor(m_nSize);
    if (m_vecWords.capacity() <= needed) return;
    std::vector<std::uint32_t> exact(m_vecWords.begin(),
                                     m_vecWords.begin() + static_cast<long>(needed));
    m_vecWords.swap(exact);
}

void KrBitArray::RemoveAll()
{
    m_nSize = 0;
    m_vecWords.clear();
    FreeExtra();
}

}  // namespace KRN
