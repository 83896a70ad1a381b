// The wire bytes of every value type are pinned by tests/fixtures/stream-*.bin (KrFixtureTest);
// these tests cover the rules around them: counts, status, positions, buffers and directions.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{
using Bytes = std::vector<unsigned char>;

// The operators chain with the concrete stream type.
static_assert(std::is_same_v<decltype(std::declval<KrMemoryStream&>() << 1 << 2.0 << KrString()),
                             KrMemoryStream&>);
static_assert(
    std::is_same_v<decltype(std::declval<KrFileStdio&>() >> std::declval<short&>()), KrFileStdio&>);

template <class T>
T load(KrStream& in, T value = T())
{
    in >> value;
    return value;
}

}  // namespace

// Values of every type are pinned by the fixtures; these strings are not: a string goes out as
// its byte count and every byte, zeros included; UCS-2 text as its units without the
// terminator (an empty one as a zero count). A count that the bytes do not cover (short, or
// hostile and never allocated) fails the load, keeps what was there and stops later loads; an
// odd UCS-2 count gets a terminating unit.
TEST(KrStreamTest, StringsGoOutAsACountAndLoadsTrustOnlyTheBytes)
{
    KrStringUCS2LE empty, wide(KrString("A\xE2\x82\xAC"), KrTextCodec::UTF8_CHARSET);
    empty.SetSize(0);
    KrMemoryStream s;
    s.Open(KrStreamSave, 8);
    s << KrString(std::string("a\0b", 3)) << wide << empty;
    const Bytes expected = {3, 0, 0, 0, 'a', 0, 'b', 4, 0, 0, 0, 0x41, 0, 0xAC, 0x20, 0, 0, 0, 0};
    EXPECT_EQ(Bytes(s.GetData(), s.GetData() + s.GetLength()), expected);

    // clang-format off
    const struct { Bytes bytes; KrStreamStatus status; std::string text;
                   std::vector<unsigned short> wide; } cases[] = {
        {{3, 0, 0, 0, 'A', 0, 'B'}, KrStreamOK, std::string("A\0B", 3), {'A', 'B', 0}},
        {{5, 0, 0, 0, 'a', 'b'}, KrStreamLoadError, std::string("ab\0\0\0", 5), {'a' | 'b' << 8, 0, 0}},
        {{0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c', 'd', 'e', 'f'}, KrStreamLoadError, "abcdef",
         {'a' | 'b' << 8, 'c' | 'd' << 8, 'e' | 'f' << 8, 0}}};
    // clang-format on
    for (auto c : cases)
    {
        KrMemoryStream in, wideIn;
        in.Open(KrStreamLoad, static_cast<unsigned int>(c.bytes.size()), c.bytes.data());
        wideIn.Open(KrStreamLoad, static_cast<unsigned int>(c.bytes.size()), c.bytes.data());
        const KrString text = load(in, KrString("old"));
        const int later = load(in, 7);
        const KrStringUCS2LE wide = load<KrStringUCS2LE>(wideIn);
        EXPECT_TRUE(later == 7 && text.capacity() < (1u << 20));
        EXPECT_EQ(std::string(text), c.text);
        EXPECT_EQ(wideIn.GetStatus(), c.status);
        EXPECT_EQ(std::vector<unsigned short>(wide.begin(), wide.end()), c.wide);
    }
}

TEST(KrStreamTest, SavesFillACallersBufferOrGrowTheirOwnAndPositionsFollowTheDirection)
{
    // Into a caller's buffer: the first failure sticks, and Close reports it.
    unsigned char buffer[4] = {};
    KrMemoryStream out, owned, zero, small, in, seek, caller, loader, both;
    ASSERT_TRUE(out.Open(KrStreamSave, sizeof buffer, buffer));
    (out << 7 << 8 << 'x' << KrString("more")).Save("abc", 3);  // 7 fills the buffer exactly
    EXPECT_TRUE(out.GetStatus() == KrStreamSaveError && out.GetPosition() == 4u &&
                out.GetLength() == 4u && out.IsEOF());
    // Already open: nothing changes.
    EXPECT_TRUE(!out.Open(KrStreamSave, 4, buffer) && out.GetStatus() == KrStreamSaveError);
    EXPECT_FALSE(out.Close() || out.Close());
    EXPECT_TRUE(out.Open(KrStreamSave, 4, buffer) && out.Close());  // reopening clears the status

    // An owned buffer grows by the step; TakeBuffer gives its whole size.
    owned.Open(KrStreamSave, 16);
    for (int i = 0; i < 100; ++i) owned << static_cast<unsigned char>(i);
    EXPECT_EQ(owned.GetSpace(), 112u);  // 16 plus six steps of 16
    // One step of the whole shortfall.
    EXPECT_EQ(owned.Save(std::vector<char>(500).data(), 500).GetSpace(), 600u);
    EXPECT_TRUE(owned.Close() && owned.GetLength() == 0u);

    zero.Open(KrStreamSave, 0);  // a zero-size open grows by the shortfall
    EXPECT_EQ((zero << 'a').GetSpace(), 1u);
    EXPECT_EQ((zero << 7).GetSpace(), 5u);

    small.Open(KrStreamSave, 1024);
    small.Save("12345", 5);
    unsigned char* pBuffer = nullptr;
    unsigned int nSize = 0;
    small.TakeBuffer(pBuffer, nSize);
    EXPECT_TRUE(nSize == 1024u && small.GetData() == nullptr && small.GetPosition() == 5u);
    in.Open(KrStreamLoad, 0);  // handed back in for loading, the whole block is data
    in.GiveBuffer(pBuffer, 5);
    char digits[5] = {};
    in.Load(digits, 5);
    EXPECT_TRUE(std::string(digits, 5) == "12345" && in.GetStatus() == KrStreamOK);

    // SetPosition rules differ by direction.
    seek.Open(KrStreamSave, 64);
    seek.Save("0123456789", 10);
    EXPECT_TRUE(seek.SetPosition(2, KrFromBegin) && (seek << 'x').GetLength() == 10u &&
                seek.GetPosition() == 3u);
    // From the end means from the length, not the buffer size; an owned buffer grows to the
    // target.
    EXPECT_TRUE(seek.SetPosition(-1, KrFromEnd) && seek.GetPosition() == 9u);
    EXPECT_TRUE(seek.SetPosition(200, KrFromBegin) && seek.GetSpace() == 200u);
    EXPECT_TRUE(!seek.SetPosition(-300, KrFromCurrent) && seek.GetStatus() == KrStreamSaveError);

    unsigned char fixed[4] = {'a', 'b', 'c'};
    caller.Open(KrStreamSave, sizeof fixed, fixed);
    EXPECT_TRUE(!caller.SetPosition(4, KrFromBegin) && caller.GetStatus() == KrStreamSaveError);

    loader.Open(KrStreamLoad, 3, fixed);
    EXPECT_TRUE(loader.SetPosition(2, KrFromBegin) && load<char>(loader) == 'c');
    // Exactly at the end fails, and the failure sticks.
    EXPECT_TRUE(!loader.SetPosition(3, KrFromBegin) && loader.GetStatus() == KrStreamLoadError);
    EXPECT_FALSE(loader.SetPosition(0, KrFromBegin));

    // Loading and saving share one cursor.
    both.Open(KrStreamLoadSave, 8);
    both << 1 << 2 << 3;
    EXPECT_TRUE(both.SetPosition(4, KrFromBegin) && load<int>(both) == 2);
    both << 20;  // overwrites the third value
    EXPECT_TRUE(both.SetPosition(8, KrFromBegin) && load<int>(both) == 20);
    // Past the end the owned buffer grows to the target, but the call fails without an error;
    // the second call moves, and grown bytes load as zero.
    EXPECT_TRUE(!both.SetPosition(40, KrFromBegin) && both.GetStatus() == KrStreamOK &&
                both.GetSpace() == 40u);
    EXPECT_TRUE(both.SetPosition(36, KrFromBegin) && load<int>(both, -1) == 0);
    load<int>(both);  // past the end; the next save forgives it
    EXPECT_EQ(both.GetStatus(), KrStreamLoadError);
    EXPECT_TRUE((both << 5).GetStatus() == KrStreamOK && both.GetLength() == 44u);
}

// Loads that take their bytes straight from the buffer must leave the stream exactly as
// checked loads do, across many refreshes of the unchecked window, with a string in the
// middle read directly.
TEST(KrStreamTest, BufferedLoadsKeepPositionStatusAndEveryRule)
{
    unsigned char bytes[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    KrMemoryStream in, mixed, out;
    in.Open(KrStreamLoad, sizeof bytes, bytes);
    unsigned int u = 0;
    short s = 0;
    long long ll = 0;
    in >> u >> s >> ll;
    EXPECT_TRUE(u == 0x04030201u && s == 0x0605 && ll == 0x0E0D0C0B0A090807LL &&
                in.GetLength() == 14u);
    EXPECT_TRUE(in.SetPosition(-2, KrFromCurrent));  // from the derived position
    EXPECT_EQ(load<short>(in), 0x0E0D);
    in >> s >> u;  // the last two bytes, then a failure that leaves the variable alone
    EXPECT_TRUE(s == 0x100F && u == 0x04030201u && in.GetStatus() == KrStreamLoadError &&
                in.GetPosition() == 16u);
    in.SetError(KrStreamOK);
    in.SetPosition(0, KrFromBegin);
    in.SetError(KrStreamLoadError);  // a status set from outside stops the next load
    EXPECT_EQ((in >> s).GetPosition(), 0u);
    EXPECT_TRUE(!in.Close() && in.GetLength() == 0u);  // loads are settled and forgotten

    // A save between loads continues from the same position; TakeBuffer keeps it.
    mixed.Open(KrStreamSave, 4);
    mixed << 1 << 2 << 3;
    int first = 0;
    mixed >> first >> first;  // in direction 1 the saved bytes can be loaded back
    mixed << 4;
    unsigned char* pBuffer = nullptr;
    unsigned int nSize = 0;
    mixed.TakeBuffer(pBuffer, nSize);
    EXPECT_TRUE(first == 2 && mixed.GetPosition() == 24u);
    EXPECT_EQ(std::memcmp(pBuffer + 12, "\4\0\0\0", 4), 0);
    void* block = pBuffer;
    krfree(&block);

    out.Open(KrStreamSave, 0);
    const unsigned kRounds = 30000;  // about 450 KB, several 64 KB windows
    for (unsigned i = 0; i < kRounds; ++i)
    {
        out << static_cast<char>(i) << static_cast<short>(i * 3) << i * 7u
            << static_cast<long long>(i) * -11;
        if (i == kRounds / 2) out << KrString("middle");
    }
    const unsigned long long total = out.GetPosition();
    out.TakeBuffer(pBuffer, nSize);
    char c = 0;
    in.Open(KrStreamLoad, 0);  // the stream frees the block
    in.GiveBuffer(pBuffer, static_cast<unsigned int>(total));
    unsigned long long expected = 0, wrongRounds = 0;
    KrString text;
    for (unsigned i = 0; i < kRounds; ++i)
    {
        in >> c >> s >> u >> ll;
        wrongRounds += c != static_cast<char>(i) || s != static_cast<short>(i * 3) || u != i * 7u ||
                       ll != static_cast<long long>(i) * -11 ||
                       in.GetPosition() != (expected += 15);
        if (i == kRounds / 2) in >> text, expected += 4 + 6;
    }
    EXPECT_TRUE(wrongRounds == 0 && text == "middle");
    EXPECT_TRUE(in.GetStatus() == KrStreamOK && in.GetLength() == total);
}
