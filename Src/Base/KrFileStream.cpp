#include "Base/KrFileStream.h"

#include <cstring>
#include <utility>

#include "Base/Platform/KrPlatformFile.h"

namespace KRN
{

namespace
{
Platform::SeekOrigin seekOrigin(KrWhence whence)
{
    return whence == KrFromBegin     ? Platform::SeekOrigin::Begin
           : whence == KrFromCurrent ? Platform::SeekOrigin::Current
                                     : Platform::SeekOrigin::End;
}
}  // namespace

KrFileStream::~KrFileStream()
{
    KrFileStream::Close();
}

unsigned char KrFileStream::Open(const char* pszFileName, KrStreamDirection dir,
                                 unsigned int nBufferSize)
{
    if (m_nDirection != KrStreamNone || m_hFile != -1) return 0;
    if (dir == KrStreamLoad || dir == KrStreamSave || dir == KrStreamLoadSave)
    {
        const Platform::FileAccess access = dir == KrStreamLoad ? Platform::FileAccess::Read
                                            : dir == KrStreamSave
                                                ? Platform::FileAccess::ReadWriteTruncate
                                                : Platform::FileAccess::ReadWrite;
        Platform::FileDescriptor file = Platform::OpenFile(pszFileName, access);
        if (!file.IsOpen())
        {
            m_nStatus = dir == KrStreamLoad ? KrStreamOpenLoadFailed : KrStreamOpenSaveFailed;
            return 0;
        }
        m_hFile = file.Release();
    }
    m_nLastMode = 0;
    return KrStream::Open(dir, nBufferSize, nullptr);
}

unsigned char KrFileStream::Close()
{
    settleLoads();
    const bool bWasOpen = m_nDirection != KrStreamNone;
    if (bWasOpen && isSaving()) writePending();
    Platform::FileDescriptor(std::exchange(m_hFile, -1)).Close();
    if (!bWasOpen) return 0;
    return KrStream::Close();
}

bool KrFileStream::isSaving() const
{
    return m_nDirection == KrStreamSave || (m_nDirection == KrStreamLoadSave && m_nLastMode == 1);
}

unsigned int KrFileStream::WriteBuffer(unsigned int)
{
    if (m_nStatus != KrStreamOK) return 0;
    // While loading, the cached bytes are unread data, not pending output.
    if (!isSaving()) return static_cast<unsigned int>(m_pBufEnd - m_pWrite);
    const size_t nPending = static_cast<size_t>(m_pWrite - m_pRead);
    long long nWritten = 0;
    if (nPending > 0)
    {
        nWritten = Platform::WriteFile(m_hFile, m_pRead, nPending);
        if (nWritten < 0)
        {
            m_nStatus = KrStreamSaveError;
            return static_cast<unsigned int>(m_pBufEnd - m_pWrite);
        }
    }
    const size_t nLeft = nPending - static_cast<size_t>(nWritten);
    if (nLeft > 0) std::memmove(m_pBufBegin, m_pRead + nWritten, nLeft);
    m_pRead = m_pBufBegin;
    m_pWrite = m_pBufBegin + nLeft;
    return static_cast<unsigned int>(m_pBufEnd - m_pWrite);
}

void KrFileStream::writePending()
{
    while (m_nStatus == KrStreamOK && m_pWrite != m_pRead)
    {
        const unsigned char* pBefore = m_pWrite;
        WriteBuffer(0);
        if (m_nStatus == KrStreamOK && m_pWrite == pBefore)
            m_nStatus = KrStreamSaveError;  // no progress
    }
}

unsigned int KrFileStream::ReadBuffer(unsigned int nNeeded)
{
    if (m_nStatus != KrStreamOK) return 0;
    const size_t nUnread = static_cast<size_t>(m_pWrite - m_pRead);
    if (nUnread > 0 && m_pRead != m_pBufBegin) std::memmove(m_pBufBegin, m_pRead, nUnread);
    m_pRead = m_pBufBegin;
    m_pWrite = m_pBufBegin + nUnread;
    const long long nRead =
        Platform::ReadFile(m_hFile, m_pWrite, static_cast<size_t>(m_pBufEnd - m_pWrite));
    if (nRead > 0)
        m_pWrite += nRead;
    else if (nRead < 0 || nNeeded > 0)
        m_nStatus = KrStreamLoadError;
    return static_cast<unsigned int>(m_pWrite - m_pRead);
}

size_t KrFileStream::SaveDirect(const unsigned char* pData, size_t nBytes)
{
    const size_t nSpace = GetSpace();
    size_t nMoved = 0;
    while (nBytes - nMoved >= nSpace)
    {
        const long long nWritten = Platform::WriteFile(m_hFile, pData + nMoved, nSpace);
        if (nWritten < 0)
        {
            m_nStatus = KrStreamSaveError;
            break;
        }
        nMoved += static_cast<size_t>(nWritten);
        if (static_cast<size_t>(nWritten) < nSpace) break;  // the cache takes the rest
    }
    return nMoved;
}

size_t KrFileStream::LoadDirect(unsigned char* pData, size_t nBytes)
{
    const size_t nSpace = GetSpace();
    size_t nMoved = 0;
    while (nBytes - nMoved >= nSpace)
    {
        const long long nRead = Platform::ReadFile(m_hFile, pData + nMoved, nSpace);
        if (nRead < 0)
        {
            m_nStatus = KrStreamLoadError;
            break;
        }
        nMoved += static_cast<size_t>(nRead);
        if (static_cast<size_t>(nRead) < nSpace)
            break;  // the end of the file: the cache path decides
    }
    return nMoved;
}

void KrFileStream::dropUnread()
{
    const long long nUnread = m_pWrite - m_pRead;
    if (nUnread > 0 && Platform::SeekFile(m_hFile, -nUnread, Platform::SeekOrigin::Current) < 0)
        m_nStatus = KrStreamSaveError;
    m_pRead = m_pWrite = m_pBufBegin;
}

void KrFileStream::SetSignLoadSave(int bSave)
{
    if (bSave != m_nLastMode)
    {
        if (bSave == 0)
            writePending();
        else
            dropUnread();
        m_nLastMode = bSave;
        m_pRead = m_pWrite = m_pBufBegin;
    }
    if (m_nStatus == KrStreamLoadError && bSave == 1)
    {
        m_nStatus = KrStreamOK;
        m_pRead = m_pWrite = m_pBufBegin;
    }
}

unsigned char KrFileStream::SetPosition(long long nOffset, KrWhence whence)
{
    settleLoads();
    if (m_nStatus != KrStreamOK || m_hFile == -1) return 0;
    noteHighWater();
    const bool bSaving = isSaving();
    if (bSaving)
    {
        writePending();
        if (m_nStatus != KrStreamOK) return 0;
    }
    else if (whence == KrFromCurrent)
        nOffset -= m_pWrite - m_pRead;  // the file is ahead of the stream by the unread bytes
    const long long nResult =
        whence == KrFromBegin || whence == KrFromCurrent || whence == KrFromEnd
            ? Platform::SeekFile(m_hFile, nOffset, seekOrigin(whence))
            : -1;
    if (nResult < 0)
    {
        m_nStatus = bSaving ? KrStreamSaveError : KrStreamLoadError;
        return 0;
    }
    m_nPosition = static_cast<unsigned long long>(nResult);
    m_pRead = m_pWrite = m_pBufBegin;
    return 1;
}

unsigned long long KrFileStream::GetLength()
{
    settleLoads();
    const unsigned long long nRemembered = m_nPosition;
    SetPosition(0, KrFromEnd);
    const unsigned long long nLength = m_nPosition;
    SetPosition(static_cast<long long>(nRemembered), KrFromBegin);
    return nLength;
}

}  // namespace KRN
