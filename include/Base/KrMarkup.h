// KrMarkup: the library's XML reader and writer. The document is kept as one text, exactly as
// loaded or built, beside an index of element offsets into it; names, attributes and data are cut
// out of the text on demand, and edits splice the text and shift the offsets behind the splice.
// Navigate with a three-level cursor (parent, main, child): FindElem walks the main level,
// FindChildElem the level below it, IntoElem / OutOfElem move the cursor down and up.
//   KrMarkup xml("<layers><layer name=\"roads\"/></layers>");
//   xml.FindElem();  xml.IntoElem();
//   while (xml.FindElem("layer")) use(xml.GetAttrib("name"));
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Base/KrDefs.h"
#include "Base/KrString.h"

namespace KRN
{

// Results are unsigned char 1/0; reads give an empty string when there is nothing to return.
// Deliberate simplifications callers should know about:
// - only the first element at document level is parsed; anything after its end tag is ignored;
// - a '>' inside a quoted attribute value ends the start tag there;
// - attribute values are found only when quoted (x="1"); x=1 is never found;
// - numeric references above 0xFFFF are written as three (truncated) UTF-8 bytes;
// - AddAttrib is SetAttrib: an existing attribute gets the new value, no duplicate is written;
// - a name given to FindElem or GetAttrib matches up to a ' ', '=', '/' or '[' in it,
//   so "item[2]" and "item/x" find "item".
class KRN_API KrMarkup
{
public:
    KrMarkup();
    KrMarkup(const char* text);       // as SetDoc(text)
    KrMarkup(const KrMarkup& other);  // copies text, index, cursor and named positions
    KrMarkup& operator=(const KrMarkup& other);
    virtual ~KrMarkup();

    // Replaces the document and parses it; true when a root element was found. A null or
    // empty text gives an empty document. On failure the text stays, the index is empty and
    // GetError() holds the parse message.
    unsigned char SetDoc(const char* text);
    const KrString& GetDoc() const { return m_strDoc; }
    unsigned char IsWellFormed() const;
    // "N bytes" after Load/Save, "Cannot open file .\n", "Cannot write file .\n", or a parse
    // message (after a failed Load: "N bytes, <message>").
    const KrString& GetError() const { return m_strError; }

    // Raw bytes in and out: no declaration, byte-order mark or line-end conversion is added.
    // Both go through KrFileStream, the one file path of the library.
    unsigned char Load(const char* path);
    unsigned char Save(const char* path);

    // A null or empty name matches any element.
    unsigned char FindElem(const char* name = nullptr);
    unsigned char FindChildElem(const char* name = nullptr);
    unsigned char IntoElem();
    unsigned char OutOfElem();
    void ResetPos();
    void ResetMainPos();
    void ResetChildPos();
    // Named cursor states; SetDoc and Load forget them, and one whose element was removed
    // since cannot be restored.
    unsigned char SavePos(const char* name);
    unsigned char RestorePos(const char* name);

    KrString GetTagName() const;
    KrString GetChildTagName() const;
    KrString GetData() const;  // empty for an element with child elements
    KrString GetChildData() const;
    KrString GetAttrib(const char* name) const;
    KrString GetChildAttrib(const char* name) const;
    KrString GetAttribName(int n) const;  // name of the n-th attribute (from 0) of the main element
    // The element's text with the whitespace that follows it up to the next tag.
    KrString GetSubDoc() const;
    KrString GetChildSubDoc() const;

    // Add places the new element after the current one (last when there is none), Insert
    // before it (first). The new element becomes the current one. At document level only one
    // root can be added. Names with blanks, quotes or any of <>=\/?! are refused.
    unsigned char AddElem(const char* name, const char* data = nullptr);
    unsigned char InsertElem(const char* name, const char* data = nullptr);
    unsigned char AddChildElem(const char* name, const char* data = nullptr);
    unsigned char InsertChildElem(const char* name, const char* data = nullptr);
    // The first element of an XML fragment (what precedes it is dropped, what follows its end
    // tag other than blanks is ignored). The main variants need a parent element.
    unsigned char AddSubDoc(const char* text);
    unsigned char InsertSubDoc(const char* text);
    unsigned char AddChildSubDoc(const char* text);
    unsigned char InsertChildSubDoc(const char* text);

    unsigned char SetAttrib(const char* name, const char* value);
    unsigned char SetAttrib(const char* name, int value);
    unsigned char AddAttrib(const char* name, const char* value) { return SetAttrib(name, value); }
    unsigned char AddAttrib(const char* name, int value) { return SetAttrib(name, value); }
    unsigned char SetChildAttrib(const char* name, const char* value);
    unsigned char SetChildAttrib(const char* name, int value);
    unsigned char AddChildAttrib(const char* name, const char* value)
    {
        return SetChildAttrib(name, value);
    }
    unsigned char AddChildAttrib(const char* name, int value)
    {
        return SetChildAttrib(name, value);
    }
    // A CDATA section when cdata is non-zero and the text holds no "]]>", else escaped text.
    // Fails for an element that has child elements.
    unsigned char SetData(const char* data, int cdata = 0);
    unsigned char SetChildData(const char* data, int cdata = 0);

    // The previous sibling becomes current, so the next FindElem returns the one that followed.
    // Removing the root reads the rest of the text again, resetting the cursor: what followed
    // the old root may now be the document.
    unsigned char RemoveElem();
    unsigned char RemoveChildElem();

protected:
    // The element index, the parsing cursor and the x_ operations below are the design that
    // derived classes build on: their names, fields and meanings are a contract, kept as they are.

    // What x_ParseNode finds at a scan position. Bit values, so that kinds combine into a mask.
    enum NodeKind : int
    {
        NodeNone = 0,  // end of text, an end tag, or an unterminated special node
        NodeElement = 1,
        NodeText = 2,                    // character data that is not only whitespace
        NodeWhitespace = 4,              // whitespace only, up to the next '<' or the end
        NodeCData = 8,                   // <![CDATA[ ... ]]>
        NodeProcessingInstruction = 16,  // <? ... ?>
        NodeComment = 32,                // <!-- ... -->
        NodeDeclaration = 64             // any other <! ... > (DOCTYPE and the like)
    };
    // Values of PosEntry::nReserved.
    enum PosFlag : int
    {
        PosLinked = 0,  // the element is in the document
        PosRemoved = 1  // the element was removed; its index is never reused
    };
    // One element: offsets into the text and links by index. Eight 32-bit fields, 32 bytes.
    struct PosEntry
    {
        int nStartL;    // '<' of the start tag
        int nStartR;    // '>' of the start tag
        int nEndL;      // '<' of the end tag; the '/' of "<a/>"
        int nEndR;      // '>' of the end tag; nStartR for "<a/>"
        int nReserved;  // a PosFlag
        int iParent;
        int iFirstChild;
        int iNextSibling;
    };
    // A parsing cursor: the token is [nFirst, nLast], scanning resumes at nNext.
    struct TokenPos
    {
        int nFirst = 0;
        int nLast = -1;
        int nNext = 0;
        const char* szDoc = nullptr;
        bool bQuoted = false;
    };
    struct SavedPos
    {
        int iParent;
        int iMain;
        int iChild;
    };
    // Index i lives in segment i >> kSegmentBits at slot i & (kSegmentSize - 1).
    static constexpr int kSegmentBits = 16;
    static constexpr int kSegmentSize = 1 << kSegmentBits;

    PosEntry& entry(int i) { return m_segments[i >> kSegmentBits][i & (kSegmentSize - 1)]; }
    const PosEntry& entry(int i) const
    {
        return m_segments[i >> kSegmentBits][i & (kSegmentSize - 1)];
    }

    bool x_ParseDoc();
    int x_ParseElem(int parent);
    static NodeKind x_ParseNode(TokenPos& token);
    static bool x_FindToken(TokenPos& token);
    int x_FindElem(int parent, int after, const char* name) const;
    bool x_FindAttrib(TokenPos& token, const char* name, int skipTagName) const;
    KrString x_GetToken(const TokenPos& token) const;
    KrString x_GetTagName(int pos) const;
    KrString x_GetAttrib(int pos, const char* name) const;
    KrString x_GetData(int pos) const;
    KrString x_GetSubDoc(int pos) const;
    static KrString x_TextToDoc(const char* text, bool attribute);
    KrString x_TextFromDoc(int first, int last) const;
    bool x_AddElem(const char* name, const char* data, bool insert, bool child);
    bool x_AddSubDoc(const char* text, bool insert, bool child);
    bool x_SetAttrib(int pos, const char* name, const char* value);
    bool x_SetData(int pos, const char* text, int cdata);
    static KrString x_CreateNode(const char* name, const char* data);
    bool x_RemoveElem(int pos);
    int x_LocateNew(int parent, int current, bool insert) const;
    void x_Adjust(int pos, int threshold, int shift, bool afterOnly);
    void x_DocChange(int offset, int length, const KrString& text);
    void x_AllocPosArray(int count);
    int x_GetFreePos();
    void x_SetPos(int parent, int main, int child);
    void x_PosInsert(int pos, int parent, int previous, int next);
    int x_ParseError(const char* format, const KrString& argument);

    KrString m_strDoc;
    KrString m_strError;
    int m_iPosParent = 0;
    int m_iPos = 0;
    int m_iPosChild = 0;
    int m_iPosFree = 1;
    NodeKind m_nNodeType = NodeNone;
    std::map<std::string, SavedPos> m_mapSavedPos;
    std::vector<std::unique_ptr<PosEntry[]>> m_segments;
    int m_nPosAllocated = 0;

private:
    // Set by SetDoc for the parse that follows it: the caller's text, which the parse copies
    // into the document as it reads it, or (the text already copied) that the document has no
    // zero byte before its end.
    const char* m_pSetDocText = nullptr;
    bool m_bTextZeroFree = false;

    // The loop of x_ParseElem over the text d, revealed by text as the parse goes (its own copy,
    // so that its state stays in registers).
    template <class Text>
    int parseElements(Text text, const char* d, int parent);
    bool tokenMatches(const TokenPos& token, const char* name) const;
    bool addRoot(const KrString& text);
    bool placeNew(const KrString& elementText, bool insert, bool child, const KrMarkup* fragment);
    int whitespaceEnd(int offset) const;
    KrString openEmpty(int pos) const;
    int previousSibling(int pos) const;
    void markRemoved(int pos);
    bool isLinked(int pos) const;
};

}  // namespace KRN
