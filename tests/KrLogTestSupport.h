// Shared by the log tests: a sandbox that gives the log singleton a fresh state and a
// temporary directory, and puts everything back when the test ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Base/KrErrorObj.h"
#include "Base/KrLogFile.h"

namespace KrLogTest
{

inline std::string readFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Pieces of text between separators (the last piece kept even when empty).
inline std::vector<std::string> splitOn(const std::string& text, const std::string& separator)
{
    std::vector<std::string> pieces;
    size_t from = 0;
    for (size_t at; (at = text.find(separator, from)) != std::string::npos;
         from = at + separator.size())
        pieces.push_back(text.substr(from, at - from));
    pieces.push_back(text.substr(from));
    return pieces;
}

// Closes the log with its defaults restored, callbacks cleared, in a fresh temporary directory;
// the destructor does the same and removes the directory.
class LogSandbox
{
public:
    LogSandbox()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "krlogXXXXXX").string();
        m_dir = ::mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
        reset();
    }
    ~LogSandbox()
    {
        reset();
        std::error_code ignored;
        if (!m_dir.empty()) std::filesystem::remove_all(m_dir, ignored);
    }
    LogSandbox(const LogSandbox&) = delete;
    LogSandbox& operator=(const LogSandbox&) = delete;

    KRN::KrLogFile& log() { return KRN::KrLogFile::GetInstance(true); }
    const std::string& dir() const { return m_dir; }
    std::string path(const std::string& name) const { return m_dir + "/" + name; }

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

    std::string m_dir;
};

}  // namespace KrLogTest
