#include "Base/Platform/KrPlatformFileSystem.h"

#include "Base/Platform/KrPlatformFile.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace KRN::Platform
{

namespace
{
// Both separators are accepted everywhere; the system knows only "/".
std::string nativePath(const std::string& path)
{
    std::string native(path);
    std::replace(native.begin(), native.end(), '\\', '/');
    return native;
}

struct DirectoryCloser
{
    void operator()(DIR* dir) const { ::closedir(dir); }
};
using DirectoryHandle = std::unique_ptr<DIR, DirectoryCloser>;

bool copyBytes(int from, int to)
{
    char buffer[65536];
    for (;;)
    {
        const long long got = ReadFile(from, buffer, sizeof buffer);
        if (got <= 0) return got == 0;
        if (!WriteWhole(to, buffer, static_cast<size_t>(got))) return false;
    }
}

bool isDirectoryEntry(const std::string& dir, const dirent* entry)
{
    if (entry->d_type == DT_DIR) return true;
    if (entry->d_type != DT_LNK && entry->d_type != DT_UNKNOWN) return false;
    struct stat info = {};
    const std::string path = dir + (dir.empty() || dir.back() == '/' ? "" : "/") + entry->d_name;
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

const char* baseName(const char* path)
{
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

// True for wanted itself and for wanted + "." + a version, as shared objects are named.
bool isModuleFile(const char* path, const std::string& wanted)
{
    const char* name = baseName(path);
    if (std::strncmp(name, wanted.c_str(), wanted.size()) != 0) return false;
    const char next = name[wanted.size()];
    return next == '\0' || next == '.';
}

struct ModuleSearch
{
    const std::string* fileName;
    std::string found;
};

int findModule(dl_phdr_info* info, size_t, void* data)
{
    auto* search = static_cast<ModuleSearch*>(data);
    if (info->dlpi_name == nullptr || info->dlpi_name[0] == '\0') return 0;
    if (!isModuleFile(info->dlpi_name, *search->fileName)) return 0;
    search->found = info->dlpi_name;
    return 1;
}

std::string absoluteFile(const char* path)
{
    if (path == nullptr || path[0] == '\0') return std::string();
    if (path[0] == '/') return path;
    std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path, nullptr), &std::free);
    return resolved ? std::string(resolved.get()) : std::string(path);
}
}  // namespace

bool QueryStatus(const std::string& path, FileStatus& status)
{
    struct stat info = {};
    if (::stat(nativePath(path).c_str(), &info) != 0) return false;
    status.changeTime = static_cast<long long>(info.st_ctime);
    status.accessTime = static_cast<long long>(info.st_atime);
    status.modifyTime = static_cast<long long>(info.st_mtime);
    status.size = static_cast<long long>(info.st_size);
    status.isDirectory = S_ISDIR(info.st_mode);
    return true;
}

bool ReadDirectory(const std::string& dir, std::vector<DirectoryEntry>& entries)
{
    const std::string native = nativePath(dir);
    DirectoryHandle handle(::opendir(native.c_str()));
    if (!handle) return false;
    while (const dirent* entry = ::readdir(handle.get()))
        entries.push_back(DirectoryEntry{entry->d_name, isDirectoryEntry(native, entry)});
    return true;
}

bool MakeDirectory(const std::string& path)
{
    return ::mkdir(nativePath(path).c_str(), 0777) == 0;
}

bool RemoveDirectory(const std::string& path)
{
    return ::rmdir(nativePath(path).c_str()) == 0;
}

bool RemoveFile(const std::string& path)
{
    return std::remove(nativePath(path).c_str()) == 0;
}

bool RenameFile(const std::string& from, const std::string& to)
{
    return std::rename(nativePath(from).c_str(), nativePath(to).c_str()) == 0;
}

bool CopyFile(const std::string& from, const std::string& to, bool failIfExists)
{
    const std::string source = nativePath(from);
    const std::string target = nativePath(to);
    FileDescriptor in = OpenFile(source.c_str(), FileAccess::Read);
    struct stat sourceInfo = {};
    if (!in.IsOpen() || ::fstat(in.Get(), &sourceInfo) != 0) return false;
    struct stat targetInfo = {};
    if (::stat(target.c_str(), &targetInfo) == 0 && targetInfo.st_dev == sourceInfo.st_dev &&
        targetInfo.st_ino == sourceInfo.st_ino)
        return false;

    const mode_t mode = sourceInfo.st_mode & 07777;
    FileDescriptor out = OpenFile(
        target.c_str(), failIfExists ? FileAccess::ReadWriteNew : FileAccess::ReadWriteTruncate);
    if (!out.IsOpen()) return false;
    const bool copied = ::fchmod(out.Get(), mode) == 0 && copyBytes(in.Get(), out.Get());
    if (out.Close() && copied) return true;
    // The partial copy goes; a symbolic link to it stays.
    struct stat written = {};
    if (::lstat(target.c_str(), &written) == 0 && S_ISREG(written.st_mode))
        ::unlink(target.c_str());
    return false;
}

bool CreateFileExclusive(const std::string& path, bool& exists)
{
    errno = 0;  // an empty path fails before any system call
    const FileDescriptor file = OpenFile(nativePath(path).c_str(), FileAccess::ReadWriteNew);
    exists = !file.IsOpen() && errno == EEXIST;
    return file.IsOpen();
}

std::string TemporaryDirectory()
{
    const char* dir = std::getenv("TMPDIR");
    std::string path = dir != nullptr && dir[0] != '\0' ? dir : "/tmp/";
    if (path.back() != '/') path += '/';
    return path;
}

std::string ExecutableFile()
{
    std::string buffer(256, '\0');
    for (;;)
    {
        const ssize_t length = ::readlink("/proc/self/exe", &buffer[0], buffer.size());
        if (length < 0) return std::string();
        if (static_cast<size_t>(length) < buffer.size())
        {
            buffer.resize(static_cast<size_t>(length));
            return buffer;
        }
        buffer.resize(buffer.size() * 2);
    }
}

std::string LibraryFile()
{
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&LibraryFile), &info) == 0) return std::string();
    return absoluteFile(info.dli_fname);
}

std::string LoadedModuleFile(const std::string& fileName)
{
    if (fileName.empty()) return std::string();
    const std::string own = LibraryFile();
    if (isModuleFile(own.c_str(), fileName)) return own;
    ModuleSearch search{&fileName, std::string()};
    ::dl_iterate_phdr(findModule, &search);
    return absoluteFile(search.found.c_str());
}

}  // namespace KRN::Platform
