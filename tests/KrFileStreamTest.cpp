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

class KrFileStreamTest : public ::testing::Test
{
protected:
    std::string path(const char* name) const { return m_scratch.path(name); }
    void write(const char* name, const std::string& bytes) const { writeFile(path(name), bytes); }
    std::string read(const char* name) const { return readFile(path(name)); }

    ScratchDir m_scratch;
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

// Caches smaller than some values; with cache 9 the destructor flushes and closes.
TEST_F(KrFileStreamTest, FileHoldsTheBytesOfAMemoryStreamAndLoadsThemBackToTheLastValue)
{
    KrMemoryStream memory;
    memory.Open(KrStreamSave, 64);
    saveRecord(memory);
    const std::string expected(reinterpret_cast<char*>(memory.GetData()), memory.GetLength());
    for (unsigned int cache : {8u, 9u, 11u, 13u, 4096u})
    {
        {
            KrFileStream out;
            ASSERT_TRUE(out.Open(path("record.bin").c_str(), KrStreamSave, cache));
            saveRecord(out);
            EXPECT_EQ(out.GetPosition(), expected.size());
            EXPECT_TRUE(cache == 9 || out.Close()) << cache;
        }
        EXPECT_EQ(read("record.bin"), expected) << cache;

        KrFileStream in;
        ASSERT_TRUE(in.Open(path("record.bin").c_str(), KrStreamLoad, cache));
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
                    samples[1] == -3.25 && big == -(1LL << 40)) << cache;
        EXPECT_TRUE(text == "straddling text" && empty == "") << cache;
        EXPECT_EQ(in.GetLength(), in.GetPosition());
        in >> tag;
        EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
        EXPECT_FALSE(in.Close());
    }
}

TEST_F(KrFileStreamTest, OpenAndWriteFailuresGiveStatusesNotExceptions)
{
    const std::string absent = path("absent.bin"), nowhere = path("no/such/dir.bin");
    const std::tuple<const char*, KrStreamDirection, KrStreamStatus> opens[] = {
        {absent.c_str(), KrStreamLoad, KrStreamOpenLoadFailed},
        {nowhere.c_str(), KrStreamSave, KrStreamOpenSaveFailed},
        {nowhere.c_str(), KrStreamLoadSave, KrStreamOpenSaveFailed},
        {nullptr, KrStreamSave, KrStreamOpenSaveFailed}};
    for (const auto& [name, dir, status] : opens)
    {
        KrFileStream file;
        EXPECT_FALSE(file.Open(name, dir));
        EXPECT_EQ(file.GetStatus(), status) << dir;
        EXPECT_FALSE(file.IsOpen());
    }

    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    KrFileStream full;
    ASSERT_TRUE(full.Open("/dev/full", KrStreamSave, 16));
    for (int i = 0; i < 10; ++i) full << i;
    EXPECT_EQ(full.GetStatus(), KrStreamSaveError);
    const unsigned long long stopped = full.GetPosition();
    full << 1.0;
    EXPECT_EQ(full.GetPosition(), stopped);
    EXPECT_FALSE(full.Close());

    KrFileStream small;  // the failure can also surface only when Close flushes
    ASSERT_TRUE(small.Open("/dev/full", KrStreamSave, 64));
    small << 1;
    EXPECT_EQ(small.GetStatus(), KrStreamOK);
    EXPECT_FALSE(small.Close());
    EXPECT_EQ(small.GetStatus(), KrStreamSaveError);
}

// Loads open regular files only and never wait: a FIFO with no writer, a directory or a device
// fails at once. Saves never wait either, and a FIFO without a reader is refused.
TEST_F(KrFileStreamTest, LoadsOpenOnlyRegularFilesAndNothingWaits)
{
    const std::string fifo = path("fifo"), dir = path("dir");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_directory(dir);
    for (const std::string& name : {fifo, dir, std::string("/dev/null"), std::string("/dev/zero")})
    {
        SCOPED_TRACE(name);
        KrFileStream file;
        EXPECT_FALSE(file.Open(name.c_str(), KrStreamLoad));
        EXPECT_EQ(file.GetStatus(), KrStreamOpenLoadFailed);
        KrMarkup markup;
        EXPECT_FALSE(markup.Load(name.c_str()));
        KrRegistry registry{KrString(name.c_str())};
        EXPECT_EQ(registry.Values().GetCount(), 0);
    }
    for (const std::string& name : {fifo, dir})
        for (KrStreamDirection direction : {KrStreamSave, KrStreamLoadSave})
        {
            KrFileStream file;
            EXPECT_FALSE(file.Open(name.c_str(), direction)) << name;
            EXPECT_EQ(file.GetStatus(), KrStreamOpenSaveFailed) << name;
        }
    EXPECT_TRUE(std::filesystem::is_fifo(fifo));
    EXPECT_TRUE(std::filesystem::is_directory(dir));
}

TEST_F(KrFileStreamTest, SetPositionSeeksPastTheCache)
{
    KrFileStream out;
    out.Open(path("digits.bin").c_str(), KrStreamSave, 4);
    out.Save("0123456789", 10);
    EXPECT_EQ(out.GetLength(), 10u);
    EXPECT_TRUE(out.SetPosition(-8, KrFromCurrent));
    out << 'x';
    EXPECT_TRUE(out.SetPosition(-1, KrFromEnd));
    out << 'y';
    EXPECT_TRUE(out.Close());
    EXPECT_EQ(read("digits.bin"), "01x345678y");

    KrFileStream in;
    in.Open(path("digits.bin").c_str(), KrStreamLoad, 4);
    char c = 0;
    in >> c >> c;
    EXPECT_TRUE(in.SetPosition(1, KrFromCurrent));  // the cache already holds bytes past 2
    EXPECT_EQ(in.GetPosition(), 3u);
    in >> c;
    EXPECT_EQ(c, '3');
    EXPECT_FALSE(in.SetPosition(-100, KrFromCurrent));
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
}

TEST_F(KrFileStreamTest, LoadSaveWritesWhereTheLoadsStopped)
{
    write("mixed.bin", "ABCDEF");
    KrFileStream both;
    ASSERT_TRUE(both.Open(path("mixed.bin").c_str(), KrStreamLoadSave, 64));
    char c = 0;
    both >> c >> c;
    EXPECT_EQ(c, 'B');
    both << 'x';  // the cached but unread CDEF are dropped, not skipped
    both >> c;
    EXPECT_EQ(c, 'D');
    EXPECT_EQ(both.GetPosition(), 4u);
    both.SetPosition(0, KrFromEnd);
    both >> c;  // past the end
    EXPECT_EQ(both.GetStatus(), KrStreamLoadError);
    both << 'z';  // a save forgives the failed load
    EXPECT_EQ(both.GetStatus(), KrStreamOK);
    EXPECT_TRUE(both.Close());
    EXPECT_EQ(read("mixed.bin"), "ABxDEFz");
}

TEST_F(KrFileStreamTest, WriteLineEndsLinesByType)
{
    const std::tuple<int, const char*, KrFileStdio::EnterType> cases[] = {
        {1, "x\r\n", KrFileStdio::EnterAdapt}, {2, "x\r\n", KrFileStdio::EnterWindows},
        {3, "x\n", KrFileStdio::EnterUnix}, {7, "x\n", KrFileStdio::EnterUnix}};
    for (const auto& [type, bytes, after] : cases)
    {
        KrFileStdio text;
        text.Open(path("line.txt").c_str(), KrStreamSave, 16);
        text.SetCurEnterType(static_cast<KrFileStdio::EnterType>(type));
        EXPECT_TRUE(text.WriteLine("x"));
        EXPECT_EQ(text.GetCurEnterType(), after);
        text.Close();
        EXPECT_EQ(read("line.txt"), bytes) << type;
    }
}

TEST_F(KrFileStreamTest, ReadLineSplitsOnEveryLineEndAndDoublesAnUnendedLastByte)
{
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"a\r\nb\rc\n", {"a", "b", "c"}}, {"ab", {"abb"}},
        {"one\n\ntwo\r\n", {"one", "", "two"}}, {"x\r", {"x"}}};
    for (const auto& [bytes, expected] : cases)
        for (unsigned int cache : {2u, 3u, 1024u})
        {
            write("lines.txt", bytes);
            KrFileStdio text;
            ASSERT_TRUE(text.Open(path("lines.txt").c_str(), KrStreamLoad, cache));
            std::vector<std::string> lines;
            KrString line;
            for (size_t i = 0; i < expected.size(); ++i)
            {
                ASSERT_FALSE(text.IsEOF()) << bytes;
                const int length = text.ReadLine(line);
                EXPECT_EQ(length, line.GetLength());
                lines.push_back(line);
            }
            EXPECT_EQ(lines, expected) << bytes << " cache " << cache;
        }
}

TEST_F(KrFileStreamTest, ShortArrayLoadStopsAtTheSameElementAsFromMemory)
{
    std::string bytes;
    for (int i = 0; i < 29; ++i) bytes += static_cast<char>(i);
    write("short.bin", bytes);

    KrMemoryStream memory;
    memory.Open(KrStreamLoad, static_cast<unsigned int>(bytes.size()), reinterpret_cast<unsigned char*>(&bytes[0]));
    double fromMemory[4] = {};
    memory.Load(fromMemory, 4);
    EXPECT_EQ(memory.GetStatus(), KrStreamLoadError);

    // Caches smaller and larger than the run, so both the direct and the cached path end it.
    for (unsigned int cache : {8u, 16u, 24u, 64u})
    {
        KrFileStream file;
        file.Open(path("short.bin").c_str(), KrStreamLoad, cache);
        double fromFile[4] = {};
        file.Load(fromFile, 4);
        EXPECT_EQ(file.GetStatus(), KrStreamLoadError) << cache;
        EXPECT_EQ(file.GetPosition(), memory.GetPosition()) << cache;
        EXPECT_EQ(std::memcmp(fromFile, fromMemory, 3 * sizeof(double)), 0) << cache;
        file.SetError(KrStreamOK);
        char next = 0;
        file >> next;  // the unfinished element's bytes are still there to load
        EXPECT_EQ(next, 24) << cache;
    }
}

// Values read one by one straddle every refill of a 6-byte cache: each lands exactly, and the
// position counts every byte as it would without the buffer.
TEST_F(KrFileStreamTest, BufferedLoadsAcrossRefillsKeepValuesAndPosition)
{
    std::string bytes;
    for (int i = 0; i < 40; ++i) bytes += static_cast<char>(i);
    write("counting.bin", bytes);
    KrFileStream in;
    ASSERT_TRUE(in.Open(path("counting.bin").c_str(), KrStreamLoad, 6));
    unsigned long long nExpected = 0;
    for (int i = 0; i < 9; ++i)
    {
        unsigned int value = 0;
        in >> value;
        const unsigned int b = 4u * i;
        EXPECT_EQ(value, b | (b + 1) << 8 | (b + 2) << 16 | (b + 3) << 24) << i;
        nExpected += 4;
        EXPECT_EQ(in.GetPosition(), nExpected);
    }
    EXPECT_EQ(in.GetLength(), 40u);
    unsigned short last = 0;
    in >> last;
    EXPECT_EQ(last, 36 | 37 << 8);
    EXPECT_EQ(in.GetPosition(), 38u);
    in >> last >> last;
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
    EXPECT_EQ(last, 38 | 39 << 8);
}
