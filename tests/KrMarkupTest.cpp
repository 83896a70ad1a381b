#include <gtest/gtest.h>

#include <random>
#include <string>
#include <tuple>

#include "Base/KrMarkupProbe.h"
#include "Base/ZoBase.h"
#include "ScratchDir.h"

using namespace KRN;

namespace
{

// Tag names of the elements from the main position on and below, nesting shown by brackets.
std::string level(KrMarkup& m)
{
    std::string out;
    while (m.FindElem())
    {
        out += (out.empty() ? "" : " ") + std::string(m.GetTagName());
        if (!m.FindChildElem()) continue;
        m.ResetChildPos();
        m.IntoElem();
        out += "(" + level(m) + ")";
        m.OutOfElem();
    }
    return out;
}

std::string outline(KrMarkup& m)
{
    m.ResetPos();
    return level(m);
}

// The main and the child position, as their tag names.
std::string pos(KrMarkup& m)
{
    return std::string(m.GetTagName() + "/" + m.GetChildTagName());
}

std::string repeat(const std::string& piece, int count)
{
    std::string out;
    for (int i = 0; i < count; ++i) out += piece;
    return out;
}

}  // namespace

TEST(KrMarkupTest, ParseResultsAndMessages)
{
    const std::tuple<std::string, bool, const char*, const char*> cases[] = {
        {"", false, "", ""},
        {"<a><b/></a><c/>", true, "", "a(b)"},
        {"<?xml version=\"1.0\"?>\r\n<!-- c --><r>t<x a=\"1\"/><!DOCTYPE q [<!ENTITY e "
         "\"x>\">]><y></y ></r>",
         true, "", "r(x y)"},
        {"<a><![CDATA[</a><b/>]]></a>", true, "", "a"},
        {"</a><b/>", false, "", ""},
        {"<\t!DOCTYPE r><r>< ?pi?><a/></r>", true, "", "r(a)"},
        {"abc", false, "Element tag not found", ""},
        {"<", false, "Abrupt end within tag", ""},
        {"<'a'/>", false, "Tag starts with quote", ""},
        {"<a><?pi </a>", false, "Invalid node", ""},
        {"<!-- open <a/>", false, "Invalid node", ""},
        {"<a><![CDATA[ open </a>", false, "Invalid node", ""},
        {"<a x='1'", false, "End of tag not found", ""},
        {"<!DOCTYPE a [ <a/>", false, "Invalid node", ""},
        {"<a>x</b>", false, "End tag does not correspond to a", ""},
        {"<abc></ab>", false, "End tag does not correspond to abc", ""},
        {"<a[1]><b/></a>", true, "", "a[1](b)"},  // an end tag matches up to a '['
        {"<a[1]></a[>", false, "End tag does not correspond to a[1]", ""},
        {"<a></a", false, "End tag not completed for element a", ""},
        {"<a><b></", false, "End tag not completed for element b", ""},
        {"<a></a '>'", false, "End tag not completed for element a", ""},
        {std::string("<a>\0<b/></a>", 12), false, "Element tag not found", ""},
        {"<a><b></ b ></a>", true, "", "a(b)"},  // blanks around an end tag's name
        {"<a></ab>", false, "End tag does not correspond to a", ""},
        {"<ab></a>", false, "End tag does not correspond to ab", ""},
        {"<a></a x='>'>", true, "", "a"},
    };
    ScratchDir dir;
    for (const auto& [doc, wellFormed, error, tree] : cases)
    {
        KrMarkup m;
        // SetDoc takes a C string; a NUL in the middle goes in through Load.
        writeFile(dir.path("doc.xml"), doc);
        m.Load(dir.path("doc.xml").c_str());
        EXPECT_EQ(m.IsWellFormed() != 0, wellFormed) << doc;
        const std::string bytes = std::to_string(doc.size()) + " bytes";
        EXPECT_EQ(std::string(m.GetError()), *error ? bytes + ", " + error : bytes) << doc;
        EXPECT_EQ(outline(m), tree) << doc;
        EXPECT_EQ(m.GetDoc().size(), doc.size());
    }
}

// Long texts are read a block at a time; what the parse sees may not depend on where a tag, or
// a zero byte that ends the text early, falls against those blocks.
TEST(KrMarkupTest, LongTextsParseAlikeWhereverTagsAndZerosFall)
{
    struct Case
    {
        const char* tail;  // follows the padding; '#' stands for a zero byte
        const char* error;
        const char* tree;
    };
    const Case cases[] = {
        {"<a x='1'/></r>", "", "r(a)"},
        {"#<a/></r>", "Element tag not found", ""},
        {"<a x='#'/></r>", "End of tag not found", ""},
        {"<a/>#</r>", "Element tag not found", ""},
        {"<a/></r>#<b/>", "", "r(a)"},
    };
    ScratchDir dir;
    KrMarkup reused;
    for (const int block : {16384, 32768})
    {
        for (int shift = -12; shift <= 12; ++shift)
        {
            for (const Case& c : cases)
            {
                std::string doc = "<r>" + std::string(block + shift, ' ') + c.tail;
                for (char& byte : doc)
                    if (byte == '#') byte = '\0';
                writeFile(dir.path("doc.xml"), doc);
                KrMarkup loaded;
                loaded.Load(dir.path("doc.xml").c_str());
                const std::string where = c.tail + std::string(" at ") + std::to_string(shift);
                const std::string bytes = std::to_string(doc.size()) + " bytes";
                EXPECT_EQ(std::string(loaded.GetError()), *c.error ? bytes + ", " + c.error : bytes)
                    << where;
                EXPECT_EQ(outline(loaded), c.tree) << where;
                // Through SetDoc the text ends at its first zero, whatever the reader held before.
                const std::string text = doc.c_str();
                reused.SetDoc(text.c_str());
                KrMarkup fresh(text.c_str());
                EXPECT_EQ(reused.GetDoc(), text) << where;
                EXPECT_EQ(std::string(reused.GetError()), std::string(fresh.GetError())) << where;
                EXPECT_EQ(outline(reused), outline(fresh)) << where;
            }
        }
    }
}

TEST(KrMarkupTest, SetDocAcceptsItsOwnText)
{
    const std::string body = "<r>" + repeat("<item id=\"1\"/>", 5000) + "</r>";
    KrMarkup m(("<x/>" + body).c_str());
    m.SetDoc(m.GetDoc().Cstr());
    EXPECT_EQ(m.GetDoc(), "<x/>" + body);
    m.SetDoc(m.GetDoc().Cstr() + 4);  // a suffix of the text it replaces
    EXPECT_EQ(m.GetDoc(), body);
    ASSERT_TRUE(m.FindElem("r"));
    int items = 0;
    while (m.FindChildElem("item")) ++items;
    EXPECT_EQ(items, 5000);
}

// Read step by step, the element parser reaches an unclosed element's content end while
// looking for the next child tag, so it reports the missing tag rather than the end tag.
TEST(KrMarkupTest, UnclosedElementReportsMissingTagAsTheAlgorithmRaisesIt)
{
    KrMarkup m;
    for (const char* doc : {"<a>", "<a><b>text"})
    {
        EXPECT_FALSE(m.SetDoc(doc));
        EXPECT_EQ(m.GetError(), "Element tag not found") << doc;
    }
}

TEST(KrMarkupTest, EmptyAndNullDocumentsAreEmptyWithoutError)
{
    for (const char* text : {static_cast<const char*>(nullptr), ""})
    {
        KrMarkup m(text);
        EXPECT_FALSE(m.IsWellFormed() || m.FindElem());
        EXPECT_EQ(m.GetError(), "");
        EXPECT_EQ(m.GetDoc(), "");
    }
}

TEST(KrMarkupTest, MillionDeepNestingParsesWithoutRecursion)
{
    const int depth = 1000000;
    const std::string open = repeat("<a>", depth);
    KrMarkup m((open + repeat("</a>", depth)).c_str());
    ASSERT_TRUE(m.IsWellFormed());
    EXPECT_EQ(KrMarkupProbe(m).ElementCount(), depth);
    // Walk down to the innermost element and add a child there.
    m.FindElem();
    for (int i = 1; i < depth; ++i) ASSERT_TRUE(m.FindChildElem() && m.IntoElem());
    EXPECT_TRUE(m.AddChildElem("leaf", "x"));
    EXPECT_EQ(m.GetChildData(), "x");
    EXPECT_EQ(KrMarkupProbe::Mismatch(m), "");

    KrMarkup unterminated(open.c_str());
    EXPECT_FALSE(unterminated.IsWellFormed());
    EXPECT_EQ(unterminated.GetError(), "Element tag not found");
}

TEST(KrMarkupTest, NavigationFollowsTheThreeLevelCursor)
{
    KrMarkup m("<r><item id=\"1\"><sub/></item><other/><item id=\"2\"/></r>");
    EXPECT_FALSE(m.IntoElem() || m.OutOfElem());  // no main element yet, no parent
    EXPECT_TRUE(m.FindChildElem("item"));         // finds the root first
    EXPECT_EQ(pos(m), "r/item");
    EXPECT_EQ(m.GetChildAttrib("id"), "1");
    EXPECT_TRUE(m.FindChildElem("item/sub"));  // the name matches up to '/'
    EXPECT_EQ(m.GetChildAttrib("id"), "2");
    EXPECT_FALSE(m.FindChildElem("item"));
    m.ResetChildPos();
    EXPECT_TRUE(m.FindChildElem("item[2]"));
    EXPECT_EQ(m.GetChildAttrib("id"), "1");
    EXPECT_TRUE(m.IntoElem() && m.FindChildElem());
    EXPECT_EQ(pos(m), "item/sub");
    EXPECT_TRUE(m.SavePos("at-sub") && m.FindElem());
    EXPECT_EQ(m.GetTagName(), "other");
    EXPECT_TRUE(m.OutOfElem());
    EXPECT_EQ(pos(m), "r/other");
    EXPECT_TRUE(m.RestorePos("at-sub"));
    EXPECT_EQ(pos(m), "item/sub");
    EXPECT_FALSE(m.RestorePos("unknown") || m.SavePos(nullptr) || m.RestorePos(nullptr));
    m.ResetMainPos();
    EXPECT_EQ(m.GetTagName(), "");
    EXPECT_TRUE(m.FindElem("other"));
    m.SetDoc("<x/>");
    EXPECT_FALSE(m.RestorePos("at-sub"));  // a new document forgets named positions
}

TEST(KrMarkupTest, AttributesAreFoundOnlyWhenQuoted)
{
    KrMarkup m("<a x=\"1\" y='two' z=3 w=\"a&lt;b&quot;\" v=\"\" g=\"1>2\">rest</a>");
    ASSERT_TRUE(m.FindElem());
    const std::pair<const char*, const char*> values[] = {
        {"x", "1"}, {"y", "two"},    {"z", ""},    {"w", "a<b\""},
        {"v", ""},  {"missing", ""}, {"x=1", "1"}, {"", ""}};
    for (const auto& [name, value] : values) EXPECT_EQ(m.GetAttrib(name), value) << name;
    // Attribute names are the unquoted tokens, so an unquoted value counts as one.
    const char* names[] = {"x", "y", "z", "3", "w", "v", "g", ""};
    for (int n = 0; n < 8; ++n) EXPECT_EQ(m.GetAttribName(n), names[n]) << n;
    EXPECT_EQ(m.GetAttribName(-1), "");
    // The start tag ends at the first '>', even inside a quoted value.
    EXPECT_EQ(m.GetData(), "2\">rest");
    EXPECT_EQ(m.GetAttrib("g"), "1>2");
}

TEST(KrMarkupTest, DataIsUnescapedAndCdataReadVerbatim)
{
    const std::pair<const char*, std::string> cases[] = {
        {"<a>&#x41;&#65;</a>", "AA"},
        {"<a>&#169;</a>", "\xC2\xA9"},
        {"<a>&#x20AC;</a>", "\xE2\x82\xAC"},
        {"<a>&#999999;</a>", "\xE4\x88\xBF"},  // above 0xFFFF: truncated to three bytes
        {"<a>&#x10000;</a>", "\xE0\x80\x80"},
        {"<a>&#12345678;</a>", "&#12345678;"},
        {"<a>&#2147483648;</a>", "&#2147483648;"},
        {"<a>&#X41;</a>", std::string("\0", 1)},  // upper-case X is not hexadecimal
        {"<a>&foo; &amp &lt;&amp;&gt;&apos;&quot;</a>", "&foo; &amp <&>'\""},
        {"<a>&lt</a>", "&lt"},
        {"<a>  <![CDATA[<&>]]>  </a>", "<&>"},
        {"<a><![CDATA[]]></a>", ""},
        {"<a><![CDATA[x]]>tail]]></a>", "x"},
        {"<a><b>x</b></a>", ""},
        {"<a/>", ""},
    };
    for (const auto& [doc, data] : cases)
    {
        KrMarkup m(doc);
        ASSERT_TRUE(m.FindElem()) << doc;
        EXPECT_EQ(std::string(m.GetData()), data) << doc;
    }
}

TEST(KrMarkupTest, WriterBuildsTheDocumentText)
{
    KrMarkup m;
    EXPECT_FALSE(m.AddChildElem("c"));  // no main element
    EXPECT_TRUE(m.AddElem("root"));
    EXPECT_EQ(m.GetDoc(), "<root/>\r\n");
    EXPECT_FALSE(m.AddElem("second") || m.InsertElem("first"));  // one root only
    EXPECT_TRUE(m.AddChildElem("c", "v"));
    EXPECT_EQ(m.GetDoc(), "<root>\r\n<c>v</c>\r\n</root>\r\n");
    EXPECT_TRUE(m.AddChildElem("d", "a<b&c>'\"") && m.InsertChildElem("b"));
    EXPECT_EQ(m.GetChildTagName(), "b");
    m.ResetChildPos();
    EXPECT_TRUE(m.InsertChildElem("a") && m.IntoElem() && m.AddElem("after-a"));
    // AddAttrib replaces, no duplicate.
    EXPECT_TRUE(m.SetAttrib("k", "1<\"2'&") && m.AddAttrib("k", 42) && m.SetAttrib("n", -7));
    for (const char* bad : {"bad name", "q\"", ""}) EXPECT_FALSE(m.AddElem(bad)) << bad;
    EXPECT_FALSE(m.SetAttrib("a=b", "1"));
    EXPECT_EQ(m.GetDoc(),
              "<root>\r\n<a/>\r\n<after-a k=\"42\" n=\"-7\"/>\r\n<c>v</c>\r\n<b/>\r\n"
              "<d>a&lt;b&amp;c&gt;'\"</d>\r\n</root>\r\n");
    EXPECT_TRUE(m.SetAttrib("k", "1<\"2'&"));
    EXPECT_EQ(m.GetAttrib("k"), "1<\"2'&");
    EXPECT_NE(m.GetDoc().find("k=\"1&lt;&quot;2&apos;&amp;\""), std::string::npos);
    EXPECT_EQ(KrMarkupProbe::Mismatch(m), "");
}

TEST(KrMarkupTest, SetDataWritesTextOrCdata)
{
    const std::tuple<const char*, const char*, int, const char*> cases[] = {
        {"<a/>", "x<y", 0, "<a>x&lt;y</a>"},
        {"<a/>", "x<y", 1, "<a><![CDATA[x<y]]></a>"},
        {"<a>old</a>", "a]]>b", 1, "<a>a]]&gt;b</a>"},
        {"<a x=\"1\">old &amp; more</a>", "", 0, "<a x=\"1\"></a>"},
        {"<a></a>", nullptr, 1, "<a><![CDATA[]]></a>"},
        {"<a><b/></a>", "x", 0, "<a><b/></a>"},   // has child elements: refused
        {"<a x=y//>", "d", 0, "<a x=y/ >d</a>"},  // the '/' left must not close the tag again
    };
    for (const auto& [doc, data, cdata, result] : cases)
    {
        KrMarkup m(doc);
        ASSERT_TRUE(m.FindElem());
        EXPECT_EQ(m.SetData(data, cdata) != 0, std::string(doc) != result) << doc;
        EXPECT_EQ(m.GetDoc(), result) << doc;
        EXPECT_EQ(KrMarkupProbe::Mismatch(m), "") << doc;
    }
    KrMarkup m("<r><c/></r>");
    EXPECT_TRUE(m.FindChildElem() && m.SetChildData("data", 1));
    EXPECT_EQ(m.GetChildData(), "data");
    EXPECT_EQ(m.GetDoc(), "<r><c><![CDATA[data]]></c></r>");
}

TEST(KrMarkupTest, RemoveElemCutsTextAndKeepsTheWalkGoing)
{
    KrMarkup m("<r>\r\n  <a/>\r\n  <b><x/></b>\r\n  <c/>\r\n</r>");
    ASSERT_TRUE(m.FindElem() && m.IntoElem() && m.FindElem("b"));
    EXPECT_TRUE(m.FindChildElem() && m.SavePos("inside-b") && m.RemoveElem());
    EXPECT_EQ(m.GetTagName(), "a");
    EXPECT_TRUE(m.FindElem());
    EXPECT_EQ(m.GetTagName(), "c");
    EXPECT_EQ(m.GetDoc(), "<r>\r\n  <a/>\r\n  <c/>\r\n</r>");
    EXPECT_FALSE(m.RestorePos("inside-b"));  // its element is gone
    EXPECT_EQ(KrMarkupProbe::Mismatch(m), "");
    m.OutOfElem();
    m.ResetChildPos();
    EXPECT_TRUE(m.FindChildElem("a") && m.RemoveChildElem());
    EXPECT_EQ(m.GetChildTagName(), "");
    EXPECT_TRUE(m.FindChildElem());
    EXPECT_EQ(m.GetChildTagName(), "c");
    EXPECT_EQ(m.GetDoc(), "<r>\r\n  <c/>\r\n</r>");
    // Without its root the text that followed it becomes the document.
    KrMarkup trailing("<a/> <b><c/></b>");
    EXPECT_TRUE(trailing.FindElem() && trailing.RemoveElem());
    EXPECT_EQ(trailing.GetDoc(), "<b><c/></b>");
    EXPECT_EQ(outline(trailing), "b(c)");
    EXPECT_FALSE(KrMarkup().RemoveElem());
}

TEST(KrMarkupTest, SubDocumentsCarryTheirFirstElementOnly)
{
    KrMarkup m("<r><a/></r>");
    ASSERT_TRUE(m.FindElem());
    EXPECT_FALSE(m.AddSubDoc("<s/>"));  // at document level
    EXPECT_TRUE(
        m.AddChildSubDoc("<?xml version=\"1.0\"?>\r\n<!-- c --><s k='1'><t>x</t></s>\r\n<junk/>"));
    EXPECT_EQ(m.GetDoc(), "<r><a/><s k='1'><t>x</t></s>\r\n</r>");
    EXPECT_EQ(m.GetChildAttrib("k"), "1");
    EXPECT_TRUE(m.IntoElem() && m.FindChildElem("t"));
    EXPECT_EQ(m.GetChildData(), "x");
    EXPECT_TRUE(m.InsertSubDoc("<p/>"));
    EXPECT_EQ(m.GetSubDoc(), "<p/>");
    EXPECT_FALSE(m.AddSubDoc("<broken>") || m.AddSubDoc("no element"));
    EXPECT_EQ(m.GetDoc(), "<r><a/><p/><s k='1'><t>x</t></s>\r\n</r>");
    EXPECT_EQ(KrMarkupProbe::Mismatch(m), "");
    m.ResetPos();
    EXPECT_TRUE(m.FindElem() && m.FindChildElem("s"));
    EXPECT_EQ(m.GetChildSubDoc(), "<s k='1'><t>x</t></s>\r\n");
    KrMarkup empty("<r/>");
    EXPECT_TRUE(empty.FindElem() && empty.InsertChildSubDoc("<s/>"));
    EXPECT_EQ(empty.GetDoc(), "<r>\r\n<s/></r>");
    KrMarkup slashes("<r//>");
    EXPECT_TRUE(slashes.FindElem() && slashes.AddChildElem("c"));
    EXPECT_EQ(slashes.GetDoc(), "<r/ >\r\n<c/>\r\n</r>");
    EXPECT_EQ(KrMarkupProbe::Mismatch(slashes), "");
}

TEST(KrMarkupTest, FilesRoundTripByteForByte)
{
    ScratchDir dir;
    const std::string path = dir.path("doc.xml");
    KrMarkup m;
    EXPECT_FALSE(m.Load(dir.path("missing.xml").c_str()));
    EXPECT_EQ(m.GetError(), "Cannot open file .\n");
    EXPECT_FALSE(m.Load(nullptr));
    EXPECT_FALSE(m.Save(dir.path("no/such/dir.xml").c_str()));
    EXPECT_EQ(m.GetError(), "Cannot open file .\n");
    EXPECT_TRUE(m.Save(path.c_str()));  // empty document: an empty file
    EXPECT_EQ(readFile(path), "");

    const std::string text =
        "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<r>\r\n<a x='&amp;'>\xC3\xA9</a>\r\n</r>\n\n";
    writeFile(path, text);
    EXPECT_TRUE(m.Load(path.c_str()));
    EXPECT_EQ(std::string(m.GetError()), std::to_string(text.size()) + " bytes");
    EXPECT_TRUE(m.FindElem() && m.FindChildElem());
    EXPECT_EQ(m.GetChildAttrib("x"), "&");
    EXPECT_TRUE(m.Save(dir.path("copy.xml").c_str()));
    EXPECT_EQ(std::string(m.GetError()), std::to_string(text.size()) + " bytes");
    EXPECT_EQ(readFile(dir.path("copy.xml")), text);
}

TEST(KrMarkupTest, CopiesAreIndependent)
{
    KrMarkup original("<r><a/></r>");
    original.FindElem();
    KrMarkup copy(original);
    EXPECT_TRUE(copy.AddChildElem("b"));
    EXPECT_EQ(original.GetDoc(), "<r><a/></r>");
    KrMarkup assigned;
    assigned = copy;
    EXPECT_EQ(outline(assigned), "r(a b)");
    EXPECT_EQ(outline(original), "r(a)");
}

// Growth never moves a full segment of the index: entries of earlier segments keep their
// address while the document grows.
TEST(KrMarkupTest, IndexGrowthKeepsFullSegmentsInPlace)
{
    KrMarkupProbe m(("<r>" + repeat("<e/>", 140000) + "</r>").c_str());
    ASSERT_GE(m.SegmentCount(), 3);
    m.FindElem();
    const void* first = m.SegmentAddress(0);
    const void* second = m.SegmentAddress(1);
    for (int i = 0; i < 100000; ++i) ASSERT_TRUE(m.AddChildElem("n"));
    EXPECT_GE(m.SegmentCount(), 4);
    EXPECT_EQ(m.SegmentAddress(0), first);
    EXPECT_EQ(m.SegmentAddress(1), second);
    EXPECT_EQ(m.ElementCount(), 240001);
}

// After any sequence of edits, a fresh parse of the text finds what the edited index says.
TEST(KrMarkupTest, RandomEditsKeepIndexAndTextInAgreement)
{
    const char* names[] = {"a", "b", "item", "x"};
    const char* values[] = {"", "v", "a<b&c>", "x]]>y", "'\"", "\r\n"};
    const char* fragments[] = {"<s/>", "<?xml?><s a='1'><t>x</t></s>\r\n",
                               "<s><![CDATA[<x>]]></s> tail"};
    std::mt19937 random(5150u);
    KrMarkup m(
        "<?xml version=\"1.0\"?>\r\n<root a=\"1\">\r\n  <item>one</item>\r\n  "
        "<item/>\r\n</root>\r\n");
    int edits = 0;
    for (int step = 0; step < 600; ++step)
    {
        const char* name = names[random() % 4];
        const char* value = values[random() % 6];
        bool edited = false;
        switch (random() % 16)
        {
            case 0:
                m.FindElem();
                break;
            case 1:
                m.FindChildElem();
                break;
            case 2:
                m.IntoElem();
                break;
            case 3:
                m.OutOfElem();
                break;
            case 4:
                m.ResetMainPos();
                break;
            case 5:
                edited = m.AddElem(name, value);
                break;
            case 6:
                edited = m.InsertElem(name, value);
                break;
            case 7:
                edited = m.AddChildElem(name, value);
                break;
            case 8:
                edited = m.InsertChildElem(name, value);
                break;
            case 9:
                edited = m.AddChildSubDoc(fragments[random() % 3]);
                break;
            case 10:
                edited = m.InsertSubDoc(fragments[random() % 3]);
                break;
            case 11:
                edited = m.SetAttrib(name, value);
                break;
            case 12:
                edited = m.SetChildAttrib(name, static_cast<int>(random() % 100));
                break;
            case 13:
                edited = m.SetData(value, static_cast<int>(random() % 2));
                break;
            case 14:
                edited = m.RemoveChildElem();
                break;
            case 15:
                edited = step % 5 == 0 && m.RemoveElem();
                break;
        }
        edits += edited ? 1 : 0;
        ASSERT_EQ(KrMarkupProbe::Mismatch(m), "") << "step " << step << "\n" << m.GetDoc();
    }
    EXPECT_GT(edits, 150);
}
