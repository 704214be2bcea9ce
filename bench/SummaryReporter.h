// The console output of Google Benchmark, followed by one table of every case
// beside its yardstick: throughput, frames per second, the ratio of the
// case's time to the yardstick's for the same bytes (or calls), and heap
// allocations per frame. With repetitions the medians are used.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace bench
{

class SummaryReporter : public benchmark::ConsoleReporter
{
public:
    // The case named caseName is compared with the benchmark named
    // yardstick, run with the same number of threads.
    void compare(const std::string& caseName, const std::string& yardstick);

    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    struct Row
    {
        std::string name;
        long long threads = 1;
        std::map<std::string, double> counters;
        std::string error;
    };

    const Row* find(const std::string& name, long long threads) const;
    void printTable() const;
    void printScaling() const;

    std::map<std::string, std::string> m_yardstickOf;
    std::vector<Row> m_rows;
};

}  // namespace bench
