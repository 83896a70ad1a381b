#include <gtest/gtest.h>

#include <fnmatch.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <tuple>

#include "Base/ZoBase.h"
#include "ScopedEnvironment.h"
#include "ScratchDir.h"

using namespace KRN;
namespace fs = std::filesystem;

namespace
{
std::set<std::string> asSet(const KrArray<KrString>& names)
{
    return {names.begin(), names.end()};
}

class KrFileDirTest : public ::testing::Test, public ScratchDir
{
protected:
    KrString at(const std::string& name) const { return KrString(path(name)); }
    KrString dir() const { return KrString(root().string() + "/"); }
};
}  // namespace

// ---------------------------------------------------------------- path text

TEST(KrFileTest, PathTextIsSplitAtEitherSeparatorAndResolvedAgainstABase)
{
    // path, dir, title, ext; the name is the title and the extension, and StripExt cuts the
    // extension off the path.
    // clang-format off
    const std::tuple<std::string, const char*, const char*, std::string> cases[] = {
        {"C:\\data\\a.shp", "C:\\data\\", "a", ".shp"}, {"a.shp", "", "a", ".shp"},
        {"/a.shp", "/", "a", ".shp"}, {"C:\\data\\a.b.shp", "C:\\data\\", "a.b", ".shp"},
        {"C:\\data\\.hidden", "C:\\data\\", ".hidden", ""}, {"C:", "C:", "", ""},
        {"d:/x/map.txt", "d:/x/", "map", ".txt"}, {"dir/sub/", "dir/sub/", "", ""},
        {"C:f.txt", "C:f", "f", ".txt"},  // the kept three-character quirk
        {"dir.d/file", "dir.d/", "file", ""}, {"", "", "", ""},
        {"mixed/sep\\name.tar.gz", "mixed/sep\\", "name.tar", ".gz"}};
    // clang-format on
    for (const auto& [path, dir, title, ext] : cases)
    {
        const KrString p(path);
        EXPECT_EQ(KrFile::GetDir(p), dir) << path;
        EXPECT_EQ(KrFile::GetName(p), title + ext) << path;
        EXPECT_EQ(KrFile::GetTitle(p), title) << path;
        EXPECT_EQ(KrFile::GetExt(p), ext) << path;
        EXPECT_EQ(KrFile::StripExt(p), path.substr(0, path.size() - ext.size())) << path;
        KrString d, t, e;
        KrFile::SplitPath(p, d, t, e);
        EXPECT_EQ(d + t + e, KrString(dir) + title + ext.c_str()) << path;
    }
    // ChangeExt drops the leading dots of the new extension.
    // clang-format off
    const std::tuple<const char*, const char*, const char*> changes[] = {
        {"d:/x/map.txt", "..xml", "d:/x/map.xml"}, {"d:/x/map.txt", "xml", "d:/x/map.xml"},
        {"d:/x/map", ".xml", "d:/x/map.xml"}, {"d:/x/map.txt", "", "d:/x/map."},
        {"/home/.profile", "bak", "/home/.profile.bak"}};
    // clang-format on
    for (const auto& [path, ext, result] : changes)
        EXPECT_EQ(KrFile::ChangeExt(path, ext), result) << path;

    // Absolute and relative paths are inverses.
    // base, absolute (normalised and resolved), relative
    // clang-format off
    const std::tuple<const char*, const char*, const char*> inverses[] = {
        {"/home/user/maps/", "/home/user/maps/roads.shp", "roads.shp"},
        {"/home/user/maps", "/home/user/maps/2024/roads.shp", "2024/roads.shp"},
        {"/home/user/maps/", "/home/user/data/rivers.shp", "../data/rivers.shp"},
        {"/home/user/maps/", "/etc/passwd", "../../../etc/passwd"},
        {"/home/user/maps/", "/home/user/maps", "."}, {"/home/user/maps/", "/home/user", ".."},
        {"/home/user/maps/", "/home/user/maps/", "./"}, {"/home/user/maps/", "/home/user/", "../"},
        {"/home/user/maps/", "/home/user/maps/sub/", "sub/"},
        {"C:\\data\\maps\\", "C:/data/roads.shp", "../roads.shp"},
        {"C:/data/maps/", "C:/data/maps/a/b.shp", "a/b.shp"},
        {"C:/data/maps/", "D:/data/x.shp", "D:/data/x.shp"},  // another drive: no relative form
        {"\\\\server\\share\\maps\\", "\\\\server/share/data/x.shp", "../data/x.shp"},
        {"//server/share/maps/", "\\\\other/share/x.shp", "\\\\other/share/x.shp"},
        {"/data/", "C:/x", "C:/x"}, {"maps/", "maps/roads.shp", "roads.shp"},
        {"maps/", "data/x", "../data/x"}, {"", "x/y", "x/y"}};
    // clang-format on
    for (const auto& [base, absolute, relative] : inverses)
    {
        EXPECT_EQ(KrFile::GetRelativePath(base, absolute), relative) << base << " -> " << absolute;
        EXPECT_EQ(KrFile::GetAbsolutePath(base, relative), absolute) << base << " + " << relative;
    }
    // Drive letters compare without case.
    EXPECT_EQ(KrFile::GetRelativePath("c:/data/maps/", "C:/data/x.shp"), "../x.shp");
    // base, relative, absolute: the steps are resolved against the base.
    // clang-format off
    const std::tuple<const char*, const char*, const char*> steps[] = {
        {"/a/b/", "./c", "/a/b/c"}, {"/a/b/", ".\\c\\d\\", "/a/b/c/d/"}, {"/a/b/", "../c", "/a/c"},
        {"/a/b/", "..\\..\\..\\..\\c", "/c"},  // ".." stops at the root
        {"/a/b/", "c/../../d/./e", "/a/d/e"},
        {"/a/./b/../c/", "x", "/a/c/x"},  // the base is resolved too
        {"/a/b", "", "/a/b/"}, {"  /a/b  ", "  c  ", "/a/b/c"}, {"/a//b/", "c//d", "/a/b/c/d"},
        {"C:\\a\\b", "/x", "C:/x"},  // the file-system root takes the base's drive
        {"\\\\srv\\share\\a", "/x", "\\\\srv/x"}, {"/a/b/", "/x", "/x"},
        {"/a/b/", "D:\\x\\..\\y", "D:/y"}, {"/a/b/", "\\\\srv\\share\\x", "\\\\srv/share/x"},
        {"a/", "../../x", "../x"}, {"a/", "..", "."},  // leading ".." kept without a root
        {"C:data", "x", "C:data/x"},                  // drive without root
        {"c:/data/maps/", "../x.shp", "c:/data/x.shp"}};
    // clang-format on
    for (const auto& [base, relative, expected] : steps)
        EXPECT_EQ(KrFile::GetAbsolutePath(base, relative), expected) << base << " + " << relative;
    EXPECT_EQ(KrFile::GetRelativePath("../a/", "b"), "b");  // climbing out of ".." has no answer
}

// ---------------------------------------------------------------- wildcards

TEST(KrFileTest, MatchFollowsTheWildcardLanguageAndAgreesWithFnmatch)
{
    const unsigned FILENAME = KrFile::MATCH_FILENAME, NOESCAPE = KrFile::MATCH_NOESCAPE,
                   PERIOD = KrFile::MATCH_PERIOD, LEADING = KrFile::MATCH_LEADING_DIR,
                   FOLD = KrFile::MATCH_CASEFOLD;
    // clang-format off
    // Groups, alternatives, odd classes and escapes, backslashes in names and long names; the
    // rest of the language is compared with glibc below.
    const std::tuple<const char*, std::string, unsigned, unsigned char> cases[] = {
        {"*.(shp|tab)", "a.tab", 0, 1}, {"*.(shp|tab)", "a.shp", 0, 1},
        {"*.(shp|tab)", "a.mif", 0, 0}, {"*.(shp,tab)", "a.tab", 0, 1}, {"*", "x\\y", FILENAME, 0},
        {"*.txt|*.doc", "a.doc", 0, 1}, {"a(b(c|d)e|f)g", "abdeg", 0, 1},
        {"a(b(c|d)e|f)g", "afg", 0, 1}, {"a(b(c|d)e|f)g", "abeg", 0, 0},
        // An unclosed group ends with the pattern; a stray ")" is skipped.
        {"a(b|", "ab", 0, 1}, {"a)b", "ab", 0, 1}, {"(a|b)*(c|d)", "bxxc", 0, 1}, {"()", "", 0, 1},
        {"[a-]", "-", 0, 1},
        // "]" first closes an empty class; a missing "]" fails.
        {"[]", "]", 0, 0}, {"[abc", "a", 0, 0}, {"x|[abc", "x", 0, 1}, {"[\\]]", "]", 0, 1},
        {"[\\]]", "\\", NOESCAPE, 0}, {"\\*", "*", 0, 1}, {"\\*", "x", 0, 0},
        {"\\*", "\\x", NOESCAPE, 1}, {"a\\", "a\\", 0, 1},  // a trailing "\" matches a "\"
        {"\\|", "|", 0, 1}, {"a\\,b", "a,b", 0, 1}, {"[,]", ",", NOESCAPE, 1},
        {"[A-C]", "b", FOLD, 1}, {"a/*", "a/.x", FILENAME | PERIOD, 0},
        {"a*/?x", "ab/.x", FILENAME | PERIOD, 1},  // the period rule is off after a "*"
        {"a", "a\\b", LEADING, 1},
        {"*a*a*a*a*a*a*a*a*b", std::string(10000, 'a'), 0, 0},
        {"*a*a*a*a*a*a*a*a*b", std::string(10000, 'a') + "b", 0, 1},
        {"*(a|aa)*(a|aa)*b", std::string(3000, 'a'), 0, 0}};
    // File-name mode refuses a backslash to every wildcard; after a backslash separator a "." is
    // leading, as after "/". These go through the automaton too, inside one group.
    const std::tuple<const char*, const char*, unsigned, unsigned char> separators[] = {
        {"x?y", "x\\y", FILENAME, 0}, {"x?y", "x\\y", 0, 1}, {"x[\\\\]y", "x\\y", FILENAME, 0},
        {"x[\\\\]y", "x\\y", 0, 1}, {"x[!a]y", "x\\y", FILENAME, 0}, {"x[!a]y", "x\\y", 0, 1},
        {"x\\\\y", "x\\y", FILENAME, 1}, {"x\\y", "x\\y", FILENAME | NOESCAPE, 1},
        {"x\\?y", "x\\.y", FILENAME | NOESCAPE | PERIOD, 0},
        {"x\\[.]y", "x\\.y", FILENAME | NOESCAPE | PERIOD, 0},
        {"x\\.y", "x\\.y", FILENAME | NOESCAPE | PERIOD, 1},
        {"x\\?y", "x\\.y", FILENAME | NOESCAPE, 1}, {"x\\?y", "x\\.y", NOESCAPE | PERIOD, 1}};
    // clang-format on
    for (const auto& [pattern, name, flags, expected] : cases)
        EXPECT_EQ(KrFile::Match(pattern, KrString(name), flags), expected)
            << pattern << " / " << name.substr(0, 20) << " flags " << flags;
    for (const auto& [pattern, name, flags, expected] : separators)
        for (const std::string& p : {std::string(pattern), "(" + std::string(pattern) + ")"})
            EXPECT_EQ(KrFile::Match(p.c_str(), name, flags), expected)
                << p << " / " << name << " flags " << flags;
    // Strings end at their first zero byte.
    EXPECT_EQ(KrFile::Match(KrString("a\0b", 3), "a", 0), 1);

    // The rest of the language, and the automaton that long names and groups take, against glibc.
    // glibc's flag values are the same as Match's.
    static_assert(FNM_PATHNAME == 1 && FNM_NOESCAPE == 2 && FNM_PERIOD == 4 &&
                  FNM_LEADING_DIR == 8 && FNM_CASEFOLD == 16);
    std::mt19937 random(11);
    // clang-format off
    const char* const tokens[] = {"*", "*", "?", "a", "b", "A", "B", ".", "/", "\\a", "\\.", "\\*",
                                  "\\?", "[a-b]", "[!a]", "[^B]", "[.]", "[/]", "[aA]", "[!.]"};
    // clang-format on
    for (int i = 0; i < 60000; ++i)
    {
        std::string pattern;
        for (int n = static_cast<int>(random() % 7); n > 0; --n) pattern += tokens[random() % 20];
        std::string name(random() % 8, ' ');
        for (char& c : name) c = "abAB./"[random() % 6];
        const unsigned flags = random() % 32;
        // Known difference: glibc applies the period rule again after a separator that follows
        // a "*"; Match switches it off for the rest of the pattern.
        if ((flags & 5) == 5 && name.find("/.") != std::string::npos &&
            pattern.find('*') != std::string::npos)
            continue;
        // Known glibc quirk: the "?" right after a "*" does not end the leading position, so
        // "*?[.]" rejects "/." under the period rule.
        if ((flags & 4) != 0 && pattern.find("*?") != std::string::npos) continue;
        const int expected = fnmatch(pattern.c_str(), name.c_str(), static_cast<int>(flags)) == 0;
        // Inside one group the pattern means the same but runs through the automaton.
        for (const std::string& p : {pattern, "(" + pattern + ")"})
        {
            ASSERT_EQ(KrFile::Match(p.c_str(), name.c_str(), flags), expected)
                << "pattern [" << p << "] name [" << name << "] flags " << flags;
            if ((flags & KrFile::MATCH_LEADING_DIR) != 0) break;
        }
    }
}

// ---------------------------------------------------------------- directories and files

TEST_F(KrFileDirTest, ListFilesFiltersByKindHiddenStateAndPattern)
{
    for (const char* name : {"a.cpp", "b.h", "c.txt", "D.CPP", ".hidden.cpp"})
        writeFile(root() / name, "x");
    for (const char* name : {"src.cpp", "docs", ".git"}) fs::create_directory(root() / name);
    // clang-format off
    const std::tuple<const char*, unsigned, std::set<std::string>> cases[] = {
        {"*", 0, {"a.cpp", "b.h", "c.txt", "D.CPP", "src.cpp", "docs"}},
        {"*.(cpp|h)", 0, {"a.cpp", "b.h", "src.cpp"}},
        {"*.(cpp|h)", 128, {"a.cpp", "b.h", "D.CPP", "src.cpp"}},
        {"*", 1, {"src.cpp", "docs"}}, {"*", 2, {"a.cpp", "b.h", "c.txt", "D.CPP"}},
        {"*.cpp", 4, {"a.cpp", "b.h", "c.txt", "D.CPP", "src.cpp"}},
        {"*.h", 8, {"b.h", "src.cpp", "docs"}},
        {"*", 16, {"a.cpp", "b.h", "c.txt", "D.CPP", ".hidden.cpp", "src.cpp", "docs"}},
        {"*", 32 | 1, {"src.cpp", "docs", ".git"}},
        {"*", 32 | 8 | 64 | 1, {"src.cpp", "docs", ".git"}},  // never "." or ".."
        {"*.cpp", 0x100 | 1, {"src.cpp"}}};  // only the low byte of the flags counts
    // clang-format on
    for (auto [pattern, flags, expected] : cases)
    {
        KrArray<KrString> names;
        names.Add("kept");
        const int added = KrFile::ListFiles(names, KrString(root().string()), pattern, flags);
        EXPECT_EQ(added, static_cast<int>(expected.size())) << pattern << " " << flags;
        expected.insert("kept");  // the array is not emptied first
        EXPECT_EQ(asSet(names), expected) << pattern << " " << flags;
    }
    KrArray<KrString> names;
    EXPECT_EQ(KrFile::ListFiles(names, dir() + "missing", "*", 0), 0);
    EXPECT_EQ(KrFile::ListFiles(names, KrString(root().string() + "\\"), "a.*", 0), 1);
}

// A platform search knows "*" and "?" only: brackets, parentheses, "|" and "," in a searched
// name are ordinary characters there, unlike in Match.
TEST_F(KrFileDirTest, SearchesTakeOnlyStarAndQuestionMarkAsWildcardsAndStatusHasThirtyTwoBitSizes)
{
    for (const char* name : {"a.shp", "b.shp", "c.shx", ".d.shp", "x(1).txt", "x1.txt", "a,b.txt",
                             "b.txt", "[a].txt", "a.txt"})
        writeFile(root() / name, "x");
    writeFile(root() / "f.txt", std::string(1234, 'x'));
    for (const char* name : {"e.shp", "d"}) fs::create_directory(root() / name);
    // The directory is used exactly as given: no separator is inserted; the array is emptied.
    const std::string top = root().string(), slashed = top + "/", backslashed = top + "\\";
    // clang-format off
    const std::tuple<std::string, const char*, unsigned char, std::set<std::string>> cases[] = {
        {top, ".shp", 0, {"a.shp", "b.shp", ".d.shp", "e.shp"}}, {slashed, "|b.txt", 0, {}},
        {slashed, ".shx", 1, {slashed + "c.shx"}}, {slashed, "(1).txt", 0, {"x(1).txt"}},
        {backslashed, ".shx", 1, {backslashed + "c.shx"}}, {slashed, ",b.txt", 0, {"a,b.txt"}},
        {slashed, "].txt", 0, {"[a].txt"}}, {slashed, "(?).txt", 0, {"x(1).txt"}},
        {slashed, ".none", 0, {}}};
    // clang-format on
    KrArray<KrString> paths;
    paths.Add("old");
    for (const auto& [in, ext, full, expected] : cases)
    {
        EXPECT_EQ(KrFile::FindFileExtPaths(KrString(in), ext, paths, full),
                  expected.empty() ? 0 : 1)
            << ext;
        EXPECT_EQ(asSet(paths), expected) << ext;
    }
    // clang-format off
    const std::pair<KrString, bool> exists[] = {
        {at("f.txt"), true}, {at("d"), true}, {at("d") + "\\", true}, {at("d") + "/", true},
        {at("f.txt") + "/", false}, {at("none"), false}, {"", false}, {at("*.txt"), true},
        {at("*.doc"), false}, {at("x(1)*"), true}, {at("x(1|2)*"), false}, {at("[a]*"), true},
        {at("[b]*"), false}, {at("a,b*"), true}, {at("a*"), true}};
    // clang-format on
    for (const auto& [path, expected] : exists) EXPECT_EQ(KrFile::IsExist(path), expected) << path;

    struct stat info = {};
    ASSERT_EQ(stat(at("f.txt").Cstr(), &info), 0);
    KrFile::KrFileStatus status;
    ASSERT_TRUE(KrFile::GetStatus(at("f.txt"), status));
    EXPECT_EQ(status.nSize, 1234);
    EXPECT_EQ(status.tmUpdate, KrTime(static_cast<long long>(info.st_mtime)));
    EXPECT_EQ(status.tmAccess, KrTime(static_cast<long long>(info.st_atime)));
    EXPECT_EQ(status.tmCreate, KrTime(static_cast<long long>(info.st_ctime)));
    EXPECT_EQ(KrFile::GetUpdateTime(at("f.txt")), status.tmUpdate);

    status.nSize = 77;
    EXPECT_FALSE(KrFile::GetStatus(at("none"), status));
    EXPECT_EQ(status.nSize, 77);
    EXPECT_EQ(KrFile::GetCreateTime(at("none")).GetTime(), 0.0);
    EXPECT_EQ(KrFile::GetAccessTime(at("none")).GetTime(), 0.0);

    // Sizes are read as 32 bits.
    std::error_code error;
    for (const auto& [size, expected] :
         {std::pair{(1ull << 32) + 5, 5LL}, std::pair{0x80000000ull + 3, -2147483648LL + 3}})
    {
        fs::resize_file(root() / "f.txt", size, error);
        if (error) GTEST_SKIP() << "no sparse files here";
        ASSERT_TRUE(KrFile::GetStatus(at("f.txt"), status));
        EXPECT_EQ(status.nSize, expected);
    }
}

TEST_F(KrFileDirTest, DirectoriesAndFilesAreMadeCopiedRenamedAndRemovedAndTemporaryFilesNamed)
{
    for (bool first : {true, false}) EXPECT_EQ(KrFile::MkDir(at("one")) != 0, first);
    for (bool first : {true, false}) EXPECT_EQ(KrFile::RmDir(at("one")) != 0, first);
    EXPECT_TRUE(KrFile::MkDirEx(at("a\\b//c") + "\\"));
    EXPECT_FALSE(KrFile::MkDirEx(at("a/b/c")));  // now the last one exists already
    EXPECT_TRUE(KrFile::MkDirEx(at("a/b/d")));   // existing parents are passed over
    EXPECT_TRUE(KrFile::MkDirEx(""));
    // A relative path is made from the current directory, parent first.
    const fs::path previous = fs::current_path();
    fs::current_path(root());
    EXPECT_TRUE(KrFile::MkDirEx("  x/y/z  "));
    fs::current_path(previous);
    EXPECT_TRUE(fs::is_directory(root() / "x/y/z"));
    EXPECT_FALSE(KrFile::RmDir(at("x")));  // not empty

    writeFile(root() / "src", "content");
    ASSERT_EQ(chmod(at("src").Cstr(), 0750), 0);
    writeFile(root() / "existing", "old");
    fs::create_directory(root() / "dir");
    // from, to, fail if it exists, result, then what "to" holds; never onto itself
    // clang-format off
    const std::tuple<const char*, const char*, unsigned char, bool, const char*> copies[] = {
        {"src", "copy", 1, true, "content"},     {"src", "existing", 1, false, "old"},
        {"src", "existing", 0, true, "content"}, {"src", "src", 0, false, "content"},
        {"none", "y", 0, false, ""},             {"dir", "y", 0, false, ""}};
    // clang-format on
    for (const auto& [from, to, failIfExists, result, content] : copies)
    {
        EXPECT_EQ(KrFile::Copy(at(from), at(to), failIfExists) != 0, result) << from << to;
        EXPECT_EQ(readFile(root() / to), content) << from << to;
        // The permission bits come along.
        EXPECT_TRUE(!result || fs::status(root() / to).permissions() == fs::perms(0750)) << to;
    }
    EXPECT_FALSE(KrFile::IsExist(at("y")));
    EXPECT_TRUE(KrFile::Rename(at("copy"), at("dir\\moved")));
    EXPECT_EQ(readFile(root() / "dir/moved"), "content");
    EXPECT_FALSE(KrFile::Rename(at("copy"), at("again")));
    for (bool first : {true, false}) EXPECT_EQ(KrFile::Delete(at("dir/moved")) != 0, first);

    // Temporary files, in the directory emptied just now.
    KrString name;
    const KrString tmp = at("dir") + "/";
    EXPECT_EQ(KrFile::GetTemporaryFileName(at("dir"), "prefix", 0x2AB, name), 0x2ABu);
    EXPECT_EQ(name, tmp + "pre2AB.TMP");
    EXPECT_EQ(KrFile::GetTemporaryFileName(tmp, "p", 0x12345, name), 0x2345u);
    EXPECT_EQ(name, tmp + "p2345.TMP");

    for (int i = 0; i < 3; ++i)
    {
        const unsigned number = KrFile::GetTemporaryFileName(tmp, "kr", 0, name);
        char expected[32];
        std::snprintf(expected, sizeof expected, "kr%X.TMP", number);
        EXPECT_TRUE(number != 0 && name == tmp + expected && fs::is_regular_file(name.Cstr()))
            << name;
    }
    // Three different files, and none for the numbers given above: those only make the name.
    EXPECT_EQ(std::distance(fs::directory_iterator(root() / "dir"), fs::directory_iterator()), 3);
    EXPECT_EQ(KrFile::GetTemporaryFileName(tmp + "missing/", "kr", 0, name), 0u);
    EXPECT_EQ(name, "");

    ScopedEnvironment environment("TMPDIR", "/var/tmp");
    EXPECT_EQ(KrFile::GetTemporaryPath(), "/var/tmp/");
    environment.Set("TMPDIR", "");
    EXPECT_EQ(KrFile::GetTemporaryPath(), "/tmp/");

    // The library's own directory is checked where the configuration is found beside it.
    const std::string exe = fs::read_symlink("/proc/self/exe").string();
    EXPECT_EQ(KrFile::GetAppPath(), KrString(exe.substr(0, exe.rfind('/') + 1)));
    EXPECT_EQ(KrFile::GetModulePath(""), KrFile::GetAppPath());
    EXPECT_EQ(KrFile::GetModulePath("NoSuchModule"), "");
}
