// XML write and read of 100,000 geometry and text styles, in both dialects, reported as styles
// per second. There is no peer to compare with: the counter is the figure.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "Base/ZoBase.h"

using namespace KRN;

namespace
{

constexpr int kStyles = 100000;

const std::vector<KrStyle>& styles()
{
    static const std::vector<KrStyle> all = []
    {
        std::mt19937 random(10u);
        std::vector<KrStyle> list(kStyles);
        for (KrStyle& style : list)
        {
            style.SetMarkerStyle(static_cast<int>(random() % 200));
            style.SetMarkerSize(static_cast<int>(random() % 500) / 10.0);
            style.SetMarkerAngle(static_cast<int>(random() % 3600) / 10.0);
            style.SetLineWidth(static_cast<int>(random() % 100) / 10.0);
            style.SetLineColor(static_cast<unsigned int>(random()) & 0xFFFFFF);
            style.SetFillForeColor(static_cast<unsigned int>(random()) & 0xFFFFFF);
            style.SetFillGradientType(static_cast<unsigned char>(random() % 5));
        }
        return list;
    }();
    return all;
}

const std::vector<KrTextStyle>& textStyles()
{
    static const std::vector<KrTextStyle> all = []
    {
        std::mt19937 random(11u);
        std::vector<KrTextStyle> list(kStyles);
        for (KrTextStyle& style : list)
        {
            style.SetFaceName(random() % 2 ? "Arial" : "Times New Roman");
            style.SetHeight(static_cast<int>(random() % 400) / 8.0);
            style.SetAngle(static_cast<int>(random() % 3600) / 10.0);
            style.SetAlign(static_cast<unsigned char>(random() % 12));
            style.SetWeight(static_cast<int>(random() % 10) * 100);
            style.SetBold(static_cast<unsigned char>(random() % 2));
        }
        return list;
    }();
    return all;
}

template <typename Style>
std::vector<KrString> written(const std::vector<Style>& list, int version)
{
    std::vector<KrString> texts;
    texts.reserve(list.size());
    for (const Style& style : list) texts.push_back(style.ToXML(version));
    return texts;
}

void setRate(benchmark::State& state)
{
    state.counters["styles/s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * kStyles, benchmark::Counter::kIsRate);
}

template <typename Style>
void writeXml(benchmark::State& state, const std::vector<Style>& list)
{
    const int version = static_cast<int>(state.range(0));
    for (auto _ : state)
    {
        for (const Style& style : list) benchmark::DoNotOptimize(style.ToXML(version));
    }
    setRate(state);
}

template <typename Style>
void readXml(benchmark::State& state, const std::vector<Style>& list)
{
    const int version = static_cast<int>(state.range(0));
    const std::vector<KrString> texts = written(list, version);
    Style style;
    for (auto _ : state)
    {
        for (const KrString& text : texts) benchmark::DoNotOptimize(style.FromXML(text, version));
    }
    setRate(state);
}

void StyleXmlWrite(benchmark::State& state)
{
    writeXml(state, styles());
}
void StyleXmlRead(benchmark::State& state)
{
    readXml(state, styles());
}
void TextStyleXmlWrite(benchmark::State& state)
{
    writeXml(state, textStyles());
}
void TextStyleXmlRead(benchmark::State& state)
{
    readXml(state, textStyles());
}

}  // namespace

BENCHMARK(StyleXmlWrite)->Arg(20050303)->Arg(20031211)->Unit(benchmark::kMillisecond);
BENCHMARK(StyleXmlRead)->Arg(20050303)->Arg(20031211)->Unit(benchmark::kMillisecond);
BENCHMARK(TextStyleXmlWrite)->Arg(20050303)->Arg(20031211)->Unit(benchmark::kMillisecond);
BENCHMARK(TextStyleXmlRead)->Arg(20050303)->Arg(20031211)->Unit(benchmark::kMillisecond);
