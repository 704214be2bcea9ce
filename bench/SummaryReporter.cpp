#include "SummaryReporter.h"

#include <cstdio>

namespace bench
{

namespace
{
// Counters the cases set: bytes of the transfer's data and frames per
// second; calls per second where a case is measured per call; heap
// allocations per frame.
const char* const kBytes = "bytes_per_second";
const char* const kFrames = "frames";
const char* const kCalls = "calls";
const char* const kAllocations = "allocs/frame";

double counter(const std::map<std::string, double>& counters, const char* name)
{
    const auto it = counters.find(name);
    return it == counters.end() ? 0.0 : it->second;
}

// Bytes per second as GB/s, or calls per second as nanoseconds a call.
std::string speed(const std::map<std::string, double>& counters)
{
    char text[32];
    const double calls = counter(counters, kCalls);
    if (calls > 0)
    {
        std::snprintf(text, sizeof text, "%.1f ns/call", 1e9 / calls);
    }
    else
    {
        const double gbps = counter(counters, kBytes) / 1e9;
        std::snprintf(text, sizeof text, gbps >= 10 ? "%.1f GB/s" : "%.2f GB/s", gbps);
    }
    return text;
}

// The rate the ratio compares: calls where counted, else bytes.
double rate(const std::map<std::string, double>& counters)
{
    const double calls = counter(counters, kCalls);
    return calls > 0 ? calls : counter(counters, kBytes);
}
}  // namespace

void SummaryReporter::compare(const std::string& caseName, const std::string& yardstick)
{
    m_yardstickOf[caseName] = yardstick;
}

void SummaryReporter::ReportRuns(const std::vector<Run>& runs)
{
    ConsoleReporter::ReportRuns(runs);
    const Run* chosen = nullptr;
    for (const Run& run : runs)
    {
        if (run.run_type == Run::RT_Aggregate ? run.aggregate_name == "median" : chosen == nullptr)
        {
            chosen = &run;
        }
    }
    if (chosen == nullptr)
    {
        return;
    }
    Row row;
    row.name = chosen->run_name.function_name;
    row.threads = chosen->threads;
    for (const auto& [name, value] : chosen->counters)
    {
        row.counters[name] = value.value;
    }
    if (chosen->error_occurred)
    {
        row.error = chosen->error_message;
    }
    m_rows.push_back(std::move(row));
}

void SummaryReporter::Finalize()
{
    ConsoleReporter::Finalize();
    printTable();
    printScaling();
}

const SummaryReporter::Row* SummaryReporter::find(const std::string& name, long long threads) const
{
    for (const Row& row : m_rows)
    {
        if (row.name == name && row.threads == threads)
        {
            return &row;
        }
    }
    return nullptr;
}

void SummaryReporter::printTable() const
{
    std::FILE* out = stdout;
    std::fprintf(out, "\n| case | throughput | frames/s | yardstick | ratio | allocs/frame |\n");
    std::fprintf(out, "|---|---:|---:|---:|---:|---:|\n");
    for (const Row& row : m_rows)
    {
        const auto paired = m_yardstickOf.find(row.name);
        if (paired == m_yardstickOf.end())
        {
            continue;  // a yardstick, shown beside its cases
        }
        std::string name = row.name;
        if (row.threads > 1)
        {
            name += " (" + std::to_string(row.threads) + " threads)";
        }
        if (!row.error.empty())
        {
            std::fprintf(out, "| %s | failed: %s | | | | |\n", name.c_str(), row.error.c_str());
            continue;
        }
        std::string yardstick = "-";
        std::string ratio = "-";
        if (const Row* y = find(paired->second, row.threads);
            y != nullptr && y->error.empty() && rate(row.counters) > 0)
        {
            yardstick = speed(y->counters);
            char text[32];
            std::snprintf(text, sizeof text, "%.1fx", rate(y->counters) / rate(row.counters));
            ratio = text;
        }
        char frames[32];
        std::snprintf(frames, sizeof frames, "%.3g M", counter(row.counters, kFrames) / 1e6);
        std::string allocations = "-";
        if (const auto it = row.counters.find(kAllocations); it != row.counters.end())
        {
            char text[32];
            std::snprintf(text, sizeof text, "%.2f", it->second);
            allocations = text;
        }
        std::fprintf(out, "| %s | %s | %s | %s | %s | %s |\n", name.c_str(), speed(row.counters).c_str(), frames,
                     yardstick.c_str(), ratio.c_str(), allocations.c_str());
    }
    std::fprintf(out, "\nratio: the case's time over its yardstick's for the same bytes (or calls); 1.0x is the "
                      "yardstick's speed.\n");
}

void SummaryReporter::printScaling() const
{
    for (const Row& row : m_rows)
    {
        const auto paired = m_yardstickOf.find(row.name);
        const Row* one = find(row.name, 1);
        if (row.threads == 1 || paired == m_yardstickOf.end() || one == nullptr || rate(one->counters) <= 0)
        {
            continue;
        }
        std::fprintf(stdout, "scaling of %s: %lld threads give %.2fx the throughput of 1", row.name.c_str(),
                     row.threads, rate(row.counters) / rate(one->counters));
        const Row* y1 = find(paired->second, 1);
        const Row* yn = find(paired->second, row.threads);
        if (y1 != nullptr && yn != nullptr && rate(y1->counters) > 0)
        {
            std::fprintf(stdout, " (%s: %.2fx)", paired->second.c_str(), rate(yn->counters) / rate(y1->counters));
        }
        std::fprintf(stdout, "\n");
    }
}

}  // namespace bench
