// A short tour of the library: each section shows one family at work and prints what it did.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

void section(const char* title) { std::printf("\n== %s\n", title); }

void tourCore()
{
    section("core helpers");
    const unsigned int teal = KrRGBA(0, 128, 128, 255);
    std::printf("KrRGBA(0,128,128,255) = 0x%08X  red %u green %u blue %u alpha %u\n", teal,
                KrREDVAL(teal), KrGREENVAL(teal), KrBLUEVAL(teal), KrALPHAVAL(teal));
    std::printf("krequal(0.1 + 0.2, 0.3) = %s, big-endian host: %s, dpi %d\n",
                krequal(0.1 + 0.2, 0.3) ? "true" : "false", krisbigendian() ? "yes" : "no", krdpi());
    void* block = nullptr;
    const int ok = krmemdup(&block, "tour", 5);
    std::printf("krmemdup copied \"%s\" (result %d); ", static_cast<const char*>(block), ok);
    krfree(&block);
    std::printf("after krfree the pointer is %s\n", block == nullptr ? "null" : "set");
}

void tourString()
{
    section("narrow string");
    KrString path("  C:\\data\\roads.shp  ");
    path.TrimLeft().TrimRight();
    std::printf("trimmed: [%s], extension at %d, file: %s\n", path.Cstr(), path.ReverseFind('.'),
                path.Mid(path.ReverseFind('\\') + 1).Cstr());
    KrString text("a-b-c");
    const int replaced = text.Replace("-", "--");
    std::printf("Replace(\"-\", \"--\") on a-b-c: %d replacements -> %s\n", replaced, text.Cstr());
    KrString formatted;
    formatted.Format("%s has %d layers and %.2f km of roads", "Atlas", 12, 1234.5);
    std::printf("Format: %s\n", formatted.Cstr());
    std::printf("From(255, 16) = %s, ToULong(\"0x1f\", 16) = %llu, lenient ToULong(\"12a3\") = %llu\n",
                KrString::From(255, 16).Cstr(), KrString("0x1f").ToULong(16), KrString("12a3").ToULong());
    std::printf("CompareNoCase(\"Road\", \"ROAD\") = %d, HashVal(\"ab\") = %u\n",
                KrString("Road").CompareNoCase("ROAD"), KrString("ab").HashVal());
    KrArray<KrString> pieces;
    const int exact = KrString("a,b,,c").Split(pieces, ",", true);
    const int loose = KrString("a,b,,c").Split(pieces, ",", false);
    std::printf("Split(\"a,b,,c\", \",\"): exact %d pieces, as a set %d pieces\n", exact, loose);
}

void tourContainers()
{
    section("containers");
    KrArray<int> numbers;
    for (int i = 1; i <= 4; ++i) numbers.Add(i * i);
    numbers.InsertAt(-5, 0, 1);
    std::printf("array:");
    for (int v : numbers) std::printf(" %d", v);
    try
    {
        numbers.GetAt(99);
    }
    catch (const std::out_of_range& e)
    {
        std::printf("  GetAt(99) -> %s", e.what());
    }
    std::printf("\n");

    KrList<KrString> layers;
    layers.AddTail("rivers");
    layers.AddTail("roads");
    layers.AddHead("land");
    std::printf("list backwards:");
    for (auto pos = layers.GetTailPosition(); !layers.IsBOF(pos);)
        std::printf(" %s", layers.GetPrev(pos).Cstr());
    std::printf("\n");

    KrContainer<int> recent;
    recent.SetCapacity(3);
    for (int i = 1; i <= 5; ++i) recent.Add(i);
    std::printf("ring of 3 after adding 1..5 holds %d items, newest first: %d %d %d\n",
                recent.GetSize(), recent[0], recent[1], recent[2]);

    KrDict<int, int> squares;
    for (int i = 0; i < 5; ++i) squares.SetAt(i, i * i);
    int value = -1;
    const bool found3 = squares.Lookup(3, value);
    const bool found7 = squares.Lookup(7, value);
    std::printf("dictionary: Lookup(3) %s %d, Lookup(7) %s\n", found3 ? "found" : "missing", value,
                found7 ? "found" : "missing");
}

void printHex(const char* label, const unsigned char* bytes, unsigned long long count)
{
    std::printf("%s (%llu bytes):", label, count);
    for (unsigned long long i = 0; i < count; ++i) std::printf(" %02X", bytes[i]);
    std::printf("\n");
}

void tourStreams()
{
    section("serialisation streams");
    // A small record: an id, a name, a scale and a short array of widths.
    const unsigned int id = 0x01020304;
    const KrString name("roads");
    const double scale = 1.0;
    const short widths[] = {1, -1};

    KrMemoryStream memory;
    memory.Open(KrStreamSave, 64);
    memory << id << name << scale;
    memory.Save(widths, 2);
    printHex("memory stream", memory.GetData(), memory.GetLength());

    const std::string pathText = (std::filesystem::temp_directory_path() / "zobase-tour-record.bin").string();
    const char* path = pathText.c_str();
    KrFileStream file;
    file.Open(path, KrStreamSave, 16);
    file << id << name << scale;
    file.Save(widths, 2);
    std::printf("file stream wrote %llu bytes to %s, close %s\n", file.GetLength(), path,
                file.Close() ? "ok" : "failed");

    KrFileStream in;
    in.Open(path, KrStreamLoad, 16);
    unsigned int loadedId = 0;
    KrString loadedName;
    double loadedScale = 0;
    short loadedWidths[2] = {};
    in >> loadedId >> loadedName >> loadedScale;
    in.Load(loadedWidths, 2);
    std::printf("loaded back: id 0x%08X, name %s, scale %.1f, widths %d %d, status %d\n", loadedId,
                loadedName.Cstr(), loadedScale, loadedWidths[0], loadedWidths[1], in.GetStatus());
    short beyond = 0;
    in >> beyond;
    std::printf("one more load past the end: status %d, IsEOF %d\n", in.GetStatus(), in.IsEOF());
    in.Close();
    std::remove(path);
}

void tourMarkup()
{
    section("XML markup");
    KrMarkup writer;
    writer.AddElem("layers");
    writer.SetAttrib("version", 20070522);
    writer.AddChildElem("layer", "Roads & tracks");
    writer.SetChildAttrib("visible", "yes");
    writer.AddChildElem("layer", "Rivers");
    writer.SetChildAttrib("visible", "no");
    const std::string path = (std::filesystem::temp_directory_path() / "zobase-tour.xml").string();
    writer.Save(path.c_str());
    std::printf("saved %s (%s)\n", path.c_str(), writer.GetError().Cstr());

    KrMarkup reader;
    reader.Load(path.c_str());
    std::remove(path.c_str());
    reader.FindElem("layers");
    std::printf("loaded <%s> version %s, well formed: %s\n", reader.GetTagName().Cstr(),
                reader.GetAttrib("version").Cstr(), reader.IsWellFormed() ? "yes" : "no");
    while (reader.FindChildElem("layer"))
        std::printf("  layer \"%s\" visible=%s\n", reader.GetChildData().Cstr(),
                    reader.GetChildAttrib("visible").Cstr());
    KrMarkup broken("<a><b></a>");
    std::printf("parsing <a><b></a>: %s\n", broken.GetError().Cstr());
}

void tourTime()
{
    section("date and time");
    const KrTime now = KrTime::GetCurrentTime();
    std::printf("now: %s | %s | %s (serial date %.5f)\n", now.Format("%Y-%m-%d %H:%M:%S").Cstr(),
                now.Format("%A %d %B %Y").Cstr(), now.Format("%Y_%m_%d_%H").Cstr(), now.GetTime());
    KrTime parsed;
    const unsigned char ok =
        parsed.ParseDateTime(now.Format("%Y-%m-%d %H:%M:%S"), "%Y-%m-%d %H:%M:%S");
    std::printf("parsed back: %s, same instant: %s\n", ok ? "ok" : "failed",
                parsed == now ? "yes" : "no");
    const KrTimeSpan untilNewYear = KrTime(now.GetYear() + 1, 1, 1) - now;
    std::printf("until next new year: %d days %d hours; 1 January 1800 was day %.0f, a %s\n",
                untilNewYear.GetDays(), untilNewYear.GetHours(), KrTime(1800, 1, 1).GetTime(),
                KrTime(1800, 1, 1).Format("%A").Cstr());
}

void tourFiles()
{
    section("files");
    // The tour's own sources when they are still where it was built from, else the current
    // directory.
#ifdef ZOBASE_TOUR_SOURCE_DIR
    KrString dir(ZOBASE_TOUR_SOURCE_DIR);
    if (!KrFile::IsExist(dir + "/")) dir = ".";
#else
    KrString dir(".");
#endif
    KrArray<KrString> names;
    const int count = KrFile::ListFiles(names, dir, "*.(cpp|h)", KrFile::LIST_NO_DIRS);
    std::sort(names.begin(), names.end());
    std::printf("%d file(s) matching *.(cpp|h) in %s:", count, KrFile::GetName(dir).Cstr());
    for (const KrString& name : names) std::printf(" %s", name.Cstr());
    std::printf("\n");
    const KrString path("C:\\maps\\roads.2024.shp");
    std::printf("%s: dir %s, title %s, ext %s; relative to C:/data/: %s\n", path.Cstr(),
                KrFile::GetDir(path).Cstr(), KrFile::GetTitle(path).Cstr(),
                KrFile::GetExt(path).Cstr(), KrFile::GetRelativePath("C:/data/", path).Cstr());
    std::printf("Match(\"*a*a*a*a*a*a*a*a*b\", 10000 a's) = %d\n",
                KrFile::Match("*a*a*a*a*a*a*a*a*b", KrString('a', 10000), 0));
}

void tourText()
{
    section("text in every charset");
    // "Beijing, Changjiang Road" in GB18030, the library's default charset.
    const KrString gb("\xb1\xb1\xbe\xa9\xca\xd0\xb3\xa4\xbd\xad\xc2\xb7");
    const KrTextCodec::Charset chinese = KrTextCodec::GB2312_CHARSET;
    std::printf("GB18030: %d bytes, charset name %s\n", gb.GetLength(),
                KrTextCodec::GetCharsetName(chinese).Cstr());

    const KrStringUTF8 utf8(gb, chinese);
    std::printf("UTF-8:   %d bytes: %s\n", utf8.GetLength(), utf8.Cstr());

    const KrStringUCS2LE ucs2(gb, chinese);
    std::printf("UCS-2LE: %d units:", ucs2.GetLength());
    for (int i = 0; i < ucs2.GetLength(); ++i) std::printf(" %04X", ucs2[i]);
    std::printf("\n");

    KrStringW wide;
    wide.FromString(gb, chinese);
    wide.MakeInverse();
    std::printf("wide:    %d units, reversed and back in UTF-8: %s\n", wide.GetLength(),
                wide.ToString(KrTextCodec::UTF8_CHARSET).Cstr());
    wide.MakeInverse();

    const bool same =
        utf8.ToString(chinese) == gb && ucs2.ToString(chinese) == gb && wide.ToString(chinese) == gb;
    std::printf("all three forms convert back to the same GB18030 bytes: %s\n", same ? "yes" : "no");
    KrString changed(gb);
    changed.ChangeCharset(KrTextCodec::UTF8_CHARSET);
    std::printf("ChangeCharset(UTF-8) retags the string as charset %d; this system's charset is %d\n",
                changed.GetCharset(), KrToolkit::GetCurCharset());
}

void tourConfig()
{
    section("configuration");
    KrRegistry& root = KrRegistry::Root();
    std::printf("configuration directory: %s\n", KrRegistry::XmlPath().Cstr());
    std::printf("dpi setting %s -> krdpi() %d; log level setting: %s\n", root.Value("dpi").Cstr(), krdpi(),
                root.Obj("LogSetting")["LogLevel"].Cstr());
    KrString text;
    const bool missing = text.LoadString(30118);
    std::printf("resource 30118 %s: %s\n", missing ? "missing" : "found", text.Cstr());
    KrHash<KrString> words;
    words.SetAt("road", "Strasse");
    words.SetAt("river", "Fluss");
    std::printf("hash table: road -> %s, lake -> [%s]\n", words["road"].Cstr(), words["lake"].Cstr());
}

// A producer thread hands three values to a consumer thread through a slot guarded by one
// mutex and two conditions. A KrCondition signal is lost when nobody waits, so each side
// checks the slot under the mutex before it waits.
struct Slot
{
    KrMutex mutex;
    KrCondition filled, emptied;
    int value = 0;
    bool full = false;
    int sum = 0;
};

class Producer : public KrThread
{
public:
    explicit Producer(Slot& slot) : m_slot(slot) {}

protected:
    int run() override
    {
        KrMutexLock hold(m_slot.mutex);
        hold.lock();
        for (int value = 10; value <= 30; value += 10)
        {
            while (m_slot.full) m_slot.emptied.wait(m_slot.mutex);
            m_slot.value = value;
            m_slot.full = true;
            m_slot.filled.signal();
        }
        return 0;
    }

private:
    Slot& m_slot;
};

class Consumer : public KrThread
{
public:
    explicit Consumer(Slot& slot) : m_slot(slot) {}

protected:
    int run() override
    {
        KrMutexLock hold(m_slot.mutex);
        hold.lock();
        for (int i = 0; i < 3; ++i)
        {
            while (!m_slot.full) m_slot.filled.wait(m_slot.mutex);
            std::printf("consumer thread %u received %d\n", KrThread::current(), m_slot.value);
            m_slot.sum += m_slot.value;
            m_slot.full = false;
            m_slot.emptied.signal();
        }
        return 0;
    }

private:
    Slot& m_slot;
};

void printProgress(void*, const char* title, const char* message, int pos, const char* remain,
                   unsigned char&)
{
    std::printf("  [%3d%%] %s: %s (%s)\n", pos, title, message, remain);
}

void tourThreads()
{
    section("threads and progress");
    Slot slot;
    Producer producer(slot);
    Consumer consumer(slot);
    consumer.start();
    producer.start();
    // A thread that returns from run() detaches itself: wait for that instead of joining.
    while (producer.running() || consumer.running()) KrThread::sleep(1000000);
    std::printf("main thread %u: both threads ended, the consumer summed %d; join() now: %d\n",
                KrThread::current(), slot.sum, producer.join());

    // One job in three steps sharing the scale 20/50/30; each step reports its own 0..100.
    KrProgress::SetProgressProc(&printProgress, nullptr);
    KrProgress job;
    std::printf("ShowProgress in krn.xml: %s\n", job.IsShow() ? "on" : "off");
    job.SetTitleMessage("Loading roads");
    job.PushPosRange();
    const int bounds[] = {0, 20, 70, 100};
    const char* steps[] = {"reading", "indexing", "writing"};
    for (int step = 0; step < 3; ++step)
    {
        job.SetBothPosRange(bounds[step], bounds[step + 1]);
        job.SetMessage(steps[step]);  // reported with the next position
        for (int pos = 0; pos <= 100; pos += 50) job.SetProgressPos(pos);
    }
    job.PopPosRange();
    KrProgress::SetProgressProc(nullptr, nullptr);
}

void tourCompress()
{
    section("compression, hash codes and DES");
    KrString text;
    for (int i = 0; i < 20; ++i) text += "<Line width=\"0.35\" color=\"RGB(12,34,56)\"/>\r\n";
    const auto* plain = reinterpret_cast<const unsigned char*>(text.data());
    const auto size = static_cast<unsigned int>(text.size());
    std::string packed(size + 64, '\0');
    unsigned int packedSize = static_cast<unsigned int>(packed.size());
    KrCompress::Zip(reinterpret_cast<unsigned char*>(&packed[0]), packedSize, plain, size, 6);
    std::string back(size, '\0');
    unsigned int backSize = size;
    const bool expanded =
        KrCompress::UnZip(reinterpret_cast<unsigned char*>(&back[0]), backSize,
                          reinterpret_cast<const unsigned char*>(packed.data()), packedSize);
    std::printf("Zip: %u bytes -> %u; UnZip: %s, %u bytes, %s\n", size, packedSize,
                expanded ? "ok" : "failed", backSize, back == text ? "identical" : "different");
    unsigned int tooSmall = size - 1;
    std::printf("UnZip into %u bytes: %s\n", tooSmall,
                KrCompress::UnZip(reinterpret_cast<unsigned char*>(&back[0]), tooSmall,
                                  reinterpret_cast<const unsigned char*>(packed.data()), packedSize)
                    ? "ok"
                    : "false (logged as 30118)");

    std::printf("hash codes: \"road\" %d (fast %d), 1.0 %d, short -1 %d, 0x12345678ABCDLL %d\n",
                KrHashCode::StringToHashCode("road"), KrHashCode::FastStringToHashCode("road"),
                KrHashCode::DoubleToHashCode(1.0), KrHashCode::ShortToHashCode(-1),
                KrHashCode::LONGToHashCode(0x12345678ABCDLL));

    char line[32] = "Meet at the bridge at noon.";  // 28 bytes with the zero: four blocks
    char secret[32], clear[32];
    const char key[] = "sixteen byte key";
    KrDesEncrypt::Work(secret, line, 28, key, 16, KrDesEncrypt::Encrypt);
    KrDesEncrypt::Work(clear, secret, 28, key, 16, KrDesEncrypt::Decrypt);
    std::printf("triple DES: \"%s\" -> ", line);
    for (int i = 0; i < 8; ++i) std::printf("%02X", static_cast<unsigned char>(secret[i]));
    std::printf("... -> \"%s\"\n", clear);
}

}  // namespace

void tourLog()
{
    section("log, error stack and timing");
    const std::string dir = (std::filesystem::temp_directory_path() / "zobase_tour_log").string();
    std::filesystem::create_directories(dir);
    KrLogFile& log = KrLogFile::GetInstance();
    log.Open(dir.c_str(), "Tour", KrLogFile::IntervalNone, KrLogFile::ModeText, 0);
    log.SetLevel(KrLogFile::LogInfo);
    log.RecordLog(KrLogFile::LogDebug, 1, "below the threshold: dropped", __FILE__, __LINE__);
    log.RecordLog(KrLogFile::LogInfo, 2, "map opened", __FILE__, __LINE__);
    log.RecordLog(KrLogFile::LogError, 11023, "cannot open roads.shp", __FILE__, __LINE__);
    std::printf("text log %s\n", KrFile::GetName(log.GetFileName()).Cstr());

    log.Open(dir.c_str(), "Tour", KrLogFile::IntervalNone, KrLogFile::ModeXML, 0);
    log.SetLogFormat("%DATETIME %LEVEL %MSG");
    std::string accepted;
    for (int i = 0; i < 7; ++i)
    {
        // Alternating with another record keeps each from being the previous one.
        accepted += log.RecordLog(KrLogFile::LogWarning, 3, "tile cache full", __FILE__, __LINE__)
                        ? '+'
                        : '-';
        log.RecordLog(KrLogFile::LogWarning, 4, ("tile " + std::to_string(i)).c_str(), __FILE__,
                      __LINE__);
    }
    std::printf("XML log %s (+ .xsd, .xslt); a repeated record: %s\n",
                KrFile::GetName(log.GetFileName()).Cstr(), accepted.c_str());

    KrString latest;
    KrErrorObj::Format(KrErrorObj::GetInstance().GetLast(0), latest, 0);
    std::printf("latest error:\n%s\n", latest.Cstr());

    static KrString timing;
    KrLogFile::SetCallBack([](const char* record) { timing = record; });
    log.Open(dir.c_str(), "Tour", KrLogFile::IntervalNone, KrLogFile::ModeText, 0);
    log.SetRecordOnlyLog();
    {
        KrEfficiency timer("tourLog", __FILE__, __LINE__);
        for (int i = 0; i < 1000; ++i) accepted = std::to_string(i);
    }
    std::printf("%s (clock ticks)\n", timing.Cstr());
    KrLogFile::SetCallBack(nullptr);
    log.Close(1);
    std::filesystem::remove_all(dir);
}

int main()
{
    std::printf("ZoBase200 tour\n");
    tourCore();
    tourString();
    tourContainers();
    tourStreams();
    tourMarkup();
    tourTime();
    tourFiles();
    tourText();
    tourConfig();
    tourThreads();
    tourCompress();
    tourLog();
    std::printf("\ntour complete\n");
    return 0;
}
