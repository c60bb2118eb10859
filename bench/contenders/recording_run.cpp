#include "bench/contenders/recording_run.h"

#include "bench/harness/child.h"
#include "bench/harness/memory_use.h"
#include "bench/harness/plain_copy.h"
#include "bench/harness/timing.h"

#include <malloc.h>

#include <algorithm>
#include <optional>
#include <thread>

namespace bench {
namespace {

std::uint32_t timeOf(std::size_t frame, int framesPerSecond) {
  return static_cast<std::uint32_t>(frame * 1000 / static_cast<std::size_t>(framesPerSecond));
}

// Between two frames, by the clock: looking takes the host's time.
void noteMemory(const Contender& contender, const FrameSource& source, RunResult& result) {
  const std::uint64_t held = contender.framesHeld();
  const std::uint64_t resident = residentBytes();
  result.peakFrames = std::max(result.peakFrames, held);
  result.peakAboveFramesBytes = std::max(result.peakAboveFramesBytes,
                                         resident - std::min(resident, held * source.frameBytes()));
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
    // By turns first and second: who comes second finds the frame in the processor's caches, and
    // has used up some of the time that the system gives a thread that has just woken.
    const bool copyFirst = i % 2 == 0;
    double copy = plainCopy && copyFirst ? plainCopy->run(i) : 0;
    const auto pushStart = Clock::now();
    const bool taken = contender.append(i, timeOf(i, options.settings.framesPerSecond));
    const double push = secondsSince(pushStart);
    if (plainCopy && !copyFirst) {
      copy = plainCopy->run(i);
    }
    result.refused += taken ? 0 : 1;
    if (options.pace == Pace::byTheClock) {
      noteMemory(contender, source, result);
    }
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
    ::malloc_trim(0);  // or the heap of who measured before would be there for the taking
    const std::uint64_t before = residentBytes();
    forgetPeak();
    RunResult result = recordOnce(*contender, source, options);
    const std::uint64_t elsewhere = contender->peakBytesElsewhere();
    result.peakBytes = peakResidentBytes() - before + elsewhere;
    result.settledBytes = result.settledBytes - before + elsewhere;
    result.peakAboveFramesBytes =
        result.peakAboveFramesBytes - std::min(result.peakAboveFramesBytes, before) + elsewhere;
    return result;
  });
}

}  // namespace bench
