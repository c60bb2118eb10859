#include "bench/contenders/recording_run.h"

#include "bench/harness/child.h"
#include "bench/harness/memory_use.h"
#include "bench/harness/plain_copy.h"
#include "bench/harness/timing.h"

#include <algorithm>
#include <optional>
#include <thread>

namespace bench {
namespace {

std::uint32_t timeOf(std::size_t frame, int framesPerSecond) {
  return static_cast<std::uint32_t>(frame * 1000 / static_cast<std::size_t>(framesPerSecond));
}

void pushFrames(Contender& contender, const FrameSource& source, const RunOptions& options,
                RunResult& result) {
  constexpr std::size_t kWarmUpShare = 5;  // the first fifth opens the file and fills pools
  std::optional<PlainCopy> plainCopy;
  if (options.withPlainCopy) {
    plainCopy.emplace(source);
  }
  std::vector<double> pushes, copies;
  const auto start = Clock::now();
  for (std::size_t i = 0; i < options.frames; ++i) {
    if (options.pace == Pace::byTheClock) {
      std::this_thread::sleep_until(
          start +
          std::chrono::nanoseconds(i * 1'000'000'000 /
                                   static_cast<std::size_t>(options.settings.framesPerSecond)));
    } else {
      contender.waitForRoom(options.pace);
    }
    const double copy = plainCopy ? plainCopy->run(i) : 0;
    const auto pushStart = Clock::now();
    const bool taken = contender.append(i, timeOf(i, options.settings.framesPerSecond));
    const double push = secondsSince(pushStart);
    result.refused += taken ? 0 : 1;
    result.peakFrames = std::max<std::uint64_t>(result.peakFrames, contender.framesHeld());
    if (i >= options.frames / kWarmUpShare) {
      pushes.push_back(push);
      copies.push_back(copy);
    }
  }
  result.hostMedian = median(pushes);
  result.hostP99 = quantile(pushes, 0.99);
  result.copyMedian = median(copies);
  result.copyP99 = quantile(copies, 0.99);
}

}  // namespace

RunResult recordOnce(Contender& contender, const FrameSource& source, const RunOptions& options) {
  RunResult result;
  const double cpuBefore = cpuSeconds();
  const auto start = Clock::now();
  contender.open(source, options.settings);
  pushFrames(contender, source, options, result);
  result.settledBytes = residentBytes();
  const auto stopStart = Clock::now();
  contender.stop();
  result.stopSeconds = secondsSince(stopStart);
  contender.waitUntilDone();
  result.completeSeconds = secondsSince(stopStart);
  result.wallSeconds = secondsSince(start);
  result.cpuSeconds = cpuSeconds() - cpuBefore;
  result.framesPerSecond = static_cast<double>(options.frames) / result.wallSeconds;
  return result;
}

RunResult recordInChild(ContenderFactory make, const FrameSource& source,
                        const RunOptions& options) {
  return inChild([&] {
    const std::unique_ptr<Contender> contender = make();
    contender->prepare();
    source.touch();
    const std::uint64_t before = residentBytes();
    forgetPeak();
    RunResult result = recordOnce(*contender, source, options);
    const std::uint64_t elsewhere = contender->peakBytesElsewhere();
    result.peakBytes = peakResidentBytes() - before + elsewhere;
    result.settledBytes = result.settledBytes - before + elsewhere;
    return result;
  });
}

}  // namespace bench
