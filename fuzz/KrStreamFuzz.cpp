// Loads arbitrary bytes as a sequence of mixed values and strings chosen by the bytes
// themselves, from a memory stream and from a file: both must deliver the same values and end
// in the same status and position. Then the bytes drive a load-save memory stream (saves,
// loads and seeks) and are read back as text lines.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// One scratch file per process, removed at exit.
struct ScratchFile
{
    ScratchFile()
    {
        std::random_device seed;
        path = (std::filesystem::temp_directory_path() / ("KrStreamFuzz-" + std::to_string(seed())))
                   .string();
    }
    ~ScratchFile()
    {
        std::error_code error;
        std::filesystem::remove(path, error);
    }
    std::string path;
};

template <class T>
void record(std::string& trace, const T& value)
{
    trace.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class T>
void loadOne(KrStream& in, std::string& trace)
{
    T value{};
    in >> value;
    record(trace, value);
}

template <class T>
void loadArray(KrStream& in, std::string& trace, unsigned int count)
{
    std::vector<T> values(count);
    in.Load(values.data(), count);
    // After a failed array load only the status counts: the elements hold no defined values.
    if (in.GetStatus() == KrStreamOK)
        for (const T& value : values) record(trace, value);
}

// Each step loads an opcode byte, then the value it names.
std::string loadScript(KrStream& in)
{
    std::string trace;
    while (in.GetStatus() == KrStreamOK)
    {
        unsigned char op = 0;
        in >> op;
        switch (op % 14)
        {
            case 0:
                loadOne<char>(in, trace);
                break;
            case 1:
                loadOne<unsigned char>(in, trace);
                break;
            case 2:
                loadOne<short>(in, trace);
                break;
            case 3:
                loadOne<unsigned short>(in, trace);
                break;
            case 4:
                loadOne<int>(in, trace);
                break;
            case 5:
                loadOne<unsigned int>(in, trace);
                break;
            case 6:
                loadOne<float>(in, trace);
                break;
            case 7:
                loadOne<long long>(in, trace);
                break;
            case 8:
                loadOne<unsigned long long>(in, trace);
                break;
            case 9:
                loadOne<double>(in, trace);
                break;
            case 10:
            {
                KrString text;
                in >> text;
                trace += text;
                break;
            }
            case 11:
            {
                KrStringUCS2LE text;
                in >> text;
                if (text.GetSize() < 1 || text[text.GetSize() - 1] != 0) std::abort();
                trace.append(reinterpret_cast<const char*>(text.GetData()), text.GetSize() * 2u);
                break;
            }
            case 12:
                loadArray<unsigned short>(in, trace, op / 14u);
                break;
            default:
                loadArray<double>(in, trace, op / 14u);
                break;
        }
    }
    record(trace, in.GetStatus());
    record(trace, in.GetPosition());
    record(trace, in.KrStream::GetLength());  // the high-water mark, for both kinds
    return trace;
}

void loadSaveScript(const uint8_t* data, size_t size)
{
    void* block = nullptr;
    if (!krmemdup(&block, data, size)) return;
    KrMemoryStream both;
    both.Open(KrStreamLoadSave, 16);
    both.GiveBuffer(static_cast<unsigned char*>(block), static_cast<unsigned int>(size));
    std::string sink;
    for (size_t i = 0; i + 1 < size; i += 2)
    {
        const int argument = static_cast<int8_t>(data[i + 1]);
        switch (data[i] % 6)
        {
            case 0:
                both << argument;
                break;
            case 1:
                both << KrString(reinterpret_cast<const char*>(data),
                                 static_cast<int>(std::min<size_t>(argument & 31, size)));
                break;
            case 2:
                both.SetPosition(argument, static_cast<KrWhence>(data[i] / 6 % 3));
                break;
            case 3:
                loadOne<long long>(both, sink);
                break;
            case 4:
            {
                KrString text;
                both >> text;
                break;
            }
            default:
                both.SetError(KrStreamOK);
                break;
        }
        if (both.GetData() == nullptr && both.GetSpace() != 0) std::abort();
    }
    both.Close();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static ScratchFile scratch;
    if (size > 1 << 20) return 0;
    std::vector<unsigned char> bytes(data, data + size);

    KrMemoryStream memory;
    memory.Open(KrStreamLoad, static_cast<unsigned int>(size),
                bytes.empty() ? nullptr : bytes.data());
    const std::string fromMemory = loadScript(memory);

    // A fresh file each time: truncating one full of data makes some file systems flush on close.
    std::error_code error;
    std::filesystem::remove(scratch.path, error);
    KrFileStream out;
    if (!out.Open(scratch.path.c_str(), KrStreamSave, 4096)) std::abort();
    out.Save(bytes.data(), static_cast<unsigned int>(size));
    if (!out.Close()) std::abort();

    // Any cache that holds the largest value (8 bytes) must give the same result.
    const unsigned int cache = 8 + (size > 0 ? data[size - 1] % 24 : 0);
    KrFileStream file;
    if (!file.Open(scratch.path.c_str(), KrStreamLoad, cache)) std::abort();
    if (loadScript(file) != fromMemory) std::abort();
    file.Close();

    loadSaveScript(data, size);

    KrFileStdio text;
    text.Open(scratch.path.c_str(), KrStreamLoad, cache);
    KrString line;
    size_t total = 0;
    for (size_t lines = 0; !text.IsEOF(); ++lines)
    {
        if (lines > size + 1) std::abort();  // every line consumes at least one byte
        total += static_cast<size_t>(text.ReadLine(line));
    }
    if (total > size + 1) std::abort();
    return 0;
}
