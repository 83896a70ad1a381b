// Shared by the log tests: a sandbox that gives the log singleton a fresh state and a
// temporary directory, and puts everything back when the test ends.
#pragma once

#include <string>

#include "Base/KrErrorObj.h"
#include "Base/KrLogFile.h"
#include "ScratchDir.h"

namespace KrLogTest
{

inline KRN::KrLogQueryDef everyLevel()
{
    KRN::KrLogQueryDef query;
    query.m_nMinLevel = KRN::KrLogFile::LogDebug;
    return query;
}

// The codes of the in-memory records a query selects, latest first.
inline std::string selectedCodes(KRN::KrLogFile& log,
                                 const KRN::KrLogQueryDef& query = everyLevel())
{
    KRN::KrArray<KRN::KrLogItem> items;
    log.Query(query, items);
    std::string codes;
    for (const KRN::KrLogItem& item : items) codes += " " + std::to_string(item.m_nResID);
    return codes.empty() ? codes : codes.substr(1);
}

// Closes the log with its defaults restored and callbacks cleared, in a fresh scratch directory;
// the destructor does the same before the directory goes.
class LogSandbox
{
public:
    LogSandbox() { reset(); }
    ~LogSandbox() { reset(); }

    KRN::KrLogFile& log() { return KRN::KrLogFile::GetInstance(true); }
    std::string dir() const { return m_scratch.root().string(); }
    std::string path(const std::string& name) const { return m_scratch.path(name); }

private:
    static void reset()
    {
        KRN::KrLogFile& log = KRN::KrLogFile::GetInstance(true);
        log.Close(1);
        KRN::KrLogFile::SetCallBack(nullptr);
        KRN::KrLogFile::SetOpenCallBack(nullptr);
        KRN::KrLogFile::SetWriteCallBack(nullptr);
        KRN::KrLogFile::SetCloseCallBack(nullptr);
        KRN::KrErrorObj::SetErrorInfoProc(nullptr);
    }

    ScratchDir m_scratch;
};

}  // namespace KrLogTest
