#include <gtest/gtest.h>

#include <array>
#include <regex>

#include "Base/ZoBase.h"
#include "ScratchDir.h"

using namespace KRN;
using Ints = std::vector<int>;

namespace
{

// Reaches the clock and the text formatting of a progress object.
class ProgressProbe : public KrProgress
{
public:
    void StartSecondsAgo(int seconds)
    {
        m_tmStart = KrTime::GetCurrentTime() - KrTimeSpan(0, 0, 0, seconds);
    }
    std::string Texts() const
    {
        return std::string(m_strTitle) + "|" + m_strMessage.Cstr() + "|" + m_strRemainTime.Cstr();
    }
    static std::string Remain(int elapsedSeconds, int pos)
    {
        return FormatRemainTime(KrTimeSpan(0, 0, 0, elapsedSeconds), pos);
    }
};

// What each of the positions set one after another returned.
Ints setPositions(KrProgress& progress, const Ints& positions)
{
    Ints returned;
    for (int pos : positions) returned.push_back(progress.SetProgressPos(pos));
    return returned;
}

// Shows progress through a callback that keeps every report, and puts the setting, the
// callback and the "resource" entry back when the test ends.
class KrProgressTest : public ::testing::Test
{
protected:
    KrProgressTest()
    {
        KrRegistry::Root().SetValue("ShowProgress", "true");
        KrProgress::SetProgressProc(
            [](void* self, const char* title, const char* message, int pos, const char* remain,
               unsigned char& cancel)
            {
                auto& test = *static_cast<KrProgressTest*>(self);
                test.reports.push_back({title, message, std::to_string(pos), remain});
                if (static_cast<int>(test.reports.size()) - 1 == test.cancelAt) cancel = 1;
            },
            this);
    }
    ~KrProgressTest() override
    {
        KrProgress::SetProgressProc(nullptr, nullptr);
        KrRegistry::Root().SetValue("ShowProgress", m_saved);
        KrRegistry::Root().SetExternal("resource", m_resource);
    }

    // Field (0 title, 1 message, 2 position, 3 remaining time) of every report, ";" after each.
    std::string trail(size_t field = 2) const
    {
        std::string out;
        for (const auto& report : reports) out += report[field] + ";";
        return out;
    }

    std::vector<std::array<std::string, 4>> reports;
    int cancelAt = -1;  // the report (0-based) at which the callback cancels
    ScratchDir scratch;

private:
    KrString m_saved = KrRegistry::Root().Value("ShowProgress");
    KrString m_resource = KrRegistry::Root().GetSubFileName("resource");
};

}  // namespace

TEST_F(KrProgressTest, ReportsEachNewPositionOnceWhenShowProgressIsTrue)
{
    const std::pair<const char*, bool> cases[] = {
        {"", 0}, {"false", 0}, {"yes", 0}, {"1", 0}, {"true", 1}, {" TRUE \t", 1}, {"True\r\n", 1}};
    for (const auto& [value, show] : cases)
    {
        KrRegistry::Root().SetValue("ShowProgress", value);
        reports.clear();
        KrProgress progress;
        EXPECT_EQ(setPositions(progress, {50, 50, 101, -1, 100, 0, 0, 7}),
                  (show ? Ints{-1, 50, 50, 50, 50, 100, 0, 0} : Ints(8, -1)))
            << value;
        EXPECT_EQ(trail(), show ? "50;100;0;7;" : "") << value;
    }
    // A null callback switches the thread off, though positions still count as reported.
    KrProgress::SetProgressProc(nullptr, this);
    KrProgress quiet;
    EXPECT_EQ(setPositions(quiet, {30, 40}), (Ints{-1, 30}));
    EXPECT_EQ(trail(), "50;100;0;7;");
}

TEST_F(KrProgressTest, NestedRangesMapPositionsWithTruncatingIntegerArithmetic)
{
    // Sets the range of the top level and gives the absolute range that results.
    const auto set = [](KrProgress& progress, int start, int end)
    {
        progress.SetBothPosRange(start, end);
        return std::pair(progress.GetStartPos(), progress.GetEndPos());
    };
    KrProgress progress;
    progress.PushPosRange();
    set(progress, 50, 100);
    EXPECT_EQ(progress.SetProgressPos(50), -1);
    EXPECT_EQ(trail(), "75;");
    EXPECT_EQ(progress.GetAbsolutePos(101), 100);  // 50 + 50 * 101 / 100
    // A second level inside 20..60 of the first.
    progress.PushPosRange();
    EXPECT_EQ(set(progress, 20, 60), std::pair(60, 80));  // 50 + 50 * 20 / 100
    EXPECT_EQ(set(progress, 33, 66), std::pair(66, 83));  // 50 + 16, 50 + 33
    EXPECT_EQ(progress.GetAbsolutePos(50), 74);           // 66 + 17 * 50 / 100 = 66 + 8
    // Truncation toward zero, not down: 66 + 17 * -50 / 100 = 66 - 8.
    EXPECT_EQ(progress.GetAbsolutePos(-50), 58);
    // Pop does not restore the range; the next SetBothPosRange works on the new top (0..100).
    progress.PopPosRange();
    EXPECT_EQ(progress.GetStartPos(), 66);
    progress.PopPosRange();
    EXPECT_EQ(set(progress, 10, 20), std::pair(10, 20));

    // Clear pushes the current range every time.
    KrProgress cleared;  // the constructor's Clear pushed 0..100
    set(cleared, 0, 50);
    cleared.Clear();  // pushes 0..50
    EXPECT_EQ(set(cleared, 0, 50), std::pair(0, 25));
    cleared.PopPosRange();  // back to 0..100 on top
    EXPECT_EQ(set(cleared, 0, 50), std::pair(0, 50));
    cleared.PopPosRange();
    cleared.PopPosRange();  // an empty stack stays empty; the full scale stands for its top
    EXPECT_EQ(set(cleared, 10, 30), std::pair(10, 30));
}

// The remaining time is the elapsed time scaled by the share left (3600 s at 1 % is 356400 s;
// 7 s at 3 % 226.33 s, truncated). Position 0 restarts the clock but reports the earlier text;
// whether a position past the end is reported goes by the seconds part of the elapsed time.
TEST_F(KrProgressTest, TheClockDrivesRemainTextsAndOverdueReports)
{
    // clang-format off
    const std::tuple<int, int, const char*> cases[] = {
        {10, 25, "Remain 30 seconds"}, {100, 50, "Remain 01 minutes, 40 seconds"},
        {3600, 1, "Remain 4 days, 03 hours,00 minutes, 00 seconds"},
        {3605, 50, "Remain 01 hours,00 minutes, 05 seconds"},
        {7, 3, "Remain 03 minutes, 46 seconds"}, {0, 40, "Remain 00 seconds"},
        {59, 50, "Remain 59 seconds"}, {864000, 50, "Remain 10 days, 00 hours,00 minutes, 00 seconds"}};
    // clang-format on
    for (const auto& [elapsed, pos, text] : cases)
        EXPECT_EQ(ProgressProbe::Remain(elapsed, pos), text) << elapsed << " " << pos;
    ProgressProbe progress;
    progress.StartSecondsAgo(100);
    setPositions(progress, {50, 0, 10});
    // 100 s (a little more when the clock's second turned meanwhile) at 50 %, then the same text
    // again, then a fresh clock.
    EXPECT_TRUE(std::regex_match(trail(3), std::regex("(Remain 01 minutes, 4\\d seconds;)\\1"
                                                      "Remain \\d\\d seconds;")))
        << trail(3);
    // Seconds ago, reported. 7 s: seconds part 7 (or 8). 62 s: 2 (or 3), although 62 s in total.
    for (const auto& [secondsAgo, reported] : {std::pair{7, "101;"}, {62, ""}, {0, ""}})
    {
        reports.clear();
        ProgressProbe late;
        late.StartSecondsAgo(secondsAgo);
        late.SetProgressPos(101);
        EXPECT_EQ(trail(), reported) << secondsAgo;
    }
}

TEST_F(KrProgressTest, TitleMessageResourceFormsAndCancelFromTheCallback)
{
    KrProgress changing;
    changing.SetTitleMessage("Import");  // no position yet: stored only
    changing.SetProgressPos(0);
    changing.SetTitleMessage("Import");  // unchanged: nothing
    changing.SetTitleMessage("Index");   // reported at the last position
    changing.SetMessage("first");        // was empty: reported
    changing.SetMessage("second");       // from one message to another: stored only
    changing.SetProgressPos(6);
    EXPECT_EQ(trail(0) + trail(1) + trail(2), "Import;Index;Index;Index;;;first;second;0;0;0;6;");
    EXPECT_EQ(reports[0][3], "The remain time is unknow");

    reports.clear();
    cancelAt = 1;
    ProgressProbe progress;
    progress.SetTitleMessage("Copying");
    progress.SetMessage("roads.shp");
    EXPECT_EQ(setPositions(progress, {10, 20, 30}), (Ints{-1, 10, -1}));  // canceled at 20
    EXPECT_EQ(progress.Texts(), "||The remain time is unknow");
    progress.SetTitleMessage("Other");
    progress.SetMessage("other");
    progress.Clear();
    EXPECT_EQ(progress.IsCanceled(), 1) << "Clear keeps the flag";
    EXPECT_EQ(progress.SetProgressPos(40), -1);
    EXPECT_EQ(trail(0) + trail(1) + trail(2), "Copying;Copying;roads.shp;roads.shp;10;20;");

    // Resource forms: a text far longer than its format is formatted whole; it ends at its first
    // zero byte, as the C string the callback receives would.
    reports.clear();
    cancelAt = -1;
    writeFile(scratch.path("resource.xml"),
              "<r><section beginid=\"7100\"><res>Step %d of %s</res><res>%s done</res></section>"
              "<section beginid=\"7200\"><res>[%s]</res><res>%s%c%s</res></section></r>");
    KrRegistry::Root().SetExternal("resource", scratch.path("resource.xml").c_str());
    const std::string longText(5000, 'x');
    KrProgress formed;
    formed.SetProgressPos(1);
    formed.SetTitleMessage(7100, 2, "three");
    formed.SetMessage(7101, "half");
    formed.SetTitleMessage(7200, longText.c_str());
    formed.SetMessage(7201, "head", 0, "tail");
    EXPECT_EQ(formed.SetProgressPos(2), 1);
    EXPECT_EQ(trail(0) + trail(1), ";Step 2 of three;Step 2 of three;[" + longText + "];[" +
                                       longText + "];;;half done;half done;head;");
}
