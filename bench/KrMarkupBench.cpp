// KrMarkup against pugixml (load_buffer, and load_buffer_inplace as "pugixml_inplace") and
// tinyxml2 (Parse) on the same inputs: two generated 20 MB documents, the attribute-heavy one also
// at 2 MB and 200 MB to show how the speed holds as documents grow (and the first parse into a new
// document at 20 and 200 MB, pages included), two nested 10,000 deep and the
// largest XML file installed under /usr/share. Each parse case reports MB/s and, from one extra
// parse outside the timing, the peak heap use and the bytes per element beyond the text.
// Navigation over 100,000 children and one AddChildElem into a 20 MB document are timed too.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <string>

#include "Base/KrMarkupProbe.h"
#include "Base/ZoBase.h"

#ifdef ZOBASE_BENCH_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef ZOBASE_BENCH_TINYXML2
#include <tinyxml2.h>
#endif

using namespace KRN;

// ---- heap accounting: every operator new of the process (the library's too) ---------------

namespace
{
size_t g_liveBytes = 0;
size_t g_peakBytes = 0;
constexpr size_t kHeader = alignof(std::max_align_t);

void* countedAlloc(size_t size)
{
    void* block = std::malloc(size + kHeader);
    if (block == nullptr) throw std::bad_alloc();
    *static_cast<size_t*>(block) = size;
    g_liveBytes += size;
    if (g_liveBytes > g_peakBytes) g_peakBytes = g_liveBytes;
    return static_cast<char*>(block) + kHeader;
}

void countedFree(void* p)
{
    if (p == nullptr) return;
    void* block = static_cast<char*>(p) - kHeader;
    g_liveBytes -= *static_cast<size_t*>(block);
    std::free(block);
}
}  // namespace

void* operator new(size_t size)
{
    return countedAlloc(size);
}
void* operator new[](size_t size)
{
    return countedAlloc(size);
}
void operator delete(void* p) noexcept
{
    countedFree(p);
}
void operator delete[](void* p) noexcept
{
    countedFree(p);
}
void operator delete(void* p, size_t) noexcept
{
    countedFree(p);
}
void operator delete[](void* p, size_t) noexcept
{
    countedFree(p);
}

namespace
{

// Peak heap growth while fn runs, and what it keeps.
template <class Fn>
size_t peakDuring(Fn fn)
{
    const size_t before = g_liveBytes;
    g_peakBytes = before;
    fn();
    return g_peakBytes - before;
}

// ---- inputs ----------------------------------------------------------------------------------

std::string attributeHeavy(size_t megabytes)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<features>\r\n";
    text.reserve((megabytes + 1) << 20);
    for (int i = 0; text.size() < (megabytes << 20); ++i)
    {
        text += "  <feature id=\"" + std::to_string(i) + "\" name=\"road " +
                std::to_string(i % 977) + "\" kind=\"primary\" x=\"" +
                std::to_string(1000 + i % 5000) + ".25\" y=\"" + std::to_string(4000 + i % 3000) +
                ".75\" srid=\"4326\" visible=\"true\"/>\r\n";
    }
    return text + "</features>\r\n";
}

std::string textHeavy()
{
    std::string text = "<?xml version=\"1.0\"?>\r\n<book>\r\n";
    text.reserve(21u << 20);
    const std::string paragraph =
        "The survey &amp; the map agree: &lt;river&gt; crosses the road at km 12 &amp; again at "
        "km 14. Heights are given in metres &#8212; not feet &#x2014; and &quot;north&quot; is "
        "up. The legend&apos;s colours follow the national style sheet for rivers, roads and "
        "rail; fields, woods and towns are drawn beneath them in lighter tones.";
    for (int chapter = 0; text.size() < (20u << 20); ++chapter)
    {
        text += "<chapter n=\"" + std::to_string(chapter) + "\">\r\n<title>Chapter " +
                std::to_string(chapter) + "</title>\r\n";
        for (int p = 0; p < 20; ++p) text += "<p>" + paragraph + "</p>\r\n";
        text += "</chapter>\r\n";
    }
    return text + "</book>\r\n";
}

std::string nested(const std::string& name)
{
    std::string text;
    for (int i = 0; i < 10000; ++i) text += "<" + name + " d=\"" + std::to_string(i) + "\">";
    for (int i = 0; i < 10000; ++i) text += "</" + name + ">";
    return text;
}

std::string wideElement()
{
    std::string text = "<r>\r\n";
    for (int i = 0; i < 100000; ++i) text += "<c i=\"" + std::to_string(i) + "\"/>\r\n";
    return text + "</r>\r\n";
}

// The largest *.xml file under /usr/share, or an empty string when there is none.
std::string largestInstalledXml(std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    uintmax_t best = 0;
    for (fs::recursive_directory_iterator
             it("/usr/share", fs::directory_options::skip_permission_denied, error),
         end;
         it != end; it.increment(error))
    {
        if (error) break;
        std::error_code sizeError;
        if (it->path().extension() != ".xml" || !it->is_regular_file(sizeError)) continue;
        const uintmax_t size = it->file_size(sizeError);
        if (!sizeError && size > best && size < (512u << 20))
        {
            best = size;
            path = it->path().string();
        }
    }
    if (path.empty()) return std::string();
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Which generated text a case parses.
enum Corpus
{
    kAttributes20MB,
    kText20MB,
    kNestedLevel,
    kInstalled,
    kAttributes2MB,
    kAttributes200MB,
    kNestedShort,
    kCorpusCount
};

const std::string& corpus(int which)
{
    static std::string texts[kCorpusCount];
    static bool made[kCorpusCount] = {};
    if (!made[which])
    {
        static std::string installedPath;
        switch (which)
        {
            case kAttributes20MB:
                texts[which] = attributeHeavy(20);
                break;
            case kText20MB:
                texts[which] = textHeavy();
                break;
            case kNestedLevel:
                texts[which] = nested("level");
                break;
            case kInstalled:
                texts[which] = largestInstalledXml(installedPath);
                if (!installedPath.empty())
                    std::printf("largest installed XML: %s (%zu bytes)\n", installedPath.c_str(),
                                texts[which].size());
                break;
            case kAttributes2MB:
                texts[which] = attributeHeavy(2);
                break;
            case kAttributes200MB:
                texts[which] = attributeHeavy(200);
                break;
            case kNestedShort:
                texts[which] = nested("n");
                break;
        }
        made[which] = true;
    }
    return texts[which];
}

// textInPeak: whether the parser keeps its own copy of the text, counted in peak.
void setCommon(benchmark::State& state, const std::string& text, size_t peak, long elements,
               bool textInPeak = true)
{
    const double copied = textInPeak ? static_cast<double>(text.size()) : 0.0;
    state.SetBytesProcessed(static_cast<int64_t>(text.size()) * state.iterations());
    state.counters["peak_MB"] = static_cast<double>(peak) / (1 << 20);
    state.counters["elems"] = static_cast<double>(elements);
    if (elements > 0)
        state.counters["B/elem_over_text"] =
            (static_cast<double>(peak) - copied) / static_cast<double>(elements);
}

// ---- parsing ---------------------------------------------------------------------------------

void Parse_ZoBase(benchmark::State& state)
{
    const std::string& text = corpus(static_cast<int>(state.range(0)));
    if (text.empty()) return state.SkipWithError("no installed XML file found");
    std::unique_ptr<KrMarkupProbe> parsed;
    const size_t peak = peakDuring([&] { parsed.reset(new KrMarkupProbe(text.c_str())); });
    const long elements = parsed->ElementCount();
    if (!parsed->IsWellFormed()) std::printf("KrMarkup: %s\n", parsed->GetError().Cstr());
    parsed.reset();
    // The document has parsed once before the timing, as the in-place peer's buffer is filled
    // once before it: every size is then timed on memory already in use, which a 20 MB text
    // gets from the heap anyway while a 200 MB one would get fresh pages from the system on the
    // first timed parse. FirstParse below times that first parse of a new document.
    KrMarkup markup;
    markup.SetDoc(text.c_str());
    for (auto _ : state) benchmark::DoNotOptimize(markup.SetDoc(text.c_str()));
    setCommon(state, text, peak, elements);
}

// A new document for every parse: the pages of the copy and of the index are new each time.
void FirstParse_ZoBase(benchmark::State& state)
{
    const std::string& text = corpus(static_cast<int>(state.range(0)));
    for (auto _ : state)
    {
        KrMarkup markup;
        benchmark::DoNotOptimize(markup.SetDoc(text.c_str()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(text.size()) * state.iterations());
}

#ifdef ZOBASE_BENCH_PUGIXML
void pugiFree(void* p)
{
    countedFree(p);
}

long pugiElementCount(const pugi::xml_document& doc)
{
    long elements = 0;
    for (pugi::xml_node n = doc.first_child(); n;)
    {
        if (n.type() == pugi::node_element) ++elements;
        if (n.first_child())
            n = n.first_child();
        else
        {
            while (n && !n.next_sibling()) n = n.parent();
            if (n) n = n.next_sibling();
        }
    }
    return elements;
}

void Parse_pugixml(benchmark::State& state)
{
    const std::string& text = corpus(static_cast<int>(state.range(0)));
    if (text.empty()) return state.SkipWithError("no installed XML file found");
    pugi::set_memory_management_functions(countedAlloc, pugiFree);
    long elements = 0;
    const size_t peak = peakDuring(
        [&]
        {
            pugi::xml_document doc;
            doc.load_buffer(text.data(), text.size());
            elements = pugiElementCount(doc);
        });
    for (auto _ : state)
    {
        pugi::xml_document doc;
        benchmark::DoNotOptimize(doc.load_buffer(text.data(), text.size()).status);
    }
    setCommon(state, text, peak, elements);
    pugi::set_memory_management_functions(std::malloc, std::free);
}

// The parse rewrites its buffer, so each one gets a fresh copy, made outside the timing.
void Parse_pugixmlInPlace(benchmark::State& state)
{
    const std::string& text = corpus(static_cast<int>(state.range(0)));
    if (text.empty()) return state.SkipWithError("no installed XML file found");
    std::string buffer = text;
    pugi::set_memory_management_functions(countedAlloc, pugiFree);
    long elements = 0;
    const size_t peak = peakDuring(
        [&]
        {
            pugi::xml_document doc;
            doc.load_buffer_inplace(&buffer[0], buffer.size());
            elements = pugiElementCount(doc);
        });
    for (auto _ : state)
    {
        state.PauseTiming();
        std::memcpy(&buffer[0], text.data(), text.size());
        state.ResumeTiming();
        pugi::xml_document doc;
        benchmark::DoNotOptimize(doc.load_buffer_inplace(&buffer[0], buffer.size()).status);
    }
    setCommon(state, text, peak, elements, false);
    pugi::set_memory_management_functions(std::malloc, std::free);
}
#endif

#ifdef ZOBASE_BENCH_TINYXML2
void Parse_tinyxml2(benchmark::State& state)
{
    const std::string& text = corpus(static_cast<int>(state.range(0)));
    if (text.empty()) return state.SkipWithError("no installed XML file found");
    tinyxml2::XMLError status = tinyxml2::XML_SUCCESS;
    const size_t peak = peakDuring(
        [&]
        {
            tinyxml2::XMLDocument doc;
            status = doc.Parse(text.data(), text.size());
        });
    if (status != tinyxml2::XML_SUCCESS)
        return state.SkipWithError(tinyxml2::XMLDocument::ErrorIDToName(status));
    for (auto _ : state)
    {
        tinyxml2::XMLDocument doc;
        benchmark::DoNotOptimize(doc.Parse(text.data(), text.size()));
    }
    setCommon(state, text, peak, 0);
}
#endif

// ---- navigation and editing ------------------------------------------------------------------

void Navigate100kChildren_ZoBase(benchmark::State& state)
{
    KrMarkup markup(wideElement().c_str());
    markup.FindElem();
    for (auto _ : state)
    {
        markup.ResetChildPos();
        int count = 0;
        while (markup.FindChildElem("c")) ++count;
        benchmark::DoNotOptimize(count);
    }
}

#ifdef ZOBASE_BENCH_PUGIXML
void Navigate100kChildren_pugixml(benchmark::State& state)
{
    const std::string text = wideElement();
    pugi::xml_document doc;
    doc.load_buffer(text.data(), text.size());
    const pugi::xml_node root = doc.child("r");
    for (auto _ : state)
    {
        int count = 0;
        for (pugi::xml_node n = root.child("c"); n; n = n.next_sibling("c")) ++count;
        benchmark::DoNotOptimize(count);
    }
}
#endif

#ifdef ZOBASE_BENCH_TINYXML2
void Navigate100kChildren_tinyxml2(benchmark::State& state)
{
    const std::string text = wideElement();
    tinyxml2::XMLDocument doc;
    doc.Parse(text.data(), text.size());
    const tinyxml2::XMLElement* root = doc.FirstChildElement("r");
    for (auto _ : state)
    {
        int count = 0;
        for (auto* n = root->FirstChildElement("c"); n != nullptr; n = n->NextSiblingElement("c"))
            ++count;
        benchmark::DoNotOptimize(count);
    }
}
#endif

// One splice and an offset walk, next to what a full parse of the same document costs.
void AddChildElemInto20MB_ZoBase(benchmark::State& state)
{
    KrMarkup markup(corpus(kAttributes20MB).c_str());
    markup.FindElem();
    markup.FindChildElem();  // the first child: every later element moves
    for (auto _ : state) benchmark::DoNotOptimize(markup.InsertChildElem("added", "x"));
    state.counters["doc_MB"] = static_cast<double>(markup.GetDoc().size()) / (1 << 20);
}

void ReparseOf20MB_ZoBase(benchmark::State& state)
{
    KrMarkup markup;
    for (auto _ : state) benchmark::DoNotOptimize(markup.SetDoc(corpus(kAttributes20MB).c_str()));
}

}  // namespace

// One parse case: ZoBase and each peer present on the same input.
#define ZOBASE_PARSE_CASE(label, which, unit)                               \
    BENCHMARK(Parse_ZoBase)->Name(label "/ZoBase")->Arg(which)->Unit(unit); \
    PUGIXML_PARSE_CASE(label, which, unit)                                  \
    TINYXML2_PARSE_CASE(label, which, unit)
#ifdef ZOBASE_BENCH_PUGIXML
#define PUGIXML_PARSE_CASE(label, which, unit)                                \
    BENCHMARK(Parse_pugixml)->Name(label "/pugixml")->Arg(which)->Unit(unit); \
    BENCHMARK(Parse_pugixmlInPlace)->Name(label "/pugixml_inplace")->Arg(which)->Unit(unit);
#else
#define PUGIXML_PARSE_CASE(label, which, unit)
#endif
#ifdef ZOBASE_BENCH_TINYXML2
#define TINYXML2_PARSE_CASE(label, which, unit) \
    BENCHMARK(Parse_tinyxml2)->Name(label "/tinyxml2")->Arg(which)->Unit(unit);
#else
#define TINYXML2_PARSE_CASE(label, which, unit)
#endif

ZOBASE_PARSE_CASE("ParseAttributes2MB", kAttributes2MB, benchmark::kMillisecond)
ZOBASE_PARSE_CASE("ParseAttributes20MB", kAttributes20MB, benchmark::kMillisecond)
ZOBASE_PARSE_CASE("ParseAttributes200MB", kAttributes200MB, benchmark::kMillisecond)
ZOBASE_PARSE_CASE("ParseText20MB", kText20MB, benchmark::kMillisecond)
ZOBASE_PARSE_CASE("ParseNested10000", kNestedLevel, benchmark::kMicrosecond)
ZOBASE_PARSE_CASE("ParseDeep10000", kNestedShort, benchmark::kMicrosecond)
ZOBASE_PARSE_CASE("ParseInstalledXml", kInstalled, benchmark::kMillisecond)
BENCHMARK(FirstParse_ZoBase)
    ->Name("FirstParseAttributes20MB/ZoBase")
    ->Arg(kAttributes20MB)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(FirstParse_ZoBase)
    ->Name("FirstParseAttributes200MB/ZoBase")
    ->Arg(kAttributes200MB)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Navigate100kChildren_ZoBase)
    ->Name("Navigate100kChildren/ZoBase")
    ->Unit(benchmark::kMicrosecond);
#ifdef ZOBASE_BENCH_PUGIXML
BENCHMARK(Navigate100kChildren_pugixml)
    ->Name("Navigate100kChildren/pugixml")
    ->Unit(benchmark::kMicrosecond);
#endif
#ifdef ZOBASE_BENCH_TINYXML2
BENCHMARK(Navigate100kChildren_tinyxml2)
    ->Name("Navigate100kChildren/tinyxml2")
    ->Unit(benchmark::kMicrosecond);
#endif
BENCHMARK(AddChildElemInto20MB_ZoBase)
    ->Name("AddChildElemInto20MB/ZoBase")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(50);
BENCHMARK(ReparseOf20MB_ZoBase)->Name("ReparseOf20MB/ZoBase")->Unit(benchmark::kMillisecond);
