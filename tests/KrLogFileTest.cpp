#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <regex>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"

using namespace KRN;
using KrLogTest::selectedCodes;
namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
using Ints = std::vector<int>;
using L = KrLogFile;

namespace
{

std::string strftimeNow(const char* format)
{
    char buffer[64];
    const std::time_t now = std::time(nullptr);
    std::strftime(buffer, sizeof buffer, format, std::localtime(&now));
    return buffer;
}

// The Description of each LogItem of an XML log, or "not well-formed".
Strings xmlItems(const std::string& path)
{
    KrMarkup markup;
    if (!markup.Load(path.c_str()) || !markup.IsWellFormed() || !markup.FindElem("LogFile"))
        return {"not well-formed"};
    Strings out;
    markup.IntoElem();
    while (markup.FindElem("LogItem"))
        if (markup.FindChildElem("Description")) out.push_back(markup.GetChildData());
    return out;
}

bool unzipGarbage()
{
    const unsigned char garbage[] = {0x78, 0x9c, 0xff, 0xff, 0x00, 0x13, 0x37};
    unsigned char out[64];
    unsigned int outLength = sizeof out;
    return KrCompress::UnZip(out, outLength, garbage, sizeof garbage);
}

// Every test starts from a closed log with its defaults, in a fresh directory.
class KrLogFileTest : public ::testing::Test
{
protected:
    KrLogTest::LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
    std::string path(const std::string& name) const { return sandbox.path(name); }
    std::string file(const std::string& name) const { return readFile(sandbox.path(name)); }
    void openText(const char* name, const char* format = nullptr)
    {
        ASSERT_TRUE(log.Open(path(name).c_str(), 0, L::ModeText));
        if (format) log.SetLogFormat(format);
    }
    bool rec(const std::string& message, int code = 0, L::LogLevelType level = L::LogInfo)
    {
        return log.RecordLog(level, code, message.c_str(), "f", 1);
    }
};

}  // namespace

TEST(KrLogFileConversions, EnumTextsOperatorsAndPeriods)
{
    // text, then level, mode, interval and size mode read from it
    // clang-format off
    const std::pair<const char*, Ints> texts[] = {
        {"", {400, 0, 0, 0}}, {"nonsense", {400, 0, 0, 0}}, {"DEBUG", {100, 0, 0, 0}},
        {"Info", {200, 0, 0, 0}}, {"warning", {300, 0, 0, 0}}, {"FaTaL", {500, 0, 0, 0}},
        {"xml", {400, 1, 0, 0}}, {"DATABASE", {400, 2, 0, 0}}, {"memory", {400, 3, 0, 0}},
        {"hour", {400, 0, 1, 0}}, {"DAY", {400, 0, 2, 0}}, {"Week", {400, 0, 3, 0}},
        {"month", {400, 0, 4, 0}}, {"reopen", {400, 0, 0, 1}}, {"NEWFILE", {400, 0, 0, 2}}};
    // clang-format on
    for (const auto& [text, expected] : texts)
        EXPECT_EQ((Ints{L::GetLevelAsEnum(text), L::GetModeAsEnum(text),
                        L::GetTimeIntervalAsEnum(text), L::GetSizeLimitModeAsEnum(text)}),
                  expected)
            << text;
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
    const std::vector<std::tuple<L::TimeInterval, KrTime, KrTime, int>> periods = {
        {L::IntervalNone, opened, KrTime(2024, 6, 1, 0, 0, 0), 0},
        {L::IntervalHour, opened, KrTime(2023, 12, 29, 10, 59, 59), 0},
        {L::IntervalHour, opened, KrTime(2023, 12, 29, 11, 0, 0), 1},
        {L::IntervalHour, opened, KrTime(2023, 12, 30, 10, 0, 0), 0},
        {L::IntervalDay, opened, KrTime(2023, 12, 30, 0, 0, 0), 1},
        {L::IntervalDay, opened, KrTime(2024, 1, 29, 0, 0, 0), 0},
        {L::IntervalMonth, opened, KrTime(2024, 1, 1, 0, 0, 0), 1},
        {L::IntervalWeek, opened, KrTime(2024, 1, 4, 0, 0, 0), 0},
        {L::IntervalWeek, opened, KrTime(2024, 1, 5, 0, 0, 0), 1},
        {L::IntervalWeek, opened, KrTime(2023, 12, 31, 0, 0, 0), 0},
        {L::IntervalWeek, march, KrTime(2024, 3, 7), 0},
        {L::IntervalWeek, march, KrTime(2024, 3, 8), 1}};
    for (const auto& [interval, from, now, expected] : periods)
        EXPECT_EQ(L::IsNewPeriod(interval, from, now), expected) << interval;
}

// Levels below the threshold are dropped; errors and fatals reach the error stack whatever the
// threshold, and so do failures reported from inside the library.
TEST_F(KrLogFileTest, ThresholdPassesErrorsAndFatalsToTheErrorStackAlways)
{
    KrErrorObj& errors = KrErrorObj::GetInstance();
    // threshold, level, accepted, pushed onto the error stack
    const std::vector<std::tuple<int, int, int, int>> rows = {
        {100, 100, 1, 0}, {300, 200, 0, 0}, {300, 300, 1, 0}, {500, 300, 0, 0},
        {500, 400, 0, 1}, {500, 500, 1, 1}, {100, 400, 1, 1}, {400, 450, 1, 1}};
    for (const auto& [threshold, level, accepted, pushed] : rows)
    {
        const KrLogTest::LogSandbox fresh;
        ASSERT_TRUE(log.Open(fresh.path("t.log").c_str(), 0, L::ModeText));
        log.SetLevel(static_cast<L::LogLevelType>(threshold));
        const bool taken = rec("m", 7, static_cast<L::LogLevelType>(level));
        EXPECT_EQ((std::tuple(taken, errors.GetCount(), readFile(fresh.path("t.log")).empty())),
                  (std::tuple<bool, int, bool>(accepted, pushed, accepted == 0)))
            << threshold << " " << level;
    }
    // threshold, records kept in the ring (an error under a fatal threshold reaches only the
    // error stack)
    KrLogQueryDef errorsOnly;
    errorsOnly.m_nMaxLevel = L::LogError;
    for (const auto& [threshold, kept] : {std::pair{L::LogDebug, std::string("29554")},
                                          {L::LogError, std::string("29554")},
                                          {L::LogFatal, std::string()}})
    {
        log.Close(1);
        ASSERT_TRUE(log.Open(L::ModeMemory));
        log.SetLevel(threshold);
        EXPECT_FALSE(unzipGarbage());
        EXPECT_EQ(selectedCodes(log, errorsOnly) + "|" + std::to_string(errors.GetCount()) + "|" +
                      std::to_string(errors.GetLast(0).nErrorCode),
                  kept + "|1|29554")
            << threshold;
        EXPECT_NE(std::string(errors.GetLast(0).strCodeFile).find("KrCompress"), std::string::npos);
    }
    // A closed log takes nothing, not even into the error stack.
    log.Close(1);
    EXPECT_FALSE(unzipGarbage());
    EXPECT_EQ(errors.GetCount(), 0);
}

TEST_F(KrLogFileTest, RepetitionFilterAndQueriesOfTheRing)
{
    ASSERT_TRUE(log.Open(L::ModeMemory));
    EXPECT_TRUE(rec("same", 1));
    EXPECT_FALSE(log.RecordLog(L::LogInfo, 1, "same", "f", 2));  // the previous record
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 2, "same", "f", 2));   // another code
    std::string accepted;
    for (int i = 0; i < 16; ++i) accepted += rec(i % 2 ? "B" : "A", 9) ? (i % 2 ? 'B' : 'A') : '-';
    EXPECT_EQ(accepted, "ABABABABAB------");
    // Twelve keys are queued; the thousand-and-third pushes out the first "A".
    for (int i = 0; i < 990; ++i) rec("other " + std::to_string(i), 9);
    EXPECT_FALSE(rec("A", 9));
    rec("one more", 9);
    EXPECT_TRUE(rec("A", 9));
    log.SetFilterRepeat(0);
    EXPECT_TRUE(rec("B", 9) && rec("B", 9));

    // Queries select from the ring, latest first.
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
    KrLogQueryDef byThread, byTime;
    byThread.m_nThreadID = 12345;
    byTime.m_tmFrom = KrTime::GetCurrentTime() + KrTimeSpan(1.0);
    EXPECT_EQ(selectedCodes(log, byThread) + selectedCodes(log, byTime), "");
}

// Tokens are replaced one after another: those a message brings in for later steps are replaced
// too (no thread id is taken when the format has none), the earlier ones stay. The text
// callback receives each record saved, without its line end, and nothing logged inside it.
TEST_F(KrLogFileTest, MessagesAreWrittenAsTextNeverAsFormatsAndPassedToTheCallback)
{
    static std::string seen;
    seen.clear();
    L::SetCallBack(
        [](const char* text)
        {
            seen += text + std::string("\r\n");
            L::GetInstance(true).RecordLog(L::LogFatal, 2, "inside", "f", 1);
        });
    openText("m.log", "<%MSG|%CODEFILE>");
    const char* message = "%s %n %d %DATETIME %THREADID %CODELINE %%";
    ASSERT_TRUE(log.RecordLog(L::LogInfo, 1, message, "%n%s", 3));
    ASSERT_TRUE(log.RecordLog(L::LogInfo, 1, KrString(std::string("before\0after", 12)), "f", 3));
    const std::string big(1 << 20, 'x');
    ASSERT_TRUE(rec(big));
    log.SetLogFormat("%THR%MSGEADID|%LEVEL");
    ASSERT_TRUE(rec(""));
    log.SetSaveToPhysical(0);
    rec("not saved");
    EXPECT_EQ(file("m.log"), std::string("<%s %n %d %DATETIME 0 3 %%|%n%s>\r\n<before|f>\r\n<") +
                                 big + "|f>\r\n0|info\r\n");
    EXPECT_EQ(seen, file("m.log"));
}

// The XML file itself is pinned by tests/fixtures/log.xml, the schema and stylesheet (literals
// of the library) by their sizes.
TEST_F(KrLogFileTest, XmlLogStaysWellFormedAfterEveryRecordAndEveryReopen)
{
    Strings expected;
    for (int round = 0; round < 3; ++round, log.Close())
    {
        ASSERT_TRUE(log.Open(path("x.log").c_str(), 1, L::ModeXML));
        EXPECT_EQ(xmlItems(path("x.xml")), expected);
        for (int i = 0; i < 3; ++i)
        {
            expected.push_back("r" + std::to_string(round) + " <&> " + std::to_string(i));
            ASSERT_TRUE(rec(expected.back(), 5));
            EXPECT_EQ(xmlItems(path("x.xml")), expected);
        }
    }
    ASSERT_TRUE(log.Open(path("x.log").c_str(), 0, L::ModeXML));
    EXPECT_EQ(xmlItems(path("x.xml")), Strings{});

    ASSERT_TRUE(log.Open(path("Day.log").c_str(), 0, L::ModeXML));
    const std::string xsd = file("Day.xsd"), xslt = file("Day.xslt");
    const auto lines = [](const std::string& text)
    { return std::count(text.begin(), text.end(), '\n'); };
    EXPECT_EQ(std::tuple(xsd.size(), lines(xsd), xslt.size(), lines(xslt)),
              std::tuple(752u, 23, 807u, 20));
    KrMarkup stylesheet;
    EXPECT_TRUE(stylesheet.SetDoc(xslt.c_str()) && stylesheet.IsWellFormed());
    // Companions that exist already are left alone.
    writeFile(path("Day.xsd"), "mine");
    ASSERT_TRUE(log.Open(path("Day.log").c_str(), 0, L::ModeXML));
    EXPECT_EQ(file("Day.xsd"), "mine");
    // A record's children carry values only for the tokens of the format.
    log.SetLogFormat("%MSG %LEVEL %CODELINE %%RESID");
    ASSERT_TRUE(log.RecordLog(L::LogWarning, 77, "hello", "src.cpp", 31));
    EXPECT_NE(file("Day.xml").find(
                  "<LogItem>\r\n<DateTime/>\r\n<TimeSpan/>\r\n<Level>warning</Level>\r\n"
                  "<Description>hello</Description>\r\n<ThreadID/>\r\n<ResID>77</ResID>\r\n"
                  "<CodeFile/>\r\n<CodeLine>31</CodeLine>\r\n</LogItem>\r\n</LogFile>"),
              std::string::npos);
}

// Generated names carry the prefix, the process id and, with an interval, the hour. A size
// limit rolls the file over, reopens it or numbers new files.
TEST_F(KrLogFileTest, GeneratedNamesAndSizeLimitsThatRollReopenOrNumberNewFiles)
{
    openText("r.log", "%MSG");
    log.SetFileSizeLimit(1000, L::SizeRolling);
    const std::string a(98, 'a'), b(98, 'b'), c(98, 'c');  // 100 bytes with the line end
    for (int i = 0; i < 11; ++i) rec(a, i);                // the eleventh still appended
    rec(b);
    rec(c);
    std::string rolled = b + "\r\n" + c + "\r\n";
    for (int i = 0; i < 9; ++i) rolled += a + "\r\n";
    EXPECT_EQ(file("r.log"), rolled);

    const std::string stem = sandbox.dir() + "/Log_" + std::to_string(::getpid());
    ASSERT_TRUE(log.Open((sandbox.dir() + "//").c_str(), "Log", L::IntervalNone, L::ModeText, 0));
    EXPECT_EQ(log.GetFileName() + "|" + log.GetDirectory(), stem + ".log|" + sandbox.dir() + "/");
    log.SetLogFormat("%MSG");
    log.SetFileSizeLimit(10, L::SizeReOpen);
    rec("0123456789");
    rec("second");
    EXPECT_EQ(readFile(stem + ".log"), "second\r\n");
    log.SetFileSizeLimit(10, L::SizeNewFile);
    for (const char* message : {"first line", "second line", "third line", "fourth"}) rec(message);
    EXPECT_EQ(readFile(stem + ".log") + readFile(stem + "#1.log") + readFile(stem + "#2.log") +
                  readFile(stem + "#3.log") + log.GetFileName().Cstr(),
              "second\r\nfirst line\r\nsecond line\r\nthird line\r\nfourth\r\n" + stem + "#3.log");

    // The number is replaced on the whole path, directories included.
    fs::create_directory(path("#1"));
    openText("#1/x.log", "%MSG");
    log.SetFileSizeLimit(1, L::SizeNewFile);
    rec("a");
    rec("b");
    EXPECT_EQ(log.GetFileName(), path("#1/x#1.log"));
    fs::create_directory(path("#2"));
    rec("c");
    EXPECT_EQ(file("#2/x#2.log"), "c\r\n");

    const std::string hour = stem + "_" + strftimeNow("%Y_%m_%d_%H") + "h.";
    ASSERT_TRUE(log.Open(sandbox.dir().c_str(), "Log", L::IntervalHour, L::ModeXML, 0));
    EXPECT_EQ(log.GetFileName(), hour + "xml");
    EXPECT_TRUE(fs::exists(hour + "xsd") && fs::exists(hour + "xslt"));
    log.Close();
    ASSERT_TRUE(log.Open(L::ModeText));
    const std::regex name(sandbox.dir() + R"(/Lg\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.log)");
    EXPECT_TRUE(std::regex_match(log.GetFileName().Cstr(), name)) << log.GetFileName();
}

// Database mode through callbacks that note what they are given, as rows of a table in memory.
TEST_F(KrLogFileTest, DatabaseModeStoresRecordsThroughTheThreeCallbacks)
{
    Strings calls;
    L::SetOpenCallBack(
        [](void* source, const KrString& name) -> unsigned char
        {
            static_cast<Strings*>(source)->push_back("open " + std::string(name));
            return 1;
        });
    L::SetWriteCallBack(
        [](void* source, const KrString& name, const KrLogItem& item)
        {
            KrString row;
            row.Format("%s %d|%d|%s|%s|%d|%d", name.Cstr(), item.m_nLevel, item.m_nResID,
                       item.m_strMessage.Cstr(), item.m_strCodeFile.Cstr(), item.m_nCodeLine,
                       item.m_nThreadID > 0);
            static_cast<Strings*>(source)->push_back(row.Cstr());
            // A write callback that logs must not come back into itself.
            L::GetInstance(true).RecordLog(L::LogFatal, 1, "inside", "cb", 1);
        });
    L::SetCloseCallBack(
        [](void* source, const KrString& name)
        { static_cast<Strings*>(source)->push_back("close " + std::string(name)); });
    ASSERT_TRUE(log.Open(&calls, "main.log"));
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 11, "it's loaded", "a.cpp", 10));
    EXPECT_TRUE(log.RecordLog(L::LogError, 12, "failed", "b.cpp", 20));
    log.SetDataSourceNull(&calls);
    EXPECT_TRUE(log.RecordLog(L::LogInfo, 13, "not stored", "c.cpp", 30));
    log.Close();  // the data source was forgotten before: nothing to close
    EXPECT_EQ(selectedCodes(log), "13 12 11");
    ASSERT_TRUE(log.Open(&calls, "again"));
    log.Close();
    EXPECT_EQ(calls, (Strings{"open main.log", "main.log 200|11|it's loaded|a.cpp|10|1",
                              "main.log 400|12|failed|b.cpp|20|1", "open again", "close again"}));
    L::SetOpenCallBack([](void*, const KrString&) -> unsigned char { return 0; });
    EXPECT_FALSE(log.Open(&calls, "refused"));
}

// Only regular files are written: whatever else is at a log path, or at the XML log's schema
// and stylesheet paths, makes Open fail and is left as it was. Links are followed, never
// removed. Missing and vanished directories never crash.
TEST_F(KrLogFileTest, PathsThatAreNotRegularFilesOrGoneAreRefusedAndLeftAsTheyWere)
{
    const std::string target = path("target.xml");
    // name, what is made ('d'irectory, 'f'ifo, link to /dev/'n'ull, 'l'ink to target), at
    // which extension ("" for the log path itself); only the last opens
    const std::vector<std::tuple<const char*, char, const char*>> cases = {
        {"dir.log", 'd', ""},       {"dir.xml", 'd', ""},       {"fifo.log", 'f', ""},
        {"fifo.xml", 'f', ""},      {"null.log", 'n', ""},      {"null.xml", 'n', ""},
        {"schema.xml", 'f', "xsd"}, {"style.xml", 'd', "xslt"}, {"link.xml", 'l', ""}};
    for (const auto& [name, make, ext] : cases)
    {
        const std::string logPath = path(name);
        const std::string at = *ext ? KrFile::ChangeExt(logPath.c_str(), ext).Cstr() : logPath;
        make == 'd'   ? (void)fs::create_directory(at)
        : make == 'f' ? (void)::mkfifo(at.c_str(), 0600)
                      : fs::create_symlink(make == 'n' ? "/dev/null" : target, at);
        const fs::file_type before = fs::symlink_status(logPath).type();
        EXPECT_EQ(log.Open(logPath.c_str(), 0,
                           fs::path(logPath).extension() == ".xml" ? L::ModeXML : L::ModeText),
                  make == 'l' ? 1 : 0)
            << name;
        EXPECT_EQ(fs::symlink_status(logPath).type(), before) << name;
    }
    EXPECT_TRUE(rec("through the link"));
    log.Close(1);
    EXPECT_EQ(xmlItems(target), Strings{"through the link"});
    EXPECT_FALSE(fs::exists(path("schema.xml")));  // refused before anything was written

    EXPECT_FALSE(log.Open(path("missing/dir").c_str(), "Log", L::IntervalNone, L::ModeText, 0));
    EXPECT_FALSE(rec("closed", 1, L::LogFatal));
    EXPECT_FALSE(log.Open(path("missing/x.log").c_str(), 0, L::ModeXML));

    fs::create_directory(path("gone"));
    ASSERT_TRUE(log.Open(path("gone").c_str(), "Log", L::IntervalNone, L::ModeXML, 0));
    fs::remove_all(path("gone"));
    EXPECT_TRUE(rec("vanished", 2));
    log.SetFileSizeLimit(1, L::SizeReOpen);
    EXPECT_TRUE(rec("reopen fails", 3));
    EXPECT_FALSE(log.IsOpen());
}

// A record in the default template carries the local time, the time span, the level, the
// message, the thread id and the code file. Above info SetLevel deletes the thread id token,
// above debug the code file and line tokens: the tokens only, their labels stay. The level is
// applied before a configured format, which therefore keeps every token. Unknown words read as
// text file, level error, no interval and rolling; sizes are clamped.
TEST_F(KrLogFileTest, DefaultTemplateLevelAndSettingsSectionConfigureTheLog)
{
    const std::string before = strftimeNow("%Y-%m-%d %H:%M:%S");
    openText("d.log");
    ASSERT_TRUE(log.RecordLog(L::LogError, 7, "record", "k.cpp", 12));
    const std::string text = file("d.log"), after = strftimeNow("%Y-%m-%d %H:%M:%S");
    EXPECT_TRUE(std::regex_match(
        text, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \[\d+\] \(error\) \|  record )"
                         "\r\nThreadID:" +
                         std::to_string(::getpid()) + " \r\nCodeFile:k.cpp \r\nCodeLine:12\r\n")))
        << text;
    EXPECT_TRUE(before <= text.substr(0, 19) && text.substr(0, 19) <= after) << text;
    log.SetLevel(L::LogInfo);
    EXPECT_EQ(log.GetLogFormat(),
              "%DATETIME [%TIMESPAN] (%LEVEL) |  %MSG \r\nThreadID:%THREADID \r\nCodeFile: "
              "\r\nCodeLine:");
    // A name in the directory, with the process id, and what follows it.
    const auto named = [&](const char* prefix, const char* rest)
    { return sandbox.dir() + "/" + prefix + "_" + std::to_string(::getpid()) + rest; };
    const std::string unknown =
        "<LogEnabled>true</LogEnabled><StorageType>Paper</StorageType><LogLevel>loud</LogLevel>"
        "<LogTimeInterval>Fortnight</LogTimeInterval><ExceedSizeMode>Shred</ExceedSizeMode>"
        "<IsFilter>no</IsFilter><MaxFileSize>";
    const std::string defaults =
        named("Log",
              ".log|400|%DATETIME [%TIMESPAN] (%LEVEL) |  %MSG \r\nThreadID: \r\n"
              "CodeFile: \r\nCodeLine:|%Y-%m-%d %H:%M:%S|1|");
    // settings besides the location, then file|level|format|date format|filter|size limit|mode
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"<LogEnabled>TRUE</LogEnabled><StorageType>xml</StorageType><LogLevel>Info</LogLevel>"
         "<LogFormat>%MSG\\t%CODEFILE\\r\\n%THREADID</LogFormat><DateTimeFormat>%H</"
         "DateTimeFormat>"
         "<IsFilter>FALSE</IsFilter><LogFilePrefix>Cfg</LogFilePrefix>"
         "<MaxFileSize>5000</MaxFileSize><ExceedSizeMode>newfile</ExceedSizeMode>",
         named("Cfg", ".xml|200|%MSG\t%CODEFILE\r\n%THREADID|%H|0|5000|2")},
        {"<LogEnabled>yes</LogEnabled><StorageType>Memory</StorageType>", "refused"},
        {"<LogEnabled>true</LogEnabled><StorageType>Database</StorageType>", "refused"},
        {unknown + "-5</MaxFileSize>", defaults + "-5|0"},
        {unknown + "99999999999999</MaxFileSize>", defaults + "2147483647|0"},
        {unknown + "junk</MaxFileSize>", defaults + "0|0"},
        {unknown + "</MaxFileSize>", defaults + "0|0"}};
    for (const auto& [entries, expected] : rows)
    {
        log.Close(1);
        KrRegistry settings;
        settings.LoadDoc(("<krn><LogSetting type=\"object\"><LogFileLocation>" + sandbox.dir() +
                          "</LogFileLocation>" + entries + "</LogSetting></krn>")
                             .c_str());
        KrString got("refused");
        if (log.LoadSetting(settings) && rec("loaded", 1, L::LogError))
            got.Format("%s|%d|%s|%s|%d|%d|%d", log.GetFileName().Cstr(), log.GetLevel(),
                       log.GetLogFormat().Cstr(), log.GetDateTimeFormat().Cstr(),
                       log.IsFilterRepeat(), log.GetFileSizeLimit(), log.GetSizeLimitMode());
        EXPECT_EQ(got, expected);
    }
}
