// KrMemoryStream: a KrStream over memory. Opened without a buffer it allocates and grows its
// own (by at least the size given to Open at each refill); over a caller's buffer it never
// grows, so a save that does not fit ends with KrStreamSaveError. The bytes can be taken over with
// TakeBuffer or a krmalloc block handed in with GiveBuffer.
//   KrMemoryStream out; out.Open(KrStreamSave, 1024); out << id << name; if (!out.GetStatus()) ...
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrStream.h"

namespace KRN
{

class KRN_API KrMemoryStream : public KrStream
{
public:
    KrMemoryStream() = default;

    // KrStreamSave and KrStreamLoadSave start empty, to be written. KrStreamLoad treats the
    // whole buffer (the caller's bytes, or nSize zero bytes without one) as the data to load.
    // The grow step of an owned buffer becomes nSize; with 0 it grows by exactly each shortfall.
    unsigned char Open(KrStreamDirection dir, unsigned int nSize, unsigned char* pBuffer = nullptr);
    unsigned char Close() override;
    // Targets are measured from the length (the high-water mark) for KrFromEnd.
    // Loading: the target must lie strictly inside the buffer, else KrStreamLoadError.
    // Saving: a target at or past the end grows an owned buffer to exactly the target.
    // Loading and saving: a target past the end grows an owned buffer to exactly the target
    // and returns false without moving and without an error status; call again to move there.
    unsigned char SetPosition(long long nOffset, KrWhence whence) override;
    // The buffer begin; null when there is none.
    virtual unsigned char* GetData() const { return m_pBufBegin; }

    // Hands the buffer over and forgets it; nSize is the whole buffer size, which can exceed
    // the bytes written. Free it with krfree. Direction, position and length stay.
    void TakeBuffer(unsigned char*& pBuffer, unsigned int& nSize);
    // Adopts a krmalloc block of nSize bytes as the owned buffer, freeing the old one. Saving
    // starts at its begin; loading sees all nSize bytes. Position and length stay.
    void GiveBuffer(unsigned char* pBuffer, unsigned int nSize);

    KRN_STREAM_RESULT_TYPE(KrMemoryStream)

protected:
    // Grows an owned buffer by max(nNeeded, grow step); returns the room after the write
    // cursor. Note that Flush, which asks for 0 bytes, therefore grows an owned buffer too.
    unsigned int WriteBuffer(unsigned int nNeeded) override;
    unsigned int ReadBuffer(unsigned int nNeeded) override;
    // In KrStreamLoadSave a save after a failed load clears KrStreamLoadError.
    void SetSignLoadSave(int bSave) override;

private:
    unsigned char failSave();
    bool growTo(long long nTarget);

    int m_nLastMode = 0;  // 0 load, 1 save; KrStreamLoadSave only
    unsigned int m_nGrowStep = 1024;
};

}  // namespace KRN
