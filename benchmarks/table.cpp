#include "table.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace nuvra::bench {
namespace {

/// Keeps every turn's time of every benchmark, by the benchmark's name.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
                _failed = true;
            } else if (run.run_type == Run::RT_Iteration) {
                _turns[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
            }
        }
    }

    bool HasFailed() const { return _failed; }

    /// In nanoseconds; 0 for a way that was filtered out.
    double GetMedian(const std::string& name) {
        std::vector<double>& turns = _turns[name];
        if (turns.empty()) return 0;
        const auto middle = turns.begin() + static_cast<std::ptrdiff_t>(turns.size() / 2);
        std::nth_element(turns.begin(), middle, turns.end());
        return *middle;
    }

private:
    std::map<std::string, std::vector<double>> _turns;
    bool _failed = false;
};

std::string GetName(const Row& row, const Way& way) {
    return row.name + ": " + way.name;
}

constexpr size_t kNarrowest = 8;  // characters of a ratio's column

void PrintRow(const Row& row, Collector& collector) {
    const double measure = collector.GetMedian(GetName(row, row.ways[0]));
    const double ours = collector.GetMedian(GetName(row, row.ways[1]));
    if (measure == 0 || ours == 0) return;
    const double more = ours - measure;
    std::printf("%-34s %14.1f %14.1f %+14.1f", row.name.c_str(), measure, ours, more);
    const std::string allowed = row.allowedNs > 0 ? std::to_string(static_cast<long>(row.allowedNs)) : "";
    std::printf(" %10s%s", allowed.c_str(), row.allowedNs > 0 && more > row.allowedNs ? "!" : " ");
    for (size_t i = 1; i < row.ways.size(); i++) {
        const int width = static_cast<int>(std::max(row.ways[i].name.size(), kNarrowest));
        std::printf(" %*.3f", width, collector.GetMedian(GetName(row, row.ways[i])) / measure);
    }
    std::printf("\n");
}

void PrintHead(const std::string& title, const Row& row) {
    const std::string measure = row.ways[0].name;
    std::printf("\n%s; on the right, times '%s'\n", title.c_str(), measure.c_str());
    std::printf("%-34s %14s %14s %14s %10s ", "nanoseconds", measure.c_str(), row.ways[1].name.c_str(),
                "more", "allowed");
    for (size_t i = 1; i < row.ways.size(); i++)
        std::printf(" %*s", static_cast<int>(kNarrowest), row.ways[i].name.c_str());
    std::printf("\n");
}

}  // namespace

bool RunTable(const std::string& title, const std::vector<Row>& rows, const Effort& effort) {
    benchmark::ClearRegisteredBenchmarks();
    for (const Row& row : rows) {
        for (const Way& way : row.ways) {
            auto* job = benchmark::RegisterBenchmark(GetName(row, way).c_str(), way.run);
            job->UseRealTime()->Repetitions(effort.turns);
            if (effort.iterationsATurn > 0)
                job->Iterations(effort.iterationsATurn);
            else
                job->MinTime(effort.secondsATurn);
        }
    }
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    PrintHead(title, rows.front());
    for (const Row& row : rows) PrintRow(row, collector);
    benchmark::ClearRegisteredBenchmarks();  // they hold what the ways hold
    return !collector.HasFailed();
}

bool Initialize(int argc, char** argv) {
    std::string shuffle = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments{argv[0], shuffle.data()};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    return !benchmark::ReportUnrecognizedArguments(count, arguments.data());
}

}  // namespace nuvra::bench
