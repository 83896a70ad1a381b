// KrFileStream: a KrStream over a file, with the stream buffer as its cache. Data moves to and
// from the file only in whole-cache transfers (one write per flush, one read per refill).
// A file that cannot be opened gives KrStreamOpenLoadFailed or KrStreamOpenSaveFailed; a failed
// write KrStreamSaveError, a failed read or the end of the data KrStreamLoadError. Nothing here
// throws.
//   KrFileStream file; file.Open("a.bin", KrStreamSave, 65536); file << n << name; file.Close();
#pragma once

#include "Base/KrDefs.h"
#include "Base/KrStream.h"

namespace KRN
{

class KRN_API KrFileStream : public KrStream
{
public:
    KrFileStream() = default;
    ~KrFileStream() override;  // closes an open file, flushing a save first

    // KrStreamLoad opens the file read-only; KrStreamSave opens it read-write, created when
    // missing (readable and writable as far as the umask allows) and emptied; KrStreamLoadSave
    // the same without emptying. Any other direction opens no file. Then a cache of nBufferSize
    // bytes is allocated: when that fails the result is false with KrStreamNoMemory and the file
    // stays open until Close or destruction.
    unsigned char Open(const char* pszFileName, KrStreamDirection dir,
                       unsigned int nBufferSize = 65536);
    unsigned char IsOpen() const { return m_hFile != -1 ? 1 : 0; }
    // Flush (inherited) writes the pending bytes of a save; while loading it writes nothing.
    // Flushes a save, closes the file and the stream; false when the stream was not open or
    // any failure is on record (a full disk shows here at the latest).
    unsigned char Close() override;
    // Seeks the file (whence passed through); the cache is written out or dropped. A failed
    // seek gives KrStreamSaveError while saving, KrStreamLoadError while loading.
    unsigned char SetPosition(long long nOffset, KrWhence whence) override;
    // The file's size, found by seeking to its end and back.
    unsigned long long GetLength() override;

    KRN_STREAM_RESULT_TYPE(KrFileStream)

protected:
    unsigned int WriteBuffer(unsigned int nNeeded) override;
    // Reaching the end of the file is an error (KrStreamLoadError) only for a load that lacks
    // bytes: a load that finds exactly what it needs in the cache succeeds.
    unsigned int ReadBuffer(unsigned int nNeeded) override;
    void SetSignLoadSave(int bSave) override;
    // Large runs skip the copy through the cache, still one cache-sized transfer per call.
    size_t SaveDirect(const unsigned char* pData, size_t nBytes) override;
    size_t LoadDirect(unsigned char* pData, size_t nBytes) override;

private:
    bool isSaving() const;
    void writePending();  // until the cache is empty or a write fails
    void dropUnread();    // forgets cached bytes not yet loaded; the file steps back over them

    int m_nLastMode = 0;  // 0 load, 1 save; KrStreamLoadSave only
    int m_hFile = -1;
};

}  // namespace KRN
