// KrBitArray: a growable array of booleans packed one bit each (bit i in word i / 32, least
// significant bit first), with the index vocabulary of KrArray. GetAt and SetAt throw
// std::out_of_range ("invalid vector<bool> subscript") for an index outside [0, size);
// operator[] does not check, so callers keep its index in range. InsertAt clamps its index.
//   KrBitArray visible(layerCount, true);  visible.SetAt(3, false);  if (visible[i]) draw(i);
#pragma once

#include <cstdint>
#include <vector>

#include "Base/KrDefs.h"

namespace KRN
{

class KRN_API KrBitArray
{
public:
    KrBitArray() = default;
    KrBitArray(int nSize, bool bValue);

    int GetSize() const { return m_nSize; }
    int GetCapacity() const;                          // allocated words * 32
    void SetCapacity(int nCapacity);                  // never shrinks
    void SetSize(int nNewSize, bool bValue = false);  // new bits take bValue; capacity is kept

    bool GetAt(int nIndex) const;
    void SetAt(int nIndex, bool bValue);
    bool operator[](int nIndex) const { return bit(static_cast<unsigned int>(nIndex)); }

    int Add(bool bValue);                 // returns the new bit's index
    int Append(const KrBitArray& other);  // returns the size before the call
    void InsertAt(int nIndex, bool bValue);
    void InsertAt(int nIndex, const KrBitArray& other);

    void FreeExtra();  // shrinks the words to what the size needs
    void RemoveAll();  // size and capacity 0

private:
    bool bit(unsigned int i) const { return (m_vecWords[i >> 5] >> (i & 31)) & 1u; }
    void setBit(unsigned int i, bool value);
    void checkIndex(int nIndex) const;
    void insertBits(int nIndex, const KrBitArray& bits);

    int m_nSize = 0;
    std::vector<std::uint32_t> m_vecWords;
};

}  // namespace KRN
