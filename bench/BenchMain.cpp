// Shared main for the benchmark programs. Benchmarks come in pairs named
// "<case>/ZoBase[/args]" and "<case>/<peer>[/args]"; after the usual console report, every
// pair is summarised as the speed of the library relative to the peer on the same input
// (peer CPU time / library CPU time: 1.00 means as fast, above 1 faster).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace
{

struct Key
{
    std::string label;  // the case with its arguments, without the implementation
    std::string impl;
};

Key splitName(const std::string& name)
{
    Key key;
    const size_t first = name.find('/');
    if (first == std::string::npos) return Key{name, ""};
    const size_t second = name.find('/', first + 1);
    key.impl = name.substr(first + 1,
                           second == std::string::npos ? std::string::npos : second - first - 1);
    key.label = name.substr(0, first) + (second == std::string::npos ? "" : name.substr(second));
    return key;
}

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
        {
            if (run.error_occurred || run.iterations == 0) continue;
            // With --benchmark_repetitions the median stands for the case; single runs otherwise.
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.run_type != Run::RT_Iteration && !median) continue;
            const Key key = splitName(run.run_name.function_name +
                                      (run.run_name.args.empty() ? "" : "/" + run.run_name.args));
            if (key.impl.empty()) continue;
            if (!median && m_fromMedian.count(key.label + "/" + key.impl)) continue;
            if (median) m_fromMedian.insert(key.label + "/" + key.impl);
            // CPU time: the ratio should not depend on what else the machine is doing.
            m_seconds[key.label][key.impl] =
                run.cpu_accumulated_time / static_cast<double>(run.iterations);
            if (m_seen.insert(key.label).second) m_order.push_back(key.label);
        }
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        std::printf("\n%-48s %-14s %s\n", "case", "peer", "ZoBase speed relative to peer");
        for (const std::string& label : m_order)
        {
            auto& impls = m_seconds[label];
            auto ours = impls.find("ZoBase");
            if (ours == impls.end() || ours->second <= 0) continue;
            for (const auto& [impl, seconds] : impls)
            {
                if (impl == "ZoBase") continue;
                std::printf("%-48s %-14s %.2f\n", label.c_str(), impl.c_str(),
                            seconds / ours->second);
            }
        }
        std::fflush(stdout);
    }

private:
    std::map<std::string, std::map<std::string, double>> m_seconds;
    std::vector<std::string> m_order;
    std::set<std::string> m_seen;
    std::set<std::string> m_fromMedian;
};

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
