#include "bench/harness/function_timing.h"

#include <benchmark/benchmark.h>

namespace bench {
namespace {

class Collector final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) {
        timings[run.run_name.function_name].push_back(
            run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit));
      }
    }
  }

  Timings timings;
};

}  // namespace

Timings runFunctionBenchmarks(const Options& options) {
  std::vector<std::string> texts = {
      "bench", "--benchmark_enable_random_interleaving=true",
      "--benchmark_repetitions=" + std::to_string(options.pick(15, 5, 1)),
      "--benchmark_min_time=" + std::to_string(options.pick(0.1, 0.05, 0.001))};
  std::vector<char*> arguments;
  for (std::string& text : texts) {
    arguments.push_back(text.data());
  }
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  benchmark::Shutdown();
  return collector.timings;
}

}  // namespace bench
