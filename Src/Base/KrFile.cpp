#include "Base/KrFile.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Base/Platform/KrPlatformFileSystem.h"
#include "Base/Platform/KrPlatformTime.h"
#include "KrWildcard.h"

namespace KRN
{

namespace
{
// Names of up to this many bytes are matched without building the automaton.
constexpr size_t kDirectMatchLength = 64;

bool isSeparator(char c)
{
    return c == '/' || c == '\\';
}
bool isAsciiLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool hasDrive(const KrString& path)
{
    return path.GetLength() >= 2 && isAsciiLetter(path[0]) && path[1] == ':';
}
bool endsWithSeparator(const KrString& path)
{
    return !path.IsEmpty() && isSeparator(path[path.GetLength() - 1]);
}

// Index of the last separator at or after the drive prefix, -1 when there is none.
int lastSeparator(const KrString& path)
{
    const int first = hasDrive(path) ? 2 : 0;
    for (int i = path.GetLength() - 1; i >= first; --i)
        if (isSeparator(path[i])) return i;
    return -1;
}

// Index of the extension's "." in name, -1 when there is none; a leading "." does not count.
int extensionDot(const KrString& name)
{
    const int dot = name.ReverseFind('.');
    return dot > 0 ? dot : -1;
}

// ---------------------------------------------------------------- resolution of paths

// A normalised path taken apart: its root (see the header), its resolved components and
// whether it ended in a separator.
struct PathParts
{
    KrString root;
    std::vector<KrString> parts;
    bool trailing = false;
};

// Applies one component: "." vanishes; ".." removes the previous component, is dropped at a
// root and kept at the start of a path without root.
void applyStep(PathParts& path, const KrString& part)
{
    if (part == ".") return;
    if (part == "..")
    {
        if (!path.parts.empty() && path.parts.back() != "..")
            path.parts.pop_back();
        else if (path.root.IsEmpty())
            path.parts.push_back(part);
        return;
    }
    path.parts.push_back(part);
}

void applySteps(PathParts& path, const KrString& text)
{
    KrArray<KrString> pieces;
    text.Split(pieces, "/", false);
    for (const KrString& piece : pieces) applyStep(path, piece);
}

// Splits a path normalised by PreDealPath(path, true).
PathParts splitNormalised(const KrString& path)
{
    PathParts result;
    KrString rest;
    if (path.Left(2) == "\\\\")
    {
        const int slash = path.Find('/', 2);
        result.root = slash < 0 ? path : path.Left(slash + 1);
        rest = slash < 0 ? KrString() : path.Mid(slash + 1);
    }
    else if (hasDrive(path))
    {
        const int rootLength = path.GetLength() > 2 && path[2] == '/' ? 3 : 2;
        result.root = path.Left(rootLength);
        rest = path.Mid(rootLength);
    }
    else if (path.Left(1) == "/")
    {
        result.root = "/";
        rest = path.Mid(1);
    }
    else
    {
        rest = path;
    }
    result.trailing = endsWithSeparator(rest);
    applySteps(result, rest);
    return result;
}

KrString joinParts(const PathParts& path)
{
    KrString text(path.root);
    for (size_t i = 0; i < path.parts.size(); ++i)
    {
        if (i > 0) text += '/';
        text += path.parts[i];
    }
    if (path.parts.empty() && path.root.IsEmpty()) text = ".";
    if (path.trailing && !endsWithSeparator(text)) text += '/';
    return text;
}

bool sameRoot(const KrString& a, const KrString& b)
{
    if (hasDrive(a) && hasDrive(b))
        return a.Mid(1) == b.Mid(1) && KrString(a.Left(1)).CompareNoCase(b.Left(1)) == 0;
    return a == b;
}

// The root a path on the file-system root takes from base: its drive root or network root.
KrString borrowedRoot(const KrString& baseRoot)
{
    if (hasDrive(baseRoot)) return baseRoot.Left(2) + "/";
    if (baseRoot.Left(2) == "\\\\") return baseRoot;
    return "/";
}

Detail::WildcardMatcher matcherFor(const KrString& pattern, unsigned int flags)
{
    const char* text = pattern.Cstr();
    return Detail::WildcardMatcher(text, std::strlen(text), flags);
}

bool matches(Detail::WildcardMatcher& matcher, const std::string& name)
{
    return matcher.Matches(name.c_str(), std::strlen(name.c_str()));
}

// The matcher of a find-first search name: the platform's search knows only "*" and "?", so
// every other character, "[", "(", "|" and "," included, stands for itself.
Detail::WildcardMatcher searchMatcherFor(const KrString& searchName)
{
    KrString pattern;
    for (const char c : static_cast<const std::string&>(searchName))
    {
        if (c != '\0' && std::strchr("\\[]()|,", c) != nullptr) pattern += '\\';
        pattern += c;
    }
    return matcherFor(pattern, KrFile::MATCH_FILENAME);
}
}  // namespace

// ---------------------------------------------------------------- path text

KrString KrFile::GetDir(const KrString& path)
{
    if (path.IsEmpty()) return KrString();
    const int last = lastSeparator(path);
    if (last >= 0) return path.Left(last + 1);
    return hasDrive(path) ? path.Left(3) : KrString();
}

KrString KrFile::GetName(const KrString& path)
{
    const int last = lastSeparator(path);
    if (last >= 0) return path.Mid(last + 1);
    return hasDrive(path) ? path.Mid(2) : path;
}

KrString KrFile::GetTitle(const KrString& path)
{
    const KrString name = GetName(path);
    const int dot = extensionDot(name);
    return dot < 0 ? name : name.Left(dot);
}

KrString KrFile::GetExt(const KrString& path)
{
    const KrString name = GetName(path);
    const int dot = extensionDot(name);
    return dot < 0 ? KrString() : name.Mid(dot);
}

KrString KrFile::StripExt(const KrString& path)
{
    return path.Left(path.GetLength() - GetExt(path).GetLength());
}

void KrFile::SplitPath(const KrString& path, KrString& dir, KrString& title, KrString& ext)
{
    dir = GetDir(path);
    title = GetTitle(path);
    ext = GetExt(path);
}

KrString KrFile::ChangeExt(const KrString& path, const KrString& ext)
{
    KrString bare(ext);
    bare.TrimLeft('.');
    return GetDir(path) + GetTitle(path) + "." + bare;
}

KrString KrFile::PreDealPath(KrString path, unsigned char bKeepEnd)
{
    path.TrimLeft().TrimRight();
    path.Replace('\\', '/');
    const bool network = path.Left(2) == "//";
    KrString rest = network ? path.Mid(2) : path;
    rest.Replace("//", "/");
    path = network ? "\\\\" + rest : rest;
    if (!bKeepEnd)
    {
        path.TrimRight('/');
        path += '/';
    }
    return path;
}

KrString KrFile::GetAbsolutePath(const KrString& base, const KrString& relative)
{
    PathParts result = splitNormalised(PreDealPath(base, true));
    const KrString rel = PreDealPath(relative, true);
    if (rel.IsEmpty())
    {
        result.trailing = true;
        return joinParts(result);
    }
    const PathParts steps = splitNormalised(rel);
    if (!steps.root.IsEmpty())
    {
        PathParts absolute(steps);
        if (steps.root == "/") absolute.root = borrowedRoot(result.root);
        return joinParts(absolute);
    }
    for (const KrString& part : steps.parts) applyStep(result, part);
    result.trailing = steps.trailing;
    return joinParts(result);
}

KrString KrFile::GetRelativePath(KrString base, KrString path)
{
    const PathParts from = splitNormalised(PreDealPath(base, true));
    const PathParts to = splitNormalised(PreDealPath(path, true));
    if (!sameRoot(from.root, to.root)) return joinParts(to);
    size_t common = 0;
    while (common < from.parts.size() && common < to.parts.size() &&
           from.parts[common] == to.parts[common])
        ++common;
    PathParts relative;
    relative.trailing = to.trailing;
    for (size_t i = common; i < from.parts.size(); ++i)
    {
        // Climbing out of a ".." of base would need the names above the current directory.
        if (from.parts[i] == "..") return joinParts(to);
        relative.parts.push_back("..");
    }
    relative.parts.insert(relative.parts.end(), to.parts.begin() + static_cast<long>(common),
                          to.parts.end());
    return joinParts(relative);
}

// ---------------------------------------------------------------- wildcards and listings

unsigned char KrFile::Match(const KrString& pattern, const KrString& name, unsigned int flags)
{
    const char* text = pattern.Cstr();
    const size_t textLength = std::strlen(text);
    const size_t nameLength = std::strlen(name.Cstr());
    // Short names go faster without building the automaton, long ones with it.
    if (nameLength <= kDirectMatchLength)
    {
        const int direct =
            Detail::MatchWithoutGroups(text, textLength, name.Cstr(), nameLength, flags);
        if (direct >= 0) return static_cast<unsigned char>(direct);
    }
    Detail::WildcardMatcher matcher(text, textLength, flags);
    return matches(matcher, name) ? 1 : 0;
}

int KrFile::ListFiles(KrArray<KrString>& names, const KrString& dir, const KrString& pattern,
                      unsigned int flags)
{
    flags &= 0xFF;
    std::vector<Platform::DirectoryEntry> entries;
    if (!Platform::ReadDirectory(endsWithSeparator(dir) ? dir : dir + "/", entries)) return 0;
    Detail::WildcardMatcher matcher = matcherFor(
        pattern, MATCH_FILENAME | MATCH_NOESCAPE |
                     ((flags & LIST_CASE_INSENSITIVE) != 0 ? unsigned(MATCH_CASEFOLD) : 0u));

    int added = 0;
    for (const Platform::DirectoryEntry& entry : entries)
    {
        const bool hidden = entry.name[0] == '.';
        if (entry.isDirectory)
        {
            if ((flags & LIST_NO_DIRS) != 0 || (hidden && (flags & LIST_HIDDEN_DIRS) == 0))
                continue;
            if (entry.name == "." || entry.name == "..") continue;
            if ((flags & LIST_ALL_DIRS) == 0 && !matches(matcher, entry.name)) continue;
        }
        else
        {
            if ((flags & LIST_NO_FILES) != 0 || (hidden && (flags & LIST_HIDDEN_FILES) == 0))
                continue;
            if ((flags & LIST_ALL_FILES) == 0 && !matches(matcher, entry.name)) continue;
        }
        names.Add(KrString(entry.name));
        ++added;
    }
    return added;
}

unsigned char KrFile::FindFileExtPaths(const KrString& dir, const KrString& ext,
                                       KrArray<KrString>& paths, unsigned char bFullPath)
{
    paths.RemoveAll();
    KrString searched(dir);
    if (!searched.IsEmpty() && searched[searched.GetLength() - 1] == '\\')
        searched.Delete(searched.GetLength() - 1);
    if (searched.IsEmpty() || searched[searched.GetLength() - 1] != '/') searched += '/';

    std::vector<Platform::DirectoryEntry> entries;
    if (!Platform::ReadDirectory(searched, entries)) return 0;
    Detail::WildcardMatcher matcher = searchMatcherFor("*" + ext);
    for (const Platform::DirectoryEntry& entry : entries)
        if (matches(matcher, entry.name))
            paths.Add(bFullPath ? dir + entry.name.c_str() : KrString(entry.name));
    return paths.GetSize() > 0 ? 1 : 0;
}

// ---------------------------------------------------------------- status

unsigned char KrFile::IsExist(const KrString& path)
{
    return InnerIsExist(endsWithSeparator(path) ? path + "." : path);
}

unsigned char KrFile::InnerIsExist(const KrString& path)
{
    const KrString name = GetName(path);
    if (name.FindOneOf("*?") < 0)
    {
        Platform::FileStatus status;
        return Platform::QueryStatus(path, status) ? 1 : 0;
    }
    // A find-first of a wildcard name succeeds when some entry matches.
    const KrString dir = GetDir(path);
    std::vector<Platform::DirectoryEntry> entries;
    if (!Platform::ReadDirectory(dir.IsEmpty() ? KrString(".") : dir, entries)) return 0;
    Detail::WildcardMatcher matcher = searchMatcherFor(name);
    for (const Platform::DirectoryEntry& entry : entries)
        if (matches(matcher, entry.name)) return 1;
    return 0;
}

unsigned char KrFile::GetStatus(const KrString& path, KrFileStatus& status)
{
    Platform::FileStatus info;
    if (!Platform::QueryStatus(path, info)) return 0;
    status.tmCreate = KrTime(info.changeTime);
    status.tmAccess = KrTime(info.accessTime);
    status.tmUpdate = KrTime(info.modifyTime);
    status.nSize = static_cast<int32_t>(static_cast<uint32_t>(info.size));
    return 1;
}

KrTime KrFile::GetCreateTime(const KrString& path)
{
    KrFileStatus status;
    return GetStatus(path, status) ? status.tmCreate : KrTime();
}

KrTime KrFile::GetAccessTime(const KrString& path)
{
    KrFileStatus status;
    return GetStatus(path, status) ? status.tmAccess : KrTime();
}

KrTime KrFile::GetUpdateTime(const KrString& path)
{
    KrFileStatus status;
    return GetStatus(path, status) ? status.tmUpdate : KrTime();
}

// ---------------------------------------------------------------- changes

unsigned char KrFile::MkDir(const KrString& path)
{
    return Platform::MakeDirectory(path) ? 1 : 0;
}

unsigned char KrFile::RmDir(const KrString& path)
{
    return Platform::RemoveDirectory(path) ? 1 : 0;
}

unsigned char KrFile::MkDirEx(const KrString& path)
{
    const KrString normalised = PreDealPath(path, false);
    KrArray<KrString> parts;
    normalised.Split(parts, "/", false);
    // A path on the file-system root is made from the root, not from the current directory.
    KrString partial = normalised.Left(1) == "/" ? KrString("/") : KrString();
    unsigned char result = 1;
    for (const KrString& part : parts)
    {
        partial += part + "/";
        result = MkDir(partial);
    }
    return result;
}

unsigned char KrFile::Copy(const KrString& from, const KrString& to, unsigned char bFailIfExists)
{
    return Platform::CopyFile(from, to, bFailIfExists != 0) ? 1 : 0;
}

unsigned char KrFile::Delete(const KrString& path)
{
    return Platform::RemoveFile(path) ? 1 : 0;
}

unsigned char KrFile::Rename(const KrString& from, const KrString& to)
{
    return Platform::RenameFile(from, to) ? 1 : 0;
}

// ---------------------------------------------------------------- temporary files, program

unsigned int KrFile::GetTemporaryFileName(const KrString& dir, const KrString& prefix,
                                          unsigned int nUnique, KrString& fileName)
{
    KrString stem(dir);
    if (!stem.IsEmpty() && !endsWithSeparator(stem)) stem += '/';
    stem += prefix.Left(3);
    auto nameFor = [&stem](unsigned int number)
    {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%X.TMP", number);
        return stem + digits;
    };

    if (nUnique != 0)
    {
        fileName = nameFor(nUnique & 0xFFFFu);
        return nUnique & 0xFFFFu;
    }
    const unsigned int start = Platform::TickCountMs();
    for (unsigned int attempt = 0; attempt < 0x10000u; ++attempt)
    {
        const unsigned int number = (start + attempt) & 0xFFFFu;
        if (number == 0) continue;
        const KrString candidate = nameFor(number);
        bool exists = false;
        if (Platform::CreateFileExclusive(candidate, exists))
        {
            fileName = candidate;
            return number;
        }
        if (!exists) break;
    }
    fileName.Empty();
    return 0;
}

KrString KrFile::GetTemporaryPath()
{
    return KrString(Platform::TemporaryDirectory());
}

KrString KrFile::GetAppPath()
{
    return GetDir(KrString(Platform::ExecutableFile()));
}

KrString KrFile::GetModulePath(const KrString& title)
{
    if (title.IsEmpty()) return GetAppPath();
    const std::string file =
        Platform::LoadedModuleFile(std::string("lib") + title.Cstr() + "200.so");
    return file.empty() ? KrString() : GetDir(KrString(file));
}

}  // namespace KRN
