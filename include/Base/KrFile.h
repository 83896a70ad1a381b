// KrFile: static helpers for path text and file-system chores: split, join and normalise
// paths, resolve absolute and relative paths, match names against wildcards, list a
// directory, query and change files and directories, make temporary names, and find the
// directories of the program and of a loaded library module.
//   KrString dir, title, ext;  KrFile::SplitPath("maps/roads.xml", dir, title, ext);
//   if (!KrFile::IsExist(dir)) KrFile::MkDirEx(dir);
// Both "/" and "\" are separators everywhere; a path starting with a letter and ":" has a
// two-character drive prefix that is never split. On this platform "\" in a path handed to
// the file system is read as "/", and a drive prefix has no meaning there.
#pragma once

#include "Base/KrArray.h"
#include "Base/KrDefs.h"
#include "Base/KrString.h"
#include "Base/KrTime.h"

namespace KRN
{

class KRN_API KrFile
{
public:
    struct KrFileStatus
    {
        KrTime tmCreate;  // the status-change time on this platform
        KrTime tmAccess;
        KrTime tmUpdate;  // last modification
        // Read as a 32-bit size and widened: files of 2 GiB or more are reported wrongly
        // (modulo 4 GiB, as a signed 32-bit number). Deliberate.
        long long nSize = 0;
    };

    // Flags of Match.
    enum MatchFlags : unsigned int
    {
        MATCH_FILENAME = 1,     // no wildcard matches "/" or "\"
        MATCH_NOESCAPE = 2,     // "\" is an ordinary pattern character
        MATCH_PERIOD = 4,       // a leading "." (also right after a separator in file-name mode)
                                // must be matched by a literal "."
        MATCH_LEADING_DIR = 8,  // the pattern may match a part of the name followed by a separator
        MATCH_CASEFOLD = 16     // compare after lower-casing ASCII letters
    };
    // Flags of ListFiles (only the low byte is used).
    enum ListFlags : unsigned int
    {
        LIST_NO_FILES = 1,       // directories only
        LIST_NO_DIRS = 2,        // files only
        LIST_ALL_FILES = 4,      // files without matching the pattern
        LIST_ALL_DIRS = 8,       // directories without matching the pattern
        LIST_HIDDEN_FILES = 16,  // include hidden files (names starting with ".")
        LIST_HIDDEN_DIRS = 32,   // include hidden directories
        LIST_NO_PARENT = 64,     // skip ".." (it is skipped in any case)
        LIST_CASE_INSENSITIVE = 128
    };

    // ------------------------------------------------------------ path text
    // The path up to and including its last separator. Empty for an empty path or a bare name.
    // With a drive and no separator it is the first three characters: "C:f" for "C:f.txt",
    // deliberately.
    static KrString GetDir(const KrString& path);
    static KrString GetName(const KrString& path);  // after the last separator or the drive
    // The name up to its last "."; a "." that starts the name does not count, so ".profile"
    // is its own title and has no extension.
    static KrString GetTitle(const KrString& path);
    static KrString GetExt(const KrString& path);    // with its ".", or empty
    static KrString StripExt(const KrString& path);  // the path without the extension
    static void SplitPath(const KrString& path, KrString& dir, KrString& title, KrString& ext);
    // GetDir + GetTitle + "." + ext, leading "." of ext removed; an empty ext leaves the ".".
    // (For "C:f.txt" this repeats the "f" that GetDir keeps.)
    static KrString ChangeExt(const KrString& path, const KrString& ext);

    // Resolution of paths. Both sides are first normalised: blanks trimmed, "\" becomes "/",
    // a leading "//" becomes the network prefix "\\". A normalised path then has a root:
    //   "\\server/"  network (the server name is part of the root),
    //   "C:/"        drive root, "C:" drive without root (drive letters compare without case),
    //   "/"          file-system root, or none: a relative path,
    // followed by components separated by single "/"; empty components vanish. "." steps are
    // dropped; ".." steps remove the previous component, stop at a root, and are kept as
    // leading ".." in a path without root. Results use "/" (the network prefix keeps "\\").
    //
    // GetAbsolutePath: relative with a root is absolute and returned normalised, except that a
    // path on the file-system root takes the drive or network root of base ("/x" against
    // "C:/data/" is "C:/x"). Otherwise its steps are applied to the directory base. The result
    // ends in "/" when relative does (an empty relative gives base with "/"); "." stands for
    // an empty relative result.
    static KrString GetAbsolutePath(const KrString& base, const KrString& relative);
    // GetRelativePath: path relative to the directory base: one ".." per component of base
    // after the common components, then the rest of path, ending in "/" when path does; "."
    // when they are the same. Components compare exactly. When the roots differ no relative
    // form exists and path is returned normalised. The two are inverses: for a normalised,
    // resolved path p, GetAbsolutePath(b, GetRelativePath(b, p)) is p.
    static KrString GetRelativePath(KrString base, KrString path);

    // ------------------------------------------------------------ wildcards
    // Wildcard match of name against pattern with MatchFlags:
    //   "?" one character, "*" any run, "[a-z]" a class ("[!...]" or "[^...]" negates; "\"
    //   escapes inside it), "\x" a literal x, "(a|b)" or "(a,b)" a group of alternatives,
    //   nested to any depth. "|" and "," outside groups separate alternatives of the whole
    //   pattern; a stray ")" is ignored. A class without "]" never matches (it takes the rest
    //   of the pattern with it); a trailing "\" matches a "\". After a "*" the leading-period
    //   rule is off for the rest of the pattern. Strings end at their first zero byte.
    // Runs in time proportional to the lengths of the pattern and the name multiplied.
    static unsigned char Match(const KrString& pattern, const KrString& name, unsigned int flags);

    // ------------------------------------------------------------ directories and files
    // Appends to names (not emptied first) the names of the entries of dir that pass
    // ListFlags, in the platform's enumeration order, without their directory; "." and ".."
    // never. Entries are matched with MATCH_FILENAME | MATCH_NOESCAPE (| MATCH_CASEFOLD with
    // LIST_CASE_INSENSITIVE). Returns the number appended; 0 when dir cannot be read. An
    // empty dir is the root "/". Not recursive.
    static int ListFiles(KrArray<KrString>& names, const KrString& dir, const KrString& pattern,
                         unsigned int flags);
    // Empties paths, then adds every entry of dir (files, directories, hidden ones) whose
    // name matches "*" + ext, case-sensitively on this platform and with "*" and "?" as the
    // only wildcards (a platform search, not Match): the name, or with bFullPath dir exactly
    // as given followed directly by the name (no separator is inserted: pass dir with its
    // trailing separator). True when something was found.
    static unsigned char FindFileExtPaths(const KrString& dir, const KrString& ext,
                                          KrArray<KrString>& paths, unsigned char bFullPath);

    // True for an existing file or directory; a trailing separator tests the directory.
    // A name with "*" or "?" in its last part is true when some entry matches it; those two
    // are its only wildcards.
    static unsigned char IsExist(const KrString& path);
    // False, status untouched, when the path cannot be queried.
    static unsigned char GetStatus(const KrString& path, KrFileStatus& status);
    // The times of GetStatus; a default KrTime (0.0) when the status cannot be read.
    static KrTime GetCreateTime(const KrString& path);
    static KrTime GetAccessTime(const KrString& path);
    static KrTime GetUpdateTime(const KrString& path);

    static unsigned char MkDir(const KrString& path);  // one directory
    static unsigned char RmDir(const KrString& path);  // one empty directory
    // Creates every missing directory along path, parent first (from "/" for a path that
    // starts there). The result is that of the last creation, so it is false when the whole
    // path already existed; true for an empty path.
    static unsigned char MkDirEx(const KrString& path);
    // Copies the bytes and the permission bits. With bFailIfExists an existing target fails.
    // A file is never copied onto itself.
    static unsigned char Copy(const KrString& from, const KrString& to,
                              unsigned char bFailIfExists);
    static unsigned char Delete(const KrString& path);
    static unsigned char Rename(const KrString& from, const KrString& to);

    // ------------------------------------------------------------ temporary files
    // fileName = dir + "/" (when dir does not end in a separator) + the first three bytes of
    // prefix + the number in upper-case hexadecimal + ".TMP". Only the low 16 bits of nUnique
    // are used. With nUnique 0 a free number is chosen and the file is created, empty; the
    // returned value is the number used, 0 on failure (fileName is then empty).
    static unsigned int GetTemporaryFileName(const KrString& dir, const KrString& prefix,
                                             unsigned int nUnique, KrString& fileName);
    // $TMPDIR when set and not empty, else "/tmp/"; always with a trailing "/".
    static KrString GetTemporaryPath();

    // ------------------------------------------------------------ program and modules
    static KrString GetAppPath();  // the running program's directory, with its "/"
    // The directory of the loaded library "lib" + title + "200.so" (versioned file names
    // included); GetAppPath() for an empty title; empty when no such library is loaded.
    static KrString GetModulePath(const KrString& title);

private:
    // Trims blanks, turns "\" into "/", a leading "//" into "\\" and every other "//" into
    // "/"; unless bKeepEnd, ends the path with exactly one "/".
    static KrString PreDealPath(KrString path, unsigned char bKeepEnd);
    static unsigned char InnerIsExist(const KrString& path);
};

}  // namespace KRN
