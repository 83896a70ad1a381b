// Low-level file descriptors of this platform: open, one read, one write, a 64-bit seek and an
// owner that closes. Every call retries on EINTR and never throws; failures come back as -1 (or
// a descriptor that is not open), so the streams above turn them into their own statuses.
#pragma once

#include <cstddef>

namespace KRN::Platform
{

// Owns one descriptor and closes it when destroyed. Move-only.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_nFd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_nFd(other.Release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { Close(); }

    bool IsOpen() const { return m_nFd >= 0; }
    int Get() const { return m_nFd; }
    // Gives up ownership; the caller must hand the descriptor back to a FileDescriptor.
    int Release();
    // Closes now; false when the close failed (the last chance to see a write error).
    bool Close();

private:
    int m_nFd = -1;
};

enum class FileAccess
{
    Read,               // read-only; the file must exist
    ReadWriteTruncate,  // read-write, created when missing, then emptied
    ReadWrite,          // read-write, created when missing
    ReadWriteNew        // read-write, created; fails when anything is at the path
};

// A binary open with close-on-exec that never waits and never empties anything but a regular
// file. Read opens only a regular file (symbolic links are followed): a FIFO, a socket, a
// device or a directory gives a descriptor that is not open, so that a load always ends. The
// writing accesses create a missing file (read-write for everyone less the umask) and also
// open a device or a FIFO that has a reader, which are written but never truncated; a
// directory, or a FIFO without a reader, gives a descriptor that is not open. A null or empty
// path gives a descriptor that is not open. When the open itself fails, errno says why.
FileDescriptor OpenFile(const char* path, FileAccess access);
// Whether the descriptor is a regular file.
bool IsRegularFile(int fd);
// Whether a file the library keeps (a log) may be written at path: nothing is there, or a
// regular file is (after symbolic links).
bool IsMissingOrRegularFile(const char* path);

// One read(2) / write(2) of at most size bytes: the count moved, 0 at end of file, -1 on error.
long long ReadFile(int fd, void* buffer, size_t size);
long long WriteFile(int fd, const void* buffer, size_t size);
// Reads until size bytes are in or the file ends: the count read, -1 on error.
long long ReadWhole(int fd, void* buffer, size_t size);
// Writes all size bytes, at the file position or (WriteWholeAt) at offset without moving the
// position; false when the file took fewer.
bool WriteWhole(int fd, const void* buffer, size_t size);
bool WriteWholeAt(int fd, const void* buffer, size_t size, long long offset);

enum class SeekOrigin
{
    Begin,
    Current,
    End
};
// The new offset from the begin, or -1.
long long SeekFile(int fd, long long offset, SeekOrigin origin);

}  // namespace KRN::Platform
