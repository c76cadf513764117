// The console report of Google Benchmark, followed by ratios between named
// benchmarks, each taken from the median of the repetitions.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace quvbench {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    // `ratios` runs after the table and prints its lines with ratio().
    explicit RatioReporter(std::function<void(RatioReporter&)> ratios) : ratios_(std::move(ratios)) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.run_type == Run::RT_Iteration) {
                samples_[r.run_name.str()].push_back(r.GetAdjustedRealTime());
                cpuSamples_[r.run_name.str()].push_back(r.GetAdjustedCPUTime());
            }
            if (r.run_type == Run::RT_Aggregate && r.aggregate_name == "median")
                medians_[r.run_name.str()] = r.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        for (auto& [name, times] : samples_) {
            std::sort(times.begin(), times.end());
            seconds_[name] = times[times.size() / 2];
        }
        for (const auto& [name, t] : medians_) seconds_[name] = t;
        for (auto& [name, times] : cpuSamples_) {
            std::sort(times.begin(), times.end());
            cpuSeconds_[name] = times[times.size() / 2];
        }
        ratios_(*this);
    }

    // Prints time of a over time of b: b's throughput relative to a's, or a's
    // cost relative to b's.
    void ratio(const std::string& label, const std::string& a, const std::string& b) {
        if (!seconds_.count(a) || !seconds_.count(b)) return;
        if (!(seconds_[a] > 0 && seconds_[b] > 0)) {
            std::printf("  %-64s      n/a\n", label.c_str());
            return;
        }
        std::printf("  %-64s %8.3f\n", label.c_str(), seconds_[a] / seconds_[b]);
    }

    const std::map<std::string, double>& seconds() const { return seconds_; }
    // Median processor time of the calling thread: on a shared machine it
    // leaves out the time other processes held the core.
    const std::map<std::string, double>& cpuSeconds() const { return cpuSeconds_; }

private:
    std::function<void(RatioReporter&)> ratios_;
    std::map<std::string, std::vector<double>> samples_;
    std::map<std::string, std::vector<double>> cpuSamples_;
    std::map<std::string, double> cpuSeconds_;
    std::map<std::string, double> medians_;
    std::map<std::string, double> seconds_;
};

// Runs the registered benchmarks, five repetitions unless the command line
// says otherwise, and reports through `reporter`.
inline int runBenchmarks(int argc, char** argv, RatioReporter& reporter) {
    std::vector<char*> args(argv, argv + argc);
    std::string repetitions = "--benchmark_repetitions=5";
    bool given = false;
    for (char* a : args) given = given || std::strncmp(a, "--benchmark_repetitions", 23) == 0;
    if (!given) args.push_back(repetitions.data());
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

}  // namespace quvbench
