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
    void Close();

private:
    int m_nFd = -1;
};

enum class FileAccess
{
    Read,               // read-only; the file must exist
    ReadWriteTruncate,  // read-write, created (owner read+write) and emptied
    ReadWrite           // read-write, created (owner read+write) when missing
};

// Binary open with close-on-exec; a null or empty path gives a descriptor that is not open.
FileDescriptor OpenFile(const char* path, FileAccess access);
// Read-only, and only when the path names a regular file (after symbolic links): a FIFO, a
// device, a directory or a socket gives a descriptor that is not open. The type is checked on
// the opened descriptor, and the open itself never waits for a FIFO's writer.
FileDescriptor OpenRegularFile(const char* path);

// One read(2) / write(2) of at most size bytes: the count moved, 0 at end of file, -1 on error.
long long ReadFile(int fd, void* buffer, size_t size);
long long WriteFile(int fd, const void* buffer, size_t size);
// One pwrite(2) at offset; the file position does not move.
long long WriteFileAt(int fd, const void* buffer, size_t size, long long offset);

// whence 0, 1, 2 = from the begin, the current position, the end. The new offset, or -1.
long long SeekFile(int fd, long long offset, int whence);

}  // namespace KRN::Platform
