#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"

using namespace KRN;
using KrLogTest::LogSandbox;
using KrLogTest::selectedCodes;
using KrLogTest::splitOn;
namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
using L = KrLogFile;

namespace
{

std::string strftimeNow(const char* format)
{
    const std::time_t now = std::time(nullptr);
    std::tm fields{};
    ::localtime_r(&now, &fields);
    char buffer[64];
    std::strftime(buffer, sizeof buffer, format, &fields);
    return buffer;
}

// The children of each LogItem of an XML log as "tag=data" (or the Description data alone),
// or "not well-formed".
Strings xmlItems(const std::string& path, bool allChildren = false)
{
    KrMarkup markup;
    if (!markup.Load(path.c_str()) || !markup.IsWellFormed() || !markup.FindElem("LogFile"))
        return {"not well-formed"};
    Strings out;
    markup.IntoElem();
    while (markup.FindElem("LogItem"))
    {
        if (!allChildren && markup.FindChildElem("Description"))
            out.push_back(markup.GetChildData());
        while (allChildren && markup.FindChildElem())
            out.push_back(std::string(markup.GetChildTagName()) + "=" +
                          std::string(markup.GetChildData()));
    }
    return out;
}

KrRegistry settingsRegistry(const std::string& entries)
{
    KrRegistry registry;
    registry.LoadDoc(
        ("<krn><LogSetting type=\"object\">" + entries + "</LogSetting></krn>").c_str());
    return registry;
}

// Every test starts from a closed log with its defaults, in a fresh directory.
class KrLogFileTest : public ::testing::Test
{
protected:
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    void openText(const char* name, const char* format = nullptr)
    {
        ASSERT_TRUE(log.Open(sandbox.path(name).c_str(), 0, L::ModeText));
        if (format) log.SetLogFormat(format);
    }
    void info(const std::string& message, int code = 0)
    {
        log.RecordLog(L::LogInfo, code, message.c_str(), "f", 1);
    }
};

const unsigned char kGarbageZip[] = {0x78, 0x9c, 0xff, 0xff, 0x00, 0x13, 0x37};

bool unzipGarbage()
{
    unsigned char out[64];
    unsigned int outLength = sizeof out;
    return KrCompress::UnZip(out, outLength, kGarbageZip, sizeof kGarbageZip);
}

}  // namespace

TEST(KrLogFileConversions, EnumTextsOperatorsAndPeriods)
{
    const std::vector<std::tuple<std::string, int, int, int, int>> texts = {
        // text, level, mode, interval, size mode
        {"", 400, 0, 0, 0},      {"nonsense", 400, 0, 0, 0}, {"DEBUG", 100, 0, 0, 0},
        {"Info", 200, 0, 0, 0},  {"warning", 300, 0, 0, 0},  {"FaTaL", 500, 0, 0, 0},
        {"xml", 400, 1, 0, 0},   {"DATABASE", 400, 2, 0, 0}, {"memory", 400, 3, 0, 0},
        {"hour", 400, 0, 1, 0},  {"DAY", 400, 0, 2, 0},      {"Week", 400, 0, 3, 0},
        {"month", 400, 0, 4, 0}, {"reopen", 400, 0, 0, 1},   {"NEWFILE", 400, 0, 0, 2},
    };
    for (const auto& [text, level, mode, interval, sizeMode] : texts)
    {
        SCOPED_TRACE(text);
        EXPECT_EQ(L::GetLevelAsEnum(text.c_str()), level);
        EXPECT_EQ(L::GetModeAsEnum(text.c_str()), mode);
        EXPECT_EQ(L::GetTimeIntervalAsEnum(text.c_str()), interval);
        EXPECT_EQ(L::GetSizeLimitModeAsEnum(text.c_str()), sizeMode);
    }
    EXPECT_EQ(L::GetLevelAsString(L::LogWarning), "warning");
    EXPECT_EQ(L::GetLevelAsString(static_cast<L::LogLevelType>(250)), "unknown");

    const std::vector<std::tuple<const char*, int, int, int>> operators = {
        {">", 2, 1, 1},  {">", 1, 1, 0},  {"<", 1, 2, 1},  {"=", 3, 3, 1},  {"=", 3, 4, 0},
        {">=", 3, 3, 1}, {"<=", 4, 3, 0}, {"!=", 1, 2, 1}, {"!=", 2, 2, 0}, {"==", 2, 2, 0},
        {"", 2, 2, 0},   {"=>", 3, 2, 0}, {" >", 3, 2, 0},
    };
    for (const auto& [op, a, b, expected] : operators)
        EXPECT_EQ(KrLogQueryDef::Compare(op, a, b), expected) << op << " " << a << " " << b;

    const KrTime opened(2023, 12, 29, 10, 30, 0), march(2024, 3, 1);
    // Opened at 2023-12-29 10:30: the same hour of the next day is no new hour, the same day of
    // the next month no new day; a week counts days of the year, 4 January being 4 - 363 + 365
    // = 6 days on and 5 January 7.
    // clang-format off
    const std::vector<std::tuple<L::TimeInterval, KrTime, KrTime, int>> periods = {
        {L::IntervalNone, opened, KrTime(2024, 6, 1, 0, 0, 0), 0}, {L::IntervalHour, opened, KrTime(2023, 12, 29, 10, 59, 59), 0},
        {L::IntervalHour, opened, KrTime(2023, 12, 29, 11, 0, 0), 1}, {L::IntervalHour, opened, KrTime(2023, 12, 30, 10, 0, 0), 0},
        {L::IntervalDay, opened, KrTime(2023, 12, 30, 0, 0, 0), 1}, {L::IntervalDay, opened, KrTime(2024, 1, 29, 0, 0, 0), 0},
        {L::IntervalMonth, opened, KrTime(2024, 1, 1, 0, 0, 0), 1}, {L::IntervalWeek, opened, KrTime(2024, 1, 4, 0, 0, 0), 0},
        {L::IntervalWeek, opened, KrTime(2024, 1, 5, 0, 0, 0), 1}, {L::IntervalWeek, opened, KrTime(2023, 12, 31, 0, 0, 0), 0},
        {L::IntervalWeek, march, KrTime(2024, 3, 7), 0}, {L::IntervalWeek, march, KrTime(2024, 3, 8), 1}};
    // clang-format on
    for (const auto& [interval, from, now, expected] : periods)
        EXPECT_EQ(L::IsNewPeriod(interval, from, now), expected) << interval;
}

TEST_F(KrLogFileTest, TextRecordFollowsTheDefaultTemplate)
{
    openText("a.log");
    const std::string before = strftimeNow("%Y-%m-%d %H:%M:%S");
    ASSERT_TRUE(log.RecordLog(L::LogError, 11023, "cannot open", "map.cpp", 12));
    const std::string after = strftimeNow("%Y-%m-%d %H:%M:%S");
    const std::string text = readFile(sandbox.path("a.log"));
    const std::regex expected(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \[\d+\] \(error\) \|  cannot open \r\nThreadID:(\d+) )"
        "\r\nCodeFile:map.cpp \r\nCodeLine:12\r\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match, expected)) << text;
    EXPECT_EQ(std::stol(match[1]), ::syscall(SYS_gettid));
    EXPECT_TRUE(text.compare(0, 19, before) == 0 || text.compare(0, 19, after) == 0) << text;
}

TEST_F(KrLogFileTest, ThresholdPassesErrorsAndFatalsToTheErrorStackAlways)
{
    // threshold, level, accepted, pushed onto the error stack
    const std::vector<std::tuple<int, int, int, int>> rows = {
        {100, 100, 1, 0}, {300, 200, 0, 0}, {300, 300, 1, 0}, {500, 300, 0, 0},
        {500, 400, 0, 1}, {500, 500, 1, 1}, {100, 400, 1, 1}, {400, 450, 1, 1},
    };
    for (const auto& [threshold, level, accepted, pushed] : rows)
    {
        SCOPED_TRACE(std::to_string(threshold) + " " + std::to_string(level));
        const LogSandbox fresh;
        ASSERT_TRUE(log.Open(fresh.path("t.log").c_str(), 0, L::ModeText));
        log.SetLevel(static_cast<L::LogLevelType>(threshold));
        EXPECT_EQ(log.RecordLog(static_cast<L::LogLevelType>(level), 7, "m", "f", 1), accepted);
        EXPECT_EQ(KrErrorObj::GetInstance().GetCount(), pushed);
        EXPECT_EQ(readFile(fresh.path("t.log")).empty(), accepted == 0);
    }
}

TEST_F(KrLogFileTest, RepetitionFilterDropsTheSixthOccurrenceUntilAThousandOthersPass)
{
    ASSERT_TRUE(log.Open(L::ModeMemory));
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 1, "same", "f", 1));
    EXPECT_FALSE(log.RecordLog(L::LogInfo, 1, "same", "f", 2));  // the previous record
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 2, "same", "f", 2));   // another code
    std::string accepted;
    for (int i = 0; i < 16; ++i)
        accepted +=
            log.RecordLog(L::LogInfo, 9, i % 2 ? "B" : "A", "f", 1) ? (i % 2 ? 'B' : 'A') : '-';
    EXPECT_EQ(accepted, "ABABABABAB------");
    // Twelve keys are queued; the thousand-and-third pushes out the first "A".
    for (int i = 0; i < 990; ++i) info("other " + std::to_string(i), 9);
    EXPECT_FALSE(log.RecordLog(L::LogInfo, 9, "A", "f", 1));
    info("one more", 9);
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 9, "A", "f", 1));
    log.SetFilterRepeat(0);
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(log.RecordLog(L::LogInfo, 9, "B", "f", 1));
}

TEST_F(KrLogFileTest, MessagesAreWrittenAsTextNeverAsFormats)
{
    openText("m.log", "<%MSG|%CODEFILE>");
    const char* message = "%s %n %d %DATETIME %THREADID %CODELINE %%";
    ASSERT_TRUE(log.RecordLog(L::LogInfo, 1, message, "%n%s", 3));
    ASSERT_TRUE(log.RecordLog(L::LogInfo, 1, KrString(std::string("before\0after", 12)), "f", 3));
    const std::string big(1 << 20, 'x');
    ASSERT_TRUE(log.RecordLog(L::LogInfo, 1, big.c_str(), "f", 3));
    // Tokens are replaced one after another: those a message brings in for later steps are
    // replaced too (no thread id is taken when the format has none), the earlier ones stay.
    EXPECT_EQ(readFile(sandbox.path("m.log")),
              std::string("<%s %n %d %DATETIME 0 3 %%|%n%s>\r\n<before|f>\r\n<") + big + "|f>\r\n");
    log.SetLogFormat("%THR%MSGEADID|%LEVEL");
    ASSERT_TRUE(log.RecordLog(L::LogInfo, 1, "", "f", 3));
    const std::string all = readFile(sandbox.path("m.log"));
    EXPECT_EQ(all.substr(all.rfind("|f>\r\n") + 5), "0|info\r\n");
}

TEST_F(KrLogFileTest, GeneratedNamesCarryPrefixProcessIdAndHour)
{
    const std::string stem = sandbox.dir() + "/Run_" + std::to_string(::getpid());
    ASSERT_TRUE(log.Open((sandbox.dir() + "//").c_str(), "Run", L::IntervalNone, L::ModeText, 0));
    EXPECT_EQ(log.GetFileName(), stem + ".log");
    EXPECT_EQ(log.GetDirectory(), sandbox.dir() + "/");
    const std::string hour = stem + "_" + strftimeNow("%Y_%m_%d_%H") + "h.";
    ASSERT_TRUE(log.Open(sandbox.dir().c_str(), "Run", L::IntervalHour, L::ModeXML, 0));
    EXPECT_EQ(log.GetFileName(), hour + "xml");
    EXPECT_TRUE(fs::exists(hour + "xsd") && fs::exists(hour + "xslt"));
    log.Close();
    ASSERT_TRUE(log.Open(L::ModeText));
    const fs::path name(log.GetFileName().Cstr());
    EXPECT_TRUE(std::regex_match(name.filename().string(),
                                 std::regex(R"(Lg\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.log)")))
        << name;
    EXPECT_EQ(name.parent_path(), fs::path(sandbox.dir()));
}

TEST_F(KrLogFileTest, XmlLogStaysWellFormedAfterEveryRecordAndEveryReopen)
{
    const std::string path = sandbox.path("x.xml");
    Strings expected;
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_TRUE(log.Open(sandbox.path("x.log").c_str(), 1, L::ModeXML));
        EXPECT_EQ(xmlItems(path), expected);
        for (int i = 0; i < 3; ++i)
        {
            expected.push_back("r" + std::to_string(round) + " <&> " + std::to_string(i));
            ASSERT_TRUE(log.RecordLog(L::LogInfo, 5, expected.back().c_str(), "f", 1));
            EXPECT_EQ(xmlItems(path), expected);
        }
        log.Close();
    }
    const std::string text = readFile(path);
    EXPECT_EQ(splitOn(text, "</LogFile>").size(), 2u);
    EXPECT_EQ(text.substr(text.size() - 12), "</LogFile>\r\n");
    ASSERT_TRUE(log.Open(sandbox.path("x.log").c_str(), 0, L::ModeXML));
    EXPECT_EQ(xmlItems(path), Strings{});
}

// The XML file itself is pinned by tests/fixtures/log.xml; the schema and stylesheet by their
// sizes and key lines.
TEST_F(KrLogFileTest, XmlSchemaStylesheetAndRecordChildren)
{
    ASSERT_TRUE(log.Open(sandbox.path("Day.log").c_str(), 0, L::ModeXML));
    const std::string xsd = readFile(sandbox.path("Day.xsd"));
    const std::string xslt = readFile(sandbox.path("Day.xslt"));
    EXPECT_EQ(std::tuple(xsd.size(), splitOn(xsd, "\r\n").size()), std::tuple(752u, 24u));
    EXPECT_EQ(std::tuple(xslt.size(), splitOn(xslt, "\r\n").size()), std::tuple(807u, 21u));
    EXPECT_EQ(xsd.find("<Schema xmlns=\"urn:schemas-microsoft-com:xml-data\" "), 0u);
    EXPECT_NE(xsd.find("\r\n<element type= \"LogItem\"/>\r\n</ElementType>\r\n</Schema>\r\n"),
              std::string::npos);
    EXPECT_NE(xslt.find("<td>Description</td><td>ThreadID</td><td>ResID</td>"), std::string::npos);
    KrMarkup stylesheet;
    EXPECT_TRUE(stylesheet.SetDoc(xslt.c_str()) && stylesheet.IsWellFormed());

    // Companions that exist already are left alone.
    writeFile(sandbox.path("Day.xsd"), "mine");
    ASSERT_TRUE(log.Open(sandbox.path("Day.log").c_str(), 0, L::ModeXML));
    EXPECT_EQ(readFile(sandbox.path("Day.xsd")), "mine");

    // A record's children carry values only for the tokens of the format.
    log.SetLogFormat("%MSG %LEVEL %CODELINE %%RESID");
    ASSERT_TRUE(log.RecordLog(L::LogWarning, 77, "hello", "src.cpp", 31));
    EXPECT_EQ(xmlItems(sandbox.path("Day.xml"), true),
              (Strings{"DateTime=", "TimeSpan=", "Level=warning", "Description=hello",
                       "ThreadID=", "ResID=77", "CodeFile=", "CodeLine=31"}));
}

TEST_F(KrLogFileTest, SizeLimitRollsReopensOrNumbersNewFiles)
{
    openText("r.log", "%MSG");
    log.SetFileSizeLimit(1000, L::SizeRolling);
    const std::string a(98, 'a'), b(98, 'b'), c(98, 'c');  // 100 bytes with the line end
    for (int i = 0; i < 11; ++i) info(a, i);
    EXPECT_EQ(fs::file_size(sandbox.path("r.log")), 1100u);  // the eleventh still appended
    info(b);
    info(c);
    std::string rolled = b + "\r\n" + c + "\r\n";
    for (int i = 0; i < 9; ++i) rolled += a + "\r\n";
    EXPECT_EQ(readFile(sandbox.path("r.log")), rolled);

    ASSERT_TRUE(log.Open(sandbox.dir().c_str(), "Log", L::IntervalNone, L::ModeText, 0));
    const std::string stem = sandbox.dir() + "/Log_" + std::to_string(::getpid());
    log.SetLogFormat("%MSG");
    log.SetFileSizeLimit(10, L::SizeReOpen);
    info("0123456789");
    info("second");
    EXPECT_EQ(readFile(stem + ".log"), "second\r\n");
    log.SetFileSizeLimit(10, L::SizeNewFile);
    for (const char* message : {"first line", "second line", "third line", "fourth"}) info(message);
    EXPECT_EQ(readFile(stem + ".log") + readFile(stem + "#1.log") + readFile(stem + "#2.log") +
                  readFile(stem + "#3.log"),
              "second\r\nfirst line\r\n"
              "second line\r\n"
              "third line\r\n"
              "fourth\r\n");
    EXPECT_EQ(log.GetFileName(), stem + "#3.log");

    // The number is replaced on the whole path, directories included.
    fs::create_directory(sandbox.path("#1"));
    openText("#1/x.log", "%MSG");
    log.SetFileSizeLimit(1, L::SizeNewFile);
    info("a");
    info("b");
    EXPECT_EQ(log.GetFileName(), sandbox.path("#1/x#1.log"));
    fs::create_directory(sandbox.path("#2"));
    info("c");
    EXPECT_EQ(log.GetFileName(), sandbox.path("#2/x#2.log"));
    EXPECT_EQ(readFile(sandbox.path("#2/x#2.log")), "c\r\n");
}

// Database mode through callbacks that keep the rows of a table in memory.
struct Database
{
    Strings names, rows;
    int closes = 0;
};

TEST_F(KrLogFileTest, DatabaseModeStoresRecordsThroughTheThreeCallbacks)
{
    Database database;
    L::SetOpenCallBack(
        [](void* source, const KrString& name) -> unsigned char
        {
            static_cast<Database*>(source)->names.push_back(name);
            return 1;
        });
    L::SetWriteCallBack(
        [](void* source, const KrString&, const KrLogItem& item)
        {
            static_cast<Database*>(source)->rows.push_back(
                std::to_string(item.m_nLevel) + "|" + std::to_string(item.m_nResID) + "|" +
                item.m_strMessage.Cstr() + "|" + item.m_strCodeFile.Cstr() + "|" +
                std::to_string(item.m_nCodeLine) + "|" + std::to_string(item.m_nThreadID > 0));
            // A write callback that logs must not come back into itself.
            L::GetInstance(true).RecordLog(L::LogFatal, 1, "inside", "cb", 1);
        });
    L::SetCloseCallBack([](void* source, const KrString&)
                        { ++static_cast<Database*>(source)->closes; });
    ASSERT_TRUE(log.Open(&database, "main.log"));
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 11, "it's loaded", "a.cpp", 10));
    EXPECT_TRUE(log.RecordLog(L::LogError, 12, "failed", "b.cpp", 20));
    log.SetDataSourceNull(&database);
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 13, "not stored", "c.cpp", 30));
    log.Close();
    EXPECT_EQ(database.rows,
              (Strings{"200|11|it's loaded|a.cpp|10|1", "400|12|failed|b.cpp|20|1"}));
    EXPECT_EQ(database.closes, 0);  // the data source was forgotten before closing
    EXPECT_EQ(database.names, Strings{"main.log"});
    EXPECT_EQ(selectedCodes(log), "13 12 11");

    ASSERT_TRUE(log.Open(&database, "again"));
    log.Close();
    EXPECT_EQ(database.closes, 1);
    L::SetOpenCallBack([](void*, const KrString&) -> unsigned char { return 0; });
    EXPECT_FALSE(log.Open(&database, "refused"));
}

TEST_F(KrLogFileTest, KilledProcessLeavesEveryAcceptedRecordWhole)
{
    const std::string path = sandbox.path("kill.log");
    constexpr int kRecords = 300;
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0)
    {
        if (!log.Open(path.c_str(), 0, L::ModeText)) ::_exit(3);
        for (int i = 0; i < kRecords; ++i)
            log.RecordLog(L::LogInfo, 7, ("record " + std::to_string(i)).c_str(), "k.cpp", i);
        ::kill(::getpid(), SIGKILL);
        ::_exit(4);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    const Strings records = splitOn(readFile(path), "\r\nCodeLine:");
    ASSERT_EQ(records.size(), static_cast<size_t>(kRecords + 1));
    for (size_t i = 0; i < kRecords; ++i)
    {
        const std::string& record = records[i];
        EXPECT_TRUE(std::regex_match(
            record.substr(i == 0 ? 0 : record.find("\r\n") + 2),
            std::regex(R"(\S+ \S+ \[\d+\] \(info\) \|  record )" + std::to_string(i) +
                       " \r\nThreadID:\\d+ \r\nCodeFile:k.cpp ")))
            << record;
    }
    EXPECT_EQ(records.back(), std::to_string(kRecords - 1) + "\r\n");
}

// Only regular files are written: whatever else is at a log path, or at the XML log's schema
// and stylesheet paths, makes Open fail and is left as it was. Links are followed, never removed.
// Missing and vanished directories never crash.
TEST_F(KrLogFileTest, PathsThatAreNotRegularFilesOrGoneAreRefusedAndLeftAsTheyWere)
{
    const std::string target = sandbox.path("target.xml");
    // name, what is made ('d'irectory, 'f'ifo, link to /dev/'n'ull, 'l'ink to target), at
    // which extension ("" for the log path itself)
    const std::vector<std::tuple<const char*, char, const char*>> cases = {
        {"dir.log", 'd', ""},       {"dir.xml", 'd', ""},       {"fifo.log", 'f', ""},
        {"fifo.xml", 'f', ""},      {"null.log", 'n', ""},      {"null.xml", 'n', ""},
        {"schema.xml", 'f', "xsd"}, {"style.xml", 'd', "xslt"}, {"link.xml", 'l', ""},
    };
    for (const auto& [name, make, ext] : cases)
    {
        SCOPED_TRACE(name);
        const std::string path = sandbox.path(name);
        const std::string at = *ext ? KrFile::ChangeExt(path.c_str(), ext).Cstr() : path;
        make == 'd'   ? (void)fs::create_directory(at)
        : make == 'f' ? (void)::mkfifo(at.c_str(), 0600)
                      : fs::create_symlink(make == 'n' ? "/dev/null" : target, at);
        const fs::file_type before = fs::symlink_status(path).type();
        const bool opens = make == 'l';
        EXPECT_EQ(log.Open(path.c_str(), 0,
                           fs::path(path).extension() == ".xml" ? L::ModeXML : L::ModeText),
                  opens ? 1 : 0);
        EXPECT_EQ(fs::symlink_status(path).type(), before);
        if (!opens) continue;
        EXPECT_TRUE(log.RecordLog(L::LogInfo, 1, "through the link", "f", 1));
        log.Close(1);
        EXPECT_EQ(xmlItems(target), Strings{"through the link"});
    }
    EXPECT_FALSE(fs::exists(sandbox.path("schema.xml")));  // refused before anything was written

    EXPECT_FALSE(
        log.Open(sandbox.path("missing/dir").c_str(), "Log", L::IntervalNone, L::ModeText, 0));
    EXPECT_FALSE(log.RecordLog(L::LogFatal, 1, "closed", "f", 1));
    EXPECT_FALSE(log.Open(sandbox.path("missing/x.log").c_str(), 0, L::ModeXML));

    fs::create_directory(sandbox.path("gone"));
    ASSERT_TRUE(log.Open(sandbox.path("gone").c_str(), "Log", L::IntervalNone, L::ModeXML, 0));
    fs::remove_all(sandbox.path("gone"));
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 2, "vanished", "f", 1));
    log.SetFileSizeLimit(1, L::SizeReOpen);
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 3, "reopen fails", "f", 1));
    EXPECT_FALSE(log.IsOpen());
}

// Above info SetLevel deletes the thread id token, above debug the code file and line tokens:
// the tokens only, their labels stay. A configured format keeps every token.
TEST_F(KrLogFileTest, LevelAndSettingsSectionConfigureTheLog)
{
    log.SetLevel(L::LogWarning);
    EXPECT_EQ(log.GetLogFormat(),
              "%DATETIME [%TIMESPAN] (%LEVEL) |  %MSG \r\nThreadID: \r\nCodeFile: \r\nCodeLine:");
    log.Close(1);
    log.SetLevel(L::LogInfo);
    EXPECT_EQ(log.GetLogFormat(),
              "%DATETIME [%TIMESPAN] (%LEVEL) |  %MSG \r\nThreadID:%THREADID \r\nCodeFile: "
              "\r\nCodeLine:");
    log.Close(1);
    const std::string location = "<LogFileLocation>" + sandbox.dir();
    const std::string pid = std::to_string(::getpid());
    // file|level|format|date format|filter|size limit|size mode
    const auto settings = [&]
    {
        return std::string(log.GetFileName()) + "|" + std::to_string(log.GetLevel()) + "|" +
               log.GetLogFormat().Cstr() + "|" + log.GetDateTimeFormat().Cstr() + "|" +
               std::to_string(log.IsFilterRepeat()) + "|" + std::to_string(log.GetFileSizeLimit()) +
               "|" + std::to_string(log.GetSizeLimitMode());
    };
    ASSERT_TRUE(log.LoadSetting(settingsRegistry(
        "<LogEnabled>TRUE</LogEnabled><StorageType>xml</StorageType><LogLevel>Info</LogLevel>"
        "<LogFormat>%MSG\\t%CODEFILE\\r\\n%THREADID</LogFormat><DateTimeFormat>%H</DateTimeFormat>"
        "<IsFilter>FALSE</IsFilter>" +
        location +
        "/</LogFileLocation><LogFilePrefix>Cfg</LogFilePrefix><MaxFileSize>5000</MaxFileSize>"
        "<ExceedSizeMode>newfile</ExceedSizeMode>")));
    // The level is applied before the configured format, which therefore keeps every token.
    EXPECT_EQ(settings(),
              sandbox.dir() + "/Cfg_" + pid + ".xml|200|%MSG\t%CODEFILE\r\n%THREADID|%H|0|5000|2");

    log.Close(1);
    for (const char* refused : {"<LogEnabled>yes</LogEnabled><StorageType>Memory</StorageType>",
                                "<LogEnabled>true</LogEnabled><StorageType>Database</StorageType>"})
        EXPECT_FALSE(log.LoadSetting(settingsRegistry(refused))) << refused;

    // Unknown words everywhere: text file, level error, no interval, rolling; sizes clamped.
    for (const auto& [size, limit] : std::vector<std::pair<std::string, std::string>>{
             {"-5", "-5"}, {"99999999999999", "2147483647"}, {"junk", "0"}, {"", "0"}})
    {
        ASSERT_TRUE(log.LoadSetting(settingsRegistry(
            "<LogEnabled>true</LogEnabled><StorageType>Paper</StorageType><LogLevel>loud"
            "</LogLevel><LogTimeInterval>Fortnight</LogTimeInterval><ExceedSizeMode>Shred"
            "</ExceedSizeMode><IsFilter>no</IsFilter>" +
            location + "</LogFileLocation><MaxFileSize>" + size + "</MaxFileSize>")));
        EXPECT_EQ(settings(), sandbox.dir() + "/Log_" + pid + ".log|400|" +
                                  log.GetLogFormat().Cstr() + "|" + log.GetDateTimeFormat().Cstr() +
                                  "|1|" + limit + "|0");
        EXPECT_TRUE(log.RecordLog(L::LogError, 1, ("size " + size).c_str(), "f", 1));
    }
}

TEST_F(KrLogFileTest, QueriesSelectFromTheRingLatestFirst)
{
    ASSERT_TRUE(log.Open(L::ModeMemory));
    log.SetQueryMaxNum(4);
    const char* messages[] = {"gone", "info two", "warn three", "error four", "fatal five"};
    for (int code = 1; code <= 5; ++code)
        ASSERT_TRUE(log.RecordLog(static_cast<L::LogLevelType>(100 * code), code,
                                  messages[code - 1], "f", 1));
    EXPECT_EQ(log.GetRecordCount(), 4);
    KrLogQueryDef query;
    EXPECT_EQ(selectedCodes(log, query), "5 4");  // errors and fatals by default
    query.m_nMinLevel = L::LogDebug;
    EXPECT_EQ(selectedCodes(log, query), "5 4 3 2");
    query.m_strResIDOperator = "<=";
    query.m_nResID = 3;
    EXPECT_EQ(selectedCodes(log, query), "3 2");
    query.m_strResIDOperator = "";
    query.m_strMessage = "f";
    EXPECT_EQ(selectedCodes(log, query), "5 4 2");
    query.m_nMaxCount = 1;
    EXPECT_EQ(selectedCodes(log, query), "5");
    query = KrLogQueryDef();
    query.m_nThreadID = 12345;
    EXPECT_EQ(selectedCodes(log, query), "");
    query.m_nThreadID = 0;
    query.m_tmFrom = KrTime::GetCurrentTime() + KrTimeSpan(1.0);
    EXPECT_EQ(selectedCodes(log, query), "");
}

TEST_F(KrLogFileTest, TextCallbackReceivesEachRecordWithoutLineEnd)
{
    static Strings seen;
    seen.clear();
    L::SetCallBack(
        [](const char* text)
        {
            seen.push_back(text);
            L::GetInstance(true).RecordLog(L::LogFatal, 2, "inside", "f", 1);
        });
    openText("cb.log", "%LEVEL:%MSG:%CODELINE");
    log.RecordLog(L::LogWarning, 1, "one", "f", 9);
    log.SetSaveToPhysical(0);
    log.RecordLog(L::LogWarning, 1, "two", "f", 9);
    EXPECT_EQ(seen, Strings{"warning:one:9"});  // the record made inside was dropped
    EXPECT_EQ(readFile(sandbox.path("cb.log")), "warning:one:9\r\n");
}

TEST_F(KrLogFileTest, FailuresFromBelowFollowTheThresholdLikeRecordLog)
{
    // threshold, records kept in the ring (an error under a fatal threshold reaches only the
    // error stack)
    KrLogQueryDef errorsOnly;
    errorsOnly.m_nMaxLevel = L::LogError;
    for (const auto& [threshold, kept] :
         {std::pair{L::LogDebug, "29554"}, {L::LogError, "29554"}, {L::LogFatal, ""}})
    {
        log.Close(1);
        ASSERT_TRUE(log.Open(L::ModeMemory));
        log.SetLevel(threshold);
        EXPECT_FALSE(unzipGarbage());
        EXPECT_EQ(selectedCodes(log, errorsOnly), kept) << threshold;
        const KrErrorObj::ErrorInfo last = KrErrorObj::GetInstance().GetLast(0);
        EXPECT_EQ(KrErrorObj::GetInstance().GetCount(), 1) << threshold;
        EXPECT_EQ(last.nErrorCode, 29554u) << threshold;
        EXPECT_NE(std::string(last.strCodeFile).find("KrCompress"), std::string::npos);
    }
    // A closed log takes nothing, not even into the error stack.
    log.Close(1);
    EXPECT_FALSE(unzipGarbage());
    EXPECT_EQ(KrErrorObj::GetInstance().GetCount(), 0);
}
