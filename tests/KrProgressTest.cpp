#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Base/ZoBase.h"
#include "ScratchDir.h"

using namespace KRN;

namespace
{

struct Report
{
    std::string title, message;
    int pos;
    std::string remain;
};

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

// Points the "resource" setting at a file of its own and puts the previous one back, however
// the test ends.
class ResourceFile
{
public:
    explicit ResourceFile(const std::string& xml)
    {
        writeFile(m_scratch.path("resource.xml"), xml);
        KrRegistry::Root().SetExternal("resource", m_scratch.path("resource.xml").c_str());
    }
    ~ResourceFile() { KrRegistry::Root().SetExternal("resource", m_previous); }

private:
    ScratchDir m_scratch;
    KrString m_previous = KrRegistry::Root().GetSubFileName("resource");
};

class KrProgressTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        KrRegistry::Root().SetValue("ShowProgress", "true");
        KrProgress::SetProgressProc(
            [](void* self, const char* title, const char* message, int pos, const char* remain,
               unsigned char& cancel)
            {
                auto& test = *static_cast<KrProgressTest*>(self);
                test.reports.push_back({title, message, pos, remain});
                if (static_cast<int>(test.reports.size()) - 1 == test.cancelAt) cancel = 1;
            },
            this);
    }
    void TearDown() override
    {
        KrProgress::SetProgressProc(nullptr, nullptr);
        KrRegistry::Root().SetValue("ShowProgress", m_saved);
    }

    std::vector<int> positions() const
    {
        std::vector<int> out;
        for (const Report& report : reports) out.push_back(report.pos);
        return out;
    }

    std::vector<Report> reports;
    int cancelAt = -1;  // the report (0-based) at which the callback cancels

private:
    KrString m_saved = KrRegistry::Root().Value("ShowProgress");
};

}  // namespace

TEST_F(KrProgressTest, ShowProgressMustBeTrueIgnoringCaseAndBlanks)
{
    const std::pair<const char*, unsigned char> cases[] = {
        {"", 0}, {"false", 0}, {"yes", 0}, {"1", 0}, {"true", 1}, {" TRUE \t", 1}, {"True\r\n", 1}};
    for (const auto& [value, show] : cases)
    {
        KrRegistry::Root().SetValue("ShowProgress", value);
        KrProgress progress;
        EXPECT_EQ(progress.IsShow(), show) << value;
        reports.clear();
        EXPECT_EQ(progress.SetProgressPos(50), -1) << value;
        EXPECT_EQ(progress.SetProgressPos(60), show ? 50 : -1) << value;
        EXPECT_EQ(reports.size(), show ? 2u : 0u) << value;
    }
}

TEST_F(KrProgressTest, ReportsEachNewPositionInsideTheScaleOnce)
{
    KrProgress progress;
    std::vector<int> returned;
    for (int pos : {50, 50, 101, -1, 100, 0, 0, 7})
        returned.push_back(progress.SetProgressPos(pos));
    EXPECT_EQ(returned, (std::vector<int>{-1, 50, 50, 50, 50, 100, 0, 0}));
    EXPECT_EQ(positions(), (std::vector<int>{50, 100, 0, 7}));

    // A null callback switches the thread off, though positions still count as reported.
    KrProgress::SetProgressProc(nullptr, this);
    KrProgress quiet;
    EXPECT_EQ(quiet.SetProgressPos(30), -1);
    EXPECT_EQ(quiet.SetProgressPos(40), 30);
    EXPECT_EQ(reports.size(), 4u);
}

TEST_F(KrProgressTest, NestedRangesMapPositionsWithTruncatingIntegerArithmetic)
{
    KrProgress progress;
    const auto range = [&] { return std::pair(progress.GetStartPos(), progress.GetEndPos()); };
    progress.PushPosRange();
    progress.SetBothPosRange(50, 100);
    EXPECT_EQ(progress.SetProgressPos(50), -1);
    EXPECT_EQ(positions(), (std::vector<int>{75}));
    EXPECT_EQ(progress.GetAbsolutePos(101), 100);  // 50 + 50 * 101 / 100

    // A second level inside 20..60 of the first.
    progress.PushPosRange();
    progress.SetBothPosRange(20, 60);
    EXPECT_EQ(range(), std::pair(60, 80));  // 50 + 50 * 20 / 100
    EXPECT_EQ(progress.GetPosRange(), 20);
    progress.SetBothPosRange(33, 66);  // 50 + 16, 50 + 33
    EXPECT_EQ(range(), std::pair(66, 83));
    EXPECT_EQ(progress.GetAbsolutePos(50), 74);  // 66 + 17 * 50 / 100 = 66 + 8
    // Truncation toward zero, not down: 66 + 17 * -50 / 100 = 66 - 8.
    EXPECT_EQ(progress.GetAbsolutePos(-50), 58);

    // Pop does not restore the range; the next SetBothPosRange works on the new top (0..100).
    progress.PopPosRange();
    EXPECT_EQ(progress.GetStartPos(), 66);
    progress.PopPosRange();
    progress.SetBothPosRange(10, 20);
    EXPECT_EQ(range(), std::pair(10, 20));

    // Clear pushes the current range every time.
    KrProgress cleared;  // the constructor's Clear pushed 0..100
    cleared.SetBothPosRange(0, 50);
    cleared.Clear();  // pushes 0..50
    cleared.SetBothPosRange(0, 50);
    EXPECT_EQ(cleared.GetEndPos(), 25);
    cleared.PopPosRange();  // back to 0..100 on top
    cleared.SetBothPosRange(0, 50);
    EXPECT_EQ(cleared.GetEndPos(), 50);
    cleared.PopPosRange();
    cleared.PopPosRange();  // an empty stack stays empty; the full scale stands for its top
    cleared.SetBothPosRange(10, 30);
    EXPECT_EQ(std::pair(cleared.GetStartPos(), cleared.GetEndPos()), std::pair(10, 30));
}

TEST(KrProgressRemainTest, TextsScaleTheElapsedTimeByTheShareLeft)
{
    const std::tuple<int, int, const char*> cases[] = {
        {10, 25, "Remain 30 seconds"},
        {100, 50, "Remain 01 minutes, 40 seconds"},
        {3600, 1, "Remain 4 days, 03 hours,00 minutes, 00 seconds"},  // 356400 s
        {3605, 50, "Remain 01 hours,00 minutes, 05 seconds"},
        {7, 3, "Remain 03 minutes, 46 seconds"},  // 7 * 97 / 3 = 226.33, truncated
        {0, 40, "Remain 00 seconds"},
        {59, 50, "Remain 59 seconds"},
        {864000, 50, "Remain 10 days, 00 hours,00 minutes, 00 seconds"},
    };
    for (const auto& [elapsed, pos, text] : cases)
        EXPECT_EQ(ProgressProbe::Remain(elapsed, pos), text) << elapsed << " " << pos;
}

// Position 0 restarts the clock but reports the earlier text; whether a position past the end is
// reported goes by the seconds part of the elapsed time.
TEST_F(KrProgressTest, TheClockDrivesRemainTextsAndOverdueReports)
{
    ProgressProbe progress;
    progress.StartSecondsAgo(100);
    for (int pos : {50, 0, 10}) progress.SetProgressPos(pos);
    ASSERT_EQ(reports.size(), 3u);
    // 100 s (a little more when the clock's second turned meanwhile) at 50 %.
    EXPECT_TRUE(std::regex_match(reports[0].remain, std::regex("Remain 01 minutes, 4\\d seconds")))
        << reports[0].remain;
    EXPECT_EQ(reports[1].remain, reports[0].remain);
    EXPECT_TRUE(std::regex_match(reports[2].remain, std::regex("Remain \\d\\d seconds")))
        << reports[2].remain;
    // Seconds ago, reported. 7 s: seconds part 7 (or 8). 62 s: 2 (or 3), although 62 s in total.
    for (const auto& [secondsAgo, reported] : {std::pair{7, true}, {62, false}, {0, false}})
    {
        reports.clear();
        ProgressProbe late;
        late.StartSecondsAgo(secondsAgo);
        late.SetProgressPos(101);
        EXPECT_EQ(positions(), reported ? std::vector<int>{101} : std::vector<int>{}) << secondsAgo;
    }
}

TEST_F(KrProgressTest, TitleMessageAndCancelFromTheCallback)
{
    KrProgress changing;
    changing.SetTitleMessage("Import");  // no position yet: stored only
    changing.SetProgressPos(0);
    changing.SetTitleMessage("Import");  // unchanged: nothing
    changing.SetTitleMessage("Index");   // reported at the last position
    changing.SetMessage("first");        // was empty: reported
    changing.SetMessage("second");       // from one message to another: stored only
    changing.SetProgressPos(6);
    ASSERT_EQ(positions(), (std::vector<int>{0, 0, 0, 6}));
    EXPECT_EQ(reports[0].title, "Import");
    EXPECT_EQ(reports[0].remain, "The remain time is unknow");
    EXPECT_EQ(reports[1].title, "Index");
    EXPECT_EQ(reports[2].message, "first");
    EXPECT_EQ(reports[3].message, "second");

    reports.clear();
    cancelAt = 1;
    ProgressProbe progress;
    progress.SetTitleMessage("Copying");
    progress.SetMessage("roads.shp");
    progress.SetProgressPos(10);
    progress.SetProgressPos(20);  // canceled here
    EXPECT_EQ(progress.IsCanceled(), 1);
    EXPECT_EQ(progress.Texts(), "||The remain time is unknow");
    EXPECT_EQ(progress.SetProgressPos(30), -1);
    progress.SetTitleMessage("Other");
    progress.SetMessage("other");
    progress.Clear();
    EXPECT_EQ(progress.IsCanceled(), 1) << "Clear keeps the flag";
    EXPECT_EQ(progress.SetProgressPos(40), -1);
    ASSERT_EQ(positions(), (std::vector<int>{10, 20}));
    EXPECT_EQ(reports[1].title + "|" + reports[1].message, "Copying|roads.shp");
}

// A text far longer than its format is formatted whole; it ends at its first zero byte, as the
// C string the callback receives would.
TEST_F(KrProgressTest, ResourceFormsFormatTheLoadedTextOfAnyLength)
{
    const ResourceFile resource(
        "<r><section beginid=\"7100\"><res>Step %d of %s</res><res>%s done</res></section>"
        "<section beginid=\"7200\"><res>[%s]</res><res>%s%c%s</res></section></r>");
    const std::string longText(5000, 'x');
    KrProgress progress;
    progress.SetProgressPos(1);
    progress.SetTitleMessage(7100, 2, "three");
    progress.SetMessage(7101, "half");
    progress.SetTitleMessage(7200, longText.c_str());
    progress.SetMessage(7201, "head", 0, "tail");
    ASSERT_EQ(reports.size(), 4u);
    EXPECT_EQ(reports[1].title, "Step 2 of three");
    EXPECT_EQ(reports[2].message, "half done");
    EXPECT_EQ(reports[3].title, "[" + longText + "]");
    EXPECT_EQ(progress.SetProgressPos(2), 1);
    EXPECT_EQ(reports.back().message, "head");
}
