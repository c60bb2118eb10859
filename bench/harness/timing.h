// Clocks and statistics of the benchmarks.
#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// User and system time of the process, and of the programs that it started and that have ended.
inline double cpuSeconds() {
  double sum = 0;
  for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    for (const timeval& t : {usage.ru_utime, usage.ru_stime}) {
      sum += static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
    }
  }
  return sum;
}

/// The value below which `share` (0 to 1) of the samples lie.
inline double quantile(std::vector<double> samples, double share) {
  if (samples.empty()) {
    return 0;
  }
  std::sort(samples.begin(), samples.end());
  const auto last = static_cast<double>(samples.size() - 1);
  return samples[static_cast<std::size_t>(share * last + 0.5)];
}
inline double median(const std::vector<double>& samples) { return quantile(samples, 0.5); }

}  // namespace bench
