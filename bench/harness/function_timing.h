// Functions timed by Google Benchmark, in turn, so that their ratios are of one moment.
#pragma once

#include "bench/harness/options.h"

#include <map>
#include <string>
#include <vector>

namespace bench {

/// Seconds of each repetition, by the benchmark's name.
using Timings = std::map<std::string, std::vector<double>>;

/// Runs all benchmarks that were registered, their repetitions mixed.
Timings runFunctionBenchmarks(const Options& options);

}  // namespace bench
