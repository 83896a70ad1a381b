#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef ZOBASE_TEST_SQLITE
#include <sqlite3.h>
#endif

#include <ctime>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "Base/ZoBase.h"
#include "KrLogTestSupport.h"

using namespace KRN;
using KrLogTest::LogSandbox;
using KrLogTest::splitOn;
namespace fs = std::filesystem;

namespace
{

int kernelThreadId()
{
    return static_cast<int>(::syscall(SYS_gettid));
}

std::string strftimeNow(const char* format)
{
    const std::time_t now = std::time(nullptr);
    std::tm fields{};
    ::localtime_r(&now, &fields);
    char buffer[64];
    std::strftime(buffer, sizeof buffer, format, &fields);
    return buffer;
}

// Messages of the in-memory records, oldest first.
[[maybe_unused]] std::vector<std::string> ringMessages(KrLogFile& log)  // used with SQLite
{
    KrLogQueryDef all;
    all.m_nMinLevel = KrLogFile::LogDebug;
    KrArray<KrLogItem> items;
    log.Query(all, items);
    std::vector<std::string> messages;
    for (int i = items.GetSize() - 1; i >= 0; --i) messages.push_back(items[i].m_strMessage);
    return messages;
}

// The messages of the LogItem elements of an XML log, or "not well-formed".
std::vector<std::string> xmlDescriptions(const std::string& path)
{
    KrMarkup markup;
    if (!markup.Load(path.c_str()) || !markup.IsWellFormed() || !markup.FindElem("LogFile"))
        return {"not well-formed"};
    std::vector<std::string> messages;
    markup.IntoElem();
    while (markup.FindElem("LogItem"))
    {
        markup.FindChildElem("Description");
        messages.push_back(markup.GetChildData());
    }
    return messages;
}

// Every test starts from a closed log with its defaults, in a fresh directory.
class KrLogFileTest : public ::testing::Test
{
protected:
    LogSandbox sandbox;
    KrLogFile& log = sandbox.log();
};

KrRegistry settingsRegistry(const std::string& entries)
{
    KrRegistry registry;
    registry.LoadDoc(
        ("<krn><LogSetting type=\"object\">" + entries + "</LogSetting></krn>").c_str());
    return registry;
}

}  // namespace

TEST(KrLogFileConversions, EnumTextsAreCaseInsensitiveWithStatedDefaults)
{
    const std::vector<std::tuple<std::string, int, int, int, int>> rows = {
        // text, level, mode, interval, size mode
        {"", 400, 0, 0, 0},      {"nonsense", 400, 0, 0, 0}, {"DEBUG", 100, 0, 0, 0},
        {"Info", 200, 0, 0, 0},  {"warning", 300, 0, 0, 0},  {"FaTaL", 500, 0, 0, 0},
        {"xml", 400, 1, 0, 0},   {"DATABASE", 400, 2, 0, 0}, {"memory", 400, 3, 0, 0},
        {"hour", 400, 0, 1, 0},  {"DAY", 400, 0, 2, 0},      {"Week", 400, 0, 3, 0},
        {"month", 400, 0, 4, 0}, {"reopen", 400, 0, 0, 1},   {"NEWFILE", 400, 0, 0, 2},
    };
    for (const auto& [text, level, mode, interval, sizeMode] : rows)
    {
        SCOPED_TRACE(text);
        EXPECT_EQ(KrLogFile::GetLevelAsEnum(text.c_str()), level);
        EXPECT_EQ(KrLogFile::GetModeAsEnum(text.c_str()), mode);
        EXPECT_EQ(KrLogFile::GetTimeIntervalAsEnum(text.c_str()), interval);
        EXPECT_EQ(KrLogFile::GetSizeLimitModeAsEnum(text.c_str()), sizeMode);
    }
    EXPECT_EQ(KrLogFile::GetLevelAsString(KrLogFile::LogWarning), "warning");
    EXPECT_EQ(KrLogFile::GetLevelAsString(static_cast<KrLogFile::LogLevelType>(250)), "unknown");
}

TEST(KrLogFileConversions, QueryOperatorsCompareTwoIntegers)
{
    const std::vector<std::tuple<const char*, int, int, int>> rows = {
        {">", 2, 1, 1},  {">", 1, 1, 0},  {"<", 1, 2, 1},  {"=", 3, 3, 1},  {"=", 3, 4, 0},
        {">=", 3, 3, 1}, {"<=", 4, 3, 0}, {"!=", 1, 2, 1}, {"!=", 2, 2, 0}, {"==", 2, 2, 0},
        {"", 2, 2, 0},   {"=>", 3, 2, 0}, {" >", 3, 2, 0},
    };
    for (const auto& [op, a, b, expected] : rows)
        EXPECT_EQ(KrLogQueryDef::Compare(op, a, b), expected) << op << " " << a << " " << b;
}

TEST(KrLogFileConversions, NewPeriodByIntervalAndWeekAcrossTheYearEnd)
{
    const KrTime opened(2023, 12, 29, 10, 30, 0);
    const std::vector<std::tuple<KrLogFile::TimeInterval, KrTime, int>> rows = {
        {KrLogFile::IntervalNone, KrTime(2024, 6, 1, 0, 0, 0), 0},
        {KrLogFile::IntervalHour, KrTime(2023, 12, 29, 10, 59, 59), 0},
        {KrLogFile::IntervalHour, KrTime(2023, 12, 29, 11, 0, 0), 1},
        {KrLogFile::IntervalHour, KrTime(2023, 12, 30, 10, 0, 0), 0},  // same hour, next day
        {KrLogFile::IntervalDay, KrTime(2023, 12, 30, 0, 0, 0), 1},
        {KrLogFile::IntervalDay, KrTime(2024, 1, 29, 0, 0, 0), 0},  // same day of month
        {KrLogFile::IntervalMonth, KrTime(2024, 1, 1, 0, 0, 0), 1},
        {KrLogFile::IntervalWeek, KrTime(2024, 1, 4, 0, 0, 0), 0},  // 4 - 363 + 365 = 6
        {KrLogFile::IntervalWeek, KrTime(2024, 1, 5, 0, 0, 0), 1},  // 5 - 363 + 365 = 7
        {KrLogFile::IntervalWeek, KrTime(2023, 12, 31, 0, 0, 0), 0},
    };
    for (const auto& [interval, now, expected] : rows)
        EXPECT_EQ(KrLogFile::IsNewPeriod(interval, opened, now), expected) << interval;
    EXPECT_EQ(
        KrLogFile::IsNewPeriod(KrLogFile::IntervalWeek, KrTime(2024, 3, 1), KrTime(2024, 3, 7)), 0);
    EXPECT_EQ(
        KrLogFile::IsNewPeriod(KrLogFile::IntervalWeek, KrTime(2024, 3, 1), KrTime(2024, 3, 8)), 1);
}

TEST_F(KrLogFileTest, SetLevelDeletesTokensButKeepsTheirLabels)
{
    log.SetLevel(KrLogFile::LogWarning);
    EXPECT_EQ(log.GetLogFormat(),
              "%DATETIME [%TIMESPAN] (%LEVEL) |  %MSG \r\nThreadID: \r\nCodeFile: \r\nCodeLine:");
    log.Close(1);
    log.SetLevel(KrLogFile::LogInfo);
    EXPECT_EQ(log.GetLogFormat(),
              "%DATETIME [%TIMESPAN] (%LEVEL) |  %MSG \r\nThreadID:%THREADID \r\nCodeFile: "
              "\r\nCodeLine:");
}

TEST_F(KrLogFileTest, TextRecordFollowsTheDefaultTemplate)
{
    ASSERT_TRUE(log.Open(sandbox.path("a.log").c_str(), 0, KrLogFile::ModeText));
    const std::string before = strftimeNow("%Y-%m-%d %H:%M:%S");
    ASSERT_TRUE(log.RecordLog(KrLogFile::LogError, 11023, "cannot open", "map.cpp", 12));
    const std::string after = strftimeNow("%Y-%m-%d %H:%M:%S");
    const std::string text = readFile(sandbox.path("a.log"));
    const std::regex expected(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \[\d+\] \(error\) \|  cannot open \r\nThreadID:(\d+) )"
        "\r\nCodeFile:map.cpp \r\nCodeLine:12\r\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(text, match, expected)) << text;
    EXPECT_EQ(std::stoi(match[1]), kernelThreadId());
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
        ASSERT_TRUE(log.Open(fresh.path("t.log").c_str(), 0, KrLogFile::ModeText));
        log.SetLevel(static_cast<KrLogFile::LogLevelType>(threshold));
        EXPECT_EQ(log.RecordLog(static_cast<KrLogFile::LogLevelType>(level), 7, "m", "f", 1),
                  accepted);
        EXPECT_EQ(KrErrorObj::GetInstance().GetCount(), pushed);
        EXPECT_EQ(readFile(fresh.path("t.log")).empty(), accepted == 0);
    }
}

TEST_F(KrLogFileTest, RepetitionFilterDropsTheSixthOccurrenceUntilAThousandOthersPass)
{
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 1, "same", "f", 1));
    EXPECT_FALSE(log.RecordLog(KrLogFile::LogInfo, 1, "same", "f", 2));  // the previous record
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 2, "same", "f", 2));   // another code
    std::string accepted;
    for (int i = 0; i < 8; ++i)
    {
        accepted += log.RecordLog(KrLogFile::LogInfo, 9, "A", "f", 1) ? 'A' : '-';
        accepted += log.RecordLog(KrLogFile::LogInfo, 9, "B", "f", 1) ? 'B' : '-';
    }
    EXPECT_EQ(accepted, "ABABABABAB------");
    // Twelve keys are queued; the thousand-and-third pushes out the first "A".
    for (int i = 0; i < 990; ++i)
        log.RecordLog(KrLogFile::LogInfo, 9, ("other " + std::to_string(i)).c_str(), "f", 1);
    EXPECT_FALSE(log.RecordLog(KrLogFile::LogInfo, 9, "A", "f", 1));
    log.RecordLog(KrLogFile::LogInfo, 9, "one more", "f", 1);
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 9, "A", "f", 1));

    log.SetFilterRepeat(0);
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 9, "B", "f", 1));
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 9, "B", "f", 1));
}

TEST_F(KrLogFileTest, MessagesAreWrittenAsTextNeverAsFormats)
{
    ASSERT_TRUE(log.Open(sandbox.path("m.log").c_str(), 0, KrLogFile::ModeText));
    log.SetLogFormat("<%MSG|%CODEFILE>");
    const char* message = "%s %n %d %DATETIME %THREADID %CODELINE %%";
    ASSERT_TRUE(log.RecordLog(KrLogFile::LogInfo, 1, message, "%n%s", 3));
    std::string withNul("before");
    withNul += '\0';
    withNul += "after";
    ASSERT_TRUE(log.RecordLog(KrLogFile::LogInfo, 1, KrString(withNul), "f", 3));
    const std::string big(1 << 20, 'x');
    ASSERT_TRUE(log.RecordLog(KrLogFile::LogInfo, 1, big.c_str(), "f", 3));
    // Tokens are replaced one after another: those a message brings in for later steps are
    // replaced too (no thread id is taken when the format has none), the earlier ones stay.
    EXPECT_EQ(readFile(sandbox.path("m.log")),
              std::string("<%s %n %d %DATETIME 0 3 %%|%n%s>\r\n<before|f>\r\n<") + big + "|f>\r\n");
    log.SetLogFormat("%THR%MSGEADID|%LEVEL");
    ASSERT_TRUE(log.RecordLog(KrLogFile::LogInfo, 1, "", "f", 3));
    const std::string all = readFile(sandbox.path("m.log"));
    EXPECT_EQ(all.substr(all.rfind("|f>\r\n") + 5), "0|info\r\n");
}

TEST_F(KrLogFileTest, GeneratedNamesCarryPrefixProcessIdAndHour)
{
    const std::string pid = std::to_string(::getpid());
    ASSERT_TRUE(log.Open((sandbox.dir() + "//").c_str(), "Run", KrLogFile::IntervalNone,
                         KrLogFile::ModeText, 0));
    EXPECT_EQ(log.GetFileName(), sandbox.dir() + "/Run_" + pid + ".log");
    EXPECT_EQ(log.GetDirectory(), sandbox.dir() + "/");
    const std::string hour = strftimeNow("%Y_%m_%d_%H");
    ASSERT_TRUE(
        log.Open(sandbox.dir().c_str(), "Run", KrLogFile::IntervalHour, KrLogFile::ModeXML, 0));
    EXPECT_EQ(log.GetFileName(), sandbox.dir() + "/Run_" + pid + "_" + hour + "h.xml");
    const std::string stem = sandbox.dir() + "/Run_" + pid + "_" + hour + "h.";
    EXPECT_TRUE(fs::exists(stem + "xsd"));
    EXPECT_TRUE(fs::exists(stem + "xslt"));
    log.Close();
    ASSERT_TRUE(log.Open(KrLogFile::ModeText));
    const std::string name = fs::path(log.GetFileName().Cstr()).filename();
    EXPECT_TRUE(std::regex_match(name, std::regex(R"(Lg\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.log)")))
        << name;
    EXPECT_EQ(fs::path(log.GetFileName().Cstr()).parent_path(), fs::path(sandbox.dir()));
}

TEST_F(KrLogFileTest, XmlLogStaysWellFormedAfterEveryRecordAndEveryReopen)
{
    const std::string path = sandbox.path("x.xml");
    std::vector<std::string> expected;
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_TRUE(log.Open(sandbox.path("x.log").c_str(), 1, KrLogFile::ModeXML));
        EXPECT_EQ(xmlDescriptions(path), expected);
        for (int i = 0; i < 3; ++i)
        {
            expected.push_back("r" + std::to_string(round) + " <&> " + std::to_string(i));
            ASSERT_TRUE(log.RecordLog(KrLogFile::LogInfo, 5, expected.back().c_str(), "f", 1));
            EXPECT_EQ(xmlDescriptions(path), expected);
        }
        log.Close();
    }
    const std::string text = readFile(path);
    EXPECT_EQ(splitOn(text, "</LogFile>").size(), 2u);
    EXPECT_EQ(text.substr(text.size() - 12), "</LogFile>\r\n");

    ASSERT_TRUE(log.Open(sandbox.path("x.log").c_str(), 0, KrLogFile::ModeXML));
    EXPECT_EQ(xmlDescriptions(path), std::vector<std::string>{});
}

TEST_F(KrLogFileTest, XmlFileHeaderSchemaAndStylesheetAreExact)
{
    ASSERT_TRUE(log.Open(sandbox.path("Day.log").c_str(), 0, KrLogFile::ModeXML));
    EXPECT_EQ(readFile(sandbox.path("Day.xml")),
              KrToolkit::GetXmlFileHeader() +
                  "\r\n<?xml:stylesheet type=\"text/xsl\" href=\"Day.xslt\"?>\r\n"
                  "<LogFile xmlns=\"x-schema:Day.xsd\">\r\n</LogFile>\r\n");
    EXPECT_EQ(readFile(sandbox.path("Day.xsd")),
              "<Schema xmlns=\"urn:schemas-microsoft-com:xml-data\" "
              "xmlns:dt=\"urn:schemas-microsoft-com:datatypes\">\r\n"
              "<ElementType name= \"DateTime\"/>\r\n<ElementType name= \"TimeSpan\"/>\r\n"
              "<ElementType name= \"Level\"/>\r\n<ElementType name= \"Description\"/>\r\n"
              "<ElementType name= \"ThreadID\"/>\r\n<ElementType name= \"ResID\"/>\r\n"
              "<ElementType name= \"CodeFile\"/>\r\n<ElementType name= \"CodeLine\"/>\r\n"
              "<ElementType name= \"LogItem\" content=\"eltOnly\">\r\n"
              "<element type= \"DateTime\"/>\r\n<element type=\"TimeSpan\"/>\r\n"
              "<element type=\"Level\"/>\r\n<element type=\"Description\"/>\r\n"
              "<element type=\"ThreadID\"/>\r\n<element type=\"ResID\"/>\r\n"
              "<element type=\"CodeFile\"/>\r\n<element type=\"CodeLine\"/>\r\n"
              "</ElementType>\r\n<ElementType name= \"LogFile\" content=\"eltOnly\">\r\n"
              "<element type= \"LogItem\"/>\r\n</ElementType>\r\n</Schema>\r\n");
    const std::string xslt = readFile(sandbox.path("Day.xslt"));
    EXPECT_NE(xslt.find("xmlns:xsl=\"http://www.w3.org/TR/WD-xsl\""), std::string::npos);
    EXPECT_NE(
        xslt.find("\r\n<tr><td>DataTime</td><td>TimeSpan</td><td>Level</td><td>Description</td>"
                  "<td>ThreadID</td><td>ResID</td><td>CodeFile</td><td>CodeLine</td></tr>\r\n"),
        std::string::npos);
    EXPECT_NE(xslt.find("<TD><xsl:value-of select=\"CodeLine\"/></TD></TR>\r\n</xsl:for-each>"),
              std::string::npos);
    KrMarkup stylesheet;
    EXPECT_TRUE(stylesheet.SetDoc(xslt.c_str()));
    EXPECT_TRUE(stylesheet.IsWellFormed());

    // Companions that exist already are left alone.
    std::ofstream(sandbox.path("Day.xsd"), std::ios::trunc) << "mine";
    ASSERT_TRUE(log.Open(sandbox.path("Day.log").c_str(), 0, KrLogFile::ModeXML));
    EXPECT_EQ(readFile(sandbox.path("Day.xsd")), "mine");

    // A record's children carry values only for the tokens of the format.
    log.SetLogFormat("%MSG %LEVEL %CODELINE %%RESID");
    ASSERT_TRUE(log.RecordLog(KrLogFile::LogWarning, 77, "hello", "src.cpp", 31));
    KrMarkup markup;
    ASSERT_TRUE(markup.Load(sandbox.path("Day.xml").c_str()));
    ASSERT_TRUE(markup.FindElem("LogFile"));
    markup.IntoElem();
    ASSERT_TRUE(markup.FindElem("LogItem"));
    std::vector<std::string> children;
    while (markup.FindChildElem())
        children.push_back(std::string(markup.GetChildTagName()) + "=" +
                           std::string(markup.GetChildData()));
    EXPECT_EQ(children, (std::vector<std::string>{"DateTime=", "TimeSpan=", "Level=warning",
                                                  "Description=hello", "ThreadID=", "ResID=77",
                                                  "CodeFile=", "CodeLine=31"}));
}

TEST_F(KrLogFileTest, RollingTextFileWritesAtOffsetZeroOncePastTheLimit)
{
    ASSERT_TRUE(log.Open(sandbox.path("r.log").c_str(), 0, KrLogFile::ModeText));
    log.SetLogFormat("%MSG");
    log.SetFileSizeLimit(1000, KrLogFile::SizeRolling);
    const std::string record(98, 'a');  // 100 bytes with the line end
    for (int i = 0; i < 11; ++i) log.RecordLog(KrLogFile::LogInfo, i, record.c_str(), "f", 1);
    EXPECT_EQ(fs::file_size(sandbox.path("r.log")), 1100u);  // the eleventh still appended
    log.RecordLog(KrLogFile::LogInfo, 0, std::string(98, 'b').c_str(), "f", 1);
    log.RecordLog(KrLogFile::LogInfo, 0, std::string(98, 'c').c_str(), "f", 1);
    const std::string text = readFile(sandbox.path("r.log"));
    EXPECT_EQ(text.size(), 1100u);
    EXPECT_EQ(text.substr(0, 200), std::string(98, 'b') + "\r\n" + std::string(98, 'c') + "\r\n");
    std::string rest;
    for (int i = 0; i < 9; ++i) rest += record + "\r\n";
    EXPECT_EQ(text.substr(200), rest);
}

TEST_F(KrLogFileTest, ReOpenStartsTheSameFileEmptyAndNewFileNumbersTheNext)
{
    ASSERT_TRUE(
        log.Open(sandbox.dir().c_str(), "Log", KrLogFile::IntervalNone, KrLogFile::ModeText, 0));
    const std::string stem = sandbox.dir() + "/Log_" + std::to_string(::getpid());
    log.SetLogFormat("%MSG");
    log.SetFileSizeLimit(10, KrLogFile::SizeReOpen);
    log.RecordLog(KrLogFile::LogInfo, 0, "0123456789", "f", 1);
    log.RecordLog(KrLogFile::LogInfo, 0, "second", "f", 1);
    EXPECT_EQ(readFile(stem + ".log"), "second\r\n");

    log.SetFileSizeLimit(10, KrLogFile::SizeNewFile);
    for (const char* message : {"first line", "second line", "third line", "fourth"})
        log.RecordLog(KrLogFile::LogInfo, 0, message, "f", 1);
    EXPECT_EQ(readFile(stem + ".log"), "second\r\nfirst line\r\n");
    EXPECT_EQ(readFile(stem + "#1.log"), "second line\r\n");
    EXPECT_EQ(readFile(stem + "#2.log"), "third line\r\n");
    EXPECT_EQ(readFile(stem + "#3.log"), "fourth\r\n");
    EXPECT_EQ(log.GetFileName(), stem + "#3.log");
}

TEST_F(KrLogFileTest, NewFileNumberIsReplacedOnTheWholePath)
{
    fs::create_directory(sandbox.path("#1"));
    ASSERT_TRUE(log.Open(sandbox.path("#1/x.log").c_str(), 0, KrLogFile::ModeText));
    log.SetLogFormat("%MSG");
    log.SetFileSizeLimit(1, KrLogFile::SizeNewFile);
    log.RecordLog(KrLogFile::LogInfo, 0, "a", "f", 1);
    log.RecordLog(KrLogFile::LogInfo, 0, "b", "f", 1);
    EXPECT_EQ(log.GetFileName(), sandbox.path("#1/x#1.log"));
    fs::create_directory(sandbox.path("#2"));
    log.RecordLog(KrLogFile::LogInfo, 0, "c", "f", 1);
    EXPECT_EQ(log.GetFileName(), sandbox.path("#2/x#2.log"));  // deliberately on the whole path
    EXPECT_EQ(readFile(sandbox.path("#2/x#2.log")), "c\r\n");
}

#ifdef ZOBASE_TEST_SQLITE
namespace
{
struct Database
{
    sqlite3* db = nullptr;
    int closes = 0;
    std::vector<std::string> names;
};

unsigned char openTable(void* source, const KrString& name)
{
    auto* database = static_cast<Database*>(source);
    database->names.push_back(name);
    return sqlite3_exec(
               database->db,
               "CREATE TABLE IF NOT EXISTS log(level INT, code INT, message TEXT, file TEXT, "
               "line INT, thread INT)",
               nullptr, nullptr, nullptr) == SQLITE_OK;
}

void writeRow(void* source, const KrString&, const KrLogItem& item)
{
    auto* database = static_cast<Database*>(source);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database->db, "INSERT INTO log VALUES(?,?,?,?,?,?)", -1, &statement,
                       nullptr);
    sqlite3_bind_int(statement, 1, item.m_nLevel);
    sqlite3_bind_int(statement, 2, item.m_nResID);
    sqlite3_bind_text(statement, 3, item.m_strMessage.Cstr(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(statement, 4, item.m_strCodeFile.Cstr(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int(statement, 5, item.m_nCodeLine);
    sqlite3_bind_int(statement, 6, item.m_nThreadID);
    sqlite3_step(statement);
    sqlite3_finalize(statement);
    // A write callback that logs must not come back into itself.
    KrLogFile::GetInstance(true).RecordLog(KrLogFile::LogFatal, 1, "from the callback", "cb", 1);
}

void closeTable(void* source, const KrString&)
{
    ++static_cast<Database*>(source)->closes;
}

std::vector<std::string> selectRows(sqlite3* db, const char* sql)
{
    std::vector<std::string> rows;
    sqlite3_exec(
        db, sql,
        [](void* out, int columns, char** values, char**)
        {
            std::string row;
            for (int i = 0; i < columns; ++i)
                row += std::string(i ? "|" : "") + (values[i] ? values[i] : "NULL");
            static_cast<std::vector<std::string>*>(out)->push_back(row);
            return 0;
        },
        &rows, nullptr);
    return rows;
}
}  // namespace

TEST_F(KrLogFileTest, DatabaseModeStoresRecordsThroughTheThreeCallbacks)
{
    Database database;
    ASSERT_EQ(sqlite3_open(sandbox.path("log.db").c_str(), &database.db), SQLITE_OK);
    KrLogFile::SetOpenCallBack(openTable);
    KrLogFile::SetWriteCallBack(writeRow);
    KrLogFile::SetCloseCallBack(closeTable);
    ASSERT_TRUE(log.Open(&database, "main.log"));
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 11, "it's loaded", "a.cpp", 10));
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogError, 12, "failed", "b.cpp", 20));
    log.SetDataSourceNull(&database);
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 13, "not stored", "c.cpp", 30));
    log.Close();
    EXPECT_EQ(
        selectRows(database.db,
                   "SELECT level, code, message, file, line, thread > 0 FROM log ORDER BY rowid"),
        (std::vector<std::string>{"200|11|it's loaded|a.cpp|10|1", "400|12|failed|b.cpp|20|1"}));
    EXPECT_EQ(database.closes, 0);  // the data source was forgotten before closing
    EXPECT_EQ(database.names, std::vector<std::string>{"main.log"});
    EXPECT_EQ(ringMessages(log), (std::vector<std::string>{"it's loaded", "failed", "not stored"}));

    ASSERT_TRUE(log.Open(&database, "again"));
    log.Close();
    EXPECT_EQ(database.closes, 1);
    KrLogFile::SetOpenCallBack([](void*, const KrString&) -> unsigned char { return 0; });
    EXPECT_FALSE(log.Open(&database, "refused"));
    sqlite3_close(database.db);
}

#endif  // ZOBASE_TEST_SQLITE

TEST_F(KrLogFileTest, KilledProcessLeavesEveryAcceptedRecordWhole)
{
    const std::string path = sandbox.path("kill.log");
    constexpr int kRecords = 300;
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0)
    {
        KrLogFile& log = KrLogFile::GetInstance(true);
        if (!log.Open(path.c_str(), 0, KrLogFile::ModeText)) ::_exit(3);
        for (int i = 0; i < kRecords; ++i)
            log.RecordLog(KrLogFile::LogInfo, 7, ("record " + std::to_string(i)).c_str(), "k.cpp",
                          i);
        ::kill(::getpid(), SIGKILL);
        ::_exit(4);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    const std::vector<std::string> records = splitOn(readFile(path), "\r\nCodeLine:");
    ASSERT_EQ(records.size(), static_cast<size_t>(kRecords + 1));
    for (int i = 0; i < kRecords; ++i)
    {
        const std::string& record = records[static_cast<size_t>(i)];
        const size_t start = i == 0 ? 0 : record.find("\r\n") + 2;
        EXPECT_TRUE(std::regex_match(
            record.substr(start),
            std::regex(R"(\S+ \S+ \[\d+\] \(info\) \|  record )" + std::to_string(i) +
                       " \r\nThreadID:\\d+ \r\nCodeFile:k.cpp ")))
            << record;
    }
    EXPECT_EQ(records.back(), std::to_string(kRecords - 1) + "\r\n");
}

TEST_F(KrLogFileTest, HostileDirectoriesAndDevicesNeverCrash)
{
    EXPECT_FALSE(log.Open(sandbox.path("missing/dir").c_str(), "Log", KrLogFile::IntervalNone,
                          KrLogFile::ModeText, 0));
    EXPECT_FALSE(log.RecordLog(KrLogFile::LogFatal, 1, "closed", "f", 1));
    EXPECT_FALSE(log.Open(sandbox.path("missing/x.log").c_str(), 0, KrLogFile::ModeXML));

    fs::create_directory(sandbox.path("gone"));
    ASSERT_TRUE(log.Open(sandbox.path("gone").c_str(), "Log", KrLogFile::IntervalNone,
                         KrLogFile::ModeXML, 0));
    fs::remove_all(sandbox.path("gone"));
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 2, "vanished", "f", 1));
    log.SetFileSizeLimit(1, KrLogFile::SizeReOpen);
    EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 3, "reopen fails", "f", 1));
    EXPECT_FALSE(log.IsOpen());
}

// Only regular files are written: whatever else is at a log path, or at the XML log's schema
// and stylesheet paths, makes Open fail and is left as it was. Links are followed, never removed.
TEST_F(KrLogFileTest, PathsThatAreNotRegularFilesAreRefusedAndLeftAsTheyWere)
{
    const auto kind = [](const std::string& path) { return fs::symlink_status(path).type(); };
    const std::string target = sandbox.path("target.xml");
    const struct
    {
        const char* name;
        void (*make)(const std::string& path, const std::string& target);
        KrLogFile::Mode mode;
        bool opens;
    } cases[] = {
        {"dir.log", [](const std::string& p, const std::string&) { fs::create_directory(p); },
         KrLogFile::ModeText, false},
        {"dir.xml", [](const std::string& p, const std::string&) { fs::create_directory(p); },
         KrLogFile::ModeXML, false},
        {"fifo.log", [](const std::string& p, const std::string&) { ::mkfifo(p.c_str(), 0600); },
         KrLogFile::ModeText, false},
        {"fifo.xml", [](const std::string& p, const std::string&) { ::mkfifo(p.c_str(), 0600); },
         KrLogFile::ModeXML, false},
        {"null.log",
         [](const std::string& p, const std::string&) { fs::create_symlink("/dev/null", p); },
         KrLogFile::ModeText, false},
        {"null.xml",
         [](const std::string& p, const std::string&) { fs::create_symlink("/dev/null", p); },
         KrLogFile::ModeXML, false},
        {"schema.xml",
         [](const std::string& p, const std::string&)
         { ::mkfifo(KrFile::ChangeExt(p.c_str(), "xsd"), 0600); },
         KrLogFile::ModeXML, false},
        {"style.xml",
         [](const std::string& p, const std::string&)
         { fs::create_directory(KrFile::ChangeExt(p.c_str(), "xslt").Cstr()); },
         KrLogFile::ModeXML, false},
        {"link.xml", [](const std::string& p, const std::string& t) { fs::create_symlink(t, p); },
         KrLogFile::ModeXML, true},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        const std::string path = sandbox.path(c.name);
        c.make(path, target);
        const fs::file_type before = kind(path);
        EXPECT_EQ(log.Open(path.c_str(), 0, c.mode), c.opens ? 1 : 0);
        EXPECT_EQ(kind(path), before);
        if (!c.opens) continue;
        EXPECT_TRUE(log.RecordLog(KrLogFile::LogInfo, 1, "through the link", "f", 1));
        log.Close(1);
        EXPECT_EQ(xmlDescriptions(target), std::vector<std::string>{"through the link"});
    }
    EXPECT_FALSE(fs::exists(sandbox.path("schema.xml")));  // refused before anything was written
}

TEST_F(KrLogFileTest, SettingsSectionOpensAndConfiguresTheLog)
{
    const std::string entries =
        "<LogEnabled>TRUE</LogEnabled><StorageType>xml</StorageType>"
        "<LogLevel>Info</LogLevel><LogFormat>%MSG\\t%CODEFILE\\r\\n%THREADID</LogFormat>"
        "<DateTimeFormat>%H</DateTimeFormat><IsFilter>FALSE</IsFilter>"
        "<LogFileLocation>" +
        sandbox.dir() +
        "/</LogFileLocation>"
        "<LogFilePrefix>Cfg</LogFilePrefix><MaxFileSize>5000</MaxFileSize>"
        "<ExceedSizeMode>newfile</ExceedSizeMode>";
    ASSERT_TRUE(log.LoadSetting(settingsRegistry(entries)));
    EXPECT_EQ(log.GetFileName(), sandbox.dir() + "/Cfg_" + std::to_string(::getpid()) + ".xml");
    EXPECT_EQ(log.GetLevel(), KrLogFile::LogInfo);
    // The level is applied before the configured format, which therefore keeps every token.
    EXPECT_EQ(log.GetLogFormat(), "%MSG\t%CODEFILE\r\n%THREADID");
    EXPECT_EQ(log.GetDateTimeFormat(), "%H");
    EXPECT_FALSE(log.IsFilterRepeat());
    EXPECT_EQ(log.GetFileSizeLimit(), 5000);
    EXPECT_EQ(log.GetSizeLimitMode(), KrLogFile::SizeNewFile);

    log.Close(1);
    EXPECT_FALSE(log.LoadSetting(
        settingsRegistry("<LogEnabled>yes</LogEnabled><StorageType>Memory</StorageType>")));
    EXPECT_FALSE(log.LoadSetting(
        settingsRegistry("<LogEnabled>true</LogEnabled><StorageType>Database</StorageType>")));

    // Unknown words everywhere: text file, level error, no interval, rolling; sizes clamped.
    const std::vector<std::tuple<std::string, int>> sizes = {
        {"-5", -5}, {"99999999999999", 2147483647}, {"junk", 0}, {"", 0}};
    for (const auto& [size, limit] : sizes)
    {
        const std::string odd =
            "<LogEnabled>true</LogEnabled><StorageType>Paper</StorageType>"
            "<LogLevel>loud</LogLevel><LogTimeInterval>Fortnight</LogTimeInterval>"
            "<ExceedSizeMode>Shred</ExceedSizeMode><IsFilter>no</IsFilter>"
            "<LogFileLocation>" +
            sandbox.dir() +
            "</LogFileLocation>"
            "<MaxFileSize>" +
            size + "</MaxFileSize>";
        ASSERT_TRUE(log.LoadSetting(settingsRegistry(odd)));
        EXPECT_EQ(log.GetLevel(), KrLogFile::LogError);
        EXPECT_EQ(log.GetFileName(), sandbox.dir() + "/Log_" + std::to_string(::getpid()) + ".log");
        EXPECT_TRUE(log.IsFilterRepeat());
        EXPECT_EQ(log.GetFileSizeLimit(), limit);
        EXPECT_EQ(log.GetSizeLimitMode(), KrLogFile::SizeRolling);
        EXPECT_TRUE(log.RecordLog(KrLogFile::LogError, 1, ("size " + size).c_str(), "f", 1));
    }
}

TEST_F(KrLogFileTest, QueriesSelectFromTheRingLatestFirst)
{
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    log.SetQueryMaxNum(4);
    const char* messages[] = {"gone", "info two", "warn three", "error four", "fatal five"};
    for (int code = 1; code <= 5; ++code)
        ASSERT_TRUE(log.RecordLog(static_cast<KrLogFile::LogLevelType>(100 * code), code,
                                  messages[code - 1], "f", 1));
    EXPECT_EQ(log.GetRecordCount(), 4);

    auto run = [this](KrLogQueryDef query)
    {
        KrArray<KrLogItem> items;
        log.Query(query, items);
        std::string codes;
        for (int i = 0; i < items.GetSize(); ++i) codes += std::to_string(items[i].m_nResID);
        return codes;
    };
    KrLogQueryDef query;
    EXPECT_EQ(run(query), "54");  // errors and fatals by default
    query.m_nMinLevel = KrLogFile::LogDebug;
    EXPECT_EQ(run(query), "5432");
    query.m_strResIDOperator = "<=";
    query.m_nResID = 3;
    EXPECT_EQ(run(query), "32");
    query.m_strResIDOperator = "";
    query.m_strMessage = "f";
    EXPECT_EQ(run(query), "542");
    query.m_nMaxCount = 1;
    EXPECT_EQ(run(query), "5");
    query = KrLogQueryDef();
    query.m_nThreadID = 12345;
    EXPECT_EQ(run(query), "");
    query.m_nThreadID = 0;
    query.m_tmFrom = KrTime::GetCurrentTime() + KrTimeSpan(1.0);
    EXPECT_EQ(run(query), "");
}

TEST_F(KrLogFileTest, TextCallbackReceivesEachRecordWithoutLineEnd)
{
    static std::vector<std::string> seen;
    seen.clear();
    KrLogFile::SetCallBack(
        [](const char* text)
        {
            seen.push_back(text);
            KrLogFile::GetInstance(true).RecordLog(KrLogFile::LogFatal, 2, "inside", "f",
                                                   1);  // dropped
        });
    ASSERT_TRUE(log.Open(sandbox.path("cb.log").c_str(), 0, KrLogFile::ModeText));
    log.SetLogFormat("%LEVEL:%MSG:%CODELINE");
    log.RecordLog(KrLogFile::LogWarning, 1, "one", "f", 9);
    log.SetSaveToPhysical(0);
    log.RecordLog(KrLogFile::LogWarning, 1, "two", "f", 9);
    EXPECT_EQ(seen, std::vector<std::string>{"warning:one:9"});
    EXPECT_EQ(readFile(sandbox.path("cb.log")), "warning:one:9\r\n");
}

TEST_F(KrLogFileTest, FailingUnZipLeavesItsMessageCodeInTheLog)
{
    ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
    const unsigned char garbage[] = {0x78, 0x9c, 0xff, 0xff, 0x00, 0x13, 0x37};
    unsigned char out[64];
    unsigned int outLength = sizeof out;
    EXPECT_FALSE(KrCompress::UnZip(out, outLength, garbage, sizeof garbage));
    const KrErrorObj::ErrorInfo last = KrErrorObj::GetInstance().GetLast(0);
    EXPECT_EQ(last.nErrorCode, 29554u);
    EXPECT_NE(std::string(last.strCodeFile).find("KrCompress"), std::string::npos);
    KrLogQueryDef errors;
    KrArray<KrLogItem> items;
    ASSERT_EQ(log.Query(errors, items), 1);
    EXPECT_EQ(items[0].m_nResID, 29554);
    EXPECT_EQ(items[0].m_nLevel, KrLogFile::LogError);
}

TEST_F(KrLogFileTest, FailuresFromBelowFollowTheThresholdLikeRecordLog)
{
    const unsigned char garbage[] = {0x78, 0x9c, 0xff, 0xff, 0x00, 0x13, 0x37};
    // threshold, records kept in the ring (an error under a fatal threshold reaches only the
    // error stack)
    const std::vector<std::pair<KrLogFile::LogLevelType, size_t>> rows = {
        {KrLogFile::LogDebug, 1}, {KrLogFile::LogError, 1}, {KrLogFile::LogFatal, 0}};
    for (const auto& [threshold, kept] : rows)
    {
        log.Close(1);
        ASSERT_TRUE(log.Open(KrLogFile::ModeMemory));
        log.SetLevel(threshold);
        unsigned char out[64];
        unsigned int outLength = sizeof out;
        EXPECT_FALSE(KrCompress::UnZip(out, outLength, garbage, sizeof garbage));
        EXPECT_EQ(ringMessages(log).size(), kept) << threshold;
        EXPECT_EQ(KrErrorObj::GetInstance().GetCount(), 1) << threshold;
        EXPECT_EQ(KrErrorObj::GetInstance().GetLast(0).nErrorCode, 29554u) << threshold;
    }
    // A closed log takes nothing, not even into the error stack.
    log.Close(1);
    unsigned char out[64];
    unsigned int outLength = sizeof out;
    EXPECT_FALSE(KrCompress::UnZip(out, outLength, garbage, sizeof garbage));
    EXPECT_EQ(KrErrorObj::GetInstance().GetCount(), 0);
}
