// A "LogSetting" section and record texts through the text and XML writers. The input is the
// section's inner XML, a line "----", then one record per line: its first byte picks the level.
// The XML log must be well-formed after every record.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Base/ZoBase.h"

using namespace KRN;
namespace fs = std::filesystem;

namespace
{
const fs::path& scratchDir()
{
    static const fs::path dir =
        fs::temp_directory_path() / ("krlogfuzz" + std::to_string(KrToolkit::GetCurProcessId()));
    return dir;
}

void freshDir()
{
    std::error_code ignored;
    fs::remove_all(scratchDir(), ignored);
    fs::create_directories(scratchDir(), ignored);
}

void checkWellFormed(KrLogFile& log)
{
    if (log.GetMode() != KrLogFile::ModeXML || !log.IsOpen()) return;
    KrMarkup markup;
    if (!markup.Load(log.GetFileName().Cstr())) return;
    if (!markup.IsWellFormed() || !markup.FindElem("LogFile")) std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 1 << 16) return 0;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t split = input.find("\n----\n");
    const std::string section = input.substr(0, split);
    const std::string records =
        split == std::string::npos ? std::string() : input.substr(split + 6);

    freshDir();
    KrLogFile& log = KrLogFile::GetInstance(true);
    log.Close(1);

    KrRegistry registry;
    registry.LoadDoc(
        ("<krn><LogSetting type=\"object\">" + section + "</LogSetting></krn>").c_str());
    // Files stay in the scratch directory whatever the section says.
    KrHash<KrString> settings = registry.Obj("LogSetting");
    settings.SetAt("LogFileLocation", scratchDir().string().c_str());
    registry.SetObj("LogSetting", settings);
    if (!log.LoadSetting(registry))
        log.Open(scratchDir().string().c_str(), "Fz", KrLogFile::IntervalNone,
                 size % 2 ? KrLogFile::ModeXML : KrLogFile::ModeText, 0);
    checkWellFormed(log);

    size_t from = 0;
    for (int count = 0; from <= records.size() && count < 64; ++count)
    {
        size_t end = records.find('\n', from);
        if (end == std::string::npos) end = records.size();
        const std::string line = records.substr(from, end - from);
        const int level = line.empty() ? 100 : 100 * (1 + static_cast<unsigned char>(line[0]) % 5);
        log.RecordLog(static_cast<KrLogFile::LogLevelType>(level), count, KrString(line.c_str()),
                      "fuzz.cpp", count);
        checkWellFormed(log);
        from = end + 1;
    }
    KrLogQueryDef query;
    KrArray<KrLogItem> items;
    log.Query(query, items);
    KrString dump;
    KrErrorObj::GetInstance().Dump(dump, 1);
    log.Close(1);
    return 0;
}
