#include "Base/KrMemoryStream.h"

#include <algorithm>

#include "Base/KrCore.h"

namespace KRN
{

namespace
{
bool writesFromBegin(KrStreamDirection dir)
{
    return dir == KrStreamSave || dir == KrStreamLoadSave;
}
}  // namespace

unsigned char KrMemoryStream::Open(KrStreamDirection dir, unsigned int nSize,
                                   unsigned char* pBuffer)
{
    if (!KrStream::Open(dir, nSize, pBuffer)) return 0;
    m_nGrowStep = nSize;
    m_nLastMode = 0;
    if (!writesFromBegin(dir)) m_pWrite = m_pBufEnd;
    return 1;
}

unsigned char KrMemoryStream::Close()
{
    m_nGrowStep = 1024;
    return KrStream::Close();
}

void KrMemoryStream::TakeBuffer(unsigned char*& pBuffer, unsigned int& nSize)
{
    settleLoads();
    pBuffer = m_pBufBegin;
    nSize = GetSpace();
    m_pBufBegin = m_pBufEnd = m_pWrite = m_pRead = nullptr;
    m_bOwnsBuffer = 0;
}

void KrMemoryStream::GiveBuffer(unsigned char* pBuffer, unsigned int nSize)
{
    freeOwnedBuffer();  // settles the loads too
    m_pBufBegin = pBuffer;
    m_pBufEnd = pBuffer != nullptr ? pBuffer + nSize : nullptr;
    m_bOwnsBuffer = pBuffer != nullptr ? 1 : 0;
    m_pRead = m_pBufBegin;
    m_pWrite = writesFromBegin(m_nDirection) ? m_pBufBegin : m_pBufEnd;
}

unsigned char KrMemoryStream::failSave()
{
    m_nStatus = KrStreamSaveError;
    return 0;
}

// An owned buffer can become exactly nTarget bytes; a caller's buffer cannot grow.
bool KrMemoryStream::growTo(long long nTarget)
{
    if (!m_bOwnsBuffer || nTarget > 0xFFFFFFFFLL) return failSave();
    SetSpace(static_cast<unsigned int>(nTarget));
    return m_nStatus == KrStreamOK;
}

unsigned char KrMemoryStream::SetPosition(long long nOffset, KrWhence whence)
{
    settleLoads();
    if (m_nStatus != KrStreamOK) return 0;
    noteHighWater();
    long long target = nOffset;
    long long origin = 0;
    if (whence == KrFromCurrent)
        origin = static_cast<long long>(m_nPosition);
    else if (whence == KrFromEnd)
        origin = static_cast<long long>(m_nLength);
    if (__builtin_add_overflow(nOffset, origin, &target)) target = -1;  // out of range either way
    const long long nSpace = GetSpace();

    switch (m_nDirection)
    {
        case KrStreamLoad:
            if (target < 0 || target >= nSpace)
            {
                m_nStatus = KrStreamLoadError;
                return 0;
            }
            m_pRead = m_pBufBegin + target;
            break;
        case KrStreamSave:
            if (target < 0) return failSave();
            if (target >= nSpace && !growTo(target)) return 0;
            m_pWrite = m_pBufBegin + target;
            break;
        case KrStreamLoadSave:
            // Growing and moving are two calls in this direction: keep that, callers retry.
            if (target > nSpace)
            {
                growTo(target);
                return 0;
            }
            if (target < 0) return failSave();
            m_pRead = m_pWrite = m_pBufBegin + target;
            break;
        default:
            return 0;
    }
    m_nPosition = static_cast<unsigned long long>(target);
    return 1;
}

unsigned int KrMemoryStream::WriteBuffer(unsigned int nNeeded)
{
    if (m_bOwnsBuffer)
    {
        const unsigned long long nGrown =
            static_cast<unsigned long long>(GetSpace()) + std::max(nNeeded, m_nGrowStep);
        if (nGrown > 0xFFFFFFFFull)
            m_nStatus = KrStreamNoMemory;
        else
            SetSpace(static_cast<unsigned int>(nGrown));
    }
    return static_cast<unsigned int>(m_pBufEnd - m_pWrite);
}

unsigned int KrMemoryStream::ReadBuffer(unsigned int nNeeded)
{
    if (m_nDirection != KrStreamLoadSave) return static_cast<unsigned int>(m_pWrite - m_pRead);
    if (static_cast<size_t>(m_pBufEnd - m_pRead) < nNeeded) return 0;
    m_pWrite = m_pRead + nNeeded;
    return nNeeded;
}

void KrMemoryStream::SetSignLoadSave(int bSave)
{
    if (bSave != m_nLastMode)
    {
        m_pRead = m_pWrite;
        m_nLastMode = bSave;
    }
    if (m_nStatus == KrStreamLoadError && bSave == 1) m_nStatus = KrStreamOK;
}

}  // namespace KRN
