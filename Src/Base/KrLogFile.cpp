#include "Base/KrLogFile.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "Base/KrCompress.h"
#include "Base/KrFile.h"
#include "Base/KrMarkup.h"
#include "Base/KrRegistry.h"
#include "Base/KrThread.h"
#include "Base/KrToolkit.h"
#include "KrLogRoute.h"
#include "Platform/KrPlatformFile.h"
#include "Platform/KrPlatformTime.h"

namespace KRN
{

namespace
{

const char kDefaultFormat[] =
    "%DATETIME [%TIMESPAN] (%LEVEL) |  %MSG \r\nThreadID:%THREADID \r\nCodeFile:%CODEFILE "
    "\r\nCodeLine:%CODELINE";
const char kDefaultDateTimeFormat[] = "%Y-%m-%d %H:%M:%S";
const char kDefaultPrefix[] = "Log";
const char kLineEnd[] = "\r\n";
const char kCloseTag[] = "</LogFile>";
constexpr int kDefaultRecordCapacity = 10240;
constexpr int kDefaultErrorCapacity = 16;
constexpr int kRepeatLimit = 5;         // the sixth occurrence of a record is dropped
constexpr size_t kRepeatWindow = 1001;  // keys remembered before the oldest is let go

std::atomic<KrLogFile::CallBack> g_pCallBack{nullptr};
std::atomic<KrLogFile::OpenCallBack> g_pOpenCallBack{nullptr};
std::atomic<KrLogFile::WriteCallBack> g_pWriteCallBack{nullptr};
std::atomic<KrLogFile::CloseCallBack> g_pCloseCallBack{nullptr};

// Takes a KrMutex for the lifetime of the guard.
class ScopedLock
{
public:
    explicit ScopedLock(KrMutex& mutex) : m_lock(mutex) { m_lock.lock(); }

private:
    KrMutexLock m_lock;
};

enum class Token
{
    Literal,
    DateTime,
    TimeSpan,
    Level,
    Message,
    ThreadId,
    CodeFile,
    CodeLine
};

struct TokenName
{
    const char* text;
    size_t length;
    Token token;
};

const TokenName kTokens[] = {{"%DATETIME", 9, Token::DateTime}, {"%TIMESPAN", 9, Token::TimeSpan},
                             {"%LEVEL", 6, Token::Level},       {"%MSG", 4, Token::Message},
                             {"%THREADID", 9, Token::ThreadId}, {"%CODEFILE", 9, Token::CodeFile},
                             {"%CODELINE", 9, Token::CodeLine}};

// A record template cut into literal runs and tokens once, so that each record is one pass.
struct Piece
{
    Token token;
    std::string text;
};

std::vector<Piece> compileFormat(const std::string& format)
{
    std::vector<Piece> pieces;
    std::string literal;
    for (size_t i = 0; i < format.size();)
    {
        const TokenName* found = nullptr;
        if (format[i] == '%')
            for (const TokenName& name : kTokens)
                if (format.compare(i, name.length, name.text) == 0)
                {
                    found = &name;
                    break;
                }
        if (found == nullptr)
        {
            literal += format[i++];
            continue;
        }
        if (!literal.empty()) pieces.push_back({Token::Literal, std::move(literal)});
        literal.clear();
        pieces.push_back({found->token, std::string()});
        i += found->length;
    }
    if (!literal.empty()) pieces.push_back({Token::Literal, std::move(literal)});
    return pieces;
}

void appendDecimal(std::string& out, long long value)
{
    char buffer[24];
    char* end = buffer + sizeof buffer;
    char* p = end;
    const bool negative = value < 0;
    unsigned long long magnitude = negative ? 0ull - static_cast<unsigned long long>(value)
                                            : static_cast<unsigned long long>(value);
    do
    {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (negative) *--p = '-';
    out.append(p, static_cast<size_t>(end - p));
}

KrString decimal(long long value)
{
    std::string text;
    appendDecimal(text, value);
    return KrString(std::move(text));
}

// Every occurrence of token removed from text.
void eraseAll(KrString& text, const char* token)
{
    text.Replace(token, "");
}

// "\r\n", "\r" and "\n" written as two characters in the settings become CR LF, "\t" a tab.
KrString unescapeFormat(KrString text)
{
    text.Replace("\\r\\n", "\r\n");
    text.Replace("\\r", "\r\n");
    text.Replace("\\n", "\r\n");
    text.Replace("\\t", "\t");
    return text;
}

// The directory with exactly one trailing "/", or empty.
KrString normaliseDirectory(KrString location)
{
    location.TrimRight("\\/");
    if (location.IsEmpty()) return location;
    return location + "/";
}

unsigned int fastHash(const KrString& text)
{
    return static_cast<unsigned int>(KrHashCode::FastStringToHashCode(text));
}

}  // namespace

// ---------------------------------------------------------------- state

struct KrLogFile::Impl
{
    KrMutex mutex;
    std::atomic<bool> bOpen{false};
    std::atomic<int> nLevel{LogDebug};
    bool bInCallBack = false;

    Mode nMode = ModeText;
    KrString strFileName;
    KrString strDirectory;
    KrString strPrefix = kDefaultPrefix;
    TimeInterval nInterval = IntervalNone;
    unsigned char bAppend = 0;

    KrString strLogFormat = kDefaultFormat;
    std::vector<Piece> pieces = compileFormat(kDefaultFormat);
    bool bFormatHasThreadId = true;
    bool bLiteralMayJoinValue = false;  // see mayBringInTokens
    KrString strDateTimeFormat = kDefaultDateTimeFormat;
    bool bSaveToPhysical = true;
    bool bFilterRepeat = true;
    int nFileSizeLimit = 0;
    SizeLimitMode nSizeLimitMode = SizeRolling;
    int nNewFileNumber = 0;

    KrContainer<KrLogItem> records;
    KrContainer<KrErrorObj::ErrorInfo> errors;

    KrLogItem item;  // the record being built, reused so that a record allocates nothing
    KrLogItem last;
    bool bHasLast = false;
    std::unordered_map<unsigned int, int> repeatCounts;
    std::deque<unsigned int> repeatQueue;

    KrTime tmStart;
    unsigned int nLastTick = 0;

    Platform::FileDescriptor file;
    long long nWritePos = 0;  // text: where the next record goes; XML: the closing tag
    void* pDataSource = nullptr;

    std::string line;  // the text of the record being written
    long long nCachedSecond = LLONG_MIN;
    KrTime tmCached;
    std::string cachedDateTime;

    Impl()
    {
        records.SetCapacity(kDefaultRecordCapacity);
        errors.SetCapacity(kDefaultErrorCapacity);
        tmStart = KrTime::GetCurrentTime();
        nLastTick = Platform::TickCountMs();
    }

    // ------------------------------------------------ settings
    void setFormat(const KrString& format)
    {
        strLogFormat = format;
        pieces = compileFormat(format);
        bFormatHasThreadId = format.Find("%THREADID") >= 0;
        // A "%" among the last characters of a literal may start a token that a replacement
        // completes, even an empty one ("%THR" + "" + "EADID").
        bLiteralMayJoinValue = false;
        for (size_t i = 0; i + 1 < pieces.size(); ++i)
        {
            const std::string& text = pieces[i].text;
            if (pieces[i].token == Token::Literal &&
                text.find('%', text.size() > 9 ? text.size() - 9 : 0) != std::string::npos)
                bLiteralMayJoinValue = true;
        }
    }

    void applyLevel(int level)
    {
        nLevel.store(level, std::memory_order_relaxed);
        KrString format = strLogFormat;
        if (level > LogInfo) eraseAll(format, "%THREADID");
        if (level > LogDebug)
        {
            eraseAll(format, "%CODEFILE");
            eraseAll(format, "%CODELINE");
        }
        if (format != strLogFormat) setFormat(format);
    }

    void restoreDefaults()
    {
        setFormat(kDefaultFormat);
        strDateTimeFormat = kDefaultDateTimeFormat;
        nCachedSecond = LLONG_MIN;
        bSaveToPhysical = true;
        bFilterRepeat = true;
        nFileSizeLimit = 0;
        nSizeLimitMode = SizeRolling;
    }

    // ------------------------------------------------ opening and closing
    void closeStorage()
    {
        file.Close();
        nWritePos = 0;
        if (nMode == ModeDatabase)
        {
            CloseCallBack closeCallBack = g_pCloseCallBack.load();
            if (closeCallBack != nullptr && pDataSource != nullptr)
                closeCallBack(pDataSource, strFileName);
        }
    }

    // Closes an open log and restores the defaults, as every Open does first.
    void prepareOpen()
    {
        if (bOpen.load())
        {
            closeStorage();
            bOpen.store(false);
            restoreDefaults();
        }
        applyLevel(nLevel.load());
        tmStart = KrTime::GetCurrentTime();
        nLastTick = Platform::TickCountMs();
        nNewFileNumber = 0;
    }

    void markOpen(bool opened) { bOpen.store(opened); }

    KrString generatedName() const
    {
        KrString name;
        if (nInterval != IntervalNone)
            name.Format("%s%s_%d_%sh.log", strDirectory.Cstr(), strPrefix.Cstr(),
                        KrToolkit::GetCurProcessId(),
                        KrTime::GetCurrentTime().Format("%Y_%m_%d_%H").Cstr());
        else
            name.Format("%s%s_%d.log", strDirectory.Cstr(), strPrefix.Cstr(),
                        KrToolkit::GetCurProcessId());
        return name;
    }

    KrString defaultName() const
    {
        const KrTime now = KrTime::GetCurrentTime();
        KrString name;
        name.Format("Lg%04d-%02d-%02d_%02d-%02d-%02d.log", now.GetYear(), now.GetMonth(),
                    now.GetDay(), now.GetHour(), now.GetMinute(), now.GetSecond());
        return strDirectory + name;
    }

    bool openFile(const KrString& name, unsigned char append, Mode mode)
    {
        nMode = mode;
        bAppend = append;
        if (mode == ModeXML) return openXML(name, append);
        return openText(name, append);
    }

    // A log is kept in a regular file only: a directory, FIFO, socket or device at its path
    // makes the open fail and stays as it is. A symbolic link is followed.
    bool openLogFile(const KrString& name, unsigned char append)
    {
        if (!Platform::IsMissingOrRegularFile(name.Cstr())) return false;
        file = Platform::OpenFile(name.Cstr(), append ? Platform::FileAccess::ReadWrite
                                                      : Platform::FileAccess::ReadWriteTruncate);
        if (file.IsOpen() && Platform::IsRegularFile(file.Get())) return true;
        file.Close();
        return false;
    }

    bool openText(const KrString& name, unsigned char append)
    {
        strFileName = name;
        if (!openLogFile(name, append)) return false;
        nWritePos = append ? Platform::SeekFile(file.Get(), 0, Platform::SeekOrigin::End) : 0;
        if (nWritePos < 0) nWritePos = 0;
        return true;
    }

    bool openXML(const KrString& requested, unsigned char append)
    {
        const KrString name = KrFile::ChangeExt(requested, "xml");
        const KrString schema = KrFile::ChangeExt(name, "xsd");
        const KrString stylesheet = KrFile::ChangeExt(name, "xslt");
        strFileName = name;
        // Only regular files are written: anything else at one of the three paths is left as
        // it is and the log stays closed.
        for (const KrString* path : {&schema, &stylesheet})
            if (!Platform::IsMissingOrRegularFile(path->Cstr())) return false;
        if (!openLogFile(name, append)) return false;
        createCompanion(schema, schemaText());
        createCompanion(stylesheet, stylesheetText());
        const long long size = Platform::SeekFile(file.Get(), 0, Platform::SeekOrigin::End);
        if (size > 0)
        {
            nWritePos = findCloseTag(size);
            return true;
        }
        const KrString title = KrFile::GetTitle(name);
        std::string head = KrToolkit::GetXmlFileHeader();
        head += kLineEnd;
        head += "<?xml:stylesheet type=\"text/xsl\" href=\"" + title + ".xslt\"?>";
        head += kLineEnd;
        head += "<LogFile xmlns=\"x-schema:" + title + ".xsd\">";
        head += kLineEnd;
        nWritePos = static_cast<long long>(head.size());
        head += kCloseTag;
        head += kLineEnd;
        writeAt(head, 0);
        return true;
    }

    // The offset of the last closing tag of an existing XML log; the end of a file that has none,
    // so that nothing already there is overwritten.
    long long findCloseTag(long long size)
    {
        const size_t tagLength = sizeof kCloseTag - 1;
        const long long chunk = 65536;
        std::string buffer;
        long long end = size;
        while (end > 0)
        {
            const long long begin = end > chunk ? end - chunk : 0;
            const long long length =
                std::min(size, end + static_cast<long long>(tagLength)) - begin;
            buffer.assign(static_cast<size_t>(length), '\0');
            if (!readAt(buffer, begin)) break;
            const size_t at = buffer.rfind(kCloseTag);
            if (at != std::string::npos) return begin + static_cast<long long>(at);
            end = begin;
        }
        return size;
    }

    bool readAt(std::string& buffer, long long offset)
    {
        if (Platform::SeekFile(file.Get(), offset, Platform::SeekOrigin::Begin) != offset) return false;
        return Platform::ReadWhole(file.Get(), &buffer[0], buffer.size()) ==
               static_cast<long long>(buffer.size());
    }

    bool writeAt(const std::string& text, long long offset)
    {
        return Platform::WriteWholeAt(file.Get(), text.data(), text.size(), offset);
    }

    static void createCompanion(const KrString& name, const std::string& text)
    {
        if (KrFile::IsExist(name)) return;
        Platform::FileDescriptor companion =
            Platform::OpenFile(name.Cstr(), Platform::FileAccess::ReadWriteTruncate);
        if (companion.IsOpen()) Platform::WriteWhole(companion.Get(), text.data(), text.size());
    }

    static std::string joinLines(std::initializer_list<const char*> lines)
    {
        std::string text;
        for (const char* line : lines)
        {
            text += line;
            text += kLineEnd;
        }
        return text;
    }

    static std::string schemaText()
    {
        return joinLines(
            {"<Schema xmlns=\"urn:schemas-microsoft-com:xml-data\" "
             "xmlns:dt=\"urn:schemas-microsoft-com:datatypes\">",
             "<ElementType name= \"DateTime\"/>",
             "<ElementType name= \"TimeSpan\"/>",
             "<ElementType name= \"Level\"/>",
             "<ElementType name= \"Description\"/>",
             "<ElementType name= \"ThreadID\"/>",
             "<ElementType name= \"ResID\"/>",
             "<ElementType name= \"CodeFile\"/>",
             "<ElementType name= \"CodeLine\"/>",
             "<ElementType name= \"LogItem\" content=\"eltOnly\">",
             "<element type= \"DateTime\"/>",
             "<element type=\"TimeSpan\"/>",
             "<element type=\"Level\"/>",
             "<element type=\"Description\"/>",
             "<element type=\"ThreadID\"/>",
             "<element type=\"ResID\"/>",
             "<element type=\"CodeFile\"/>",
             "<element type=\"CodeLine\"/>",
             "</ElementType>",
             "<ElementType name= \"LogFile\" content=\"eltOnly\">",
             "<element type= \"LogItem\"/>",
             "</ElementType>",
             "</Schema>"});
    }

    static std::string stylesheetText()
    {
        return joinLines(
            {"<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/TR/WD-xsl\">",
             "<xsl:template match=\"/\">",
             "<HTML><HEAD><TITLE>LogFile</TITLE></HEAD><BODY><h1>LogFile</h1>",
             "<TABLE border=\"1\">",
             "<tr><td>DataTime</td><td>TimeSpan</td><td>Level</td><td>Description</td>"
             "<td>ThreadID</td><td>ResID</td><td>CodeFile</td><td>CodeLine</td></tr>",
             "<xsl:for-each select=\"LogFile/LogItem\">",
             "<TR><TD><xsl:value-of select=\"DateTime\"/></TD>",
             "<TD><xsl:value-of select=\"TimeSpan\"/></TD>",
             "<TD><xsl:value-of select=\"Level\"/></TD>",
             "<TD><xsl:value-of select=\"Description\"/></TD>",
             "<TD><xsl:value-of select=\"ThreadID\"/></TD>",
             "<TD><xsl:value-of select=\"ResID\"/></TD>",
             "<TD><xsl:value-of select=\"CodeFile\"/></TD>",
             "<TD><xsl:value-of select=\"CodeLine\"/></TD></TR>",
             "</xsl:for-each>",
             "</TABLE>",
             "</BODY>",
             "</HTML>",
             "</xsl:template>",
             "</xsl:stylesheet>"});
    }

    // ------------------------------------------------ recording
    void stampTime()
    {
        const long long second = Platform::CurrentUnixTime();
        if (second != nCachedSecond)
        {
            nCachedSecond = second;
            tmCached = KrTime(second);
            cachedDateTime = tmCached.Format(strDateTimeFormat.Cstr());
        }
        item.m_tmDateTime = tmCached;
        const unsigned int tick = Platform::TickCountMs();
        item.m_nTimeSpan = static_cast<int>(tick - nLastTick);
        nLastTick = tick;
    }

    bool isRepeat()
    {
        if (bHasLast && item.m_nThreadID == last.m_nThreadID && item.m_nResID == last.m_nResID &&
            item.m_strMessage == last.m_strMessage)
            return true;
        const unsigned int key = fastHash(item.m_strMessage) +
                                 static_cast<unsigned int>(item.m_nThreadID) +
                                 static_cast<unsigned int>(item.m_nResID);
        int& count = repeatCounts[key];
        if (count >= kRepeatLimit) return true;
        ++count;
        repeatQueue.push_back(key);
        if (repeatQueue.size() >= kRepeatWindow)
        {
            const auto oldest = repeatCounts.find(repeatQueue.front());
            repeatQueue.pop_front();
            if (oldest != repeatCounts.end() && --oldest->second <= 0) repeatCounts.erase(oldest);
        }
        return false;
    }

    // The tokens are replaced one after another in the order of kTokens, so a token that a
    // replacement brings in (a message holding "%THREADID", or "%THR" + an empty message +
    // "EADID" in the format) is replaced by a later step. The compiled pieces give the same text in
    // one pass whenever no replacement can bring one in, which is every ordinary record.
    bool mayBringInTokens() const
    {
        const auto hasPercent = [](const std::string& text) { return text.find('%') != std::string::npos; };
        return bLiteralMayJoinValue || hasPercent(cachedDateTime) || hasPercent(item.m_strMessage) ||
               hasPercent(item.m_strCodeFile);
    }

    // Appends the record's text for one token; a literal's text is its own.
    void appendValue(std::string& out, const Piece& piece) const
    {
        switch (piece.token)
        {
            case Token::Literal:
                out += piece.text;
                break;
            case Token::DateTime:
                out += cachedDateTime;
                break;
            case Token::TimeSpan:
                appendDecimal(out, item.m_nTimeSpan);
                break;
            case Token::Level:
                out += GetLevelAsString(item.m_nLevel);
                break;
            case Token::Message:
                out += item.m_strMessage;
                break;
            case Token::ThreadId:
                appendDecimal(out, item.m_nThreadID);
                break;
            case Token::CodeFile:
                out += item.m_strCodeFile;
                break;
            case Token::CodeLine:
                appendDecimal(out, item.m_nCodeLine);
                break;
        }
    }

    // The documented rule itself: each token of kTokens in turn, every occurrence replaced.
    void buildTextStepByStep()
    {
        std::string text = strLogFormat;
        std::string value;
        for (const TokenName& name : kTokens)
        {
            value.clear();
            appendValue(value, {name.token, std::string()});
            for (size_t at = text.find(name.text); at != std::string::npos;
                 at = text.find(name.text, at + value.size()))
                text.replace(at, name.length, value);
        }
        line = std::move(text);
    }

    void buildText()
    {
        if (mayBringInTokens())
        {
            buildTextStepByStep();
            return;
        }
        line.clear();
        for (const Piece& piece : pieces) appendValue(line, piece);
    }

    void writeText()
    {
        buildText();
        const size_t textLength = line.size();
        line += kLineEnd;
        if (file.IsOpen() && writeAt(line, nWritePos))
            nWritePos += static_cast<long long>(line.size());
        CallBack callBack = g_pCallBack.load();
        if (callBack != nullptr)
        {
            line.resize(textLength);
            bInCallBack = true;  // a callback that logs would otherwise come back here
            callBack(line.c_str());
            bInCallBack = false;
        }
        if (line.capacity() > (1u << 16)) std::string().swap(line);
    }

    void writeXML()
    {
        const KrString& format = strLogFormat;
        auto value = [&format](const char* token, const KrString& text)
        { return format.Find(token) >= 0 ? text : KrString(); };
        KrMarkup markup;
        markup.AddElem("LogItem");
        markup.AddChildElem("DateTime", value("%DATETIME", cachedDateTime));
        markup.AddChildElem("TimeSpan", value("%TIMESPAN", decimal(item.m_nTimeSpan)));
        markup.AddChildElem("Level", value("%LEVEL", GetLevelAsString(item.m_nLevel)));
        markup.AddChildElem("Description", value("%MSG", item.m_strMessage));
        markup.AddChildElem("ThreadID", value("%THREADID", decimal(item.m_nThreadID)));
        // The resource id is tested against "%%RESID", which a format holds only when written so.
        markup.AddChildElem("ResID", value("%%RESID", decimal(item.m_nResID)));
        markup.AddChildElem("CodeFile", value("%CODEFILE", item.m_strCodeFile));
        markup.AddChildElem("CodeLine", value("%CODELINE", decimal(item.m_nCodeLine)));
        line = markup.GetDoc();
        if (line.size() < 2 || line.compare(line.size() - 2, 2, kLineEnd) != 0) line += kLineEnd;
        const long long itemLength = static_cast<long long>(line.size());
        line += kCloseTag;
        line += kLineEnd;
        if (file.IsOpen() && writeAt(line, nWritePos)) nWritePos += itemLength;
        if (line.capacity() > (1u << 16)) std::string().swap(line);
    }

    long long currentLength() const
    {
        if (nMode == ModeXML) return nWritePos + static_cast<long long>(sizeof kCloseTag - 1 + 2);
        return nWritePos;
    }

    void dealFileSizeLimit()
    {
        if (nMode != ModeText && nMode != ModeXML) return;
        if (currentLength() <= nFileSizeLimit) return;
        switch (nSizeLimitMode)
        {
            case SizeRolling:
                // An XML log keeps growing: rewinding it would break the document.
                if (nMode == ModeText) nWritePos = 0;
                break;
            case SizeReOpen:
                file.Close();
                bOpen.store(openFile(strFileName, 0, nMode));
                break;
            case SizeNewFile:
                file.Close();
                bOpen.store(openFile(nextNumberedName(), 1, nMode));
                break;
        }
    }

    KrString nextNumberedName()
    {
        KrString name;
        if (nNewFileNumber == 0)
        {
            KrString dir, title, ext;
            KrFile::SplitPath(strFileName, dir, title, ext);
            name = dir + title + "#1" + ext;
        }
        else
        {
            name = strFileName;
            name.Replace(("#" + decimal(nNewFileNumber)).Cstr(),
                         ("#" + decimal(nNewFileNumber + 1)).Cstr());
        }
        ++nNewFileNumber;
        return name;
    }

    void dealTimeInterval()
    {
        const KrTime now = item.m_tmDateTime;
        if (!IsNewPeriod(nInterval, tmStart, now)) return;
        tmStart = now;
        if (nMode == ModeText || nMode == ModeXML)
        {
            file.Close();
            bOpen.store(openFile(generatedName(), bAppend, nMode));
        }
        else if (nMode == ModeDatabase)
        {
            CloseCallBack closeCallBack = g_pCloseCallBack.load();
            if (closeCallBack != nullptr && pDataSource != nullptr)
                closeCallBack(pDataSource, strFileName);
            OpenCallBack openCallBack = g_pOpenCallBack.load();
            if (openCallBack != nullptr && pDataSource != nullptr)
                openCallBack(pDataSource, strFileName);
        }
    }

    void store()
    {
        if (!bSaveToPhysical) return;
        if (nInterval != IntervalNone) dealTimeInterval();
        if (nFileSizeLimit > 0) dealFileSizeLimit();
        switch (nMode)
        {
            case ModeText:
                writeText();
                break;
            case ModeXML:
                writeXML();
                break;
            case ModeDatabase:
            {
                WriteCallBack writeCallBack = g_pWriteCallBack.load();
                if (writeCallBack == nullptr || pDataSource == nullptr) break;
                bInCallBack = true;
                writeCallBack(pDataSource, strFileName, item);
                bInCallBack = false;
                break;
            }
            case ModeMemory:
                break;
        }
    }
};

// ---------------------------------------------------------------- the singleton

KrLogFile::KrLogFile() : m_pImpl(new Impl) {}

KrLogFile::~KrLogFile()
{
    Close(0);
}

KrMutex& KrLogFile::errorMutex()
{
    return m_pImpl->mutex;
}

KrContainer<KrErrorObj::ErrorInfo>& KrLogFile::errorStack()
{
    return m_pImpl->errors;
}

KrLogFile& KrLogFile::GetInstance(bool bNoSetting)
{
    static KrLogFile instance;
    static std::atomic<bool> decided{false};
    // Only the first call decides; loading runs outside any once-guard so that a record made
    // while the settings are read (by the registry, say) finds the log instead of deadlocking.
    if (!decided.load(std::memory_order_acquire) && !decided.exchange(true) && !bNoSetting)
        instance.LoadSetting(KrRegistry::Root());
    return instance;
}

unsigned char KrLogFile::LoadSetting(const KrRegistry& registry)
{
    const KrHash<KrString>& section = registry.Obj("LogSetting");
    if (section["LogEnabled"].CompareNoCase("true") != 0) return IsOpen();

    const unsigned char append = section["IsAppend"].CompareNoCase("true") == 0 ? 1 : 0;
    const Mode mode = GetModeAsEnum(section["StorageType"]);
    const LogLevelType level = GetLevelAsEnum(section["LogLevel"]);
    const KrString format = unescapeFormat(section["LogFormat"]);
    const KrString dateFormat = section["DateTimeFormat"];
    const bool filter = section["IsFilter"].CompareNoCase("false") != 0;
    const TimeInterval interval = GetTimeIntervalAsEnum(section["LogTimeInterval"]);
    // The key is written with a trailing blank in older configurations; an element name cannot
    // end in one, so both spellings are looked up.
    KrString location = section["LogFileLocation"];
    if (location.IsEmpty()) location = section["LogFileLocation "];
    KrString prefix = section["LogFilePrefix"];
    if (prefix.IsEmpty()) prefix = kDefaultPrefix;
    const long long maxSize = section["MaxFileSize"].ToLong(10);
    const SizeLimitMode sizeMode = GetSizeLimitModeAsEnum(section["ExceedSizeMode"]);

    ScopedLock lock(m_pImpl->mutex);
    if (mode == ModeText || mode == ModeXML)
        Open(location, prefix, interval, mode, append);
    else if (mode == ModeMemory)
        Open(ModeMemory);
    if (!IsOpen()) return 0;
    SetLevel(level);
    if (!format.IsEmpty()) SetLogFormat(format);
    if (!dateFormat.IsEmpty()) SetDateTimeFormat(dateFormat);
    const int limit =
        maxSize > INT_MAX ? INT_MAX : (maxSize < INT_MIN ? INT_MIN : static_cast<int>(maxSize));
    SetFileSizeLimit(limit, sizeMode);
    SetFilterRepeat(filter ? 1 : 0);
    return 1;
}

// ---------------------------------------------------------------- opening and closing

unsigned char KrLogFile::Open(const KrString& strLocation, const KrString& strPrefix,
                              TimeInterval interval, Mode mode, unsigned char bAppend)
{
    Impl& d = *m_pImpl;
    ScopedLock lock(d.mutex);
    d.prepareOpen();
    if (mode != ModeText && mode != ModeXML) return 0;
    d.strDirectory = normaliseDirectory(strLocation);
    d.strPrefix = strPrefix;
    d.nInterval = interval;
    d.markOpen(d.openFile(d.generatedName(), bAppend, mode));
    return IsOpen();
}

unsigned char KrLogFile::Open(const KrString& strFileName, unsigned char bAppend, Mode mode)
{
    Impl& d = *m_pImpl;
    ScopedLock lock(d.mutex);
    d.prepareOpen();
    d.nInterval = IntervalNone;
    if (mode == ModeMemory)
    {
        d.nMode = ModeMemory;
        d.markOpen(true);
    }
    else if (mode == ModeText || mode == ModeXML)
        d.markOpen(d.openFile(strFileName, bAppend, mode));
    return IsOpen();
}

unsigned char KrLogFile::Open(Mode mode)
{
    Impl& d = *m_pImpl;
    ScopedLock lock(d.mutex);
    if (mode == ModeMemory) return Open(KrString(), 0, mode);
    return Open(d.defaultName(), 0, mode);
}

unsigned char KrLogFile::Open(void* pDataSource, const KrString& strName)
{
    Impl& d = *m_pImpl;
    ScopedLock lock(d.mutex);
    d.prepareOpen();
    d.nInterval = IntervalNone;
    d.nMode = ModeDatabase;
    d.pDataSource = pDataSource;
    d.strFileName = strName;
    OpenCallBack openCallBack = g_pOpenCallBack.load();
    d.markOpen(openCallBack == nullptr || openCallBack(pDataSource, strName) != 0);
    return IsOpen();
}

void KrLogFile::Close(unsigned char bRestoreDefault)
{
    Impl& d = *m_pImpl;
    ScopedLock lock(d.mutex);
    if (d.bOpen.load()) d.closeStorage();
    d.bOpen.store(false);
    if (!bRestoreDefault) return;
    d.restoreDefaults();
    d.nLevel.store(LogDebug);
    d.nMode = ModeText;
    d.nInterval = IntervalNone;
    d.strDirectory.Empty();
    d.strPrefix = kDefaultPrefix;
    d.strFileName.Empty();
    d.pDataSource = nullptr;
    d.bHasLast = false;
    d.repeatCounts.clear();
    d.repeatQueue.clear();
    // Emptied slots would keep their texts: the rings are rebuilt instead.
    d.records = KrContainer<KrLogItem>();
    d.records.SetCapacity(kDefaultRecordCapacity);
    d.errors = KrContainer<KrErrorObj::ErrorInfo>();
    d.errors.SetCapacity(kDefaultErrorCapacity);
}

unsigned char KrLogFile::IsOpen()
{
    return m_pImpl->bOpen.load() ? 1 : 0;
}

// ---------------------------------------------------------------- recording

unsigned char KrLogFile::RecordLog(LogLevelType level, int nCode, const KrString& strMessage,
                                   const KrString& strCodeFile, int nCodeLine)
{
    Impl& d = *m_pImpl;
    if (!d.bOpen.load(std::memory_order_relaxed)) return 0;
    const int threshold = d.nLevel.load(std::memory_order_relaxed);
    if (level < threshold && level < LogError) return 0;

    ScopedLock lock(d.mutex);
    // A write callback that logs comes back here on its own thread, holding the lock.
    if (d.bInCallBack || !d.bOpen.load()) return 0;

    KrLogItem& item = d.item;
    item.m_nThreadID = d.bFormatHasThreadId ? static_cast<int>(KrThread::current()) : 0;
    item.m_nLevel = level;
    item.m_strMessage = strMessage;
    item.m_nResID = nCode;
    item.m_strCodeFile = strCodeFile;
    item.m_nCodeLine = nCodeLine;
    d.stampTime();

    if (d.bFilterRepeat && d.isRepeat()) return 0;
    d.last = item;
    d.bHasLast = true;

    if (level >= LogError)
    {
        KrErrorObj::ErrorInfo info;
        info.nThreadID = static_cast<unsigned int>(item.m_nThreadID);
        info.nErrorCode = static_cast<unsigned int>(nCode);
        info.strMessage = strMessage;
        info.strCodeFile = strCodeFile;
        info.nCodeLine = nCodeLine;
        KrErrorObj::GetInstance().Add(info);
        if (level < d.nLevel.load()) return 0;
    }

    d.records.Add(item);
    d.store();
    return 1;
}

unsigned char KrLogFile::RecordLog(LogLevelType level, int nCode, const KrString& strCodeFile,
                                   int nCodeLine)
{
    if (!IsOpen()) return 0;
    KrString message;
    message.LoadString(static_cast<unsigned int>(nCode));
    return RecordLog(level, nCode, message, strCodeFile, nCodeLine);
}

// ---------------------------------------------------------------- settings

void KrLogFile::SetLevel(LogLevelType level)
{
    ScopedLock lock(m_pImpl->mutex);
    m_pImpl->applyLevel(level);
}

KrLogFile::LogLevelType KrLogFile::GetLevel()
{
    return static_cast<LogLevelType>(m_pImpl->nLevel.load());
}

void KrLogFile::SetLogFormat(const KrString& strFormat)
{
    ScopedLock lock(m_pImpl->mutex);
    m_pImpl->setFormat(strFormat);
}

KrString KrLogFile::GetLogFormat()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->strLogFormat;
}

void KrLogFile::SetDateTimeFormat(const KrString& strFormat)
{
    ScopedLock lock(m_pImpl->mutex);
    m_pImpl->strDateTimeFormat = strFormat;
    m_pImpl->nCachedSecond = LLONG_MIN;
}

KrString KrLogFile::GetDateTimeFormat()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->strDateTimeFormat;
}

void KrLogFile::SetSaveToPhysical(unsigned char bSave)
{
    ScopedLock lock(m_pImpl->mutex);
    m_pImpl->bSaveToPhysical = bSave != 0;
}

unsigned char KrLogFile::IsSaveToPhysical()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->bSaveToPhysical ? 1 : 0;
}

void KrLogFile::SetFilterRepeat(unsigned char bFilter)
{
    ScopedLock lock(m_pImpl->mutex);
    m_pImpl->bFilterRepeat = bFilter != 0;
}

unsigned char KrLogFile::IsFilterRepeat()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->bFilterRepeat ? 1 : 0;
}

void KrLogFile::SetFileSizeLimit(int nBytes, SizeLimitMode mode)
{
    ScopedLock lock(m_pImpl->mutex);
    m_pImpl->nFileSizeLimit = nBytes;
    m_pImpl->nSizeLimitMode = mode;
}

int KrLogFile::GetFileSizeLimit()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->nFileSizeLimit;
}

KrLogFile::SizeLimitMode KrLogFile::GetSizeLimitMode()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->nSizeLimitMode;
}

void KrLogFile::SetQueryMaxNum(int nCount)
{
    ScopedLock lock(m_pImpl->mutex);
    m_pImpl->records.SetCapacity(nCount);
}

int KrLogFile::GetQueryMaxNum()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->records.GetCapacity();
}

void KrLogFile::SetRecordOnlyLog()
{
    SetLogFormat("%MSG");
}

void KrLogFile::SetDataSourceNull(void* pDataSource)
{
    ScopedLock lock(m_pImpl->mutex);
    if (pDataSource == nullptr || pDataSource == m_pImpl->pDataSource)
        m_pImpl->pDataSource = nullptr;
}

void KrLogFile::SetDirectory(const KrString& strDirectory)
{
    ScopedLock lock(m_pImpl->mutex);
    m_pImpl->strDirectory = normaliseDirectory(strDirectory);
}

KrString KrLogFile::GetDirectory()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->strDirectory;
}

KrString KrLogFile::GetFileName()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->strFileName;
}

KrLogFile::Mode KrLogFile::GetMode()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->nMode;
}

// ---------------------------------------------------------------- the in-memory records

int KrLogFile::GetRecordCount()
{
    ScopedLock lock(m_pImpl->mutex);
    return m_pImpl->records.GetSize();
}

int KrLogFile::Query(const KrLogQueryDef& query, KrArray<KrLogItem>& out)
{
    ScopedLock lock(m_pImpl->mutex);
    out.SetSize(0);
    KrContainer<KrLogItem>& records = m_pImpl->records;
    const int count = records.GetSize();
    for (int i = 0; i < count; ++i)
    {
        if (query.m_nMaxCount > 0 && out.GetSize() >= query.m_nMaxCount) break;
        if (query.Matches(records[i])) out.Add(records[i]);
    }
    return out.GetSize();
}

unsigned char KrLogQueryDef::Compare(const KrString& op, int a, int b)
{
    if (op == ">") return a > b;
    if (op == "<") return a < b;
    if (op == "=") return a == b;
    if (op == ">=") return a >= b;
    if (op == "<=") return a <= b;
    if (op == "!=") return a != b;
    return 0;
}

unsigned char KrLogQueryDef::Matches(const KrLogItem& item) const
{
    if (item.m_nLevel > m_nMaxLevel || item.m_nLevel < m_nMinLevel) return 0;
    if (!m_strMessage.IsEmpty() && item.m_strMessage.Find(m_strMessage.Cstr()) < 0) return 0;
    if (m_tmFrom.GetTime() != 0 && item.m_tmDateTime.GetTime() < m_tmFrom.GetTime()) return 0;
    if (!m_strResIDOperator.IsEmpty() && !Compare(m_strResIDOperator, item.m_nResID, m_nResID))
        return 0;
    if (m_nThreadID != 0 && item.m_nThreadID != m_nThreadID) return 0;
    return 1;
}

// ---------------------------------------------------------------- conversions

namespace
{
template <class E, size_t N>
E parseEnum(const KrString& text, const char* const (&names)[N], const E (&values)[N], E fallback)
{
    for (size_t i = 0; i < N; ++i)
        if (text.CompareNoCase(names[i]) == 0) return values[i];
    return fallback;
}
}  // namespace

KrString KrLogFile::GetLevelAsString(LogLevelType level)
{
    switch (level)
    {
        case LogDebug:
            return "debug";
        case LogInfo:
            return "info";
        case LogWarning:
            return "warning";
        case LogError:
            return "error";
        case LogFatal:
            return "fatal";
    }
    return "unknown";
}

KrLogFile::LogLevelType KrLogFile::GetLevelAsEnum(const KrString& text)
{
    static const char* const names[] = {"debug", "info", "warning", "error", "fatal"};
    static const LogLevelType values[] = {LogDebug, LogInfo, LogWarning, LogError, LogFatal};
    return parseEnum(text, names, values, LogError);
}

KrLogFile::Mode KrLogFile::GetModeAsEnum(const KrString& text)
{
    static const char* const names[] = {"Text", "XML", "Database", "Memory"};
    static const Mode values[] = {ModeText, ModeXML, ModeDatabase, ModeMemory};
    return parseEnum(text, names, values, ModeText);
}

KrLogFile::TimeInterval KrLogFile::GetTimeIntervalAsEnum(const KrString& text)
{
    static const char* const names[] = {"None", "Hour", "Day", "Week", "Month"};
    static const TimeInterval values[] = {IntervalNone, IntervalHour, IntervalDay, IntervalWeek,
                                          IntervalMonth};
    return parseEnum(text, names, values, IntervalNone);
}

KrLogFile::SizeLimitMode KrLogFile::GetSizeLimitModeAsEnum(const KrString& text)
{
    static const char* const names[] = {"Rolling", "ReOpen", "NewFile"};
    static const SizeLimitMode values[] = {SizeRolling, SizeReOpen, SizeNewFile};
    return parseEnum(text, names, values, SizeRolling);
}

unsigned char KrLogFile::IsNewPeriod(TimeInterval interval, const KrTime& opened, const KrTime& now)
{
    switch (interval)
    {
        case IntervalHour:
            return now.GetHour() != opened.GetHour();
        case IntervalDay:
            return now.GetDay() != opened.GetDay();
        case IntervalMonth:
            return now.GetMonth() != opened.GetMonth();
        case IntervalWeek:
        {
            const int days = now.GetDayOfYear() - opened.GetDayOfYear();
            if (days >= 7) return 1;
            return now.GetDayOfYear() < opened.GetDayOfYear() && days + 365 >= 7;
        }
        case IntervalNone:
            break;
    }
    return 0;
}

// ---------------------------------------------------------------- callbacks

void KrLogFile::SetCallBack(CallBack callBack)
{
    g_pCallBack.store(callBack);
}
void KrLogFile::SetOpenCallBack(OpenCallBack callBack)
{
    g_pOpenCallBack.store(callBack);
}
void KrLogFile::SetWriteCallBack(WriteCallBack callBack)
{
    g_pWriteCallBack.store(callBack);
}
void KrLogFile::SetCloseCallBack(CloseCallBack callBack)
{
    g_pCloseCallBack.store(callBack);
}

// ---------------------------------------------------------------- the road from below

namespace Detail
{
bool RouteToLog(int level, int code, const KrString& message, const char* codeFile, int codeLine)
{
    return KrLogFile::GetInstance(false).RecordLog(static_cast<KrLogFile::LogLevelType>(level),
                                                   code, message, KrString(codeFile),
                                                   codeLine) != 0;
}
}  // namespace Detail

}  // namespace KRN
