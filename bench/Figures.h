#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

// The usual table, then each program's headline figures as `FIGURE name value` lines, which
// `make bench` gathers at the end so runs can be compared line by line.
class FigureReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (!run.error_occurred && run.run_type == Run::RT_Iteration)
                m_runs[run.run_name.function_name] = run;
    }

    // Processor time of one iteration (the machine may be shared), in seconds; negative when the
    // benchmark did not run.
    double seconds(const std::string& benchmark) const {
        const auto it = m_runs.find(benchmark);
        if (it == m_runs.end())
            return -1;
        return it->second.GetAdjustedCPUTime() /
               benchmark::GetTimeUnitMultiplier(it->second.time_unit);
    }

    // A counter's final value; negative when the benchmark or the counter is missing.
    double counter(const std::string& benchmark, const std::string& name) const {
        const auto it = m_runs.find(benchmark);
        if (it == m_runs.end())
            return -1;
        const auto c = it->second.counters.find(name);
        return c == it->second.counters.end() ? -1 : c->second.value;
    }

    // A figure whose benchmark did not run (filtered out, or failed) is left out.
    static void print(const char* name, double value, int decimals) {
        if (value < 0)
            return;
        std::printf("FIGURE %s %.*f\n", name, decimals, value);
    }

private:
    std::map<std::string, Run> m_runs;
};

// Runs the benchmarks with the figure reporter, then prints the figures `report` picks.
template <class Report> int runWithFigures(int argc, char** argv, Report report) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    FigureReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::fflush(stderr);
    std::printf("\n");
    report(reporter);
    std::fflush(stdout);
    return 0;
}
