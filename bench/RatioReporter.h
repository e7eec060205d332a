#pragma once

// A console reporter that also keeps every benchmark's items per second, so that a program can
// print the ratio of a measurement to its baseline from the same run; and the registry of
// comparisons (a measurement, its baseline and the ratio to print) that the shared main of
// BenchMain.cpp runs. Everything here runs on the main thread, at static initialisation or in
// main; the reporter owns only its tables of rates, the registry the names it registered;
// nothing throws but std::bad_alloc, and no messages are sent or handled.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

class CRatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
        {
            const auto it = run.counters.find("items_per_second");
            if (it == run.counters.end())
            {
                continue;
            }
            const std::string strName = run.run_name.str();
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
            {
                m_mapMedians[strName] = it->second.value;
            }
            else if (run.run_type == Run::RT_Iteration)
            {
                m_mapRates[strName].push_back(it->second.value);
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Items per second of a benchmark ("BM_Name/real_time"): the median aggregate when it ran
    // with repetitions, else the median of its runs; 0 when it did not run.
    double Rate(const std::string& name) const
    {
        const auto itMedian = m_mapMedians.find(name);
        if (itMedian != m_mapMedians.end())
        {
            return itMedian->second;
        }
        const auto it = m_mapRates.find(name);
        if (it == m_mapRates.end() || it->second.empty())
        {
            return 0.0;
        }
        std::vector<double> lstRates = it->second;
        std::sort(lstRates.begin(), lstRates.end());
        return lstRates[lstRates.size() / 2];
    }

    // Prints how much longer the measured benchmark took than its baseline per item (above 1:
    // slower than the baseline). Names without the "/real_time" suffix.
    void PrintRatio(const std::string& measured, const std::string& baseline,
                    const char* description) const
    {
        const double dMeasured = Rate(measured + "/real_time");
        const double dBaseline = Rate(baseline + "/real_time");
        if (dMeasured > 0.0 && dBaseline > 0.0)
        {
            std::printf("%s: %.0f against %.0f items/s, time ratio %.2f (above 1: slower than the "
                        "baseline)\n",
                        description, dMeasured, dBaseline, dBaseline / dMeasured);
        }
    }

private:
    std::map<std::string, double> m_mapMedians;
    std::map<std::string, std::vector<double>> m_mapRates;
};

// One ratio a program prints after its benchmarks: measured against baseline (names without the
// "/real_time" suffix).
struct SRatio
{
    const char* m_szMeasured;
    const char* m_szBaseline;
    const char* m_szDescription;
};

// Reads the benchmark library's arguments; false (after a message) when some are unknown.
inline bool StartBenchmarks(int* argc, char** argv)
{
    benchmark::Initialize(argc, argv);
    return !benchmark::ReportUnrecognizedArguments(*argc, argv);
}

// Runs the benchmarks asked for, reporting to `reporter`, prints the ratios and ends the library.
inline void RunAndPrintRatios(CRatioReporter& reporter, const std::vector<SRatio>& ratios)
{
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const SRatio& ratio : ratios)
    {
        reporter.PrintRatio(ratio.m_szMeasured, ratio.m_szBaseline, ratio.m_szDescription);
    }
    benchmark::Shutdown();
}

// A whole benchmark program's main: the exit code (1 for unknown arguments).
inline int RunBenchmarks(int argc, char** argv, const std::vector<SRatio>& ratios)
{
    if (!StartBenchmarks(&argc, argv))
    {
        return 1;
    }
    CRatioReporter reporter;
    RunAndPrintRatios(reporter, ratios);
    return 0;
}

using BenchmarkFunction = void (*)(benchmark::State&);

// The ratios of the comparisons registered so far, in the order of registration.
inline std::vector<SRatio>& RegisteredRatios()
{
    static std::vector<SRatio> s_lstRatios;
    return s_lstRatios;
}

// Registers a measurement and its baseline, each once per program however many comparisons name
// it, timed by the wall clock and shown in `unit`, and the ratio printed after the run. True, so
// that a namespace-scope constant can call it at static initialisation.
inline bool RegisterComparison(const SRatio& ratio, BenchmarkFunction pfnMeasured,
                               BenchmarkFunction pfnBaseline, benchmark::TimeUnit unit)
{
    static std::set<std::string> s_setRegistered;
    for (const auto& [szName, pfnRun] :
         {std::pair(ratio.m_szMeasured, pfnMeasured), std::pair(ratio.m_szBaseline, pfnBaseline)})
    {
        if (s_setRegistered.insert(szName).second)
        {
            benchmark::RegisterBenchmark(szName, pfnRun)->UseRealTime()->Unit(unit);
        }
    }
    RegisteredRatios().push_back(ratio);
    return true;
}

#define DOCVIEW_BENCH_CONCAT_INNER(a, b) a##b
#define DOCVIEW_BENCH_CONCAT(a, b) DOCVIEW_BENCH_CONCAT_INNER(a, b)

// Compares benchmark function `measured` with `baseline`; the program that links BenchMain.cpp
// runs both and prints the ratio with `description`.
#define DOCVIEW_COMPARE_BENCHMARKS(measured, baseline, unit, description)                          \
    [[maybe_unused]] const bool DOCVIEW_BENCH_CONCAT(g_bComparison, __LINE__) =                    \
        RegisterComparison({#measured, #baseline, description}, measured, baseline, unit)
