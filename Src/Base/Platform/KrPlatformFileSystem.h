// The file system of this platform, for KrFile: status, directory listing, directory
// creation and removal, copy, rename, delete, temporary names and the files of the running
// program and its loaded libraries. Paths are narrow texts; "\" in them is read as "/".
#pragma once

#include <string>
#include <vector>

namespace KRN::Platform
{

struct FileStatus
{
    long long changeTime = 0;  // seconds since 1970 UTC
    long long accessTime = 0;
    long long modifyTime = 0;
    long long size = 0;
    bool isDirectory = false;
};

struct DirectoryEntry
{
    std::string name;
    bool isDirectory = false;  // symbolic links count as what they point to
};

// stat() of the path.
bool QueryStatus(const std::string& path, FileStatus& status);
// Every entry of dir (with "." and ".."), in readdir order; false when dir cannot be opened.
bool ReadDirectory(const std::string& dir, std::vector<DirectoryEntry>& entries);

bool MakeDirectory(const std::string& path);    // mkdir(path, 0777)
bool RemoveDirectory(const std::string& path);  // rmdir
bool RemoveFile(const std::string& path);       // remove
bool RenameFile(const std::string& from, const std::string& to);
// Copies a regular file's bytes and permission bits; failIfExists opens the target with
// O_EXCL. A partly written target is removed.
bool CopyFile(const std::string& from, const std::string& to, bool failIfExists);
// Creates path exclusively, empty. exists is set when it failed because the file exists.
bool CreateFileExclusive(const std::string& path, bool& exists);

std::string TemporaryDirectory();  // $TMPDIR or "/tmp/", with a trailing "/"
std::string ExecutableFile();      // the running program's file, empty when unknown
std::string LibraryFile();         // this library's own file (dladdr)
// The file of a loaded shared object whose file name is fileName or fileName + ".<version>";
// empty when none is loaded.
std::string LoadedModuleFile(const std::string& fileName);

}  // namespace KRN::Platform
