#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Base/KrMarkupProbe.h"
#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// A fresh directory under the system temporary directory, removed with its files.
class TempDir
{
public:
    TempDir()
    {
        std::random_device seed;
        m_path = std::filesystem::temp_directory_path() / ("krmarkup-" + std::to_string(seed()));
        std::filesystem::create_directories(m_path);
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string File(const char* name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

// Tag names of the whole tree in document order, nesting shown by brackets.
std::string outline(KrMarkup& m)
{
    std::string out;
    m.ResetPos();
    if (!m.FindElem()) return out;
    out = std::string(m.GetTagName());
    int depth = 0;
    for (;;)
    {
        if (m.FindChildElem())
        {
            m.IntoElem();
            out += "(" + std::string(m.GetTagName());
            ++depth;
            continue;
        }
        while (depth > 0 && !m.FindElem())
        {
            m.OutOfElem();
            out += ")";
            --depth;
        }
        if (depth == 0) return out;
        out += " " + std::string(m.GetTagName());
    }
}

std::string repeat(const std::string& piece, int count)
{
    std::string out;
    out.reserve(piece.size() * count);
    for (int i = 0; i < count; ++i) out += piece;
    return out;
}

}  // namespace

TEST(KrMarkupTest, ParseResultsAndMessages)
{
    struct Case
    {
        std::string doc;
        bool wellFormed;
        const char* error;
        const char* outline;
    };
    const Case cases[] = {
        {"", false, "", ""},
        {"<a><b/></a><c/>", true, "", "a(b)"},
        {"<?xml version=\"1.0\"?>\r\n<!-- c --><r>t<x a=\"1\"/><!DOCTYPE q [<!ENTITY e "
         "\"x>\">]><y></y ></r>",
         true, "", "r(x y)"},
        {"<a><![CDATA[</a><b/>]]></a>", true, "", "a"},
        {"<\t!DOCTYPE r><r>< ?pi?><a/></r>", true, "", "r(a)"},
        {"</a><b/>", false, "", ""},
        {"abc", false, "Element tag not found", ""},
        {"<", false, "Abrupt end within tag", ""},
        {"<'a'/>", false, "Tag starts with quote", ""},
        {"<!-- open <a/>", false, "Invalid node", ""},
        {"<a><![CDATA[ open </a>", false, "Invalid node", ""},
        {"<a><?pi </a>", false, "Invalid node", ""},
        {"<!DOCTYPE a [ <a/>", false, "Invalid node", ""},
        {"<a x='1'", false, "End of tag not found", ""},
        {"<a>x</b>", false, "End tag does not correspond to a", ""},
        {"<abc></ab>", false, "End tag does not correspond to abc", ""},
        {"<a></a", false, "End tag not completed for element a", ""},
        {"<a><b></", false, "End tag not completed for element b", ""},
        {"<a></a '>'", false, "End tag not completed for element a", ""},
        {std::string("<a>\0<b/></a>", 12), false, "Element tag not found", ""},
    };
    for (const Case& c : cases)
    {
        KrMarkup m;
        // SetDoc takes a C string; a NUL in the middle goes in through Load.
        TempDir dir;
        writeFile(dir.File("doc.xml"), c.doc);
        m.Load(dir.File("doc.xml").c_str());
        EXPECT_EQ(m.IsWellFormed() != 0, c.wellFormed) << c.doc;
        std::string expectedError = std::to_string(c.doc.size()) + " bytes";
        if (*c.error) expectedError += std::string(", ") + c.error;
        EXPECT_EQ(std::string(m.GetError()), expectedError) << c.doc;
        EXPECT_EQ(outline(m), c.outline) << c.doc;
        EXPECT_EQ(m.GetDoc().size(), c.doc.size());
    }
}

// Read step by step, the element parser reaches an unclosed element's content end while
// looking for the next child tag, so it reports the missing tag rather than the end tag.
TEST(KrMarkupTest, UnclosedElementReportsMissingTagAsTheAlgorithmRaisesIt)
{
    KrMarkup m;
    EXPECT_FALSE(m.SetDoc("<a>"));
    EXPECT_EQ(m.GetError(), "Element tag not found");
    EXPECT_FALSE(m.SetDoc("<a><b>text"));
    EXPECT_EQ(m.GetError(), "Element tag not found");
}

TEST(KrMarkupTest, EmptyAndNullDocumentsAreEmptyWithoutError)
{
    for (const char* text : {static_cast<const char*>(nullptr), ""})
    {
        KrMarkup m(text);
        EXPECT_FALSE(m.IsWellFormed());
        EXPECT_EQ(m.GetError(), "");
        EXPECT_EQ(m.GetDoc(), "");
        EXPECT_FALSE(m.FindElem());
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
    EXPECT_FALSE(m.IntoElem());            // no main element yet
    EXPECT_FALSE(m.OutOfElem());           // no parent
    EXPECT_TRUE(m.FindChildElem("item"));  // finds the root first
    EXPECT_EQ(m.GetTagName(), "r");
    EXPECT_EQ(m.GetChildAttrib("id"), "1");
    EXPECT_TRUE(m.FindChildElem("item/sub"));  // the name matches up to '/'
    EXPECT_EQ(m.GetChildAttrib("id"), "2");
    EXPECT_FALSE(m.FindChildElem("item"));
    m.ResetChildPos();
    EXPECT_TRUE(m.FindChildElem("item[2]"));
    EXPECT_EQ(m.GetChildAttrib("id"), "1");
    EXPECT_TRUE(m.IntoElem());
    EXPECT_EQ(m.GetTagName(), "item");
    EXPECT_TRUE(m.FindChildElem());
    EXPECT_EQ(m.GetChildTagName(), "sub");
    EXPECT_TRUE(m.SavePos("at-sub"));
    EXPECT_TRUE(m.FindElem());
    EXPECT_EQ(m.GetTagName(), "other");
    EXPECT_TRUE(m.OutOfElem());
    EXPECT_EQ(m.GetTagName(), "r");
    EXPECT_EQ(m.GetChildTagName(), "other");
    EXPECT_TRUE(m.RestorePos("at-sub"));
    EXPECT_EQ(m.GetTagName(), "item");
    EXPECT_EQ(m.GetChildTagName(), "sub");
    EXPECT_FALSE(m.RestorePos("unknown"));
    EXPECT_FALSE(m.SavePos(nullptr));
    EXPECT_FALSE(m.RestorePos(nullptr));
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
    EXPECT_FALSE(m.AddElem("second"));  // one root only
    EXPECT_FALSE(m.InsertElem("first"));
    EXPECT_TRUE(m.AddChildElem("c", "v"));
    EXPECT_EQ(m.GetDoc(), "<root>\r\n<c>v</c>\r\n</root>\r\n");
    EXPECT_TRUE(m.AddChildElem("d", "a<b&c>'\""));
    EXPECT_TRUE(m.InsertChildElem("b"));
    EXPECT_EQ(m.GetDoc(),
              "<root>\r\n<c>v</c>\r\n<b/>\r\n<d>a&lt;b&amp;c&gt;'\"</d>\r\n</root>\r\n");
    EXPECT_EQ(m.GetChildTagName(), "b");
    m.ResetChildPos();
    EXPECT_TRUE(m.InsertChildElem("a"));
    EXPECT_TRUE(m.IntoElem());
    EXPECT_TRUE(m.AddElem("after-a"));
    EXPECT_TRUE(m.SetAttrib("k", "1<\"2'&"));
    EXPECT_TRUE(m.AddAttrib("k", 42));  // replaces, no duplicate
    EXPECT_TRUE(m.SetAttrib("n", -7));
    EXPECT_FALSE(m.AddElem("bad name"));
    EXPECT_FALSE(m.AddElem("q\""));
    EXPECT_FALSE(m.AddElem(""));
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
    struct Case
    {
        const char* doc;
        const char* data;
        int cdata;
        const char* result;
    };
    const Case cases[] = {
        {"<a/>", "x<y", 0, "<a>x&lt;y</a>"},
        {"<a/>", "x<y", 1, "<a><![CDATA[x<y]]></a>"},
        {"<a>old</a>", "a]]>b", 1, "<a>a]]&gt;b</a>"},
        {"<a x=\"1\">old &amp; more</a>", "", 0, "<a x=\"1\"></a>"},
        {"<a></a>", nullptr, 1, "<a><![CDATA[]]></a>"},
        {"<a><b/></a>", "x", 0, "<a><b/></a>"},   // has child elements: refused
        {"<a x=y//>", "d", 0, "<a x=y/ >d</a>"},  // the '/' left must not close the tag again
    };
    for (const Case& c : cases)
    {
        KrMarkup m(c.doc);
        ASSERT_TRUE(m.FindElem());
        EXPECT_EQ(m.SetData(c.data, c.cdata) != 0, std::string(c.doc) != c.result) << c.doc;
        EXPECT_EQ(m.GetDoc(), c.result) << c.doc;
        EXPECT_EQ(KrMarkupProbe::Mismatch(m), "") << c.doc;
    }
    KrMarkup m("<r><c/></r>");
    m.FindChildElem();
    EXPECT_TRUE(m.SetChildData("data", 1));
    EXPECT_EQ(m.GetChildData(), "data");
    EXPECT_EQ(m.GetDoc(), "<r><c><![CDATA[data]]></c></r>");
}

TEST(KrMarkupTest, RemoveElemCutsTextAndKeepsTheWalkGoing)
{
    KrMarkup m("<r>\r\n  <a/>\r\n  <b><x/></b>\r\n  <c/>\r\n</r>");
    ASSERT_TRUE(m.FindElem());
    ASSERT_TRUE(m.IntoElem());
    ASSERT_TRUE(m.FindElem("b"));
    EXPECT_TRUE(m.FindChildElem());
    EXPECT_TRUE(m.SavePos("inside-b"));
    EXPECT_TRUE(m.RemoveElem());
    EXPECT_EQ(m.GetTagName(), "a");
    EXPECT_TRUE(m.FindElem());
    EXPECT_EQ(m.GetTagName(), "c");
    EXPECT_EQ(m.GetDoc(), "<r>\r\n  <a/>\r\n  <c/>\r\n</r>");
    EXPECT_FALSE(m.RestorePos("inside-b"));  // its element is gone
    EXPECT_EQ(KrMarkupProbe::Mismatch(m), "");
    m.OutOfElem();
    m.ResetChildPos();
    EXPECT_TRUE(m.FindChildElem("a"));
    EXPECT_TRUE(m.RemoveChildElem());
    EXPECT_EQ(m.GetChildTagName(), "");
    EXPECT_TRUE(m.FindChildElem());
    EXPECT_EQ(m.GetChildTagName(), "c");
    EXPECT_EQ(m.GetDoc(), "<r>\r\n  <c/>\r\n</r>");
    // Without its root the text that followed it becomes the document.
    KrMarkup trailing("<a/> <b><c/></b>");
    trailing.FindElem();
    EXPECT_TRUE(trailing.RemoveElem());
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
    EXPECT_TRUE(m.IntoElem());
    EXPECT_TRUE(m.FindChildElem("t"));
    EXPECT_EQ(m.GetChildData(), "x");
    EXPECT_TRUE(m.InsertSubDoc("<p/>"));
    EXPECT_EQ(m.GetSubDoc(), "<p/>");
    EXPECT_FALSE(m.AddSubDoc("<broken>"));
    EXPECT_FALSE(m.AddSubDoc("no element"));
    EXPECT_EQ(m.GetDoc(), "<r><a/><p/><s k='1'><t>x</t></s>\r\n</r>");
    EXPECT_EQ(KrMarkupProbe::Mismatch(m), "");
    m.ResetPos();
    m.FindElem();
    m.FindChildElem("s");
    EXPECT_EQ(m.GetChildSubDoc(), "<s k='1'><t>x</t></s>\r\n");
    KrMarkup empty("<r/>");
    empty.FindElem();
    EXPECT_TRUE(empty.InsertChildSubDoc("<s/>"));
    EXPECT_EQ(empty.GetDoc(), "<r>\r\n<s/></r>");
    KrMarkup slashes("<r//>");
    slashes.FindElem();
    EXPECT_TRUE(slashes.AddChildElem("c"));
    EXPECT_EQ(slashes.GetDoc(), "<r/ >\r\n<c/>\r\n</r>");
    EXPECT_EQ(KrMarkupProbe::Mismatch(slashes), "");
}

TEST(KrMarkupTest, FilesRoundTripByteForByte)
{
    TempDir dir;
    const std::string path = dir.File("doc.xml");
    KrMarkup m;
    EXPECT_FALSE(m.Load(dir.File("missing.xml").c_str()));
    EXPECT_EQ(m.GetError(), "Cannot open file .\n");
    EXPECT_FALSE(m.Load(nullptr));
    EXPECT_FALSE(m.Save(dir.File("no/such/dir.xml").c_str()));
    EXPECT_EQ(m.GetError(), "Cannot open file .\n");
    EXPECT_TRUE(m.Save(path.c_str()));  // empty document: an empty file
    EXPECT_EQ(readFile(path), "");

    const std::string text =
        "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<r>\r\n<a x='&amp;'>\xC3\xA9</a>\r\n</r>\n\n";
    writeFile(path, text);
    EXPECT_TRUE(m.Load(path.c_str()));
    EXPECT_EQ(std::string(m.GetError()), std::to_string(text.size()) + " bytes");
    m.FindElem();
    m.FindChildElem();
    EXPECT_EQ(m.GetChildAttrib("x"), "&");
    EXPECT_TRUE(m.Save(dir.File("copy.xml").c_str()));
    EXPECT_EQ(std::string(m.GetError()), std::to_string(text.size()) + " bytes");
    EXPECT_EQ(readFile(dir.File("copy.xml")), text);
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
    assigned.ResetPos();
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
    KrMarkupProbe* probe = &m;
    const void* first = probe->SegmentAddress(0);
    const void* second = probe->SegmentAddress(1);
    for (int i = 0; i < 100000; ++i) ASSERT_TRUE(m.AddChildElem("n"));
    EXPECT_GE(probe->SegmentCount(), 4);
    EXPECT_EQ(probe->SegmentAddress(0), first);
    EXPECT_EQ(probe->SegmentAddress(1), second);
    EXPECT_EQ(probe->ElementCount(), 240001);
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
