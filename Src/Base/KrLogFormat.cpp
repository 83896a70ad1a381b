#include "KrLogFileImpl.h"

namespace KRN::LogDetail
{

namespace
{

struct TokenName
{
    const char* text;
    size_t length;
    RecordFormat::Token token;
};

using Token = RecordFormat::Token;

// The order in which the documented rule replaces the tokens.
const TokenName kTokens[] = {{"%DATETIME", 9, Token::DateTime}, {"%TIMESPAN", 9, Token::TimeSpan},
                             {"%LEVEL", 6, Token::Level},       {"%MSG", 4, Token::Message},
                             {"%THREADID", 9, Token::ThreadId}, {"%CODEFILE", 9, Token::CodeFile},
                             {"%CODELINE", 9, Token::CodeLine}};

const TokenName* tokenAt(const std::string& format, size_t at)
{
    if (format[at] != '%') return nullptr;
    for (const TokenName& name : kTokens)
        if (format.compare(at, name.length, name.text) == 0) return &name;
    return nullptr;
}

// Appends the record's text for one token; a literal's text is its own.
void appendValue(std::string& out, Token token, const std::string& literal, const KrLogItem& item,
                 const std::string& dateTime)
{
    switch (token)
    {
        case Token::Literal:
            out += literal;
            break;
        case Token::DateTime:
            out += dateTime;
            break;
        case Token::TimeSpan:
            appendDecimal(out, item.m_nTimeSpan);
            break;
        case Token::Level:
            out += KrLogFile::GetLevelAsString(item.m_nLevel);
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

bool hasPercent(const std::string& text)
{
    return text.find('%') != std::string::npos;
}

}  // namespace

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

RecordFormat::RecordFormat()
{
    Set(kDefaultFormat);
}

void RecordFormat::Set(const KrString& format)
{
    m_text = format;
    m_bHasThreadId = format.Find("%THREADID") >= 0;
    m_pieces.clear();
    const std::string& text = format;
    std::string literal;
    for (size_t i = 0; i < text.size();)
    {
        const TokenName* found = tokenAt(text, i);
        if (found == nullptr)
        {
            literal += text[i++];
            continue;
        }
        if (!literal.empty()) m_pieces.push_back({Token::Literal, std::move(literal)});
        literal.clear();
        m_pieces.push_back({found->token, std::string()});
        i += found->length;
    }
    if (!literal.empty()) m_pieces.push_back({Token::Literal, std::move(literal)});

    // A "%" among the last characters of a literal may start a token that a replacement
    // completes, even an empty one ("%THR" + "" + "EADID").
    m_bLiteralMayJoinValue = false;
    for (size_t i = 0; i + 1 < m_pieces.size(); ++i)
    {
        const std::string& piece = m_pieces[i].text;
        if (m_pieces[i].token == Token::Literal &&
            piece.find('%', piece.size() > 9 ? piece.size() - 9 : 0) != std::string::npos)
            m_bLiteralMayJoinValue = true;
    }
}

// The tokens are replaced one after another in the order of kTokens, so a token that a
// replacement brings in (a message holding "%THREADID", or "%THR" + an empty message + "EADID"
// in the format) is replaced by a later step. The compiled pieces give the same text in one
// pass whenever no replacement can bring one in, which is every ordinary record.
bool RecordFormat::mayBringInTokens(const KrLogItem& item, const std::string& dateTime) const
{
    return m_bLiteralMayJoinValue || hasPercent(dateTime) || hasPercent(item.m_strMessage) ||
           hasPercent(item.m_strCodeFile);
}

// The documented rule itself: each token of kTokens in turn, every occurrence replaced.
void RecordFormat::buildStepByStep(const KrLogItem& item, const std::string& dateTime,
                                   std::string& out) const
{
    std::string text = m_text;
    std::string value;
    for (const TokenName& name : kTokens)
    {
        value.clear();
        appendValue(value, name.token, std::string(), item, dateTime);
        for (size_t at = text.find(name.text); at != std::string::npos;
             at = text.find(name.text, at + value.size()))
            text.replace(at, name.length, value);
    }
    out = std::move(text);
}

void RecordFormat::Build(const KrLogItem& item, const std::string& dateTime, std::string& out) const
{
    if (mayBringInTokens(item, dateTime))
    {
        buildStepByStep(item, dateTime, out);
        return;
    }
    out.clear();
    for (const Piece& piece : m_pieces) appendValue(out, piece.token, piece.text, item, dateTime);
}

}  // namespace KRN::LogDetail
