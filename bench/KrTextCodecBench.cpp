// KrTextCodec::Convert against raw glibc iconv converting the same bytes, ASCII-heavy and
// CJK-heavy text, UTF-8 to UCS-2LE and GB18030 to UTF-8.
#include <benchmark/benchmark.h>

#include <iconv.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

// One iconv descriptor for the peer side, closed on scope exit.
class RawIconv
{
public:
    RawIconv(const char* to, const char* from) : m_cd(iconv_open(to, from))
    {
        if (m_cd == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("iconv_open failed");
    }
    ~RawIconv() { iconv_close(m_cd); }
    RawIconv(const RawIconv&) = delete;
    RawIconv& operator=(const RawIconv&) = delete;

    // Converts in into out[0, capacity); returns the bytes written, or -1.
    long Convert(const std::string& in, char* out, size_t capacity)
    {
        char* input = const_cast<char*>(in.data());
        size_t inputLeft = in.size();
        char* output = out;
        size_t outputLeft = capacity;
        iconv(m_cd, &input, &inputLeft, &output, &outputLeft);
        return inputLeft == 0 ? static_cast<long>(capacity - outputLeft) : -1;
    }

private:
    iconv_t m_cd;
};

// UTF-8 text of about `size` bytes: map labels in ASCII with a few Chinese place names, or
// mostly Chinese with a little ASCII punctuation and digits.
std::string utf8Text(size_t size, bool cjkHeavy)
{
    const char* ascii = "road 42, river bank; field-7 (north) ";
    const char* cjk =
        "\xe5\x8c\x97\xe4\xba\xac\xe5\xb8\x82\xe9\x95\xbf\xe6\xb1\x9f\xe9\x81\x93\xe8\xb7\xaf";
    std::string text;
    text.reserve(size + 64);
    for (size_t i = 0; text.size() < size; ++i)
    {
        if (cjkHeavy)
            text += i % 8 == 7 ? "12, " : cjk;
        else
            text += i % 8 == 7 ? cjk : ascii;
    }
    return text;
}

std::string gb18030Text(size_t size, bool cjkHeavy)
{
    const std::string utf8 = utf8Text(size, cjkHeavy);
    std::string out(utf8.size() * 5, '\0');
    const long n = RawIconv("GB18030", "UTF-8").Convert(utf8, &out[0], out.size());
    out.resize(static_cast<size_t>(n));
    return out;
}

std::string inputFor(const benchmark::State& state, bool fromGb18030)
{
    const auto size = static_cast<size_t>(state.range(0));
    const bool cjkHeavy = state.range(1) != 0;
    return fromGb18030 ? gb18030Text(size, cjkHeavy) : utf8Text(size, cjkHeavy);
}

void convertZoBase(benchmark::State& state, KrTextCodec::Charset to, KrTextCodec::Charset from)
{
    const std::string bytes = inputFor(state, from == KrTextCodec::GB2312_CHARSET);
    const KrString input(bytes);
    KrTextCodec codec(to, from);
    KrString out;
    for (auto _ : state)
    {
        out.Empty();  // keeps the storage: the converted text is written straight into it
        if (!codec.Convert(out, input)) state.SkipWithError("conversion failed");
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytes.size()));
}

// The peer: one iconv call into a buffer allocated once, the least any caller of iconv pays.
void convertIconv(benchmark::State& state, const char* to, const char* from)
{
    const std::string input = inputFor(state, std::string(from) == "GB18030");
    RawIconv cd(to, from);
    const size_t capacity = input.size() * 5;
    std::unique_ptr<char[]> out(new char[capacity]);
    for (auto _ : state)
    {
        if (cd.Convert(input, out.get(), capacity) < 0) state.SkipWithError("conversion failed");
        benchmark::DoNotOptimize(out.get());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(input.size()));
}

// Each input is measured through the library and through iconv back to back, so that both
// see the same machine load.
const bool registered = []
{
    struct Case
    {
        const char* name;
        KrTextCodec::Charset to, from;
        const char* toName;
        const char* fromName;
    };
    const Case cases[] = {
        {"Utf8ToUcs2le", KrTextCodec::UCS2LE_CHARSET, KrTextCodec::UTF8_CHARSET, "UCS-2LE",
         "UTF-8"},
        {"Gb18030ToUtf8", KrTextCodec::UTF8_CHARSET, KrTextCodec::GB2312_CHARSET, "UTF-8",
         "GB18030"},
    };
    // Arguments: input size in bytes, then 0 for ASCII-heavy or 1 for CJK-heavy text.
    for (const Case& c : cases)
        for (int cjk : {0, 1})
            for (int size : {1 << 10, 16 << 20})
            {
                const std::string name(c.name);
                benchmark::RegisterBenchmark((name + "/ZoBase").c_str(), convertZoBase, c.to,
                                             c.from)
                    ->ArgNames({"bytes", "cjk"})
                    ->Args({size, cjk});
                benchmark::RegisterBenchmark((name + "/Iconv").c_str(), convertIconv, c.toName,
                                             c.fromName)
                    ->ArgNames({"bytes", "cjk"})
                    ->Args({size, cjk});
            }
    return true;
}();

}  // namespace
