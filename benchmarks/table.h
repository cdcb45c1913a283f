#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

/// Pairs measured side by side: rows of one job done in several ways, printed as ratios.
namespace nuvra::bench {

/// One way of doing a row's job.
struct Way {
    std::string name;  ///< the column that its ratio is printed in
    std::function<void(benchmark::State&)> run;
};

/// One job. Ratios are to the first way; the second is ours.
struct Row {
    std::string name;
    double allowedNs = 0;  ///< how much more than the first way ours may cost; 0 for no such promise
    std::vector<Way> ways;
};

/// How long each way runs at a time, and how often. The turns of all rows are shuffled, so that other load on
/// the machine meets every way alike; the table shows the median turn.
struct Effort {
    double secondsATurn = 0.01;
    int turns = 31;
    int iterationsATurn = 0;  ///< instead of the time; 0 for the time
};

/// Registers the rows, runs them and prints the table. False when a way reported an error.
bool RunTable(const std::string& title, const std::vector<Row>& rows, const Effort& effort);

/// Gives Google Benchmark the program's arguments; false when it does not know one.
bool Initialize(int argc, char** argv);

}  // namespace nuvra::bench
