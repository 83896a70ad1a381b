#include <algorithm>
#include <initializer_list>

#include "Base/KrFile.h"
#include "Base/KrMarkup.h"
#include "Base/KrToolkit.h"
#include "KrLogFileImpl.h"

namespace KRN
{

using namespace LogDetail;

namespace
{

std::string joinLines(std::initializer_list<const char*> lines)
{
    std::string text;
    for (const char* line : lines)
    {
        text += line;
        text += kLineEnd;
    }
    return text;
}

std::string schemaText()
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

std::string stylesheetText()
{
    return joinLines({"<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/TR/WD-xsl\">",
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

// The head of a new XML log up to and including the root's opening tag.
std::string xmlHead(const KrString& title)
{
    std::string head = KrToolkit::GetXmlFileHeader();
    head += kLineEnd;
    head += "<?xml:stylesheet type=\"text/xsl\" href=\"" + title + ".xslt\"?>";
    head += kLineEnd;
    head += "<LogFile xmlns=\"x-schema:" + title + ".xsd\">";
    head += kLineEnd;
    return head;
}

void createCompanion(const KrString& name, const std::string& text)
{
    if (KrFile::IsExist(name)) return;
    Platform::FileDescriptor companion =
        Platform::OpenFile(name.Cstr(), Platform::FileAccess::ReadWriteTruncate);
    if (companion.IsOpen()) Platform::WriteWhole(companion.Get(), text.data(), text.size());
}

// Big records leave a big buffer behind; it is not kept.
void releaseIfLarge(std::string& buffer)
{
    if (buffer.capacity() > (1u << 16)) std::string().swap(buffer);
}

}  // namespace

// ---------------------------------------------------------------- opening

bool KrLogFile::Impl::openFile(const KrString& name, unsigned char append, Mode mode)
{
    nMode = mode;
    bAppend = append;
    if (mode == ModeXML) return openXML(name, append);
    return openText(name, append);
}

// A log is kept in a regular file only: a directory, FIFO, socket or device at its path makes
// the open fail and stays as it is. A symbolic link is followed.
bool KrLogFile::Impl::openLogFile(const KrString& name, unsigned char append)
{
    if (!Platform::IsMissingOrRegularFile(name.Cstr())) return false;
    file = Platform::OpenFile(name.Cstr(), append ? Platform::FileAccess::ReadWrite
                                                  : Platform::FileAccess::ReadWriteTruncate);
    if (file.IsOpen() && Platform::IsRegularFile(file.Get())) return true;
    file.Close();
    return false;
}

bool KrLogFile::Impl::openText(const KrString& name, unsigned char append)
{
    strFileName = name;
    if (!openLogFile(name, append)) return false;
    nWritePos = append ? Platform::SeekFile(file.Get(), 0, Platform::SeekOrigin::End) : 0;
    if (nWritePos < 0) nWritePos = 0;
    return true;
}

bool KrLogFile::Impl::openXML(const KrString& requested, unsigned char append)
{
    const KrString name = KrFile::ChangeExt(requested, "xml");
    const KrString schema = KrFile::ChangeExt(name, "xsd");
    const KrString stylesheet = KrFile::ChangeExt(name, "xslt");
    strFileName = name;
    // Only regular files are written: anything else at one of the three paths is left as it is
    // and the log stays closed.
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
    std::string head = xmlHead(KrFile::GetTitle(name));
    nWritePos = static_cast<long long>(head.size());
    head += kCloseTag;
    head += kLineEnd;
    writeAt(head, 0);
    return true;
}

// The offset of the last closing tag of an existing XML log; the end of a file that has none,
// so that nothing already there is overwritten.
long long KrLogFile::Impl::findCloseTag(long long size)
{
    const size_t tagLength = sizeof kCloseTag - 1;
    const long long chunk = 65536;
    std::string buffer;
    long long end = size;
    while (end > 0)
    {
        const long long begin = end > chunk ? end - chunk : 0;
        const long long length = std::min(size, end + static_cast<long long>(tagLength)) - begin;
        buffer.assign(static_cast<size_t>(length), '\0');
        if (!readAt(buffer, begin)) break;
        const size_t at = buffer.rfind(kCloseTag);
        if (at != std::string::npos) return begin + static_cast<long long>(at);
        end = begin;
    }
    return size;
}

bool KrLogFile::Impl::readAt(std::string& buffer, long long offset)
{
    if (Platform::SeekFile(file.Get(), offset, Platform::SeekOrigin::Begin) != offset) return false;
    return Platform::ReadWhole(file.Get(), &buffer[0], buffer.size()) ==
           static_cast<long long>(buffer.size());
}

bool KrLogFile::Impl::writeAt(const std::string& text, long long offset)
{
    return Platform::WriteWholeAt(file.Get(), text.data(), text.size(), offset);
}

// ---------------------------------------------------------------- writing

void KrLogFile::Impl::store()
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
            writeDatabase();
            break;
        case ModeMemory:
            break;
    }
}

void KrLogFile::Impl::writeText()
{
    format.Build(item, cachedDateTime, line);
    const size_t textLength = line.size();
    line += kLineEnd;
    if (file.IsOpen() && writeAt(line, nWritePos)) nWritePos += static_cast<long long>(line.size());
    CallBack callBack = g_pCallBack.load();
    if (callBack != nullptr)
    {
        line.resize(textLength);
        bInCallBack = true;  // a callback that logs would otherwise come back here
        callBack(line.c_str());
        bInCallBack = false;
    }
    releaseIfLarge(line);
}

void KrLogFile::Impl::writeXML()
{
    const KrString& text = format.Text();
    auto value = [&text](const char* token, const KrString& content)
    { return text.Find(token) >= 0 ? content : KrString(); };
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
    // The closing tag goes after every record, so the file is whole whenever it is read.
    line += kCloseTag;
    line += kLineEnd;
    if (file.IsOpen() && writeAt(line, nWritePos)) nWritePos += itemLength;
    releaseIfLarge(line);
}

void KrLogFile::Impl::writeDatabase()
{
    WriteCallBack writeCallBack = g_pWriteCallBack.load();
    if (writeCallBack == nullptr || pDataSource == nullptr) return;
    bInCallBack = true;
    writeCallBack(pDataSource, strFileName, item);
    bInCallBack = false;
}

}  // namespace KRN
