#include <gtest/gtest.h>

#include <string>

#include "Base/ZoBase.h"
#include "ScratchDir.h"

using namespace KRN;

namespace
{

// Tag names of the whole tree, nesting shown by brackets, walked without recursion.
std::string outline(KrMarkup& m)
{
    std::string out;
    m.ResetPos();
    for (int depth = 0;;)
    {
        if (m.FindElem())
        {
            out += " " + std::string(m.GetTagName()) + std::string(m.GetAttrib("a"));
            if (m.IntoElem()) ++depth, out += "(";
            continue;
        }
        if (depth-- == 0) return out;
        m.OutOfElem();
        out += ")";
    }
}

std::string body(size_t bytes)
{
    std::string text = "<r>";
    for (int i = 0; text.size() < bytes; ++i)
        text += "<e a=\"" + std::to_string(i % 97) + "\">t &amp; " + std::to_string(i) + "</e>\r\n";
    return text;
}

// A well-formed text of exactly the given length.
std::string exactly(size_t bytes)
{
    const std::string text = body(bytes - 100);
    return text + std::string(bytes - 4 - text.size(), ' ') + "</r>";
}

}  // namespace

// A text of a megabyte or more is copied into the document as the parse reads it: whatever the
// parse makes of it, the document and the result must be those of the same bytes read from a
// file, whether the document had room for the text beforehand or not.
TEST(KrMarkupLongTextTest, SetDocOfLongTextsReadsAsTheSameFileDoes)
{
    const std::string texts[] = {
        body(1500000) + "</r>",
        body(3 << 20) + "</r>",                      // outgrows the room the first text left
        exactly(1 << 20),                            // copied as it is parsed, to a block's end
        exactly((1 << 20) - 1),                      // copied whole, then parsed
        body(1200000) + "</q>",                      // the error at the very end
        "<r><e/></x>" + body(2 << 20),               // the error at the start
        "<r a=\"1\"/>" + std::string(1 << 21, 'x'),  // the root ends early
        "<r><e a=\"" + std::string(1 << 21, '>') + "\"/></r>",  // one tag over many blocks
    };
    ScratchDir scratch;
    KrMarkup reused;
    for (const std::string& text : texts)
    {
        SCOPED_TRACE(text.substr(0, 20) + "... " + std::to_string(text.size()) + " bytes");
        writeFile(scratch.path("t.xml"), text);
        KrMarkup loaded, fresh;
        const bool loadedWell = loaded.Load(scratch.path("t.xml").c_str());
        // Load's message is "<size> bytes", then ", " and the parse's own message if any.
        const std::string loadError = std::string(loaded.GetError());
        const size_t comma = loadError.find(", ");
        for (KrMarkup* m : {&reused, &fresh})
        {
            EXPECT_EQ(m->SetDoc(text.c_str()), loadedWell);
            EXPECT_TRUE(m->GetDoc() == text);
            EXPECT_EQ(outline(*m), outline(loaded));
            EXPECT_EQ(std::string(m->GetError()),
                      comma == std::string::npos ? "" : loadError.substr(comma + 2));
        }
    }
}
