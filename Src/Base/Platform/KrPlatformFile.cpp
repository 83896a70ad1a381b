#include "Base/Platform/KrPlatformFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

#include <algorithm>
#include <utility>

namespace KRN::Platform
{

namespace
{
// Linux moves at most this much in one call; asking for more is harmless but say so plainly.
constexpr size_t kMaxTransfer = 0x7ffff000;

template <class Call>
auto retryOnInterrupt(Call call)
{
    for (;;)
    {
        auto result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}
}  // namespace

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept
{
    if (this != &other)
    {
        Close();
        m_nFd = other.Release();
    }
    return *this;
}

int FileDescriptor::Release()
{
    return std::exchange(m_nFd, -1);
}

bool FileDescriptor::Close()
{
    // close(2) is not retried: on Linux the descriptor is gone even when EINTR is reported.
    const int fd = std::exchange(m_nFd, -1);
    return fd < 0 || ::close(fd) == 0;
}

bool IsRegularFile(int fd)
{
    struct stat status;
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

FileDescriptor OpenFile(const char* path, FileAccess access)
{
    if (path == nullptr || path[0] == '\0') return FileDescriptor();
    // Without O_NONBLOCK, opening a FIFO waits for its other end; O_TRUNC is left out so that
    // nothing is emptied before its type is known.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    flags |= access == FileAccess::Read ? O_RDONLY : O_RDWR | O_CREAT;
    if (access == FileAccess::ReadWriteNew) flags |= O_EXCL;
    const mode_t mode = 0666;
    FileDescriptor file(retryOnInterrupt([&] { return ::open(path, flags, mode); }));
    struct stat status;
    if (!file.IsOpen() || ::fstat(file.Get(), &status) != 0) return FileDescriptor();
    const bool regular = S_ISREG(status.st_mode);
    if (!regular && access == FileAccess::Read) return FileDescriptor();
    if (S_ISFIFO(status.st_mode))
    {
        // Read-write, the FIFO would be its own reader and a write would wait once the pipe is
        // full; write-only, it opens only while someone else reads.
        file.Close();
        file = FileDescriptor(retryOnInterrupt(
            [&] { return ::open(path, O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
        if (!file.IsOpen()) return FileDescriptor();
    }
    const int fileFlags = ::fcntl(file.Get(), F_GETFL);
    if (fileFlags < 0 || ::fcntl(file.Get(), F_SETFL, fileFlags & ~O_NONBLOCK) != 0)
        return FileDescriptor();
    if (access == FileAccess::ReadWriteTruncate && regular &&
        retryOnInterrupt([&] { return ::ftruncate(file.Get(), 0); }) != 0)
        return FileDescriptor();
    return file;
}

bool IsMissingOrRegularFile(const char* path)
{
    if (path == nullptr || path[0] == '\0') return false;
    struct stat status;
    if (::stat(path, &status) == 0) return S_ISREG(status.st_mode);
    // A dangling symbolic link counts as missing: opening it creates the file it names.
    return errno == ENOENT;
}

long long ReadFile(int fd, void* buffer, size_t size)
{
    if (size > kMaxTransfer) size = kMaxTransfer;
    return retryOnInterrupt([&] { return ::read(fd, buffer, size); });
}

long long WriteFile(int fd, const void* buffer, size_t size)
{
    if (size > kMaxTransfer) size = kMaxTransfer;
    return retryOnInterrupt([&] { return ::write(fd, buffer, size); });
}

long long ReadWhole(int fd, void* buffer, size_t size)
{
    char* const bytes = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < size)
    {
        const long long got = ReadFile(fd, bytes + done, size - done);
        if (got < 0) return -1;
        if (got == 0) break;
        done += static_cast<size_t>(got);
    }
    return static_cast<long long>(done);
}

bool WriteWhole(int fd, const void* buffer, size_t size)
{
    const char* const bytes = static_cast<const char*>(buffer);
    size_t done = 0;
    while (done < size)
    {
        const long long put = WriteFile(fd, bytes + done, size - done);
        if (put <= 0) return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

bool WriteWholeAt(int fd, const void* buffer, size_t size, long long offset)
{
    const char* const bytes = static_cast<const char*>(buffer);
    size_t done = 0;
    while (done < size)
    {
        const size_t chunk = std::min(size - done, kMaxTransfer);
        const long long put = retryOnInterrupt(
            [&]
            {
                return ::pwrite(fd, bytes + done, chunk,
                                static_cast<off_t>(offset + static_cast<long long>(done)));
            });
        if (put <= 0) return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

long long SeekFile(int fd, long long offset, SeekOrigin origin)
{
    const int whence = origin == SeekOrigin::Begin     ? SEEK_SET
                       : origin == SeekOrigin::Current ? SEEK_CUR
                                                       : SEEK_END;
    return ::lseek(fd, static_cast<off_t>(offset), whence);
}

}  // namespace KRN::Platform
