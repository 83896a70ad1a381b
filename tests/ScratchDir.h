// Scratch files for the tests: a fresh directory under the system temporary directory, removed
// with everything in it when the object goes, and whole-file reads and writes.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

inline std::string readFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

class ScratchDir
{
public:
    ScratchDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "zobase-XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) m_root = pattern;
    }
    ~ScratchDir()
    {
        std::error_code ignored;
        if (!m_root.empty()) std::filesystem::remove_all(m_root, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::filesystem::path& root() const { return m_root; }
    std::string path(const std::string& name) const { return (m_root / name).string(); }

private:
    std::filesystem::path m_root;
};
