#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

using Bytes = std::vector<unsigned char>;

// Saves through fill into a fresh growing memory stream and returns the bytes written.
Bytes savedBytes(const std::function<void(KrMemoryStream&)>& fill)
{
    KrMemoryStream stream;
    stream.Open(KrStreamSave, 8);
    fill(stream);
    EXPECT_EQ(stream.GetStatus(), KrStreamOK);
    return Bytes(stream.GetData(), stream.GetData() + stream.GetLength());
}

std::vector<unsigned short> units(const KrStringUCS2LE& text) { return {text.begin(), text.end()}; }

KrStringUCS2LE ucs2(std::initializer_list<unsigned short> units)
{
    KrStringUCS2LE text;
    text.SetSize(0);
    for (unsigned short unit : units) text.Add(unit);
    text.Add(0);
    return text;
}

}  // namespace

TEST(KrStreamTest, NumbersGoOnTheWireLittleEndian)
{
    const struct { const char* name; std::function<void(KrMemoryStream&)> save; Bytes expected; } cases[] = {
        {"char", [](KrMemoryStream& s) { s << 'A'; }, {0x41}},
        {"unsigned char", [](KrMemoryStream& s) { s << static_cast<unsigned char>(0xFE); }, {0xFE}},
        {"short", [](KrMemoryStream& s) { s << static_cast<short>(-2); }, {0xFE, 0xFF}},
        {"unsigned short", [](KrMemoryStream& s) { s << static_cast<unsigned short>(0x1234); }, {0x34, 0x12}},
        {"int", [](KrMemoryStream& s) { s << -16777216; }, {0x00, 0x00, 0x00, 0xFF}},
        {"unsigned int", [](KrMemoryStream& s) { s << 0x01020304u; }, {0x04, 0x03, 0x02, 0x01}},
        {"float", [](KrMemoryStream& s) { s << -1.5f; }, {0x00, 0x00, 0xC0, 0xBF}},
        {"long long", [](KrMemoryStream& s) { s << -2LL; }, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"unsigned long long", [](KrMemoryStream& s) { s << 0x0102030405060708ULL; },
         {0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01}},
        {"double", [](KrMemoryStream& s) { s << 1.0; }, {0, 0, 0, 0, 0, 0, 0xF0, 0x3F}},
        {"int array", [](KrMemoryStream& s) { const int v[] = {1, -1}; s.Save(v, 2); },
         {0x01, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"double array", [](KrMemoryStream& s) { const double v[] = {-2.0}; s.Save(v, 1); },
         {0, 0, 0, 0, 0, 0, 0, 0xC0}},
        {"empty array", [](KrMemoryStream& s) { s.Save(static_cast<const short*>(nullptr), 0); }, {}},
        {"empty KrString", [](KrMemoryStream& s) { s << KrString(); }, {0, 0, 0, 0}},
        {"KrString ab", [](KrMemoryStream& s) { s << KrString("ab"); }, {0x02, 0, 0, 0, 0x61, 0x62}},
        {"KrString with a zero byte", [](KrMemoryStream& s) { s << KrString(std::string("a\0b", 3)); },
         {0x03, 0, 0, 0, 0x61, 0x00, 0x62}},
        {"UCS-2LE", [](KrMemoryStream& s) { s << ucs2({0x41, 0x20AC}); }, {0x04, 0, 0, 0, 0x41, 0x00, 0xAC, 0x20}},
        {"UCS-2LE without storage", [](KrMemoryStream& s) { KrStringUCS2LE t; t.SetSize(0); s << t; }, {0, 0, 0, 0}},
    };
    for (const auto& c : cases) EXPECT_EQ(savedBytes(c.save), c.expected) << c.name;
}

template <class... T>
void expectRoundTrip(const T&... values)
{
    KrMemoryStream out;
    out.Open(KrStreamSave, 4);
    (out << ... << values);
    KrMemoryStream in;
    in.Open(KrStreamLoad, static_cast<unsigned int>(out.GetLength()), out.GetData());
    std::tuple<T...> loaded;
    std::apply([&in](auto&... value) { (in >> ... >> value); }, loaded);
    EXPECT_EQ(in.GetStatus(), KrStreamOK);
    EXPECT_EQ(in.GetPosition(), out.GetLength());
    EXPECT_EQ(loaded, std::forward_as_tuple(values...));  // no copies: a KrString copy stops at a zero byte
}

TEST(KrStreamTest, EveryTypeLoadsBackWhatWasSaved)
{
    expectRoundTrip('z', static_cast<unsigned char>(200), static_cast<short>(-300),
                    static_cast<unsigned short>(60000), -5, 4000000000u, 0.25f, -(1LL << 50), ~0ULL, -1e300,
                    KrString("naïve"), KrString(std::string("\0\1", 2)));
}

TEST(KrStreamTest, OddUcs2CountGetsATerminatingUnit)
{
    unsigned char bytes[] = {0x03, 0, 0, 0, 'A', 0, 'B'};
    KrMemoryStream in;
    in.Open(KrStreamLoad, sizeof bytes, bytes);
    KrStringUCS2LE text;
    in >> text;
    EXPECT_EQ(in.GetStatus(), KrStreamOK);
    EXPECT_EQ(units(text), (std::vector<unsigned short>{'A', 'B', 0}));
}

TEST(KrStreamTest, ShortStringLoadLeavesTheClaimedSizeAndStopsLaterLoads)
{
    const unsigned char bytes[] = {5, 0, 0, 0, 'a', 'b'};
    KrMemoryStream in;
    in.Open(KrStreamLoad, sizeof bytes, const_cast<unsigned char*>(bytes));
    KrString text;
    in >> text;
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
    EXPECT_EQ(text, std::string("ab\0\0\0", 5));
    int later = 7;
    in >> later;
    EXPECT_EQ(later, 7);

    in.Close();
    in.Open(KrStreamLoad, sizeof bytes, const_cast<unsigned char*>(bytes));
    KrStringUCS2LE wide;
    in >> wide;
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
    EXPECT_EQ(units(wide), (std::vector<unsigned short>{'a' | 'b' << 8, 0, 0})) << "5 / 2 + 1 units";
}

TEST(KrStreamTest, HostileStringCountEndsWithStatus1WithoutAllocatingTheCount)
{
    unsigned char bytes[10] = {0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c', 'd', 'e', 'f'};
    KrMemoryStream in;
    in.Open(KrStreamLoad, sizeof bytes, bytes);
    KrString text("old");
    in >> text;
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
    EXPECT_EQ(text, "abcdef");
    EXPECT_LT(text.capacity(), 1u << 20);

    in.Close();
    in.Open(KrStreamLoad, sizeof bytes, bytes);
    KrStringUCS2LE wide;
    in >> wide;
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
    EXPECT_EQ(units(wide), (std::vector<unsigned short>{'a' | 'b' << 8, 'c' | 'd' << 8, 'e' | 'f' << 8, 0}))
        << "three loaded units and the terminator";
}

TEST(KrStreamTest, StatusIsStickyAndCloseReportsIt)
{
    unsigned char buffer[4] = {};
    KrMemoryStream out;
    ASSERT_TRUE(out.Open(KrStreamSave, sizeof buffer, buffer));
    out << 7;
    EXPECT_EQ(out.GetStatus(), KrStreamOK);
    out << 8;
    EXPECT_EQ(out.GetStatus(), KrStreamSaveError);
    out << 'x' << KrString("more");
    out.Save("abc", 3);
    EXPECT_EQ(out.GetPosition(), 4u);
    EXPECT_EQ(out.GetLength(), 4u);
    EXPECT_TRUE(out.IsEOF());
    EXPECT_FALSE(out.Open(KrStreamSave, 4, buffer));  // already open: nothing changes
    EXPECT_EQ(out.GetStatus(), KrStreamSaveError);
    EXPECT_FALSE(out.Close());
    EXPECT_FALSE(out.Close());
    ASSERT_TRUE(out.Open(KrStreamSave, sizeof buffer, buffer));  // reopening clears the status
    EXPECT_EQ(out.GetStatus(), KrStreamOK);
    EXPECT_TRUE(out.Close());

    unsigned char three[3] = {'a', 'b', 'c'};
    KrMemoryStream in;
    in.Open(KrStreamLoad, sizeof three, three);
    char c[4] = {0, 0, 0, '?'};
    in >> c[0] >> c[1] >> c[2];
    EXPECT_EQ(in.GetStatus(), KrStreamOK);
    in >> c[3];
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
    EXPECT_EQ(c[3], '?');
    EXPECT_EQ(std::string(c, 3), "abc");
}

TEST(KrStreamTest, OwnedBufferGrowsByTheStepAndTakeBufferGivesItsWholeSize)
{
    KrMemoryStream out;
    out.Open(KrStreamSave, 16);
    for (int i = 0; i < 100; ++i) out << static_cast<unsigned char>(i);
    EXPECT_EQ(out.GetLength(), 100u);
    EXPECT_EQ(out.GetSpace(), 112u);  // 16 plus six steps of 16
    out.Save(std::vector<char>(500).data(), 500);  // one step of the whole shortfall
    EXPECT_EQ(out.GetSpace(), 600u);

    KrMemoryStream small;
    small.Open(KrStreamSave, 1024);
    small.Save("12345", 5);
    unsigned char* pBuffer = nullptr;
    unsigned int nSize = 0;
    small.TakeBuffer(pBuffer, nSize);
    EXPECT_EQ(nSize, 1024u);
    EXPECT_EQ(std::memcmp(pBuffer, "12345", 5), 0);
    EXPECT_EQ(small.GetData(), nullptr);
    EXPECT_EQ(small.GetPosition(), 5u);

    // Handed back in for loading, the whole block is data.
    KrMemoryStream in;
    in.Open(KrStreamLoad, 0);
    in.GiveBuffer(pBuffer, 5);
    char digits[5] = {};
    in.Load(digits, 5);
    EXPECT_EQ(std::string(digits, 5), "12345");
    EXPECT_EQ(in.GetStatus(), KrStreamOK);
}

TEST(KrStreamTest, SetPositionRulesDifferByDirection)
{
    KrMemoryStream out;
    out.Open(KrStreamSave, 64);
    out.Save("0123456789", 10);
    EXPECT_TRUE(out.SetPosition(2, KrFromBegin));
    out << 'x';
    EXPECT_EQ(out.GetLength(), 10u);
    EXPECT_EQ(out.GetPosition(), 3u);
    EXPECT_TRUE(out.SetPosition(-1, KrFromEnd));  // from the length, not the buffer size
    EXPECT_EQ(out.GetPosition(), 9u);
    EXPECT_TRUE(out.SetPosition(200, KrFromBegin));  // an owned buffer grows to the target
    EXPECT_EQ(out.GetSpace(), 200u);
    EXPECT_FALSE(out.SetPosition(-300, KrFromCurrent));
    EXPECT_EQ(out.GetStatus(), KrStreamSaveError);

    unsigned char fixed[4] = {};
    KrMemoryStream caller;
    caller.Open(KrStreamSave, sizeof fixed, fixed);
    EXPECT_FALSE(caller.SetPosition(4, KrFromBegin));
    EXPECT_EQ(caller.GetStatus(), KrStreamSaveError);

    unsigned char three[3] = {'a', 'b', 'c'};
    KrMemoryStream in;
    in.Open(KrStreamLoad, sizeof three, three);
    EXPECT_TRUE(in.SetPosition(2, KrFromBegin));
    char c = 0;
    in >> c;
    EXPECT_EQ(c, 'c');
    EXPECT_FALSE(in.SetPosition(3, KrFromBegin));  // exactly at the end fails
    EXPECT_EQ(in.GetStatus(), KrStreamLoadError);
    EXPECT_FALSE(in.SetPosition(0, KrFromBegin));  // sticky
}

TEST(KrStreamTest, LoadSaveDirectionReadsAndWritesAtOneCursor)
{
    KrMemoryStream both;
    both.Open(KrStreamLoadSave, 8);
    both << 1 << 2 << 3;
    EXPECT_TRUE(both.SetPosition(4, KrFromBegin));
    int value = 0;
    both >> value;
    EXPECT_EQ(value, 2);
    both << 20;  // overwrites the third value
    EXPECT_TRUE(both.SetPosition(8, KrFromBegin));
    both >> value;
    EXPECT_EQ(value, 20);
    EXPECT_EQ(both.GetStatus(), KrStreamOK);

    // Past the end the owned buffer grows to the target, but the call fails without an error;
    // the second call moves.
    EXPECT_FALSE(both.SetPosition(40, KrFromBegin));
    EXPECT_EQ(both.GetStatus(), KrStreamOK);
    EXPECT_EQ(both.GetSpace(), 40u);
    EXPECT_TRUE(both.SetPosition(36, KrFromBegin));
    value = -1;
    both >> value;  // grown bytes load as zero
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(both.SetPosition(40, KrFromBegin));

    // A load past the end fails, and the next save forgives it.
    both >> value;
    EXPECT_EQ(both.GetStatus(), KrStreamLoadError);
    both << 5;
    EXPECT_EQ(both.GetStatus(), KrStreamOK);
    EXPECT_EQ(both.GetLength(), 44u);
}

TEST(KrStreamTest, ConcreteStreamsChainWithTheirOwnType)
{
    KrMemoryStream memory;
    KrFileStdio text;
    static_assert(std::is_same_v<decltype(memory << 1 << 2.0 << KrString()), KrMemoryStream&>);
    static_assert(std::is_same_v<decltype(memory.Save(static_cast<const int*>(nullptr), 0)), KrMemoryStream&>);
    static_assert(std::is_same_v<decltype(text >> std::declval<short&>()), KrFileStdio&>);
    EXPECT_EQ(memory.SwapBytes(), __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? 1 : 0);
}

TEST(KrStreamTest, CloseLeavesLengthZeroAndZeroSizeOpenGrowsByTheShortfall)
{
    KrMemoryStream out;
    out.Open(KrStreamSave, 0);
    out << 'a';
    EXPECT_EQ(out.GetSpace(), 1u);
    out << 7;
    EXPECT_EQ(out.GetSpace(), 5u);
    EXPECT_EQ(out.GetLength(), 5u);
    EXPECT_TRUE(out.Close());
    EXPECT_EQ(out.GetLength(), 0u);

    unsigned char bytes[8] = {1, 0, 0, 0, 2, 0, 0, 0};
    KrMemoryStream in;
    in.Open(KrStreamLoad, sizeof bytes, bytes);
    int value = 0;
    in >> value;
    EXPECT_TRUE(in.Close());
    EXPECT_EQ(in.GetLength(), 0u);
}

// Loads that take their bytes straight from the buffer must leave the stream exactly as
// checked loads do: the oracle is the sum of the value sizes and the hand-written bytes.
TEST(KrStreamTest, BufferedLoadsKeepPositionStatusAndEveryRule)
{
    unsigned char bytes[24];
    for (unsigned i = 0; i < sizeof bytes; ++i) bytes[i] = static_cast<unsigned char>(i + 1);
    const auto opened = [&bytes](KrMemoryStream& in)
    { in.Open(KrStreamLoad, sizeof bytes, bytes); };

    KrMemoryStream in;
    opened(in);
    unsigned int u = 0;
    short s = 0;
    long long ll = 0;
    in >> u >> s >> ll;
    EXPECT_EQ(u, 0x04030201u);
    EXPECT_EQ(s, 0x0605);
    EXPECT_EQ(ll, 0x0E0D0C0B0A090807LL);
    EXPECT_EQ(in.GetPosition(), 14u);
    EXPECT_EQ(in.GetLength(), 14u);
    EXPECT_TRUE(in.SetPosition(-2, KrFromCurrent));  // from the derived position
    in >> s;
    EXPECT_EQ(s, 0x0E0D);
    in.SetError(KrStreamLoadError);  // a status set from outside stops the next load
    s = -1;
    in >> s;
    EXPECT_EQ(s, -1);
    EXPECT_EQ(in.GetPosition(), 14u);

    // Loads up to the last byte, then one more fails without touching the variable.
    KrMemoryStream all;
    opened(all);
    long long parts[3] = {};
    all >> parts[0] >> parts[1] >> parts[2];
    EXPECT_EQ(all.GetStatus(), KrStreamOK);
    EXPECT_EQ(parts[2], 0x1817161514131211LL);
    char c = '?';
    all >> c;
    EXPECT_EQ(all.GetStatus(), KrStreamLoadError);
    EXPECT_EQ(c, '?');
    EXPECT_EQ(all.GetPosition(), 24u);

    // A save between loads continues from the same position; TakeBuffer keeps it.
    KrMemoryStream mixed;
    mixed.Open(KrStreamSave, 4);
    mixed << 1 << 2 << 3;
    int first = 0;
    mixed >> first >> first;  // in direction 1 the saved bytes can be loaded back
    EXPECT_EQ(first, 2);
    mixed << 4;
    EXPECT_EQ(mixed.GetPosition(), 24u);
    unsigned char* pBuffer = nullptr;
    unsigned int nSize = 0;
    mixed.TakeBuffer(pBuffer, nSize);
    EXPECT_EQ(mixed.GetPosition(), 24u);
    EXPECT_EQ(std::memcmp(pBuffer + 12, "\4\0\0\0", 4), 0);
    void* block = pBuffer;
    krfree(&block);
}

// Long runs of mixed-size loads cross many refreshes of the unchecked window; a string in the
// middle reads m_pRead directly. Every value and position must match what was saved.
TEST(KrStreamTest, LongMixedLoadRunsMatchTheSavedValuesAndPositions)
{
    KrMemoryStream out;
    out.Open(KrStreamSave, 0);
    const unsigned kRounds = 30000;  // about 450 KB, several 64 KB windows
    for (unsigned i = 0; i < kRounds; ++i)
    {
        out << static_cast<char>(i) << static_cast<short>(i * 3) << i * 7u << static_cast<long long>(i) * -11;
        if (i == kRounds / 2) out << KrString("middle");
    }
    const unsigned long long total = out.GetPosition();
    unsigned char* pBuffer = nullptr;
    unsigned int nSize = 0;
    out.TakeBuffer(pBuffer, nSize);

    KrMemoryStream in;
    in.Open(KrStreamLoad, static_cast<unsigned int>(total), pBuffer);
    unsigned long long expected = 0;
    for (unsigned i = 0; i < kRounds; ++i)
    {
        char c = 0;
        short s = 0;
        unsigned int u = 0;
        long long ll = 0;
        in >> c >> s >> u >> ll;
        expected += 15;
        if (c != static_cast<char>(i) || s != static_cast<short>(i * 3) || u != i * 7u ||
            ll != static_cast<long long>(i) * -11 || in.GetPosition() != expected)
        {
            ADD_FAILURE() << "round " << i << " position " << in.GetPosition();
            break;
        }
        if (i == kRounds / 2)
        {
            KrString text;
            in >> text;
            EXPECT_EQ(text, "middle");
            expected += 4 + 6;
        }
    }
    EXPECT_EQ(in.GetStatus(), KrStreamOK);
    EXPECT_EQ(in.GetLength(), total);
    in.Close();
    void* block = pBuffer;
    krfree(&block);
}
