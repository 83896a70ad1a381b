// KrMarkup: the text is the only copy of the content; the index holds offsets into it.
#include "Base/KrMarkup.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "Base/KrFileStream.h"
#include "Base/Platform/KrPlatformMemory.h"

namespace KRN
{

namespace
{

struct CharClass
{
    bool space[256] = {};
    bool delimiter[256] = {};
    CharClass()
    {
        for (unsigned char c : std::string(" \t\n\r")) space[c] = delimiter[c] = true;
        for (unsigned char c : std::string("<>=\\/?!")) delimiter[c] = true;
    }
};
const CharClass kClass;

inline bool isSpace(char c)
{
    return kClass.space[static_cast<unsigned char>(c)];
}
inline bool isDelimiter(char c)
{
    return kClass.delimiter[static_cast<unsigned char>(c)];
}

// The offset of the first c in [from, end), or -1. Tags sit close together, so a few bytes are
// looked at directly before handing a longer stretch to memchr.
inline int findChar(const char* d, int from, int end, char c)
{
#ifdef __SSE2__
    if (from < end && d[from] == c) return from;  // tags side by side
    if (end - from >= 16)
    {
        // The next sixteen bytes at once.
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + from));
        const int hits = _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)));
        if (hits != 0) return from + __builtin_ctz(static_cast<unsigned>(hits));
        if (end - from == 16) return -1;
        const void* found = std::memchr(d + from + 16, c, static_cast<size_t>(end - from - 16));
        return found != nullptr ? static_cast<int>(static_cast<const char*>(found) - d) : -1;
    }
#endif
    const int near = std::min(end, from + 16);
    for (int n = from; n < near; ++n)
        if (d[n] == c) return n;
    if (near >= end) return -1;
    const void* found = std::memchr(d + near, c, static_cast<size_t>(end - near));
    return found != nullptr ? static_cast<int>(static_cast<const char*>(found) - d) : -1;
}

// The parse may not look past the text's first zero byte. Measuring the whole text first would
// read it from memory twice once it outgrows the caches, so the stretch known to be free of zeros
// is extended a block at a time, just ahead of the parse, which then finds the block cached.
class ZeroBoundedText
{
public:
    // size: the bytes of d that may be read, its terminating zero excluded; zeroFree: d is
    // known to hold no zero before it.
    ZeroBoundedText(const char* d, size_t size, bool zeroFree)
        : m_d(d), m_size(static_cast<int>(size)), m_end(zeroFree ? m_size : 0), m_final(zeroFree)
    {
    }

    // The offset of the first c at or after from and before the first zero, or -1.
    int find(int from, char c)
    {
        for (;;)
        {
            const int found = findChar(m_d, from, m_end, c);
            if (found >= 0 || m_final) return found;
            from = std::max(from, m_end);
            extend();
        }
    }

private:
    static constexpr int kBlock = 16384;

    void extend()
    {
        const int length = std::min(kBlock, m_size - m_end + 1);  // the terminator included
        const void* zero = std::memchr(m_d + m_end, '\0', static_cast<size_t>(length));
        if (zero != nullptr)
        {
            m_end = static_cast<int>(static_cast<const char*>(zero) - m_d);
            m_final = true;
        }
        else
        {
            m_end += length;
        }
    }

    const char* m_d;
    int m_size;
    int m_end;  // [0, m_end) holds no zero
    bool m_final;
};

// From this size on, a document's pages are made present before it is filled.
constexpr size_t kPreparedDocument = 4u << 20;

// Room for a document of the given length, its pages present at once when it is large.
void reserveDocument(std::string& document, size_t length)
{
    const size_t had = document.size();
    document.reserve(length);
    if (length >= kPreparedDocument)
        Platform::PrepareForWriting(&document[0] + had, document.capacity() - had);
}

// A long text given to SetDoc is parsed where it is and appended to the document a block at a
// time, just ahead of the parse: the parse reads each block while the copy has it cached, so the
// text crosses the memory bus once instead of twice more (copy, then parse). Lines a block ahead
// of the parse, in the text and in the document's room, are asked for while the parse works on
// what it has, so that the next block's copy does not wait on memory either.
class CopiedText
{
public:
    // d: a zero-terminated text; copy: the document, emptied first.
    CopiedText(const char* d, std::string& copy) : m_d(d), m_copy(copy) { copy.clear(); }

    // As ZeroBoundedText::find.
    int find(int from, char c)
    {
        if (from >= m_fetchAt) fetchAhead(from);
        for (;;)
        {
            const int found = findChar(m_d, from, m_end, c);
            if (found >= 0 || m_final) return found;
            from = std::max(from, m_end);
            extend();
        }
    }

private:
    static constexpr int kBlock = 65536;
    // Lines are asked for two at a time, so that the parse's own steps compare one offset; longer
    // bursts were measured slower (4 KB at once: a fifth slower at 200 MB), the requests then
    // queueing behind each other instead of overlapping the parse.
    static constexpr int kFetchStep = 128;
    static constexpr int kLine = 64;

    void fetchAhead(int from)
    {
        m_fetchAt = from + kFetchStep;
        m_fetched = std::max(m_fetched, from);
        const int wanted = from + kBlock + kFetchStep;
        const auto text = reinterpret_cast<std::uintptr_t>(m_d);
        const auto room = reinterpret_cast<std::uintptr_t>(m_copy.data());
        const int roomEnd = static_cast<int>(std::min<size_t>(m_copy.capacity(), INT_MAX));
        for (; m_fetched < wanted; m_fetched += kLine)
        {
            // Lines past the text's end are never read; a prefetch does not fault.
            __builtin_prefetch(reinterpret_cast<const void*>(text + m_fetched));
            if (m_fetched < roomEnd)
                __builtin_prefetch(reinterpret_cast<const void*>(room + m_fetched), 1);
        }
    }

    void extend()
    {
        if (m_size < 0 && (m_copy.capacity() - m_copy.size() < static_cast<size_t>(kBlock) ||
                           m_end > INT_MAX - kBlock))
        {
            // The document has no room for the rest: measure it once and make the room.
            const size_t rest = std::strlen(m_d + m_end);
            if (rest > static_cast<size_t>(INT_MAX - m_end))
            {
                // Offsets are ints: the document keeps it all, the parse sees no further.
                m_copy.append(m_d + m_end, rest);
                m_final = true;
                return;
            }
            m_size = m_end + static_cast<int>(rest);
            reserveDocument(m_copy, static_cast<size_t>(m_size));
        }
        int length = kBlock;
        if (m_size >= 0)
        {
            length = std::min(kBlock, m_size - m_end);
            m_final = m_end + length == m_size;
        }
        else if (const void* zero = std::memchr(m_d + m_end, '\0', kBlock))
        {
            // memchr stops at the first zero, so it reads nothing past the text's end.
            length = static_cast<int>(static_cast<const char*>(zero) - (m_d + m_end));
            m_final = true;
        }
        m_copy.append(m_d + m_end, static_cast<size_t>(length));
        m_end += length;
    }

    const char* m_d;
    std::string& m_copy;
    int m_size = -1;    // the text's length, once measured
    int m_end = 0;      // [0, m_end) holds no zero and is copied
    int m_fetchAt = 0;  // where the parse next asks for lines ahead
    int m_fetched = 0;  // lines before this offset were asked for
    bool m_final = false;
};

// An open element's name: its offset in the text and its length.
struct OpenName
{
    int offset;
    int length;
};

inline bool isNameEnd(char c)
{
    return c == '\0' || isDelimiter(c);
}

// The '>' of an end tag written exactly "</name>" at left, or -1 when it is written otherwise.
inline int plainEndTag(const char* d, int left, const char* name, int length)
{
    const char* tag = d + left + 2;
    if (d[left + 1] != '/') return -1;
    for (int i = 0; i < length; ++i)  // stops at a mismatch, so never past the text's end
        if (tag[i] != name[i]) return -1;
    return tag[length] == '>' ? left + 2 + length : -1;
}

// A name we write must read back as one token: no blanks, delimiters or quotes.
bool isWritableName(const char* name)
{
    if (name == nullptr || *name == '\0') return false;
    for (const char* p = name; *p != '\0'; ++p)
        if (isDelimiter(*p) || *p == '"' || *p == '\'') return false;
    return true;
}

// Keeps every byte, embedded zeros included (KrString's own copy stops at the first zero).
void assignBytes(KrString& target, const std::string& source)
{
    static_cast<std::string&>(target) = source;
}

void appendUtf8(std::string& out, long n)
{
    if (n < 128)
    {
        out += static_cast<char>(n);
    }
    else if (n < 2048)
    {
        out += static_cast<char>(0xC0 | ((n >> 6) & 0x1F));
        out += static_cast<char>(0x80 | (n & 0x3F));
    }
    else  // above 0xFFFF the value is truncated to three bytes, deliberately
    {
        out += static_cast<char>(0xE0 | ((n >> 12) & 0x0F));
        out += static_cast<char>(0x80 | ((n >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (n & 0x3F));
    }
}

// SetDoc copies a text shorter than this before parsing it, and a longer one as the parse goes.
constexpr size_t kCopiedWhole = 1u << 20;

// Files move through the stream's cache in transfers of this size.
constexpr unsigned int kFileBuffer = 65536;

const char kCannotOpen[] = "Cannot open file .\n";
const char kCannotWrite[] = "Cannot write file .\n";

}  // namespace

// ---- construction --------------------------------------------------------------------------

KrMarkup::KrMarkup()
{
    SetDoc(nullptr);
}

KrMarkup::KrMarkup(const char* text)
{
    SetDoc(text);
}

KrMarkup::KrMarkup(const KrMarkup& other)
{
    *this = other;
}

KrMarkup& KrMarkup::operator=(const KrMarkup& other)
{
    if (this == &other) return *this;
    assignBytes(m_strDoc, other.m_strDoc);
    m_strError = other.m_strError;
    m_iPosParent = other.m_iPosParent;
    m_iPos = other.m_iPos;
    m_iPosChild = other.m_iPosChild;
    m_iPosFree = other.m_iPosFree;
    m_nNodeType = other.m_nNodeType;
    m_mapSavedPos = other.m_mapSavedPos;
    m_segments.clear();
    m_segments.reserve(other.m_segments.capacity());
    for (size_t s = 0; s < other.m_segments.size(); ++s)
    {
        const int count =
            std::min(kSegmentSize, other.m_nPosAllocated - static_cast<int>(s) * kSegmentSize);
        m_segments.emplace_back(new PosEntry[count]);
        std::memcpy(m_segments.back().get(), other.m_segments[s].get(), sizeof(PosEntry) * count);
    }
    m_nPosAllocated = other.m_nPosAllocated;
    return *this;
}

KrMarkup::~KrMarkup() = default;

// ---- whole document and files --------------------------------------------------------------

unsigned char KrMarkup::SetDoc(const char* text)
{
    m_strError.Empty();
    const std::string& bytes = m_strDoc;
    const std::less_equal<const char*> notAfter;
    if (text != nullptr && notAfter(bytes.data(), text) &&
        notAfter(text, bytes.data() + bytes.size()))
    {
        m_strDoc = text;  // part of the document itself
    }
    else
    {
        m_strDoc.clear();
        m_strDoc.SetCharset(KrTextCodec::DEFAULT_CHARSET);
        // A text that ends within the caches' reach is copied whole and parsed after. A longer
        // one is read where it is and copied into the document as the parse reaches it. memchr
        // stops at the first zero, so it reads nothing past the text's end.
        const void* zero = text != nullptr ? std::memchr(text, '\0', kCopiedWhole) : nullptr;
        if (zero != nullptr)
            m_strDoc.append(text, static_cast<size_t>(static_cast<const char*>(zero) - text));
        else if (text != nullptr)
            m_pSetDocText = text;
        // A reader without room measures the text now, so that the index is sized for it once.
        if (m_pSetDocText != nullptr && m_strDoc.capacity() < kCopiedWhole)
            reserveDocument(m_strDoc, std::strlen(m_pSetDocText));
    }
    m_bTextZeroFree = true;
    const bool parsed = x_ParseDoc();
    m_pSetDocText = nullptr;
    m_bTextZeroFree = false;
    return parsed ? 1 : 0;
}

unsigned char KrMarkup::IsWellFormed() const
{
    return m_nPosAllocated > 0 && entry(0).iFirstChild != 0 ? 1 : 0;
}

unsigned char KrMarkup::Load(const char* path)
{
    KrFileStream file;
    const unsigned long long size =
        file.Open(path, KrStreamLoad, kFileBuffer) ? file.GetLength() : ~0ull;
    if (size >= INT_MAX || file.GetStatus() != KrStreamOK)
    {
        m_strError = kCannotOpen;
        return 0;
    }
    // Read straight into the document: a large file is not copied a second time.
    std::string& bytes = m_strDoc;
    bytes.clear();
    reserveDocument(bytes, static_cast<size_t>(size));
    bytes.assign(static_cast<size_t>(size), '\0');
    if (size > 0) file.Load(&bytes[0], static_cast<unsigned int>(size));
    // A file that shrank since its size was taken gives what could still be read.
    bytes.resize(static_cast<size_t>(file.GetPosition()));
    m_strError.Format("%d bytes", static_cast<int>(size));
    return x_ParseDoc() ? 1 : 0;
}

unsigned char KrMarkup::Save(const char* path)
{
    KrFileStream file;
    if (!file.Open(path, KrStreamSave, kFileBuffer))
    {
        m_strError = kCannotOpen;
        return 0;
    }
    if (!m_strDoc.empty()) file.Save(m_strDoc.data(), static_cast<unsigned int>(m_strDoc.size()));
    if (!file.Close())
    {
        m_strError = kCannotWrite;
        return 0;
    }
    if (!m_strDoc.empty()) m_strError.Format("%d bytes", m_strDoc.GetLength());
    return 1;
}

// ---- the element index ---------------------------------------------------------------------

// Grows by at most one new segment per call; only the partly filled last segment is ever
// reallocated, so a full segment never moves.
void KrMarkup::x_AllocPosArray(int count)
{
    if (count <= 0) count = m_iPosFree + m_iPosFree / 2;
    count = std::max(count, m_iPosFree + 1);
    if (count <= m_nPosAllocated) return;
    const int firstMissing = static_cast<int>(
        (static_cast<long long>(m_nPosAllocated) + kSegmentSize - 1) >> kSegmentBits);
    const long long cap = (static_cast<long long>(firstMissing) + 1) << kSegmentBits;
    count = static_cast<int>(std::min<long long>(count, std::min<long long>(cap, INT_MAX)));

    auto resizeSegment = [this](int segment, int oldCount, int newCount)
    {
        std::unique_ptr<PosEntry[]> grown(new PosEntry[newCount]);
        if (oldCount > 0)
            std::memcpy(grown.get(), m_segments[segment].get(), sizeof(PosEntry) * oldCount);
        m_segments[segment] = std::move(grown);
    };
    const int target = (count - 1) >> kSegmentBits;
    if (static_cast<int>(m_segments.capacity()) < target + 1) m_segments.reserve(2 * target + 4);
    const int partialCount = m_nPosAllocated & (kSegmentSize - 1);
    const int partial = partialCount != 0 ? m_nPosAllocated >> kSegmentBits : -1;
    if (partial >= 0 && target > partial) resizeSegment(partial, partialCount, kSegmentSize);
    const int wanted = count - (target << kSegmentBits);
    if (target == partial)
    {
        resizeSegment(target, partialCount, wanted);
    }
    else
    {
        m_segments.resize(target + 1);
        m_segments[target].reset(new PosEntry[wanted]);
    }
    m_nPosAllocated = count;
}

int KrMarkup::x_GetFreePos()
{
    if (m_iPosFree >= m_nPosAllocated) x_AllocPosArray(0);
    return m_iPosFree++;
}

void KrMarkup::x_SetPos(int parent, int main, int child)
{
    m_iPosParent = parent;
    m_iPos = main;
    m_iPosChild = child;
    m_nNodeType = main != 0 ? NodeElement : NodeNone;
}

bool KrMarkup::isLinked(int pos) const
{
    return pos == 0 || (pos > 0 && pos < m_iPosFree && entry(pos).nReserved == PosLinked);
}

// ---- tokens and nodes ----------------------------------------------------------------------

bool KrMarkup::x_FindToken(TokenPos& token)
{
    const char* d = token.szDoc;
    int n = token.nNext;
    token.bQuoted = false;
    while (isSpace(d[n])) ++n;
    token.nFirst = n;
    if (d[n] == '\0')
    {
        token.nLast = n - 1;
        token.nNext = n;
        return false;
    }
    const char quote = d[n];
    if (quote == '"' || quote == '\'')
    {
        token.bQuoted = true;
        token.nFirst = ++n;
        while (d[n] != '\0' && d[n] != quote) ++n;
        token.nLast = n - 1;
        token.nNext = d[n] != '\0' ? n + 1 : n;
        return true;
    }
    while (d[n] != '\0' && !isDelimiter(d[n])) ++n;
    if (n == token.nFirst) ++n;  // a delimiter is a token of its own
    token.nLast = n - 1;
    token.nNext = n;
    return true;
}

// The token matches when it equals the start of name and name ends there or goes on with one of
// " =/[" (so "item[2]" and "item/x" match the token "item").
bool KrMarkup::tokenMatches(const TokenPos& token, const char* name) const
{
    const int length = token.nLast - token.nFirst + 1;
    if (name == nullptr || length <= 0) return false;
    if (std::strncmp(token.szDoc + token.nFirst, name, static_cast<size_t>(length)) != 0)
        return false;
    const char next = name[length];
    return next == '\0' || next == ' ' || next == '=' || next == '/' || next == '[';
}

KrString KrMarkup::x_GetToken(const TokenPos& token) const
{
    if (token.nLast < token.nFirst) return KrString();
    return KrString(m_strDoc.substr(static_cast<size_t>(token.nFirst),
                                    static_cast<size_t>(token.nLast - token.nFirst + 1)));
}

KrMarkup::NodeKind KrMarkup::x_ParseNode(TokenPos& token)
{
    const char* d = token.szDoc;
    const int n = token.nNext;
    if (d[n] == '\0') return NodeNone;
    if (d[n] != '<')
    {
        int m = n;
        while (isSpace(d[m])) ++m;
        const bool blank = d[m] == '\0' || d[m] == '<';
        while (d[m] != '\0' && d[m] != '<') ++m;
        token.nNext = m;
        return blank ? NodeWhitespace : NodeText;
    }
    if (d[n + 1] == '\0' || d[n + 2] == '\0') return NodeNone;
    const char first = d[n + 1];
    const char second = d[n + 2];
    const char* terminator = nullptr;
    NodeKind kind = NodeNone;
    if (first == '?')
        terminator = "?>", kind = NodeProcessingInstruction;
    else if (first == '!' && second == '[')
        terminator = "]]>", kind = NodeCData;
    else if (first == '!' && second == '-')
        terminator = "-->", kind = NodeComment;
    else if (first == '/')
        return NodeNone;
    else if (first != '!')
    {
        token.nNext = n + 1;  // resume inside the tag: a caller skipping nodes moves on
        return NodeElement;
    }
    if (terminator != nullptr)
    {
        const char* found = std::strstr(d + n + 2, terminator);
        if (found == nullptr) return NodeNone;
        token.nNext = static_cast<int>(found - d) + static_cast<int>(std::strlen(terminator));
        return kind;
    }
    // A declaration: tokens up to an unquoted '>' outside any [ ] section.
    TokenPos scan;
    scan.szDoc = d;
    scan.nNext = n + 2;
    int depth = 0;
    while (x_FindToken(scan))
    {
        if (scan.bQuoted) continue;
        if (d[scan.nFirst] == '>' && depth == 0)
        {
            token.nNext = scan.nNext;
            return NodeDeclaration;
        }
        for (int i = scan.nFirst; i <= scan.nLast; ++i)
            depth += d[i] == '[' ? 1 : d[i] == ']' ? -1 : 0;
    }
    return NodeNone;
}

// ---- parsing -------------------------------------------------------------------------------

bool KrMarkup::x_ParseDoc()
{
    const KrString kept = m_strError;
    x_SetPos(0, 0, 0);
    m_mapSavedPos.clear();
    m_iPosFree = 1;
    // About one element per 64 bytes; SetDoc's long text is not yet in the document, its room is.
    const size_t length = m_pSetDocText != nullptr ? m_strDoc.capacity() : m_strDoc.size();
    x_AllocPosArray(static_cast<int>(std::min<size_t>(length / 64, INT_MAX - 8)) + 8);
    m_strError.Empty();
    entry(0) = PosEntry{};
    bool parsed = false;
    // The parse copies SetDoc's text only as far as it reads it; whatever it made of the text,
    // the document is the whole of it.
    const char* const source = m_pSetDocText;
    if (!m_strDoc.empty() || source != nullptr)
    {
        const int root = x_ParseElem(0);
        if (source != nullptr) m_strDoc.append(source + m_strDoc.size());
        if (root > 0)
        {
            entry(0).iFirstChild = root;
            parsed = true;
        }
    }
    if (!parsed)
    {
        entry(0) = PosEntry{};
        m_iPosFree = 1;
    }
    x_SetPos(0, 0, 0);
    if (m_strError.IsEmpty())
        m_strError = kept;
    else if (!kept.IsEmpty())
        m_strError = kept + ", " + m_strError;
    return parsed;
}

int KrMarkup::x_ParseError(const char* format, const KrString& argument)
{
    m_strError.Format(format, argument.Cstr());
    return -1;
}

// Parses the first element found from parent's end-left on (the sentinel's is 0), with its
// whole subtree, and returns its index (0 when an end tag comes first, -1 on error with the
// message in m_strError). The open elements are kept in the index itself (parent links), not on
// the call stack, so nesting depth is bounded by memory only.
int KrMarkup::x_ParseElem(int parent)
{
    const char* const source = m_pSetDocText;
    m_pSetDocText = nullptr;
    if (source != nullptr) return parseElements(CopiedText(source, m_strDoc), source, parent);
    const bool zeroFree = m_bTextZeroFree;
    m_bTextZeroFree = false;  // good for this parse only
    const char* d = m_strDoc.c_str();
    return parseElements(ZeroBoundedText(d, m_strDoc.size(), zeroFree), d, parent);
}

template <class Text>
int KrMarkup::parseElements(Text text, const char* d, int parent)
{
    int scan = entry(parent).nEndL;
    int current = parent;  // the element whose content is being read
    int previous = 0;      // its last completed child
    // Any other end tag: '/', then a name token, then tokens up to an unquoted '>'. Returns the
    // failure message, or null with right set to the '>'.
    auto checkEndTag = [d](int left, const OpenName& name, int& right) -> const char*
    {
        TokenPos endTag;
        endTag.szDoc = d;
        endTag.nNext = left + 1;
        if (!x_FindToken(endTag)) return "End tag not completed for element %s";
        if (endTag.bQuoted || d[endTag.nFirst] != '/') return "Expecting end tag of element %s";
        if (!x_FindToken(endTag)) return "End tag not completed for element %s";
        const int length = endTag.nLast - endTag.nFirst + 1;
        // The name rule of tokenMatches, with the start tag's name as the wanted one.
        const char* wanted = d + name.offset;
        const bool same = length <= name.length &&
                          std::memcmp(d + endTag.nFirst, wanted, length) == 0 &&
                          (length == name.length || wanted[length] == '[');
        if (!same) return "End tag does not correspond to %s";
        for (;;)
        {
            if (!x_FindToken(endTag)) return "End tag not completed for element %s";
            if (!endTag.bQuoted && d[endTag.nFirst] == '>')
            {
                right = endTag.nFirst;
                return nullptr;
            }
        }
    };
    for (;;)
    {
        const int left = text.find(scan, '<');
        if (left < 0) return x_ParseError("Element tag not found", KrString());
        int nameStart = left + 1;
        while (isSpace(d[nameStart])) ++nameStart;
        const char first = d[nameStart];
        if (first == '\0') return x_ParseError("Abrupt end within tag", KrString());
        if (first == '"' || first == '\'') return x_ParseError("Tag starts with quote", KrString());
        if (first == '?' || first == '!')
        {
            TokenPos node;
            node.szDoc = d;
            node.nNext = left;
            if (x_ParseNode(node) == NodeNone) return x_ParseError("Invalid node", KrString());
            scan = node.nNext;
            continue;
        }
        if (first == '/')
        {
            if (current == parent) return 0;
            PosEntry& closed = entry(current);
            closed.nEndL = left;
            // While an element is open its nEndR holds where its name ends.
            int nameAt = closed.nStartL + 1;
            while (isSpace(d[nameAt])) ++nameAt;
            const OpenName name{nameAt, closed.nEndR - nameAt};
            int right = plainEndTag(d, left, d + name.offset, name.length);
            if (right < 0)
            {
                const char* failure = checkEndTag(left, name, right);
                if (failure != nullptr) return x_ParseError(failure, x_GetTagName(current));
            }
            closed.nEndR = right;
            if (closed.iParent == parent) return current;
            previous = current;
            current = closed.iParent;
            scan = right + 1;
            continue;
        }
        int nameEnd = nameStart;
        while (!isNameEnd(d[nameEnd])) ++nameEnd;
        if (nameEnd == nameStart) ++nameEnd;  // a delimiter is a name of its own
        const int right = text.find(nameEnd, '>');
        if (right < 0) return x_ParseError("End of tag not found", KrString());
        const bool empty = d[right - 1] == '/';
        const int index = x_GetFreePos();
        PosEntry& e = entry(index);
        e.nStartL = left;
        e.nStartR = right;
        e.nEndL = empty ? right - 1 : right + 1;
        e.nEndR = empty ? right : nameEnd;
        e.nReserved = PosLinked;
        e.iParent = current;
        e.iFirstChild = 0;
        e.iNextSibling = 0;
        if (current != parent)
        {
            if (previous != 0)
                entry(previous).iNextSibling = index;
            else
                entry(current).iFirstChild = index;
        }
        scan = right + 1;
        if (empty)
        {
            if (current == parent) return index;
            previous = index;
        }
        else
        {
            current = index;
            previous = 0;
        }
    }
}

// ---- navigation ----------------------------------------------------------------------------

int KrMarkup::x_FindElem(int parent, int after, const char* name) const
{
    int i = after != 0 ? entry(after).iNextSibling : entry(parent).iFirstChild;
    const bool any = name == nullptr || *name == '\0';
    TokenPos token;
    token.szDoc = m_strDoc.c_str();
    for (; i != 0; i = entry(i).iNextSibling)
    {
        if (any) return i;
        token.nNext = entry(i).nStartL + 1;
        if (x_FindToken(token) && tokenMatches(token, name)) return i;
    }
    return 0;
}

unsigned char KrMarkup::FindElem(const char* name)
{
    if (m_nPosAllocated == 0) return 0;
    const int found = x_FindElem(m_iPosParent, m_iPos, name);
    if (found == 0) return 0;
    x_SetPos(entry(found).iParent, found, 0);
    return 1;
}

unsigned char KrMarkup::FindChildElem(const char* name)
{
    if (m_iPos == 0 && !FindElem(nullptr)) return 0;
    const int found = x_FindElem(m_iPos, m_iPosChild, name);
    if (found == 0) return 0;
    const int main = entry(found).iParent;
    x_SetPos(entry(main).iParent, main, found);
    return 1;
}

unsigned char KrMarkup::IntoElem()
{
    if (m_iPos == 0 || m_nNodeType != NodeElement) return 0;
    x_SetPos(m_iPos, m_iPosChild, 0);
    return 1;
}

unsigned char KrMarkup::OutOfElem()
{
    if (m_iPosParent == 0) return 0;
    x_SetPos(entry(m_iPosParent).iParent, m_iPosParent, m_iPos);
    return 1;
}

void KrMarkup::ResetPos()
{
    x_SetPos(0, 0, 0);
}

void KrMarkup::ResetMainPos()
{
    x_SetPos(m_iPosParent, 0, 0);
}

void KrMarkup::ResetChildPos()
{
    x_SetPos(m_iPosParent, m_iPos, 0);
}

unsigned char KrMarkup::SavePos(const char* name)
{
    if (name == nullptr) return 0;
    m_mapSavedPos[name] = SavedPos{m_iPosParent, m_iPos, m_iPosChild};
    return 1;
}

unsigned char KrMarkup::RestorePos(const char* name)
{
    if (name == nullptr) return 0;
    const auto found = m_mapSavedPos.find(name);
    if (found == m_mapSavedPos.end()) return 0;
    const SavedPos& saved = found->second;
    // A saved element may have been removed since; its entry is stale.
    if (!isLinked(saved.iParent) || !isLinked(saved.iMain) || !isLinked(saved.iChild)) return 0;
    x_SetPos(saved.iParent, saved.iMain, saved.iChild);
    return 1;
}

// ---- reading -------------------------------------------------------------------------------

KrString KrMarkup::x_GetTagName(int pos) const
{
    if (pos == 0) return KrString();
    TokenPos token;
    token.szDoc = m_strDoc.c_str();
    token.nNext = entry(pos).nStartL + 1;
    return x_FindToken(token) ? x_GetToken(token) : KrString();
}

KrString KrMarkup::GetTagName() const
{
    return x_GetTagName(m_iPos);
}

KrString KrMarkup::GetChildTagName() const
{
    return x_GetTagName(m_iPosChild);
}

// Walks the start tag's tokens (the tag name is token 0 when skipTagName is set). With an empty
// name the next attribute name is the hit; otherwise the hit is the quoted value two tokens
// after a matching name. Unquoted values are never found.
bool KrMarkup::x_FindAttrib(TokenPos& token, const char* name, int skipTagName) const
{
    const char* d = token.szDoc;
    const bool any = name == nullptr || *name == '\0';
    int n = 0;
    int matched = -1;
    if (skipTagName != 0)
    {
        if (!x_FindToken(token)) return false;
        n = 1;
    }
    for (; x_FindToken(token); ++n)
    {
        if (token.bQuoted)
        {
            if (matched >= 0 && n == matched + 2) return true;
            continue;
        }
        const char c = d[token.nFirst];
        if (c == '=') continue;
        if (c == '>' || c == '/' || c == '?') return false;
        if (any) return true;
        if (tokenMatches(token, name)) matched = n;
    }
    return false;
}

KrString KrMarkup::x_GetAttrib(int pos, const char* name) const
{
    if (pos == 0 || name == nullptr || *name == '\0') return KrString();
    TokenPos token;
    token.szDoc = m_strDoc.c_str();
    token.nNext = entry(pos).nStartL + 1;
    if (!x_FindAttrib(token, name, 1)) return KrString();
    return x_TextFromDoc(token.nFirst, token.nLast);
}

KrString KrMarkup::GetAttrib(const char* name) const
{
    return m_nNodeType == NodeElement ? x_GetAttrib(m_iPos, name) : KrString();
}

KrString KrMarkup::GetChildAttrib(const char* name) const
{
    return x_GetAttrib(m_iPosChild, name);
}

KrString KrMarkup::GetAttribName(int n) const
{
    if (m_nNodeType != NodeElement || m_iPos == 0 || n < 0) return KrString();
    TokenPos token;
    token.szDoc = m_strDoc.c_str();
    token.nNext = entry(m_iPos).nStartL + 1;
    for (int i = 0; i <= n; ++i)
        if (!x_FindAttrib(token, nullptr, i == 0 ? 1 : 0)) return KrString();
    return x_GetToken(token);
}

KrString KrMarkup::x_GetData(int pos) const
{
    if (pos == 0) return KrString();
    const PosEntry& e = entry(pos);
    if (e.iFirstChild != 0 || e.nStartR == e.nEndL + 1) return KrString();
    const char* d = m_strDoc.c_str();
    int start = e.nStartR + 1;
    while (start < e.nEndL && isSpace(d[start])) ++start;
    static const char kOpen[] = "<![CDATA[";
    if (e.nEndL - start > 11 && std::strncmp(d + start, kOpen, 9) == 0)
    {
        const size_t close = m_strDoc.find("]]>", static_cast<size_t>(start + 9));
        if (close != std::string::npos && static_cast<int>(close) + 3 <= e.nEndL)
            return KrString(m_strDoc.substr(static_cast<size_t>(start + 9),
                                            close - static_cast<size_t>(start + 9)));
    }
    return x_TextFromDoc(e.nStartR + 1, e.nEndL - 1);
}

KrString KrMarkup::GetData() const
{
    return x_GetData(m_iPos);
}

KrString KrMarkup::GetChildData() const
{
    return x_GetData(m_iPosChild);
}

// The offset after the blanks that start at offset, when only blanks lie before the next '<'
// or the end of the text; offset itself otherwise.
int KrMarkup::whitespaceEnd(int offset) const
{
    const char* d = m_strDoc.c_str();
    int n = offset;
    while (isSpace(d[n])) ++n;
    return d[n] == '<' || d[n] == '\0' ? n : offset;
}

KrString KrMarkup::x_GetSubDoc(int pos) const
{
    if (pos == 0) return KrString();
    const PosEntry& e = entry(pos);
    const int end = whitespaceEnd(e.nEndR + 1);
    return KrString(
        m_strDoc.substr(static_cast<size_t>(e.nStartL), static_cast<size_t>(end - e.nStartL)));
}

KrString KrMarkup::GetSubDoc() const
{
    return x_GetSubDoc(m_iPos);
}

KrString KrMarkup::GetChildSubDoc() const
{
    return x_GetSubDoc(m_iPosChild);
}

// ---- escaping ------------------------------------------------------------------------------

KrString KrMarkup::x_TextToDoc(const char* text, bool attribute)
{
    KrString out;
    if (text == nullptr) return out;
    const size_t length = std::strlen(text);
    out.reserve(length + length / 5);
    for (const char* p = text; *p != '\0'; ++p)
    {
        switch (*p)
        {
            case '<':
                out += "&lt;";
                break;
            case '&':
                out += "&amp;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '\'':
                attribute ? out += "&apos;" : out += '\'';
                break;
            case '"':
                attribute ? out += "&quot;" : out += '"';
                break;
            default:
                out += *p;
                break;
        }
    }
    return out;
}

KrString KrMarkup::x_TextFromDoc(int first, int last) const
{
    KrString out;
    if (last < first) return out;
    std::string& bytes = out;
    bytes.reserve(static_cast<size_t>(last - first + 1));
    const char* d = m_strDoc.c_str();
    static const struct
    {
        const char* name;
        int length;
        char value;
    } kNames[] = {
        {"lt;", 3, '<'}, {"amp;", 4, '&'}, {"gt;", 3, '>'}, {"apos;", 5, '\''}, {"quot;", 5, '"'}};
    int n = first;
    while (n <= last)
    {
        const void* amp = std::memchr(d + n, '&', static_cast<size_t>(last - n + 1));
        if (amp == nullptr)
        {
            bytes.append(d + n, static_cast<size_t>(last - n + 1));
            break;
        }
        const int at = static_cast<int>(static_cast<const char*>(amp) - d);
        bytes.append(d + n, static_cast<size_t>(at - n));
        n = at + 1;
        if (at + 1 <= last && d[at + 1] == '#')
        {
            const bool hex = at + 2 <= last && d[at + 2] == 'x';
            const int digits = at + (hex ? 3 : 2);
            int semicolon = -1;
            for (int i = digits; i < digits + 7 && i <= last; ++i)
            {
                if (d[i] == ';')
                {
                    semicolon = i;
                    break;
                }
            }
            if (semicolon < 0)
            {
                bytes += '&';
                continue;
            }
            char number[8] = {};
            std::memcpy(number, d + digits, static_cast<size_t>(semicolon - digits));
            appendUtf8(bytes, std::strtol(number, nullptr, hex ? 16 : 10));
            n = semicolon + 1;
            continue;
        }
        bool named = false;
        for (const auto& entity : kNames)
        {
            if (at + entity.length <= last &&
                std::memcmp(d + at + 1, entity.name, static_cast<size_t>(entity.length)) == 0)
            {
                bytes += entity.value;
                n = at + 1 + entity.length;
                named = true;
                break;
            }
        }
        if (!named) bytes += '&';
    }
    return out;
}

// ---- editing -------------------------------------------------------------------------------

void KrMarkup::x_DocChange(int offset, int length, const KrString& text)
{
    static_cast<std::string&>(m_strDoc).replace(static_cast<size_t>(offset),
                                                static_cast<size_t>(length), text);
}

// Adds shift to every offset at or past threshold, visiting the elements from pos on in
// document order (pos and its subtree skipped when afterOnly) and every ancestor on the way up.
void KrMarkup::x_Adjust(int pos, int threshold, int shift, bool afterOnly)
{
    auto move = [&](int i)
    {
        PosEntry& e = entry(i);
        if (e.nStartL >= threshold) e.nStartL += shift;
        if (e.nStartR >= threshold) e.nStartR += shift;
        if (e.nEndL >= threshold) e.nEndL += shift;
        if (e.nEndR >= threshold) e.nEndR += shift;
    };
    if (pos == 0)
    {
        pos = entry(0).iFirstChild;
        afterOnly = false;
        if (pos == 0) return;
    }
    int i = pos;
    int depth = 0;
    bool descend = !afterOnly;
    if (!afterOnly) move(i);
    for (;;)
    {
        if (descend && entry(i).iFirstChild != 0)
        {
            i = entry(i).iFirstChild;
            ++depth;
            move(i);
            continue;
        }
        descend = true;
        while (entry(i).iNextSibling == 0)
        {
            i = entry(i).iParent;
            if (i == 0) return;
            if (depth > 0)
                --depth;
            else
                move(i);
        }
        i = entry(i).iNextSibling;
        move(i);
    }
}

int KrMarkup::previousSibling(int pos) const
{
    int previous = 0;
    for (int i = entry(entry(pos).iParent).iFirstChild; i != 0 && i != pos;
         i = entry(i).iNextSibling)
        previous = i;
    return previous;
}

void KrMarkup::markRemoved(int pos)
{
    int i = pos;
    for (;;)
    {
        entry(i).nReserved = PosRemoved;
        if (entry(i).iFirstChild != 0)
        {
            i = entry(i).iFirstChild;
            continue;
        }
        while (i != pos && entry(i).iNextSibling == 0) i = entry(i).iParent;
        if (i == pos) return;
        i = entry(i).iNextSibling;
    }
}

// The offset where a new element goes under parent, before (insert) or after current; blanks
// up to the next tag are stepped over so the new text lands on its own line.
int KrMarkup::x_LocateNew(int parent, int current, bool insert) const
{
    const PosEntry& p = entry(parent);
    if (p.nStartR == p.nEndL + 1) return p.nEndL;  // "<p/>": its '/' is replaced
    int offset;
    if (current != 0)
        offset = insert ? entry(current).nStartL : entry(current).nEndR + 1;
    else
        offset = insert ? p.nStartR + 1 : p.nEndL;
    return whitespaceEnd(offset);
}

// A new root is appended to the text; the document is then read again, since whatever text
// it had before decides whether the new root is the one a reader finds.
bool KrMarkup::addRoot(const KrString& text)
{
    if (entry(0).iFirstChild != 0) return false;
    const std::string before = m_strDoc;
    const KrString error = m_strError;
    const int offset = m_strDoc.GetLength();
    static_cast<std::string&>(m_strDoc) += text;
    const bool found = x_ParseDoc() && entry(entry(0).iFirstChild).nStartL == offset;
    if (!found)
    {
        assignBytes(m_strDoc, before);
        x_ParseDoc();
    }
    m_strError = error;
    if (found) x_SetPos(0, entry(0).iFirstChild, 0);
    return found;
}

// Splices elementText (one element and its trailing blanks) in under the cursor's parent and
// indexes it: a single new element, or the entries of fragment's root subtree.
bool KrMarkup::placeNew(const KrString& elementText, bool insert, bool child,
                        const KrMarkup* fragment)
{
    int parent;
    int current;
    if (child)
    {
        if (m_iPos == 0) return false;
        parent = m_iPos;
        current = m_iPosChild;
    }
    else
    {
        current = m_iPos;
        parent = current != 0 ? entry(current).iParent : m_iPosParent;
    }
    if (parent == 0) return fragment == nullptr && addRoot(elementText);

    const bool parentEmpty = entry(parent).nStartR == entry(parent).nEndL + 1;
    const bool parentBare = entry(parent).nStartR + 1 == entry(parent).nEndL;
    const int offset = x_LocateNew(parent, current, insert);
    KrString splice;
    int replaced = 0;
    int lead = 0;
    if (parentEmpty)
    {
        const KrString open = openEmpty(parent);
        splice = open + "\r\n" + elementText + "</" + x_GetTagName(parent);
        replaced = 1;
        lead = open.GetLength() + 2;
    }
    else if (parentBare)
    {
        splice = "\r\n" + elementText;
        lead = 2;
    }
    else
    {
        splice = elementText;
    }

    int previous;
    int next;
    if (current != 0)
    {
        previous = insert ? previousSibling(current) : current;
        next = insert ? current : entry(current).iNextSibling;
    }
    else
    {
        previous = 0;
        next = entry(parent).iFirstChild;
        if (!insert)
            for (; next != 0; next = entry(next).iNextSibling) previous = next;
    }

    x_DocChange(offset, replaced, splice);
    x_Adjust(previous != 0 ? previous : parent, offset + replaced, splice.GetLength() - replaced,
             previous != 0);
    if (parentEmpty)
    {
        entry(parent).nStartR = offset + lead - 3;
        entry(parent).nEndL = offset + lead + elementText.GetLength();
    }

    const int start = offset + lead;
    int added;
    if (fragment == nullptr)
    {
        added = x_GetFreePos();
        PosEntry& e = entry(added);
        e = PosEntry{};
        const int right = static_cast<int>(elementText.find('>'));
        e.nStartL = start;
        e.nStartR = start + right;
        if (elementText[right - 1] == '/')
        {
            e.nEndL = e.nStartR - 1;
            e.nEndR = e.nStartR;
        }
        else
        {
            const int endLeft = static_cast<int>(elementText.rfind("</"));
            e.nEndL = start + endLeft;
            e.nEndR = start + static_cast<int>(elementText.find('>', static_cast<size_t>(endLeft)));
        }
    }
    else
    {
        const int root = fragment->entry(0).iFirstChild;
        const int shift = start - fragment->entry(root).nStartL;
        const int base = m_iPosFree - root;
        auto remap = [base](int i) { return i != 0 ? i + base : 0; };
        for (int i = root; i < fragment->m_iPosFree; ++i)
        {
            const PosEntry& from = fragment->entry(i);
            PosEntry& to = entry(x_GetFreePos());
            to = PosEntry{from.nStartL + shift,
                          from.nStartR + shift,
                          from.nEndL + shift,
                          from.nEndR + shift,
                          0,
                          remap(from.iParent),
                          remap(from.iFirstChild),
                          remap(from.iNextSibling)};
        }
        added = root + base;
    }
    x_PosInsert(added, parent, previous, next);

    if (child)
        x_SetPos(entry(parent).iParent, parent, added);
    else
        x_SetPos(parent, added, 0);
    return true;
}

// What replaces the '/' of "<a/>" to open the element: ">", or " >" when another '/' stands
// before it, which would otherwise close the start tag again ("<a x=y//>").
KrString KrMarkup::openEmpty(int pos) const
{
    const int slash = entry(pos).nEndL;
    return KrString(slash > 0 && m_strDoc[slash - 1] == '/' ? " >" : ">");
}

// The text of a new element with its line end: "<name/>" without data.
KrString KrMarkup::x_CreateNode(const char* name, const char* data)
{
    KrString text = "<";
    text += name;
    if (data != nullptr && *data != '\0')
        text += ">" + x_TextToDoc(data, false) + "</" + name + ">\r\n";
    else
        text += "/>\r\n";
    return text;
}

// Links pos under parent between previous (0: first) and next.
void KrMarkup::x_PosInsert(int pos, int parent, int previous, int next)
{
    entry(pos).iParent = parent;
    entry(pos).iNextSibling = next;
    if (previous != 0)
        entry(previous).iNextSibling = pos;
    else
        entry(parent).iFirstChild = pos;
}

bool KrMarkup::x_AddElem(const char* name, const char* data, bool insert, bool child)
{
    if (!isWritableName(name) || m_nPosAllocated == 0) return false;
    return placeNew(x_CreateNode(name, data), insert, child, nullptr);
}

bool KrMarkup::x_AddSubDoc(const char* text, bool insert, bool child)
{
    if (m_nPosAllocated == 0) return false;
    KrMarkup fragment(text);
    if (!fragment.IsWellFormed()) return false;
    return placeNew(fragment.x_GetSubDoc(fragment.entry(0).iFirstChild), insert, child, &fragment);
}

unsigned char KrMarkup::AddElem(const char* name, const char* data)
{
    return x_AddElem(name, data, false, false);
}
unsigned char KrMarkup::InsertElem(const char* name, const char* data)
{
    return x_AddElem(name, data, true, false);
}
unsigned char KrMarkup::AddChildElem(const char* name, const char* data)
{
    return x_AddElem(name, data, false, true);
}
unsigned char KrMarkup::InsertChildElem(const char* name, const char* data)
{
    return x_AddElem(name, data, true, true);
}
unsigned char KrMarkup::AddSubDoc(const char* text)
{
    return x_AddSubDoc(text, false, false);
}
unsigned char KrMarkup::InsertSubDoc(const char* text)
{
    return x_AddSubDoc(text, true, false);
}
unsigned char KrMarkup::AddChildSubDoc(const char* text)
{
    return x_AddSubDoc(text, false, true);
}
unsigned char KrMarkup::InsertChildSubDoc(const char* text)
{
    return x_AddSubDoc(text, true, true);
}

bool KrMarkup::x_SetAttrib(int pos, const char* name, const char* value)
{
    if (pos == 0 || !isWritableName(name)) return false;
    const KrString escaped = x_TextToDoc(value, true);
    const PosEntry& e = entry(pos);
    TokenPos token;
    token.szDoc = m_strDoc.c_str();
    token.nNext = e.nStartL + 1;
    int offset;
    int replaced = 0;
    KrString splice;
    if (x_FindAttrib(token, name, 1))
    {
        // A quoted value holding the '>' that ends the start tag cannot be rewritten in place.
        if (token.nLast >= e.nStartR) return false;
        offset = token.nFirst;
        replaced = token.nLast - token.nFirst + 1;
        splice = escaped;
    }
    else
    {
        offset = e.nStartR == e.nEndL + 1 ? e.nEndL : e.nStartR;
        splice = KrString(" ") + name + "=\"" + escaped + "\"";
    }
    x_DocChange(offset, replaced, splice);
    x_Adjust(pos, offset + replaced, splice.GetLength() - replaced, false);
    return true;
}

unsigned char KrMarkup::SetAttrib(const char* name, const char* value)
{
    return m_nNodeType == NodeElement && x_SetAttrib(m_iPos, name, value) ? 1 : 0;
}

unsigned char KrMarkup::SetAttrib(const char* name, int value)
{
    return SetAttrib(name, KrString::From(value).Cstr());
}

unsigned char KrMarkup::SetChildAttrib(const char* name, const char* value)
{
    return x_SetAttrib(m_iPosChild, name, value) ? 1 : 0;
}

unsigned char KrMarkup::SetChildAttrib(const char* name, int value)
{
    return SetChildAttrib(name, KrString::From(value).Cstr());
}

bool KrMarkup::x_SetData(int pos, const char* text, int cdata)
{
    if (pos == 0 || entry(pos).iFirstChild != 0) return false;
    if (text == nullptr) text = "";
    KrString content;
    if (cdata != 0 && std::strstr(text, "]]>") == nullptr)
        content = KrString("<![CDATA[") + text + "]]>";
    else
        content = x_TextToDoc(text, false);
    const PosEntry& e = entry(pos);
    const bool empty = e.nStartR == e.nEndL + 1;
    int offset;
    int replaced;
    KrString splice;
    if (empty)
    {
        offset = e.nEndL;
        replaced = 1;
        splice = openEmpty(pos) + content + "</" + x_GetTagName(pos);
    }
    else
    {
        offset = e.nStartR + 1;
        replaced = e.nEndL - offset;
        splice = content;
    }
    x_DocChange(offset, replaced, splice);
    x_Adjust(pos, offset + replaced, splice.GetLength() - replaced, false);
    if (empty)
    {
        const int open =
            splice.GetLength() - content.GetLength() - 2 - x_GetTagName(pos).GetLength();
        entry(pos).nStartR = offset + open - 1;
        entry(pos).nEndL = offset + open + content.GetLength();
    }
    return true;
}

unsigned char KrMarkup::SetData(const char* data, int cdata)
{
    return x_SetData(m_iPos, data, cdata) ? 1 : 0;
}

unsigned char KrMarkup::SetChildData(const char* data, int cdata)
{
    return x_SetData(m_iPosChild, data, cdata) ? 1 : 0;
}

bool KrMarkup::x_RemoveElem(int pos)
{
    if (pos == 0) return false;
    const int parent = entry(pos).iParent;
    const int previous = previousSibling(pos);
    const int offset = entry(pos).nStartL;
    const int length = whitespaceEnd(entry(pos).nEndR + 1) - offset;
    if (previous != 0)
        entry(previous).iNextSibling = entry(pos).iNextSibling;
    else
        entry(parent).iFirstChild = entry(pos).iNextSibling;
    markRemoved(pos);
    x_DocChange(offset, length, KrString());
    if (parent == 0)
    {
        // Without its root the document may now start with what used to follow it.
        const KrString error = m_strError;
        x_ParseDoc();
        m_strError = error;
        return true;
    }
    x_Adjust(previous != 0 ? previous : parent, offset + length, -length, previous != 0);
    return true;
}

unsigned char KrMarkup::RemoveElem()
{
    const int pos = m_iPos;
    const int previous = pos != 0 ? previousSibling(pos) : 0;
    const bool root = pos != 0 && entry(pos).iParent == 0;
    if (!x_RemoveElem(pos)) return 0;
    if (!root) x_SetPos(m_iPosParent, previous, 0);
    return 1;
}

unsigned char KrMarkup::RemoveChildElem()
{
    const int pos = m_iPosChild;
    const int previous = pos != 0 ? previousSibling(pos) : 0;
    if (!x_RemoveElem(pos)) return 0;
    x_SetPos(m_iPosParent, m_iPos, previous);
    return 1;
}

}  // namespace KRN
