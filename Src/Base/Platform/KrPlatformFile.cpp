#include "Base/Platform/KrPlatformFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

int FileDescriptor::Release() { return std::exchange(m_nFd, -1); }

void FileDescriptor::Close()
{
    // close(2) is not retried: on Linux the descriptor is gone even when EINTR is reported.
    if (m_nFd >= 0) ::close(m_nFd);
    m_nFd = -1;
}

FileDescriptor OpenFile(const char* path, FileAccess access)
{
    if (path == nullptr || path[0] == '\0') return FileDescriptor();
    int flags = O_CLOEXEC;
    switch (access)
    {
    case FileAccess::Read: flags |= O_RDONLY; break;
    case FileAccess::ReadWriteTruncate: flags |= O_RDWR | O_CREAT | O_TRUNC; break;
    case FileAccess::ReadWrite: flags |= O_RDWR | O_CREAT; break;
    }
    // Read and write for everyone, narrowed by the process's umask, as for any file a program writes.
    const mode_t mode = 0666;
    return FileDescriptor(retryOnInterrupt([&] { return ::open(path, flags, mode); }));
}

FileDescriptor OpenRegularFile(const char* path)
{
    if (path == nullptr || path[0] == '\0') return FileDescriptor();
    const int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    FileDescriptor file(retryOnInterrupt([&] { return ::open(path, flags); }));
    struct stat status;
    if (!file.IsOpen() || ::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))
        return FileDescriptor();
    // Reads block as usual from here on.
    const int fileFlags = ::fcntl(file.Get(), F_GETFL);
    if (fileFlags < 0 || ::fcntl(file.Get(), F_SETFL, fileFlags & ~O_NONBLOCK) != 0)
        return FileDescriptor();
    return file;
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

long long WriteFileAt(int fd, const void* buffer, size_t size, long long offset)
{
    if (size > kMaxTransfer) size = kMaxTransfer;
    return retryOnInterrupt(
        [&] { return ::pwrite(fd, buffer, size, static_cast<off_t>(offset)); });
}

long long SeekFile(int fd, long long offset, int whence)
{
    int origin = SEEK_SET;
    if (whence == 1)
        origin = SEEK_CUR;
    else if (whence == 2)
        origin = SEEK_END;
    else if (whence != 0)
        return -1;
    return ::lseek(fd, static_cast<off_t>(offset), origin);
}

}  // namespace KRN::Platform
