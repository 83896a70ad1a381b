#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>

#include "Base/KrMarkupProbe.h"
#include "Base/ZoBase.h"
#include "ScratchDir.h"

using namespace KRN;

namespace
{

// Tag names of the elements from the top (or the main position) on and below, nesting shown by
// brackets.
std::string outline(KrMarkup& m, bool fromTop = true)
{
    if (fromTop) m.ResetPos();
    std::string out;
    while (m.FindElem())
    {
        out += (out.empty() ? "" : " ") + std::string(m.GetTagName());
        if (!m.FindChildElem()) continue;
        m.ResetChildPos();
        m.IntoElem();
        out += "(" + outline(m, false) + ")";
        m.OutOfElem();
    }
    return out;
}

// Where a step that succeeded leaves the cursor: "main/child" tag names, and the child's id
// attribute if it has one; "refused" when the step failed.
std::string after(bool ok, KrMarkup& m)
{
    const std::string where = std::string(m.GetTagName()) + "/" + std::string(m.GetChildTagName());
    const std::string id = m.GetChildAttrib("id");
    return !ok ? "refused" : id.empty() ? where : where + "#" + id;
}

const auto repeat = [](const std::string& piece, int count)
{
    std::string out;
    while (count-- > 0) out += piece;
    return out;
};

// Loads doc from a file (SetDoc takes a C string; a zero byte reaches the parser only this way)
// and checks the message Load leaves, the elements found and that the text is kept whole.
void expectLoad(const ScratchDir& dir, const std::string& doc, const char* error, const char* tree,
                const std::string& where)
{
    KrMarkup m;
    writeFile(dir.path("doc.xml"), doc);
    m.Load(dir.path("doc.xml").c_str());
    const std::string bytes = std::to_string(doc.size()) + " bytes";
    EXPECT_EQ(std::string(m.GetError()), *error ? bytes + ", " + error : bytes) << where;
    EXPECT_EQ(m.IsWellFormed() != 0, *tree != '\0') << where;
    EXPECT_EQ(outline(m), tree) << where;
    EXPECT_EQ(m.GetDoc().size(), doc.size()) << where;
}

}  // namespace

TEST(KrMarkupTest, ParseResultsAndMessagesWhereverTagsAndZerosFall)
{
    // clang-format off
    const std::tuple<std::string, const char*, const char*> cases[] = {
        {"", "", ""}, {"<a><b/></a><c/>", "", "a(b)"},
        {"<?xml version=\"1.0\"?>\r\n<!-- c --><r>t<x a=\"1\"/><!DOCTYPE q [<!ENTITY e "
         "\"x>\">]><y></y ></r>", "", "r(x y)"},
        {"<a><![CDATA[</a><b/>]]></a>", "", "a"}, {"</a><b/>", "", ""},
        {"<\t!DOCTYPE r><r>< ?pi?><a/></r>", "", "r(a)"},
        {"abc", "Element tag not found", ""}, {"<", "Abrupt end within tag", ""},
        {"<'a'/>", "Tag starts with quote", ""}, {"<a><?pi </a>", "Invalid node", ""},
        {"<!-- open <a/>", "Invalid node", ""}, {"<a><![CDATA[ open </a>", "Invalid node", ""},
        {"<a x='1'", "End of tag not found", ""}, {"<!DOCTYPE a [ <a/>", "Invalid node", ""},
        {"<a>x</b>", "End tag does not correspond to a", ""},
        {"<abc></ab>", "End tag does not correspond to abc", ""},
        {"<a[1]><b/></a>", "", "a[1](b)"},  // an end tag matches up to a '['
        {"<a[1]></a[>", "End tag does not correspond to a[1]", ""},
        {"<a></a", "End tag not completed for element a", ""},
        {"<a><b></", "End tag not completed for element b", ""},
        {"<a></a '>'", "End tag not completed for element a", ""},
        {std::string("<a>\0<b/></a>", 12), "Element tag not found", ""},
        {"<a><b></ b ></a>", "", "a(b)"},  // blanks around an end tag's name
        {"<a></ab>", "End tag does not correspond to a", ""},
        {"<ab></a>", "End tag does not correspond to ab", ""}, {"<a></a x='>'>", "", "a"},
        // Read step by step, the parser reaches an unclosed element's content end while looking
        // for the next child tag, so it reports the missing tag rather than the end tag.
        {"<a>", "Element tag not found", ""}, {"<a><b>text", "Element tag not found", ""}};
    // clang-format on
    ScratchDir dir;
    for (const auto& [doc, error, tree] : cases) expectLoad(dir, doc, error, tree, doc);
    KrMarkup none(nullptr);
    EXPECT_TRUE(!none.IsWellFormed() && !none.FindElem() && none.GetError() + none.GetDoc() == "");

    // Long texts are read a block at a time; what the parse sees may not depend on where a tag, or
    // a zero byte that ends the text early, falls against those blocks.
    // What follows the padding ('#' stands for a zero byte), the message and the elements.
    // clang-format off
    const std::tuple<const char*, const char*, const char*> tails[] = {
        {"<a x='1'/></r>", "", "r(a)"}, {"#<a/></r>", "Element tag not found", ""},
        {"<a x='#'/></r>", "End of tag not found", ""}, {"<a/>#</r>", "Element tag not found", ""},
        {"<a/></r>#<b/>", "", "r(a)"}};
    // clang-format on
    for (const int block : {16384, 32768})
        for (int shift = -12; shift <= 12; ++shift)
            for (const auto& [tail, error, tree] : tails)
            {
                std::string doc = "<r>" + std::string(block + shift, ' ') + tail;
                std::replace(doc.begin(), doc.end(), '#', '\0');
                expectLoad(dir, doc, error, tree, tail + (" at " + std::to_string(shift)));
            }
    // SetDoc may be given the reader's own text, or a suffix of it.
    const std::string body = "<r>" + repeat("<item id=\"1\"/>", 5000) + "</r>";
    KrMarkup m(("<x/>" + body).c_str());
    m.SetDoc(m.GetDoc().Cstr());
    EXPECT_EQ(m.GetDoc(), "<x/>" + body);
    m.SetDoc(m.GetDoc().Cstr() + 4);
    EXPECT_EQ(m.GetDoc(), body);
    EXPECT_EQ(outline(m), "r(" + repeat("item ", 4999) + "item)");
}

TEST(KrMarkupTest, LargeDocumentsParseWithoutRecursionAndGrowWithoutMovingTheIndex)
{
    const int depth = 1000000;
    const std::string open = repeat("<a>", depth);
    KrMarkup m((open + repeat("</a>", depth)).c_str());
    EXPECT_EQ(KrMarkupProbe(m).ElementCount(), depth);
    // Walk down to the innermost element and add a child there.
    m.FindElem();
    for (int i = 1; i < depth; ++i) ASSERT_TRUE(m.FindChildElem() && m.IntoElem());
    EXPECT_TRUE(m.AddChildElem("leaf", "x") && m.GetChildData() == "x");
    EXPECT_EQ(KrMarkupProbe::Mismatch(m), "");
    EXPECT_EQ(KrMarkup(open.c_str()).GetError(), "Element tag not found");

    // Growth never moves a full segment of the index: entries of earlier segments keep their
    // address while the document grows.
    KrMarkupProbe grown(("<r>" + repeat("<e/>", 140000) + "</r>").c_str());
    ASSERT_GE(grown.SegmentCount(), 3);
    grown.FindElem();
    const void *first = grown.SegmentAddress(0), *second = grown.SegmentAddress(1);
    for (int i = 0; i < 100000; ++i) ASSERT_TRUE(grown.AddChildElem("n"));
    EXPECT_GE(grown.SegmentCount(), 4);
    EXPECT_TRUE(grown.SegmentAddress(0) == first && grown.SegmentAddress(1) == second);
    EXPECT_EQ(grown.ElementCount(), 240001);
}

TEST(KrMarkupTest, ReadingFollowsTheThreeLevelCursorFindsQuotedAttributesAndUnescapesData)
{
    KrMarkup m("<r><item id=\"1\"><sub/></item><other/><item id=\"2\"/></r>");
    EXPECT_EQ(after(m.IntoElem() || m.OutOfElem(), m), "refused");  // no main element, no parent
    EXPECT_EQ(after(m.FindChildElem("item"), m), "r/item#1");       // finds the root first
    EXPECT_EQ(after(m.FindChildElem("item/sub"), m), "r/item#2");   // matches up to '/'
    EXPECT_FALSE(m.FindChildElem("item"));  // past the last item; from the first again:
    EXPECT_EQ(after((m.ResetChildPos(), m.FindChildElem("item[2]")), m), "r/item#1");
    EXPECT_EQ(after(m.IntoElem() && m.FindChildElem(), m), "item/sub");
    EXPECT_EQ(after(m.SavePos("at-sub") && m.FindElem(), m), "other/");
    EXPECT_EQ(after(m.OutOfElem(), m), "r/other");
    EXPECT_EQ(after(m.RestorePos("at-sub"), m), "item/sub");
    EXPECT_FALSE(m.RestorePos("unknown") || m.SavePos(nullptr) || m.RestorePos(nullptr));
    EXPECT_TRUE((m.ResetMainPos(), m.GetTagName() == "") && m.FindElem("other"));
    m.SetDoc("<x/>");
    EXPECT_FALSE(m.RestorePos("at-sub"));  // a new document forgets named positions

    KrMarkup a("<a x=\"1\" y='two' z=3 w=\"a&lt;b&quot;\" v=\"\" g=\"1>2\">rest</a>");
    ASSERT_TRUE(a.FindElem());
    const std::pair<const char*, const char*> values[] = {
        {"x", "1"},      {"y", "two"}, {"z", ""}, {"w", "a<b\""}, {"v", ""},
        {"missing", ""}, {"x=1", "1"}, {"", ""},  {"g", "1>2"}};
    for (const auto& [name, value] : values) EXPECT_EQ(a.GetAttrib(name), value) << name;
    // Attribute names are the unquoted tokens, so an unquoted value counts as one.
    const char* names[] = {"", "x", "y", "z", "3", "w", "v", "g", ""};
    for (int n = -1; n < 8; ++n) EXPECT_EQ(a.GetAttribName(n), names[n + 1]) << n;
    // The start tag ends at the first '>', even inside a quoted value.
    EXPECT_EQ(a.GetData(), "2\">rest");

    // clang-format off
    const std::pair<const char*, std::string> data[] = {
        {"<a>&#x41;&#65;</a>", "AA"}, {"<a>&#169;</a>", "\xC2\xA9"},
        {"<a>&#x20AC;</a>", "\xE2\x82\xAC"},
        {"<a>&#999999;</a>", "\xE4\x88\xBF"},  // above 0xFFFF: truncated to three bytes
        {"<a>&#x10000;</a>", "\xE0\x80\x80"}, {"<a>&#12345678;</a>", "&#12345678;"},
        {"<a>&#2147483648;</a>", "&#2147483648;"},
        {"<a>&#X41;</a>", std::string("\0", 1)},  // upper-case X is not hexadecimal
        {"<a>&foo; &amp &lt;&amp;&gt;&apos;&quot;</a>", "&foo; &amp <&>'\""},
        {"<a>&lt</a>", "&lt"}, {"<a>  <![CDATA[<&>]]>  </a>", "<&>"}, {"<a><![CDATA[]]></a>", ""},
        {"<a><![CDATA[x]]>tail]]></a>", "x"}, {"<a><b>x</b></a>", ""}, {"<a/>", ""}};
    // clang-format on
    for (const auto& [doc, text] : data)
    {
        KrMarkup e(doc);
        EXPECT_EQ(e.FindElem() ? std::string(e.GetData()) : "no element", text) << doc;
    }
}

// One edit with the cursor on the root: it succeeds exactly when it changes the text, which
// must then read as given, and the edited index must agree with a fresh parse of that text.
TEST(KrMarkupTest, EditsWriteTheTextKeepTheIndexAndTheWalkGoing)
{
    using M = KrMarkup;
    const char* prolog = "<?xml version=\"1.0\"?>\r\n<!-- c --><s k='1'><t>x</t></s>\r\n<junk/>";
    // clang-format off
    const std::tuple<const char*, std::function<bool(M&)>, const char*> cases[] = {
        {"", [](M& m) { return m.AddChildElem("c"); }, ""},  // no main element
        {"", [](M& m) { return m.AddElem("root"); }, "<root/>\r\n"},
        {"<r/>", [](M& m) { return m.AddElem("second") || m.InsertElem("first"); }, "<r/>"},
        {"<r/>", [](M& m) { return m.AddChildElem("c", "v"); }, "<r>\r\n<c>v</c>\r\n</r>"},
        {"<r//>", [](M& m) { return m.AddChildElem("c"); }, "<r/ >\r\n<c/>\r\n</r>"},
        {"<a/>", [](M& m) { return m.SetData("x<y"); }, "<a>x&lt;y</a>"},
        {"<a/>", [](M& m) { return m.SetAttrib("k", "1<\"2'&") && m.GetAttrib("k") == "1<\"2'&"; },
         "<a k=\"1&lt;&quot;2&apos;&amp;\"/>"},
        {"<a/>", [](M& m) { return m.SetData("x<y", 1); }, "<a><![CDATA[x<y]]></a>"},
        {"<a>old</a>", [](M& m) { return m.SetData("a]]>b", 1); }, "<a>a]]&gt;b</a>"},
        {"<a x=\"1\">old &amp; more</a>", [](M& m) { return m.SetData(""); }, "<a x=\"1\"></a>"},
        {"<a></a>", [](M& m) { return m.SetData(nullptr, 1); }, "<a><![CDATA[]]></a>"},
        {"<a><b/></a>", [](M& m) { return m.SetData("x"); }, "<a><b/></a>"},  // has children
        {"<a x=y//>", [](M& m) { return m.SetData("d"); }, "<a x=y/ >d</a>"},  // '/' left open
        {"<r><c/></r>", [](M& m) { return m.FindChildElem() && m.SetChildData("d", 1); },
         "<r><c><![CDATA[d]]></c></r>"},
        {"<r/>", [](M& m) { return m.InsertChildSubDoc("<s/>"); }, "<r>\r\n<s/></r>"},
        {"<r><a/></r>", [](M& m) { return m.AddSubDoc("<s/>"); }, "<r><a/></r>"},  // no parent
        {"<r><a/></r>", [&](M& m) { return m.AddChildSubDoc(prolog) &&
             m.GetChildAttrib("k") == "1" && m.GetChildSubDoc() == "<s k='1'><t>x</t></s>\r\n"; },
         "<r><a/><s k='1'><t>x</t></s>\r\n</r>"},
        {"<r><a/><s/></r>", [](M& m) { return m.FindChildElem("s") && m.IntoElem() &&
             m.InsertSubDoc("<p/>") && m.GetSubDoc() == "<p/>" && !m.AddSubDoc("<broken>") &&
             !m.AddSubDoc("no element"); }, "<r><a/><p/><s/></r>"},
        // Without its root the text that followed it becomes the document.
        {"<a/> <b><c/></b>", [](M& m) { return m.RemoveElem(); }, "<b><c/></b>"},
        {"", [](M& m) { return m.RemoveElem(); }, ""}};
    // clang-format on
    for (const auto& [doc, edit, result] : cases)
    {
        KrMarkup m(doc);
        m.FindElem();
        EXPECT_EQ(edit(m), std::string(doc) != result) << doc;
        EXPECT_EQ(m.GetDoc(), result) << doc;
        EXPECT_EQ(KrMarkupProbe::Mismatch(m), "") << doc;
    }

    KrMarkup m("<root>\r\n<c>v</c>\r\n</root>\r\n");
    const bool added = m.FindChildElem() && m.AddChildElem("d", "a<b&c>'\"");
    EXPECT_EQ(after(added && m.InsertChildElem("b"), m), "root/b");
    m.ResetChildPos();
    EXPECT_TRUE(m.InsertChildElem("a") && m.IntoElem() && m.AddElem("after-a"));
    // AddAttrib replaces, no duplicate.
    EXPECT_TRUE(m.SetAttrib("k", "1<\"2'&") && m.AddAttrib("k", 42) && m.SetAttrib("n", -7));
    for (const char* bad : {"bad name", "q\"", ""}) EXPECT_FALSE(m.AddElem(bad)) << bad;
    EXPECT_FALSE(m.SetAttrib("a=b", "1"));
    EXPECT_EQ(m.GetDoc(),
              "<root>\r\n<a/>\r\n<after-a k=\"42\" n=\"-7\"/>\r\n<c>v</c>\r\n<b/>\r\n"
              "<d>a&lt;b&amp;c&gt;'\"</d>\r\n</root>\r\n");
    EXPECT_EQ(KrMarkupProbe::Mismatch(m), "");

    KrMarkup r("<r>\r\n  <a/>\r\n  <b><x/></b>\r\n  <c/>\r\n</r>");
    ASSERT_TRUE(r.FindElem() && r.IntoElem() && r.FindElem("b"));
    EXPECT_EQ(after(r.FindChildElem() && r.SavePos("inside-b") && r.RemoveElem(), r), "a/");
    EXPECT_EQ(after(r.FindElem(), r), "c/");
    EXPECT_EQ(r.GetDoc(), "<r>\r\n  <a/>\r\n  <c/>\r\n</r>");
    EXPECT_FALSE(r.RestorePos("inside-b"));  // its element is gone
    EXPECT_EQ(KrMarkupProbe::Mismatch(r), "");
    const bool atA = r.OutOfElem() && (r.ResetChildPos(), r.FindChildElem("a"));
    EXPECT_EQ(after(atA && r.RemoveChildElem(), r), "r/");
    EXPECT_EQ(after(r.FindChildElem(), r), "r/c");
    EXPECT_EQ(r.GetDoc(), "<r>\r\n  <c/>\r\n</r>");
}

TEST(KrMarkupTest, FilesRoundTripByteForByteAndCopiesAreIndependent)
{
    ScratchDir dir;
    const std::string path = dir.path("doc.xml");
    KrMarkup m;
    EXPECT_FALSE(m.Load(nullptr) || m.Load(dir.path("missing.xml").c_str()));
    EXPECT_EQ(m.GetError(), "Cannot open file .\n");
    EXPECT_FALSE(m.Save(dir.path("no/such/dir.xml").c_str()));
    EXPECT_EQ(m.GetError(), "Cannot open file .\n");
    EXPECT_TRUE(m.Save(path.c_str()) && readFile(path).empty());  // empty document, empty file

    const std::string text =
        "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<r>\r\n<a x='&amp;'>\xC3\xA9</a>\r\n</r>\n\n";
    writeFile(path, text);
    EXPECT_EQ(after(m.Load(path.c_str()) && m.FindElem() && m.FindChildElem(), m), "r/a");
    EXPECT_TRUE(m.Save(dir.path("copy.xml").c_str()));
    EXPECT_EQ(std::string(m.GetError()), std::to_string(text.size()) + " bytes");
    EXPECT_EQ(readFile(dir.path("copy.xml")), text);

    KrMarkup copy(m), assigned;
    EXPECT_TRUE(copy.AddChildElem("b"));
    assigned = copy;
    EXPECT_EQ(outline(assigned), "r(a b)");
    EXPECT_EQ(outline(m), "r(a)");
    EXPECT_EQ(m.GetDoc(), text);
}
