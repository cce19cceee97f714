//===- bench/RatioReporter.h - Console output plus a table of ratios -------===//
//
// Benchmarks named "<case>/ours" and "<case>/<reference>" are measured in the same run;
// after the usual console table this reporter prints, per case, the throughput of ours
// divided by that of the reference: the medians when the run has repetitions. The machine is shared and noisy, so only such ratios
// from one run are worth comparing.
//
//===----------------------------------------------------------------------===//
#ifndef BENCH_RATIOREPORTER_H
#define BENCH_RATIOREPORTER_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <unistd.h>
#include <map>
#include <string>

class RatioReporter : public benchmark::ConsoleReporter {
public:
  // Colours only on a terminal, so that the output reads plainly in a file or a pipe.
  RatioReporter() : ConsoleReporter(isatty(fileno(stdout)) ? OO_ColorTabular : OO_Tabular) {}

  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      if (run.error_occurred)
        continue;
      // With --benchmark_repetitions the median stands for the case; without, the run.
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type != Run::RT_Iteration && !median)
        continue;
      const std::string name = run.run_name.function_name;
      const auto slash = name.rfind('/');
      if (slash == std::string::npos)
        continue;
      // Time per iteration: every pair does the same work per iteration.
      auto &slot = _time[name.substr(0, slash)][name.substr(slash + 1)];
      if (median || !_hasMedian[name])
        slot = {run.GetAdjustedCPUTime(), run.GetAdjustedRealTime()};
      _hasMedian[name] = _hasMedian[name] || median;
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-28s %12s %12s %10s\n", "case", "ours", "reference", "speed-up");
    for (const auto &[name, times] : _time) {
      const auto ours = times.find("ours");
      if (ours == times.end())
        continue;
      // A reference that runs another program spends its time outside this process's
      // CPU account; such a case is compared by the clock, ours included.
      bool byClock = false;
      for (const auto &[who, t] : times)
        byClock = byClock || t.cpu < 0.1 * t.real;
      const auto pick = [byClock](const Times &t) { return byClock ? t.real : t.cpu; };
      for (const auto &[who, t] : times)
        if (who != "ours")
          std::printf("%-28s %12.1f %12.1f %9.2fx  (vs %s%s)\n", name.c_str(),
                      pick(ours->second), pick(t), pick(t) / pick(ours->second), who.c_str(),
                      byClock ? ", wall clock" : "");
    }
  }

private:
  struct Times {
    double cpu = 0, real = 0;
  };
  std::map<std::string, std::map<std::string, Times>> _time;
  std::map<std::string, bool> _hasMedian;
};

#define RATIO_BENCHMARK_MAIN()                                                           \
  int main(int argc, char **argv) {                                                      \
    benchmark::Initialize(&argc, argv);                                                  \
    RatioReporter reporter;                                                              \
    benchmark::RunSpecifiedBenchmarks(&reporter);                                        \
    benchmark::Shutdown();                                                               \
    return 0;                                                                            \
  }

#endif // BENCH_RATIOREPORTER_H
