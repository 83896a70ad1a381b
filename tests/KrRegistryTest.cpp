#include <gtest/gtest.h>

#include <map>

#include "Base/ZoBase.h"
#include "ScopedEnvironment.h"
#include "ScratchDir.h"

using namespace KRN;
namespace fs = std::filesystem;

namespace
{

// Configuration files are looked up in a scratch directory; the root registry and the
// environment are put back when the test ends.
class KrRegistryTest : public testing::Test
{
protected:
    KrRegistryTest() { configDir(m_dir.c_str()); }  // the slash is added
    KrString write(const std::string& name, const std::string& text) const
    {
        writeFile(m_dir / name, text);
        return (m_dir / name).string().c_str();
    }
    KrString dir() const { return (m_dir.string() + "/").c_str(); }
    // Points the configuration lookup at directory for the rest of the test.
    void configDir(const char* directory) { m_environment.Set("KRN_CONFIG_DIR", directory); }

    ~KrRegistryTest() override { KrRegistry::Root() = m_savedRoot; }

    ScratchDir m_scratch;
    const fs::path m_dir = m_scratch.root();
    ScopedEnvironment m_environment;
    const KrRegistry m_savedRoot = KrRegistry::Root();
};

// A table as "key=value;" in key order, a sequence as "item;" in its order.
std::string text(const KrHash<KrString>& table)
{
    KrHash<KrString> walk(table);
    std::map<std::string, std::string> sorted;
    KrString key, value;
    for (int pos = walk.GetStartPosition(); !walk.IsEOF(pos); sorted[key] = value)
        walk.GetNextAssoc(pos, key, value);
    std::string out;
    for (const auto& [k, v] : sorted) out += k + "=" + v + ";";
    return out;
}
std::string text(const KrArray<KrString>& array)
{
    std::string out;
    for (const KrString& item : array) out += std::string(item) + ";";
    return out;
}

// Every part of a registry holding the entries of kAllTypes and of the save test.
std::string describe(const KrRegistry& r)
{
    std::string out = std::string(r.Name()) + " " + text(r.Values());
    for (const char* name : {"Section", "built"}) out += " {" + text(r.Obj(name)) + "}";
    for (const char* name : {"list", "built2"}) out += " [" + text(r.Seq(name)) + "]";
    for (const KrHash<KrString>& row : r.ObjSeq("rows")) out += " rows{" + text(row) + "}";
    out += " nested{" + text(r.SubReg("nested").Values()) + text(r.SubReg("nested").Obj("inner"));
    for (const char* name : {"more", "abs"}) out += "} " + std::string(r.GetSubFileName(name));
    return out;
}

const char kAllTypes[] = R"(<?xml version="1.0"?>
<settings><plain>text &amp; more</plain><odd type="nonsense">kept as a value</odd>
  <Section type="Object"><Key>v1</Key><Other>v2</Other></Section>
  <list type="SEQUENCE"><a>one</a><b>two</b><a>three</a></list>
  <rows type="objectsequence"><object type="object"><x>1</x><y>2</y></object><row><x>3</x></row>
  </rows><nested type="SubReg"><depth>1</depth><inner type="object"><k>v</k></inner></nested>
  <more type="External">extra.xml</more></settings>)";

}  // namespace

TEST_F(KrRegistryTest, EntryTypesAreReadWhateverTheirCaseSavedAsReadAndMissingOnesEmpty)
{
    KrRegistry original(write("all.xml", kAllTypes));
    EXPECT_EQ(describe(original),
              "settings odd=kept as a value;plain=text & more; {Key=v1;Other=v2;} "
              "{} [one;two;three;] [] rows{x=1;y=2;} rows{x=3;} nested{depth=1;k=v;} " +
                  std::string(dir()) + "extra.xml} ");
    EXPECT_EQ(original.Encoding(), "GB2312");

    original.SetValue("added", "<new> \"quoted\"");
    KrHash<KrString> object;
    object.SetAt("a", "1");
    original.SetObj("built", object);
    KrArray<KrString> sequence;
    sequence.Add("");
    sequence.Add("second");
    original.SetSeq("built2", sequence);
    original.SetExternal("abs", "/elsewhere/file.xml");
    original.SetFileName(dir() + "saved.xml");
    ASSERT_EQ(original.Save(), 1);
    EXPECT_EQ(describe(KrRegistry(dir() + "saved.xml")), describe(original));

    KrRegistry unnamed;
    EXPECT_EQ(unnamed.Save(), 0);
    unnamed.SetFileName(dir() + "no/such/dir/file.xml");
    EXPECT_EQ(unnamed.Save(), 0);

    // Missing names give empty results that writes do not reach.
    const KrRegistry& missing = original;
    // A value is neither an object nor an external file.
    EXPECT_EQ(std::string(missing.Obj("nope")["Key"]) + missing.GetSubFileName("plain").Cstr() +
                  missing.Value("").Cstr() + text(missing.Obj("plain")),
              "");
    // What is written through one missing result shows in no later one.
    missing.Obj("nope1").SetAt("Key", "leaked");
    missing.Seq("nope1").Add("leaked");
    missing.ObjSeq("nope1").Add(KrHash<KrString>());
    missing.SubReg("nope1").SetValue("depth", "leaked");
    missing.SubFile("nope1").SetValue("x", "leaked");
    EXPECT_EQ(text(missing.Obj("nope2")) + text(missing.Seq("nope2")) +
                  std::to_string(missing.ObjSeq("nope2").GetSize()) +
                  text(missing.SubReg("nope2").Values()) + text(missing.SubFile("nope2").Values()),
              "0");
    EXPECT_EQ(missing.SubReg("nested").SubReg("nope").Values().GetCount(), 0);
}

TEST_F(KrRegistryTest, ResourceSectionsNumberTheirTexts)
{
    write("res.xml", R"(<r>
      <section beginid="100"><res>first</res><note>skipped</note><res>second</res><res>third</res></section>
      <section beginid="-2"><res>minus two</res><res>minus one</res></section>
      <other beginid="7"><res>not a section</res></other>
    </r>)");
    write("fonts.xml", R"(<f><map><tml:KRN>Song</tml:KRN><tml:EPS>STSong-Light</tml:EPS></map>
      <map><tml:EPS>Courier</tml:EPS><tml:KRN>Mono</tml:KRN></map></f>)");
    const KrRegistry registry(write("c.xml", R"(<c><Resource type="external">res.xml</Resource>
      <epsfont type="external">fonts.xml</epsfont><plain type="external">res.xml</plain></c>)"));

    const KrRegistry& resources = registry.SubFile("Resource");
    EXPECT_EQ(text(resources.Values()),
              "-1=minus one;-2=minus two;100=first;101=second;102=third;");
    EXPECT_EQ(&registry.SubFile("Resource"), &resources);  // loaded once

    const KrRegistry& fonts = registry.SubFile("epsfont");
    EXPECT_EQ(fonts.Value("Song"), "STSong-Light");
    EXPECT_EQ(fonts.Value("Mono"), "Courier");
    // The same file under another name is read as a plain registry.
    EXPECT_EQ(registry.SubFile("plain").Value("section"), "");
}

TEST_F(KrRegistryTest, HostileFilesLeaveEmptyTables)
{
    std::string deep;
    for (int i = 0; i < 5000; ++i) deep += "<n type=\"subreg\">";
    for (int i = 0; i < 5000; ++i) deep += "</n>";
    // clang-format off
    const std::vector<std::string> documents = {"", "not xml at all", "<a><b>unclosed",
        "<a type=\"object\"><x>1</x>", std::string("<a>\0<b/></a>", 12), "<r>" + deep + "</r>",
        "<self><me type=\"external\">self.xml</me><gone type=\"external\">missing.xml</gone></self>"};
    // clang-format on
    for (const std::string& document : documents)
    {
        const KrString path = write("self.xml", document);
        KrRegistry registry(path);
        EXPECT_EQ(registry.GetFileName(), path);
        EXPECT_EQ(registry.Obj("a")["x"], "");
        // A file that names itself is loaded again only on request, one level per call.
        const KrRegistry* level = &registry;
        for (int i = 0; i < 5; ++i) level = &level->SubFile("me");
        EXPECT_EQ(level->SubFile("gone").Value("x"), "");
        const KrRegistry* nested = &registry.SubReg("n");
        while (nested->SubReg("n").Name() == "n") nested = &nested->SubReg("n");
    }
    KrRegistry missing(dir() + "missing.xml");
    EXPECT_EQ(missing.Values().GetCount(), 0);
}

// The configuration directory comes from the environment, a slash added when missing; dpi from
// the root registry, 72 when missing or not a positive number. Without the environment the
// shipped configuration beside the library is found, with the library's texts and every log
// setting.
TEST_F(KrRegistryTest, ConfigurationDirectoryDpiAndTheShippedConfiguration)
{
    configDir(dir().Cstr());
    EXPECT_EQ(KrRegistry::XmlPath(), dir());  // not doubled
    const std::pair<const char*, int> dpis[] = {
        {"96", 96}, {"0", 72}, {"-5", 72}, {"abc", 72}, {nullptr, 72}};
    for (const auto& [setting, dpi] : dpis)
    {
        KrRegistry::Root() = KrRegistry(write(
            "krn.xml", setting ? std::string("<krn><dpi>") + setting + "</dpi></krn>" : "<krn/>"));
        EXPECT_EQ(krdpi(), dpi) << (setting ? setting : "none");
    }

    configDir("");
    KrRegistry::Root() = KrRegistry(KrRegistry::XmlPath() + "krn.xml");
    EXPECT_GT(krdpi(), 0);
    KrString message;
    for (unsigned int code : {11023u, 29554u, 30118u, 30122u, 30150u})
        EXPECT_FALSE(message.LoadString(code)) << code;
    const std::string log = ";" + text(KrRegistry::Root().Obj("LogSetting"));
    for (const char* key : {"LogEnabled", "IsAppend", "StorageType", "LogLevel", "LogFormat",
                            "DateTimeFormat", "IsFilter", "LogTimeInterval", "LogFileLocation",
                            "LogFilePrefix", "MaxFileSize", "ExceedSizeMode"})
        EXPECT_NE(log.find(";" + std::string(key) + "="), std::string::npos) << key;
}
