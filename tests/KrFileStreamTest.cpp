#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"
#include "ScratchDir.h"

using namespace KRN;

namespace
{
class KrFileStreamTest : public ::testing::Test, public ScratchDir
{
};

// A record whose values straddle the cache boundaries of the small caches used below (a cache
// must hold at least one whole value).
template <class Stream>
void saveRecord(Stream& out)
{
    const double samples[] = {0.5, -3.25, 1e-9};
    out << 'R' << static_cast<short>(-2) << 0x01020304u << KrString("straddling text") << 1.0;
    out.Save(samples, 3);
    out << -(1LL << 40) << KrString();
}
}  // namespace

// Caches smaller than some values; with cache 9 the destructor flushes and closes. A short array
// load stops at the same element as from memory, and the unfinished element's bytes are still
// there to load, whether the cache is shorter or longer than the run.
TEST_F(KrFileStreamTest, FileHoldsTheBytesOfAMemoryStreamAndLoadsStopWhereTheMemoryStreamStops)
{
    KrMemoryStream memory;
    memory.Open(KrStreamSave, 64);
    saveRecord(memory);
    const std::string expected(reinterpret_cast<char*>(memory.GetData()), memory.GetLength()),
        file = path("record.bin"), shortFile = path("short.bin");
    std::string bytes;  // three doubles and five bytes
    for (int i = 0; i < 29; ++i) bytes += static_cast<char>(i);
    writeFile(shortFile, bytes);
    KrMemoryStream shortRun;
    shortRun.Open(KrStreamLoad, 29, reinterpret_cast<unsigned char*>(&bytes[0]));
    double fromMemory[4] = {};
    shortRun.Load(fromMemory, 4);
    EXPECT_EQ(shortRun.GetStatus(), KrStreamLoadError);
    for (unsigned int cache : {8u, 9u, 11u, 13u, 16u, 24u, 4096u})
    {
        {
            KrFileStream out;
            ASSERT_TRUE(out.Open(file.c_str(), KrStreamSave, cache));
            saveRecord(out);
            EXPECT_EQ(out.GetPosition(), expected.size());
            EXPECT_TRUE(cache == 9 || out.Close()) << cache;
        }
        EXPECT_EQ(readFile(file), expected) << cache;

        KrFileStream in;
        ASSERT_TRUE(in.Open(file.c_str(), KrStreamLoad, cache));
        char tag = 0;
        short s = 0;
        unsigned int u = 0;
        KrString text("x"), empty("y");
        double one = 0, samples[3] = {};
        long long big = 0;
        in >> tag >> s >> u >> text >> one;
        in.Load(samples, 3);
        in >> big >> empty;
        EXPECT_EQ(in.GetStatus(), KrStreamOK) << cache;  // loading the last value is no error
        EXPECT_TRUE(tag == 'R' && s == -2 && u == 0x01020304u && one == 1.0 &&
                    samples[1] == -3.25 && big == -(1LL << 40) && text == "straddling text" &&
                    empty == "")
            << cache;
        EXPECT_EQ(in.GetLength(), in.GetPosition());
        in >> tag;
        EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
        EXPECT_FALSE(in.Close());

        KrFileStream partial;
        ASSERT_TRUE(partial.Open(shortFile.c_str(), KrStreamLoad, cache));
        double fromFile[4] = {};
        partial.Load(fromFile, 4);
        EXPECT_EQ(partial.GetStatus(), KrStreamLoadError) << cache;
        EXPECT_EQ(partial.GetPosition(), shortRun.GetPosition()) << cache;
        EXPECT_EQ(std::memcmp(fromFile, fromMemory, 3 * sizeof(double)), 0) << cache;
        partial.SetError(KrStreamOK);
        partial >> tag;
        EXPECT_EQ(tag, 24) << cache;
    }
}

// Opens fail with a status, never an exception, and never wait: loads open regular files only
// (a FIFO with no writer, a directory or a device fails at once), and a FIFO without a reader
// is refused for saving.
TEST_F(KrFileStreamTest, OpensAndWritesFailWithAStatusAndNothingWaits)
{
    const std::string fifo = path("fifo"), dir = path("dir"), nowhere = path("no/such/dir.bin");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_directory(dir);
    const KrStreamDirection load = KrStreamLoad, save = KrStreamSave, both = KrStreamLoadSave;
    // clang-format off
    // An empty name stands for a null one.
    const std::pair<std::string, KrStreamDirection> opens[] = {
        {path("absent.bin"), load}, {nowhere, save}, {nowhere, both}, {"", save},
        {fifo, load}, {dir, load}, {"/dev/null", load}, {"/dev/zero", load}, {fifo, save},
        {fifo, both}, {dir, save}, {dir, both}};
    // clang-format on
    for (const auto& [text, direction] : opens)
    {
        SCOPED_TRACE(text + " " + std::to_string(direction));
        const char* name = text.empty() ? nullptr : text.c_str();
        KrFileStream file;
        EXPECT_FALSE(file.Open(name, direction));
        EXPECT_EQ(file.GetStatus(),
                  direction == load ? KrStreamOpenLoadFailed : KrStreamOpenSaveFailed);
        EXPECT_FALSE(file.IsOpen());
        if (direction != load) continue;
        EXPECT_FALSE(KrMarkup().Load(name));  // the other loaders refuse them too
        EXPECT_EQ(KrRegistry{KrString(name)}.Values().GetCount(), 0);
    }
    EXPECT_TRUE(std::filesystem::is_fifo(fifo) && std::filesystem::is_directory(dir));

    // Write failures give the save error when written or, for a cache that holds them (64 bytes
    // against 40), when closed.
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    for (unsigned int cache : {16u, 64u})
    {
        KrFileStream full;
        ASSERT_TRUE(full.Open("/dev/full", KrStreamSave, cache));
        for (int i = 0; i < 10; ++i) full << i;
        // The position stops at the value that failed.
        EXPECT_EQ(full.GetPosition(), cache == 16 ? 16u : 40u);
        EXPECT_EQ(full.GetStatus(), cache == 16 ? KrStreamSaveError : KrStreamOK);
        EXPECT_TRUE(!full.Close() && full.GetStatus() == KrStreamSaveError);
    }
}

TEST_F(KrFileStreamTest, SetPositionSeeksPastTheCacheAndLoadSaveWritesWhereLoadsStopped)
{
    const std::string file = path("digits.bin");
    KrFileStream out;
    out.Open(file.c_str(), KrStreamSave, 4);
    out.Save("0123456789", 10);
    EXPECT_EQ(out.GetLength(), 10u);
    EXPECT_TRUE(out.SetPosition(-8, KrFromCurrent));
    out << 'x';
    EXPECT_TRUE(out.SetPosition(-1, KrFromEnd));
    out << 'y';
    EXPECT_TRUE(out.Close());
    EXPECT_EQ(readFile(file), "01x345678y");

    KrFileStream in;
    in.Open(file.c_str(), KrStreamLoad, 4);
    char c = 0;
    in >> c >> c;
    EXPECT_TRUE(in.SetPosition(1, KrFromCurrent));  // the cache already holds bytes past 2
    in >> c;
    EXPECT_EQ(c, '3');
    EXPECT_FALSE(in.SetPosition(-100, KrFromCurrent));
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);

    KrFileStream both;
    ASSERT_TRUE(both.Open(file.c_str(), KrStreamLoadSave, 64));
    both >> c >> c;
    both << 'z';  // the cached but unread bytes are dropped, not skipped
    both >> c;
    EXPECT_EQ(c, '3');
    EXPECT_EQ(both.GetPosition(), 4u);
    both.SetPosition(0, KrFromEnd);
    both >> c;  // past the end; a save forgives the failed load
    EXPECT_EQ(both.GetStatus(), KrStreamLoadError);
    both << 'w';
    EXPECT_EQ(both.GetStatus(), KrStreamOK);
    EXPECT_TRUE(both.Close());
    EXPECT_EQ(readFile(file), "01z345678yw");
}

TEST_F(KrFileStreamTest, LinesAreWrittenByTypeAndReadAtEveryLineEnd)
{
    // clang-format off
    const std::tuple<int, const char*, KrFileStdio::EnterType> writes[] = {
        {1, "x\r\n", KrFileStdio::EnterAdapt}, {2, "x\r\n", KrFileStdio::EnterWindows},
        {3, "x\n", KrFileStdio::EnterUnix}, {7, "x\n", KrFileStdio::EnterUnix}};
    // An unended last line doubles its last byte.
    const std::pair<std::string, std::vector<std::string>> reads[] = {
        {"a\r\nb\rc\n", {"a", "b", "c"}}, {"ab", {"abb"}}, {"one\n\ntwo\r\n", {"one", "", "two"}},
        {"x\r", {"x"}}};
    // clang-format on
    const std::string file = path("lines.txt");
    for (const auto& [type, bytes, after] : writes)
    {
        KrFileStdio text;
        text.Open(file.c_str(), KrStreamSave, 16);
        text.SetCurEnterType(static_cast<KrFileStdio::EnterType>(type));
        EXPECT_TRUE(text.WriteLine("x"));
        EXPECT_EQ(text.GetCurEnterType(), after);
        text.Close();
        EXPECT_EQ(readFile(file), bytes) << type;
    }
    for (const auto& [bytes, expected] : reads)
        for (unsigned int cache : {2u, 3u, 1024u})
        {
            writeFile(file, bytes);
            KrFileStdio text;
            ASSERT_TRUE(text.Open(file.c_str(), KrStreamLoad, cache));
            std::vector<std::string> lines;
            for (KrString line; lines.size() < expected.size() && !text.IsEOF();
                 lines.push_back(line))
            {
                const int length = text.ReadLine(line);
                EXPECT_EQ(length, line.GetLength());
            }
            EXPECT_EQ(lines, expected) << bytes << " cache " << cache;
        }
}
