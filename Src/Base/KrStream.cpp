#include "Base/KrStream.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "Base/KrCore.h"

namespace KRN
{

namespace
{
// Computed once when the library is loaded.
const bool g_bSwapBytes = krisbigendian();

// Loaded strings grow by at most this much beyond the bytes already buffered, so a hostile
// count costs memory only as fast as data really arrives.
constexpr size_t kStringChunk = 64 * 1024;

constexpr unsigned int clampToUInt(size_t n)
{
    return n > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(n);
}

void reverseEach(unsigned char* p, size_t nBytes, unsigned int nElement)
{
    if (nElement < 2) return;
    for (size_t i = 0; i + nElement <= nBytes; i += nElement) std::reverse(p + i, p + i + nElement);
}
}  // namespace

KrStream::~KrStream()
{
    freeOwnedBuffer();
}

void KrStream::freeOwnedBuffer()
{
    settleLoads();
    if (m_bOwnsBuffer)
    {
        void* block = m_pBufBegin;
        krfree(&block);
    }
    m_bOwnsBuffer = 0;
    m_pBufBegin = m_pBufEnd = m_pWrite = m_pRead = nullptr;
}

unsigned char KrStream::Open(KrStreamDirection dir, unsigned int nSize, unsigned char* pBuffer)
{
    if (m_nDirection != KrStreamNone) return 0;
    freeOwnedBuffer();  // settles the loads too  // one handed in while closed
    if (pBuffer != nullptr)
    {
        m_pBufBegin = pBuffer;
        m_pBufEnd = pBuffer + nSize;
        m_bOwnsBuffer = 0;
    }
    else
    {
        void* block = nullptr;
        if (!krcalloc(&block, nSize))
        {
            m_nStatus = KrStreamNoMemory;
            return 0;
        }
        m_pBufBegin = static_cast<unsigned char*>(block);
        m_pBufEnd = m_pBufBegin + (block != nullptr ? nSize : 0);
        m_bOwnsBuffer = 1;
    }
    m_pWrite = m_pRead = m_pBufBegin;
    m_nPosition = m_nLength = 0;
    m_nStatus = KrStreamOK;
    m_nDirection = dir;
    return 1;
}

unsigned char KrStream::Close()
{
    settleLoads();
    if (m_nDirection == KrStreamNone) return 0;
    freeOwnedBuffer();
    m_nLength = 0;
    m_nDirection = KrStreamNone;
    return m_nStatus == KrStreamOK ? 1 : 0;
}

unsigned char KrStream::Flush()
{
    settleLoads();
    WriteBuffer(0);
    return m_nStatus == KrStreamOK ? 1 : 0;
}

unsigned char KrStream::SetPosition(long long nOffset, KrWhence whence)
{
    settleLoads();
    if (m_nStatus != KrStreamOK) return 0;
    noteHighWater();
    if (whence == KrFromCurrent)
        m_nPosition += static_cast<unsigned long long>(nOffset);
    else if (whence == KrFromEnd)
        m_nPosition = GetSpace() + static_cast<unsigned long long>(nOffset);
    else
        m_nPosition = static_cast<unsigned long long>(nOffset);
    return 1;
}

unsigned long long KrStream::GetLength()
{
    settleLoads();
    noteHighWater();
    return m_nLength;
}

void KrStream::SetSpace(unsigned int nSize)
{
    settleLoads();
    const unsigned int nOldSize = GetSpace();
    if (m_nStatus != KrStreamOK || !m_bOwnsBuffer || nSize == nOldSize) return;
    const size_t readOffset = std::min<size_t>(m_pRead - m_pBufBegin, nSize);
    const size_t writeOffset = std::min<size_t>(m_pWrite - m_pBufBegin, nSize);
    void* block = m_pBufBegin;
    if (!krresize(&block, nSize))
    {
        m_nStatus = KrStreamNoMemory;
        return;
    }
    m_pBufBegin = static_cast<unsigned char*>(block);
    m_pBufEnd = m_pBufBegin + (block != nullptr ? nSize : 0);
    m_pRead = m_pBufBegin + (block != nullptr ? readOffset : 0);
    m_pWrite = m_pBufBegin + (block != nullptr ? writeOffset : 0);
    // Added bytes can be loaded in the other directions: make them zero, as Open's are. A
    // plain save fills them through the write cursor and skips this cost.
    if (nSize > nOldSize && m_nDirection != KrStreamSave)
        std::memset(m_pBufBegin + nOldSize, 0, nSize - nOldSize);
}

unsigned char KrStream::SwapBytes() const
{
    return g_bSwapBytes ? 1 : 0;
}

unsigned int KrStream::WriteBuffer(unsigned int)
{
    m_pWrite = m_pRead = m_pBufBegin;
    return GetSpace();
}

unsigned int KrStream::ReadBuffer(unsigned int)
{
    m_pWrite = m_pBufEnd;
    m_pRead = m_pBufBegin;
    return GetSpace();
}

void KrStream::SetSignLoadSave(int) {}

size_t KrStream::SaveDirect(const unsigned char*, size_t)
{
    return 0;
}

size_t KrStream::LoadDirect(unsigned char*, size_t)
{
    return 0;
}

bool KrStream::canPassThrough(size_t nBytes, unsigned int nElement) const
{
    const size_t nSpace = GetSpace();
    return nSpace >= nElement && nBytes >= nSpace && (nElement == 1 || !g_bSwapBytes);
}

bool KrStream::makeRoom(unsigned int nBytes)
{
    const unsigned int nFree = static_cast<unsigned int>(m_pBufEnd - m_pWrite);
    const unsigned int nGot = WriteBuffer(nBytes - nFree);
    // The count alone is not trusted: the copy that follows relies on the real room.
    if (nGot < nBytes || static_cast<size_t>(m_pBufEnd - m_pWrite) < nBytes)
    {
        m_nStatus = KrStreamSaveError;
        return false;
    }
    return true;
}

unsigned char* KrStream::takeForLoad(unsigned int nBytes)
{
    settleLoads();
    if (m_nDirection == KrStreamLoadSave) SetSignLoadSave(0);
    if (m_nStatus != KrStreamOK) return nullptr;
    if (static_cast<size_t>(m_pWrite - m_pRead) <= nBytes && !refill(nBytes)) return nullptr;
    unsigned char* pSource = m_pRead;
    m_pRead = pSource + nBytes;
    m_nPosition += nBytes;
    // Direction 3 switches the buffer between saving and loading before every value, and a
    // refill at the end of a file may deliver bytes with status 1: those loads stay checked.
    if (m_nDirection != KrStreamLoadSave && m_nStatus == KrStreamOK) startFastLoads();
    return pSource;
}

void KrStream::startFastLoads()
{
    const size_t nWindow = std::min<size_t>(static_cast<size_t>(m_pWrite - m_pRead), 0xFFFF);
    const uint64_t nCursor = reinterpret_cast<uintptr_t>(m_pRead);
    // A buffer beyond 2^48 (never handed out by today's systems) simply keeps every check.
    if ((nCursor + nWindow) > kFastCursorMask) return;
    m_nFastLoad = nCursor | uint64_t(nWindow) << kFastCountShift;
    m_pPositionMark = m_pRead;
}

bool KrStream::refill(unsigned int nBytes)
{
    const unsigned int nHave = static_cast<unsigned int>(m_pWrite - m_pRead);
    const unsigned int nGot = ReadBuffer(nBytes - nHave);
    if (nGot < nBytes || static_cast<size_t>(m_pWrite - m_pRead) < nBytes)
    {
        m_nStatus = KrStreamLoadError;
        return false;
    }
    return true;
}

void KrStream::saveRun(const void* pData, size_t nBytes, unsigned int nElement)
{
    settleLoads();
    if (m_nDirection == KrStreamLoadSave) SetSignLoadSave(1);
    const unsigned char* pSource = static_cast<const unsigned char*>(pData);
    while (m_nStatus == KrStreamOK && nBytes > 0)
    {
        if (m_pWrite == m_pRead && canPassThrough(nBytes, nElement))
        {
            const size_t nDirect = SaveDirect(pSource, nBytes);
            m_nPosition += nDirect;
            pSource += nDirect;
            nBytes -= nDirect;
            // After a short write inside an element, the rest are plain bytes (no swap here).
            if (nDirect % nElement != 0) nElement = 1;
            if (nDirect > 0) continue;
        }
        size_t nFree = static_cast<size_t>(m_pBufEnd - m_pWrite);
        if (nBytes > nFree)
        {
            const unsigned int nGot = WriteBuffer(clampToUInt(nBytes - nFree));
            nFree = std::min<size_t>(nGot, static_cast<size_t>(m_pBufEnd - m_pWrite));
            if (nFree < nElement || m_nStatus != KrStreamOK)
            {
                if (m_nStatus == KrStreamOK) m_nStatus = KrStreamSaveError;
                break;
            }
        }
        const size_t nRun = std::min(nBytes, nFree) / nElement * nElement;
        std::memcpy(m_pWrite, pSource, nRun);
        if (g_bSwapBytes) reverseEach(m_pWrite, nRun, nElement);
        m_pWrite += nRun;
        m_nPosition += nRun;
        pSource += nRun;
        nBytes -= nRun;
    }
}

size_t KrStream::loadRun(void* pData, size_t nBytes, unsigned int nElement)
{
    settleLoads();
    if (m_nDirection == KrStreamLoadSave) SetSignLoadSave(0);
    unsigned char* pDest = static_cast<unsigned char*>(pData);
    size_t nMoved = 0;
    while (m_nStatus == KrStreamOK && nBytes > 0)
    {
        if (m_pWrite == m_pRead && canPassThrough(nBytes, nElement))
        {
            const size_t nDirect = LoadDirect(pDest + nMoved, nBytes);
            const size_t nWhole = nDirect / nElement * nElement;
            // Bytes of an unfinished element wait in the buffer as unread data, so a load that
            // ends early stops at the same element as through the buffer.
            const size_t nTail = nDirect - nWhole;
            if (nTail > 0)
            {
                std::memcpy(m_pBufBegin, pDest + nMoved + nWhole, nTail);
                m_pRead = m_pBufBegin;
                m_pWrite = m_pBufBegin + nTail;
            }
            m_nPosition += nWhole;
            nMoved += nWhole;
            nBytes -= nWhole;
            if (nDirect > 0) continue;
        }
        size_t nHave = static_cast<size_t>(m_pWrite - m_pRead);
        if (nBytes > nHave)
        {
            const unsigned int nGot = ReadBuffer(clampToUInt(nBytes - nHave));
            nHave = std::min<size_t>(nGot, static_cast<size_t>(m_pWrite - m_pRead));
            if (nHave < nElement)
            {
                if (m_nStatus == KrStreamOK) m_nStatus = KrStreamLoadError;
                break;
            }
        }
        // A refill that hit the end of a file may have set KrStreamLoadError while delivering
        // bytes: those are moved before the loop stops.
        const size_t nRun = std::min(nBytes, nHave) / nElement * nElement;
        std::memcpy(pDest + nMoved, m_pRead, nRun);
        if (g_bSwapBytes) reverseEach(pDest + nMoved, nRun, nElement);
        m_pRead += nRun;
        m_nPosition += nRun;
        nMoved += nRun;
        nBytes -= nRun;
    }
    if (nBytes > 0 && m_nStatus == KrStreamOK) m_nStatus = KrStreamLoadError;
    return nMoved;
}

KrStream& operator<<(KrStream& stream, const KrString& text)
{
    if (text.size() > UINT_MAX)
    {
        if (stream.GetStatus() == KrStreamOK) stream.SetError(KrStreamSaveError);
        return stream;
    }
    stream << static_cast<unsigned int>(text.size());
    stream.Save(text.data(), static_cast<unsigned int>(text.size()));
    return stream;
}

namespace
{
// How much more room to make for a string still missing nRemaining bytes: what is buffered,
// or one chunk, whichever is more, but never beyond the count.
size_t nextStringStep(size_t nRemaining, size_t nBuffered)
{
    return std::min(nRemaining, std::max(kStringChunk, nBuffered));
}

// A string load that runs out of data leaves the string at the claimed size, the missing bytes
// zero, as readers of the format expect. A claim beyond this keeps only the bytes that arrived,
// so a hostile count costs no memory.
constexpr size_t kShortStringFill = 16u << 20;
}  // namespace

KrStream& operator>>(KrStream& stream, KrString& text)
{
    unsigned int nCount = 0;
    stream >> nCount;
    stream.settleLoads();
    if (stream.m_nStatus != KrStreamOK) return stream;
    text.clear();
    try
    {
        size_t nLoaded = 0;
        while (nLoaded < nCount && stream.m_nStatus == KrStreamOK)
        {
            const size_t nBuffered = static_cast<size_t>(stream.m_pWrite - stream.m_pRead);
            text.resize(nLoaded + nextStringStep(nCount - nLoaded, nBuffered));
            nLoaded += stream.loadRun(text.data() + nLoaded, text.size() - nLoaded, 1);
        }
        text.resize(nLoaded);
        if (nLoaded < nCount && stream.m_nStatus == KrStreamLoadError && nCount <= kShortStringFill)
            text.resize(nCount, '\0');
    }
    catch (const std::bad_alloc&)
    {
        stream.m_nStatus = KrStreamNoMemory;
    }
    return stream;
}

KrStream& operator<<(KrStream& stream, const KrStringUCS2LE& text)
{
    const unsigned int nUnits =
        text.GetSize() > 0 ? static_cast<unsigned int>(text.GetSize() - 1) : 0;
    stream << nUnits * 2u;
    // Little-endian units on the wire: a big-endian host reverses each one.
    stream.Save(text.GetData(), nUnits);
    return stream;
}

KrStream& operator>>(KrStream& stream, KrStringUCS2LE& text)
{
    unsigned int nCount = 0;
    stream >> nCount;
    stream.settleLoads();
    if (stream.m_nStatus != KrStreamOK) return stream;
    // Room for nBytes plus the terminating zero unit.
    const auto unitsFor = [](size_t nBytes) { return static_cast<int>(nBytes / 2 + 1); };
    text.SetSize(unitsFor(0));
    text[0] = 0;
    try
    {
        size_t nLoaded = 0;
        while (nLoaded < nCount && stream.m_nStatus == KrStreamOK)
        {
            const size_t nBuffered = static_cast<size_t>(stream.m_pWrite - stream.m_pRead);
            const size_t nStep = nextStringStep(nCount - nLoaded, nBuffered);
            if ((nLoaded + nStep) / 2 + 1 > static_cast<size_t>(INT_MAX))
            {
                stream.m_nStatus = KrStreamNoMemory;
                break;
            }
            text.SetSize(unitsFor(nLoaded + nStep));
            nLoaded += stream.loadRun(reinterpret_cast<unsigned char*>(text.GetData()) + nLoaded,
                                      nStep, 1);
        }
        // Drop units that no byte reached; a unit half-filled by an odd count is kept.
        text.SetSize(unitsFor(nLoaded));
        if (nLoaded < nCount && stream.m_nStatus == KrStreamLoadError && nCount <= kShortStringFill)
            text.SetSize(unitsFor(nCount));  // the added units are zero
        else if (text[text.GetSize() - 1] != 0)
            text.Add(0);
        // The bytes arrived as little-endian units; a big-endian host turns them into its own.
        if (g_bSwapBytes)
            for (int i = 0; i < text.GetSize(); ++i)
                text[i] = static_cast<unsigned short>(text[i] >> 8 | text[i] << 8);
    }
    catch (const std::bad_alloc&)
    {
        stream.m_nStatus = KrStreamNoMemory;
    }
    return stream;
}

}  // namespace KRN
