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

struct Recorder
{
    std::vector<Report> reports;
    int cancelAt = -1;  // the report (0-based) at which the callback cancels
};

void record(void* userData, const char* title, const char* message, int pos, const char* remainText,
            unsigned char& cancel)
{
    Recorder& recorder = *static_cast<Recorder*>(userData);
    recorder.reports.push_back({title, message, pos, remainText});
    if (static_cast<int>(recorder.reports.size()) - 1 == recorder.cancelAt) cancel = 1;
}

// Reaches the clock and the text formatting of a progress object.
class ProgressProbe : public KrProgress
{
public:
    void StartSecondsAgo(int seconds)
    {
        m_tmStart = KrTime::GetCurrentTime() - KrTimeSpan(0, 0, 0, seconds);
    }
    std::string Title() const { return m_strTitle; }
    std::string Message() const { return m_strMessage; }
    std::string RemainText() const { return m_strRemainTime; }
    static std::string Remain(int elapsedSeconds, int pos)
    {
        return FormatRemainTime(KrTimeSpan(0, 0, 0, elapsedSeconds), pos);
    }
};

class KrProgressTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_saved = KrRegistry::Root().Value("ShowProgress");
        KrRegistry::Root().SetValue("ShowProgress", "true");
        KrProgress::SetProgressProc(&record, &recorder);
    }
    void TearDown() override
    {
        KrProgress::SetProgressProc(nullptr, nullptr);
        KrRegistry::Root().SetValue("ShowProgress", m_saved);
    }

    std::vector<int> positions() const
    {
        std::vector<int> out;
        for (const Report& report : recorder.reports) out.push_back(report.pos);
        return out;
    }

    Recorder recorder;

private:
    KrString m_saved;
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
        recorder.reports.clear();
        EXPECT_EQ(progress.SetProgressPos(50), -1) << value;
        EXPECT_EQ(progress.SetProgressPos(60), show ? 50 : -1) << value;
        EXPECT_EQ(recorder.reports.size(), show ? 2u : 0u) << value;
    }
}

TEST_F(KrProgressTest, ReportsEachNewPositionInsideTheScaleOnce)
{
    KrProgress progress;
    const int steps[] = {50, 50, 101, -1, 100, 0, 0, 7};
    std::vector<int> returned;
    for (int pos : steps) returned.push_back(progress.SetProgressPos(pos));
    EXPECT_EQ(returned, (std::vector<int>{-1, 50, 50, 50, 50, 100, 0, 0}));
    EXPECT_EQ(positions(), (std::vector<int>{50, 100, 0, 7}));
}

TEST_F(KrProgressTest, NestedRangesMapPositionsWithTruncatingIntegerArithmetic)
{
    KrProgress progress;
    progress.PushPosRange();
    progress.SetBothPosRange(50, 100);
    EXPECT_EQ(progress.SetProgressPos(50), -1);
    EXPECT_EQ(positions(), (std::vector<int>{75}));
    EXPECT_EQ(progress.GetAbsolutePos(101), 100);  // 50 + 50 * 101 / 100

    // A second level inside 20..60 of the first.
    progress.PushPosRange();
    progress.SetBothPosRange(20, 60);
    EXPECT_EQ(progress.GetStartPos(), 60);  // 50 + 50 * 20 / 100
    EXPECT_EQ(progress.GetEndPos(), 80);
    EXPECT_EQ(progress.GetPosRange(), 20);
    progress.SetBothPosRange(33, 66);  // 50 + 16, 50 + 33
    EXPECT_EQ(progress.GetStartPos(), 66);
    EXPECT_EQ(progress.GetEndPos(), 83);
    EXPECT_EQ(progress.GetAbsolutePos(50), 74);  // 66 + 17 * 50 / 100 = 66 + 8
    // Truncation toward zero, not down: 66 + 17 * -50 / 100 = 66 - 8.
    EXPECT_EQ(progress.GetAbsolutePos(-50), 58);

    // Pop does not restore the range; the next SetBothPosRange works on the new top (0..100).
    progress.PopPosRange();
    EXPECT_EQ(progress.GetStartPos(), 66);
    progress.PopPosRange();
    progress.SetBothPosRange(10, 20);
    EXPECT_EQ(progress.GetStartPos(), 10);
    EXPECT_EQ(progress.GetEndPos(), 20);
}

TEST_F(KrProgressTest, ClearPushesTheCurrentRangeEveryTime)
{
    KrProgress progress;  // the constructor's Clear pushed 0..100
    progress.SetBothPosRange(0, 50);
    progress.Clear();  // pushes 0..50
    progress.SetBothPosRange(0, 50);
    EXPECT_EQ(progress.GetEndPos(), 25);
    progress.PopPosRange();  // back to 0..100 on top
    progress.SetBothPosRange(0, 50);
    EXPECT_EQ(progress.GetEndPos(), 50);
    progress.PopPosRange();
    progress.PopPosRange();  // an empty stack stays empty; the full scale stands for its top
    progress.SetBothPosRange(10, 30);
    EXPECT_EQ(progress.GetStartPos(), 10);
    EXPECT_EQ(progress.GetEndPos(), 30);
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

TEST_F(KrProgressTest, PositionZeroRestartsTheClockButReportsTheEarlierText)
{
    ProgressProbe progress;
    progress.StartSecondsAgo(100);
    progress.SetProgressPos(50);
    progress.SetProgressPos(0);
    progress.SetProgressPos(10);
    ASSERT_EQ(recorder.reports.size(), 3u);
    // 100 s (a little more when the clock's second turned meanwhile) at 50 %.
    const std::regex minutes("Remain 01 minutes, 4[0-9] seconds");
    EXPECT_TRUE(std::regex_match(recorder.reports[0].remain, minutes))
        << recorder.reports[0].remain;
    EXPECT_EQ(recorder.reports[1].remain, recorder.reports[0].remain);
    EXPECT_TRUE(
        std::regex_match(recorder.reports[2].remain, std::regex("Remain [0-9][0-9] seconds")))
        << recorder.reports[2].remain;
}

TEST_F(KrProgressTest, OverdueGoesByTheSecondsPartOfTheElapsedTime)
{
    // Seconds ago, reported. 7 s: seconds part 7 (or 8). 62 s: 2 (or 3), although 62 s in total.
    for (const auto& [secondsAgo, reported] : {std::pair{7, true}, {62, false}, {0, false}})
    {
        recorder.reports.clear();
        ProgressProbe progress;
        progress.StartSecondsAgo(secondsAgo);
        progress.SetProgressPos(101);
        EXPECT_EQ(positions(), reported ? std::vector<int>{101} : std::vector<int>{}) << secondsAgo;
    }
}

TEST_F(KrProgressTest, CancelFromTheCallbackClearsAndStopsReports)
{
    recorder.cancelAt = 1;
    ProgressProbe progress;
    progress.SetTitleMessage("Copying");
    progress.SetMessage("roads.shp");
    progress.SetProgressPos(10);
    progress.SetProgressPos(20);  // canceled here
    EXPECT_EQ(progress.IsCanceled(), 1);
    EXPECT_EQ(progress.Title(), "");
    EXPECT_EQ(progress.Message(), "");
    EXPECT_EQ(progress.RemainText(), "The remain time is unknow");
    EXPECT_EQ(progress.SetProgressPos(30), -1);
    progress.SetTitleMessage("Other");
    progress.SetMessage("other");
    progress.Clear();
    EXPECT_EQ(progress.IsCanceled(), 1) << "Clear keeps the flag";
    EXPECT_EQ(progress.SetProgressPos(40), -1);
    ASSERT_EQ(positions(), (std::vector<int>{10, 20}));
    EXPECT_EQ(recorder.reports[1].title, "Copying");
    EXPECT_EQ(recorder.reports[1].message, "roads.shp");
}

TEST_F(KrProgressTest, TitleAndMessageChangesAreReportedAsSpecified)
{
    KrProgress progress;
    progress.SetTitleMessage("Import");  // no position yet: stored only
    progress.SetProgressPos(0);
    progress.SetTitleMessage("Import");  // unchanged: nothing
    progress.SetTitleMessage("Index");   // reported at the last position
    progress.SetMessage("first");        // was empty: reported
    progress.SetMessage("second");       // from one message to another: stored only
    progress.SetProgressPos(6);
    ASSERT_EQ(positions(), (std::vector<int>{0, 0, 0, 6}));
    EXPECT_EQ(recorder.reports[0].title, "Import");
    EXPECT_EQ(recorder.reports[0].remain, "The remain time is unknow");
    EXPECT_EQ(recorder.reports[1].title, "Index");
    EXPECT_EQ(recorder.reports[2].message, "first");
    EXPECT_EQ(recorder.reports[3].message, "second");
}

TEST_F(KrProgressTest, ResourceFormsFormatTheLoadedText)
{
    const ScratchDir scratch;
    const std::string file = scratch.path("resource.xml");
    writeFile(file,
              "<r><section beginid=\"7100\"><res>Step %d of %s</res>"
              "<res>%s done</res></section></r>");
    const KrString previous = KrRegistry::Root().GetSubFileName("resource");
    KrRegistry::Root().SetExternal("resource", file.c_str());

    KrProgress progress;
    progress.SetProgressPos(1);
    progress.SetTitleMessage(7100, 2, "three");
    progress.SetMessage(7101, "half");
    ASSERT_EQ(recorder.reports.size(), 3u);
    EXPECT_EQ(recorder.reports[1].title, "Step 2 of three");
    EXPECT_EQ(recorder.reports[2].message, "half done");

    KrRegistry::Root().SetExternal("resource", previous);
}

// A text far longer than its format is formatted whole; it ends at its first zero byte, as the
// C string the callback receives would.
TEST_F(KrProgressTest, ResourceTextsOfAnyLengthEndAtTheirFirstZeroByte)
{
    const ScratchDir scratch;
    const std::string file = scratch.path("resource.xml");
    writeFile(file, "<r><section beginid=\"7200\"><res>[%s]</res><res>%s%c%s</res></section></r>");
    const KrString previous = KrRegistry::Root().GetSubFileName("resource");
    KrRegistry::Root().SetExternal("resource", file.c_str());

    const std::string longText(5000, 'x');
    KrProgress progress;
    progress.SetProgressPos(1);
    progress.SetTitleMessage(7200, longText.c_str());
    progress.SetMessage(7201, "head", 0, "tail");
    ASSERT_EQ(recorder.reports.size(), 3u);
    EXPECT_EQ(recorder.reports[1].title, "[" + longText + "]");
    EXPECT_EQ(recorder.reports[2].message, "head");

    KrRegistry::Root().SetExternal("resource", previous);
}

TEST_F(KrProgressTest, ANullCallbackSwitchesTheThreadOff)
{
    KrProgress::SetProgressProc(nullptr, &recorder);
    KrProgress progress;
    EXPECT_EQ(progress.SetProgressPos(30), -1);
    EXPECT_EQ(progress.SetProgressPos(40), 30);  // still counted as reported
    EXPECT_TRUE(recorder.reports.empty());
}
