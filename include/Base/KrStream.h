// KrStream: the buffered binary stream through which every persistent record is saved and
// loaded. Numbers go on the wire little-endian whatever the host (floats and doubles as their
// IEEE bit patterns); strings as a 32-bit byte count and the bytes. The first failure is kept
// in a sticky status that turns every later save or load into a no-op, so a caller saves or
// loads a whole record and tests GetStatus() (or IsEOF()) once at the end.
// The concrete streams are KrMemoryStream and KrFileStream; they decide where bytes go when the
// buffer is full or empty by overriding WriteBuffer and ReadBuffer.
//   stream << version << name << points;            // saving a record
//   stream >> version >> name >> points;            // loading it back, in the same order
//   if (stream.GetStatus() != KrStreamOK) ...       // one test for the whole record
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Base/KrDefs.h"
#include "Base/KrString.h"
#include "Base/KrStringUTF8.h"

namespace KRN
{

enum KrStreamDirection : int
{
    KrStreamNone = 0,     // not open
    KrStreamSave = 1,     // writing
    KrStreamLoad = 2,     // reading
    KrStreamLoadSave = 3  // reading and writing on one stream
};

enum KrStreamStatus : int
{
    KrStreamOK = 0,
    KrStreamLoadError = 1,  // end of data, a failed read, or a failed seek while loading
    KrStreamSaveError = 2,  // no room for a save, a failed write, or a failed seek while saving
    KrStreamOpenSaveFailed = 3,  // a file could not be opened for saving
    KrStreamOpenLoadFailed = 4,  // a file could not be opened for loading
    KrStreamNoMemory = 5         // allocating or resizing the buffer failed
};

// The values of SEEK_SET, SEEK_CUR and SEEK_END; file streams pass them through.
enum KrWhence : int
{
    KrFromBegin = 0,
    KrFromCurrent = 1,
    KrFromEnd = 2
};

class KRN_API KrStream
{
public:
    virtual ~KrStream();  // frees a buffer the stream allocated

    // False when not open. Frees an owned buffer and returns whether the status is OK; the
    // status itself is kept until the next Open.
    virtual unsigned char Close();
    // WriteBuffer(0), then whether the status is OK.
    virtual unsigned char Flush();
    // True for any non-zero status, not only at the end of the data.
    virtual unsigned char IsEOF() const { return m_nStatus != KrStreamOK ? 1 : 0; }
    // Base form: false when the status is not OK; otherwise only moves the position field,
    // "from the end" meaning from the buffer size.
    virtual unsigned char SetPosition(long long nOffset, KrWhence whence);
    // The high-water mark: the largest position reached by a save or load.
    virtual unsigned long long GetLength();

    unsigned long long GetPosition() const
    {
        return m_nFastLoad != 0 ? m_nPosition + static_cast<size_t>(fastCursor() - m_pPositionMark)
                                : m_nPosition;
    }
    KrStreamStatus GetStatus() const { return m_nStatus; }
    KrStreamDirection GetDirection() const { return m_nDirection; }
    void SetError(KrStreamStatus status)
    {
        settleLoads();
        m_nStatus = status;
    }

    unsigned int GetSpace() const { return static_cast<unsigned int>(m_pBufEnd - m_pBufBegin); }
    // Resizes a buffer the stream owns (KrStreamNoMemory when that fails), keeping both cursors at
    // their offsets, clamped to the new end. Does nothing when the status is not OK, for a
    // caller's buffer, or when the size is already nSize.
    void SetSpace(unsigned int nSize);

    // True on a big-endian host, where every multi-byte number is reversed on the wire.
    unsigned char SwapBytes() const;

    KrStream& operator<<(char value) { return saveValue(value); }
    KrStream& operator<<(unsigned char value) { return saveValue(value); }
    KrStream& operator<<(short value) { return saveValue(value); }
    KrStream& operator<<(unsigned short value) { return saveValue(value); }
    KrStream& operator<<(int value) { return saveValue(value); }
    KrStream& operator<<(unsigned int value) { return saveValue(value); }
    KrStream& operator<<(float value) { return saveValue(value); }
    KrStream& operator<<(long long value) { return saveValue(value); }
    KrStream& operator<<(unsigned long long value) { return saveValue(value); }
    KrStream& operator<<(double value) { return saveValue(value); }

    // A failed load leaves the variable untouched.
    KrStream& operator>>(char& value) { return loadValue(value); }
    KrStream& operator>>(unsigned char& value) { return loadValue(value); }
    KrStream& operator>>(short& value) { return loadValue(value); }
    KrStream& operator>>(unsigned short& value) { return loadValue(value); }
    KrStream& operator>>(int& value) { return loadValue(value); }
    KrStream& operator>>(unsigned int& value) { return loadValue(value); }
    KrStream& operator>>(float& value) { return loadValue(value); }
    KrStream& operator>>(long long& value) { return loadValue(value); }
    KrStream& operator>>(unsigned long long& value) { return loadValue(value); }
    KrStream& operator>>(double& value) { return loadValue(value); }

    // nCount elements one after the other, each in its single-value form; no count is written.
    KrStream& Save(const char* p, unsigned int nCount) { return saveArray(p, nCount); }
    KrStream& Save(const unsigned char* p, unsigned int nCount) { return saveArray(p, nCount); }
    KrStream& Save(const short* p, unsigned int nCount) { return saveArray(p, nCount); }
    KrStream& Save(const unsigned short* p, unsigned int nCount) { return saveArray(p, nCount); }
    KrStream& Save(const int* p, unsigned int nCount) { return saveArray(p, nCount); }
    KrStream& Save(const unsigned int* p, unsigned int nCount) { return saveArray(p, nCount); }
    KrStream& Save(const float* p, unsigned int nCount) { return saveArray(p, nCount); }
    KrStream& Save(const long long* p, unsigned int nCount) { return saveArray(p, nCount); }
    KrStream& Save(const unsigned long long* p, unsigned int nCount)
    {
        return saveArray(p, nCount);
    }
    KrStream& Save(const double* p, unsigned int nCount) { return saveArray(p, nCount); }

    KrStream& Load(char* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(unsigned char* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(short* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(unsigned short* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(int* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(unsigned int* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(float* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(long long* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(unsigned long long* p, unsigned int nCount) { return loadArray(p, nCount); }
    KrStream& Load(double* p, unsigned int nCount) { return loadArray(p, nCount); }

protected:
    KrStream() = default;
    KrStream(const KrStream&) = delete;
    KrStream& operator=(const KrStream&) = delete;

    // False (nothing changed) when already open. With pBuffer the stream works in the caller's
    // nSize bytes and never frees them; nSize 0xFFFFFFFF means "unbounded", which here reaches
    // 4 GiB - 1 past pBuffer. Without pBuffer it allocates nSize zero bytes (KrStreamNoMemory
    // and false on failure). Both cursors start at the buffer begin; position, length and
    // status are reset.
    unsigned char Open(KrStreamDirection dir, unsigned int nSize, unsigned char* pBuffer);

    // Called when a save needs nNeeded bytes more than fit after the write cursor; returns the
    // bytes now free there. Base form: rewinds both cursors and returns the buffer size.
    virtual unsigned int WriteBuffer(unsigned int nNeeded);
    // Called when a load finds no more than the bytes it needs between the cursors (nNeeded is
    // the shortfall, 0 when exactly enough are there); returns the bytes now available. Base
    // form: marks the whole buffer as data and returns its size.
    virtual unsigned int ReadBuffer(unsigned int nNeeded);
    // In KrStreamLoadSave, called with 1 before each save and 0 before each load.
    virtual void SetSignLoadSave(int bSave);
    // Offered a bulk run of at least a whole buffer while the buffer holds no pending or unread
    // bytes: a stream may move whole buffers of it straight between pData and its target, in
    // the same transfers the buffer would make, and return the bytes moved. Base form: 0, every
    // byte goes through the buffer.
    virtual size_t SaveDirect(const unsigned char* pData, size_t nBytes);
    virtual size_t LoadDirect(unsigned char* pData, size_t nBytes);

    void freeOwnedBuffer();
    // The length field lags behind: saves and loads only move the position, which never goes
    // back between repositionings. Call this (after settleLoads) before moving the position
    // back and before reading m_nLength. A closed stream has length 0 until it is opened again.
    void noteHighWater()
    {
        if (m_nDirection != KrStreamNone && m_nLength < m_nPosition) m_nLength = m_nPosition;
    }
    // Single-value loads that find their bytes in the buffer move only a private copy of the
    // read cursor; m_pRead and the position catch up here. Every operation other than such a
    // load calls this first, so a concrete stream that reads or moves the cursors, the position
    // or the status outside its overrides of the hooks above must call it too.
    void settleLoads()
    {
        if (m_nFastLoad != 0)
        {
            m_pRead = fastCursor();
            m_nPosition += static_cast<size_t>(m_pRead - m_pPositionMark);
            m_nFastLoad = 0;
            m_pPositionMark = nullptr;
        }
    }

    unsigned char* m_pBufBegin = nullptr;
    unsigned char* m_pBufEnd = nullptr;
    unsigned char* m_pWrite = nullptr;  // next saved byte; while loading, the end of the data
    unsigned char* m_pRead = nullptr;   // next loaded byte
    unsigned long long m_nPosition = 0;
    unsigned long long m_nLength = 0;  // see noteHighWater
    KrStreamDirection m_nDirection = KrStreamNone;
    KrStreamStatus m_nStatus = KrStreamOK;
    unsigned char m_bOwnsBuffer = 0;

private:
    // While single-value loads may skip the checks, one word holds what they need: the read
    // cursor in its low 48 bits and the count of data bytes after it (at most 65535) in the
    // high 16. A load then reads and writes a single field. 0 when the checks are needed.
    // m_pPositionMark is the cursor at which m_nPosition was last brought up to date.
    static constexpr int kFastCountShift = 48;
    static constexpr uint64_t kFastCursorMask = (uint64_t(1) << kFastCountShift) - 1;
    uint64_t m_nFastLoad = 0;
    unsigned char* m_pPositionMark = nullptr;

    unsigned char* fastCursor() const
    {
        return reinterpret_cast<unsigned char*>(
            static_cast<uintptr_t>(m_nFastLoad & kFastCursorMask));
    }
    void startFastLoads();

    friend KRN_API KrStream& operator>>(KrStream& stream, KrString& text);
    friend KRN_API KrStream& operator>>(KrStream& stream, KrStringUCS2LE& text);

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    static constexpr bool kBigEndianHost = true;
#else
    static constexpr bool kBigEndianHost = false;
#endif

    template <class T>
    static void store(unsigned char* pDest, T value)
    {
        if constexpr (kBigEndianHost && sizeof(T) > 1)
        {
            unsigned char bytes[sizeof(T)];
            std::memcpy(bytes, &value, sizeof(T));
            for (size_t i = 0; i < sizeof(T); ++i) pDest[i] = bytes[sizeof(T) - 1 - i];
        }
        else
            std::memcpy(pDest, &value, sizeof(T));
    }
    template <class T>
    static T fetch(const unsigned char* pSource)
    {
        T value;
        if constexpr (kBigEndianHost && sizeof(T) > 1)
        {
            unsigned char bytes[sizeof(T)];
            for (size_t i = 0; i < sizeof(T); ++i) bytes[i] = pSource[sizeof(T) - 1 - i];
            std::memcpy(&value, bytes, sizeof(T));
        }
        else
            std::memcpy(&value, pSource, sizeof(T));
        return value;
    }

    // The single-value fast paths: a bounds test and a copy; the virtual refill only when the
    // buffer is full or exhausted.
    template <class T>
    KrStream& saveValue(T value)
    {
        settleLoads();
        if (m_nDirection == KrStreamLoadSave) SetSignLoadSave(1);
        if (m_nStatus == KrStreamOK)
        {
            if (static_cast<size_t>(m_pBufEnd - m_pWrite) < sizeof(T) && !makeRoom(sizeof(T)))
                return *this;
            store(m_pWrite, value);
            m_pWrite += sizeof(T);
            m_nPosition += sizeof(T);
        }
        return *this;
    }
    // A load takes the value straight from the buffer while the last load left the stream
    // open, OK and not in direction 3, nothing else happened since, and more than the value's
    // bytes remain (with exactly that many, the refill is still asked for); the out-of-line
    // path does everything else.
    template <class T>
    KrStream& loadValue(T& value)
    {
        constexpr uint64_t kSizeInCount = uint64_t(sizeof(T)) << kFastCountShift;
        const uint64_t nFast = m_nFastLoad;
        unsigned char* pSource;
        // More than sizeof(T) bytes follow the cursor: step the cursor up and the count down.
        if (nFast > kSizeInCount + kFastCursorMask)
        {
            m_nFastLoad = nFast - kSizeInCount + sizeof(T);
            pSource =
                reinterpret_cast<unsigned char*>(static_cast<uintptr_t>(nFast & kFastCursorMask));
        }
        else if ((pSource = takeForLoad(sizeof(T))) == nullptr)
            return *this;
        // Stored last: the caller's variable may share its type with the stream's fields.
        value = fetch<T>(pSource);
        return *this;
    }
    template <class T>
    KrStream& saveArray(const T* p, unsigned int nCount)
    {
        saveRun(p, static_cast<size_t>(nCount) * sizeof(T), sizeof(T));
        return *this;
    }
    template <class T>
    KrStream& loadArray(T* p, unsigned int nCount)
    {
        loadRun(p, static_cast<size_t>(nCount) * sizeof(T), sizeof(T));
        return *this;
    }

    bool canPassThrough(size_t nBytes, unsigned int nElement) const;
    bool makeRoom(unsigned int nBytes);  // WriteBuffer for one value; KrStreamSaveError when short
    bool refill(unsigned int nBytes);    // ReadBuffer for one value; KrStreamLoadError when short
    // The checked load of one value: where its nBytes lie, the cursor and position already
    // past them, or null (variable untouched) when the status is or becomes non-zero.
    unsigned char* takeForLoad(unsigned int nBytes);
    // Bulk moves of whole elements of nElement bytes, reversed per element on a big-endian
    // host. The load returns the bytes it delivered.
    void saveRun(const void* pData, size_t nBytes, unsigned int nElement);
    size_t loadRun(void* pData, size_t nBytes, unsigned int nElement);
};

// A KrString goes out as its byte count and its stored bytes, in its own encoding: no
// terminator, no charset conversion. Loading keeps the string's charset tag.
KRN_API KrStream& operator<<(KrStream& stream, const KrString& text);
// A count larger than the data ends with KrStreamLoadError; the string then holds the bytes
// that were there. Memory is taken as the bytes arrive, never for the whole claimed count up front.
KRN_API KrStream& operator>>(KrStream& stream, KrString& text);
// The byte count is twice the units before the terminating zero unit, then those units,
// little-endian whatever the host.
KRN_API KrStream& operator<<(KrStream& stream, const KrStringUCS2LE& text);
// The loaded units always end with a zero unit (one is appended when the data lacks it).
KRN_API KrStream& operator>>(KrStream& stream, KrStringUCS2LE& text);

}  // namespace KRN

// Repeats every number operator and array Save/Load of KrStream inside a concrete stream with
// that stream as the result type, so chains keep the concrete type. Strings forward too.
#define KRN_STREAM_RESULT_TYPE(Class)                  \
    template <class T>                                 \
    Class& operator<<(const T& value)                  \
    {                                                  \
        static_cast<::KRN::KrStream&>(*this) << value; \
        return *this;                                  \
    }                                                  \
    template <class T>                                 \
    Class& operator>>(T& value)                        \
    {                                                  \
        static_cast<::KRN::KrStream&>(*this) >> value; \
        return *this;                                  \
    }                                                  \
    template <class T>                                 \
    Class& Save(const T* p, unsigned int nCount)       \
    {                                                  \
        ::KRN::KrStream::Save(p, nCount);              \
        return *this;                                  \
    }                                                  \
    template <class T>                                 \
    Class& Load(T* p, unsigned int nCount)             \
    {                                                  \
        ::KRN::KrStream::Load(p, nCount);              \
        return *this;                                  \
    }
