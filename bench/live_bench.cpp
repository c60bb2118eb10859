// Live: the real desktop by the clock, a minute long, on the cores of this machine. Frames refused,
// the quality that was kept, and how soon the file is complete after `stop`. The number on the
// command line is the frames a second: with one, nothing ever waits, which shows the memory best.
#include "bench/contenders/recording_run.h"
#include "bench/harness/file_reading.h"
#include "bench/harness/options.h"
#include "bench/harness/plain_copy.h"
#include "bench/harness/report.h"

#include <algorithm>
#include <array>
#include <memory>

namespace {

using namespace bench;

constexpr double kMilliseconds = 1e3;
constexpr double kMegabyte = 1e6;

std::string atRate(const FrameSource& source, const RunOptions& run) {
  return source.name() + " at " + std::to_string(run.settings.framesPerSecond) + "/s";
}

/// What is told of everybody.
struct Common {
  double nonMediaPercent = 0;
  double megabytesAboveFrames = 0;
};

Common reportCommon(const std::string& subject, const std::string& who, const RunResult& result,
                    const FrameSource& source, const RunOptions& run) {
  constexpr std::size_t kSsimStep = 7;
  const FileFacts file = factsOf(run.settings.path);
  report({"live",
          subject,
          who + ", host's thread, median",
          result.hostMedian * kMilliseconds,
          "ms",
          {}});
  report({"live",
          subject,
          who + ", CPU of all cores' time",
          result.cpuSeconds / result.wallSeconds / encoderThreads(source) * 100,
          "%",
          {}});
  report({"live",
          subject,
          who + ", bit rate",
          static_cast<double>(file.mediaBytes) * 8 / file.seconds / kMegabyte,
          "Mbit/s",
          {}});
  // Behind a frame that was refused, the file's pictures no longer match the source's in order.
  if (result.refused == 0 && file.frames == run.frames) {
    report(
        {"live", subject, who + ", SSIM", meanSsim(run.settings.path, source, kSsimStep), "", {}});
  }
  const double peak = static_cast<double>(result.peakBytes) / kMegabyte;
  const Common common{file.nonMediaShare() * 100,
                      static_cast<double>(result.peakAboveFramesBytes) / kMegabyte};
  report({"non-media bytes", subject, who, common.nonMediaPercent, "%",
          who == "recorder" ? Goal::atMost(0.5) : Goal{}});
  report({"memory", subject, who + ", peak", peak, "MB", {}});
  report({"memory",
          subject,
          who + ", frames waiting at most",
          static_cast<double>(result.peakFrames),
          "",
          {}});
  report(
      {"memory", subject, who + ", peak above the frames", common.megabytesAboveFrames, "MB", {}});
  report({"memory",
          subject,
          who + ", in the end",
          static_cast<double>(result.settledBytes) / kMegabyte,
          "MB",
          {}});
  return common;
}

Common measureRecorder(const FrameSource& source, const RunOptions& run) {
  const std::string subject = atRate(source, run);
  const RunResult result = recordInChild(makeRecorder, source, run);
  const Common common = reportCommon(subject, "recorder", result, source, run);
  report({"live", subject, "frames refused", static_cast<double>(result.refused), "",
          Goal::atMost(0)});
  report(
      {"live", subject, "recorder, host's thread, p99", result.hostP99 * kMilliseconds, "ms", {}});
  report({"stop to done", subject, "stop itself", result.stopSeconds * kMilliseconds, "ms",
          Goal::atMost(medianCopySeconds(source) * kMilliseconds)});
  report({"stop to done", subject, "1 min, live", result.completeSeconds * kMilliseconds, "ms",
          Goal::atMost(50)});
  return common;
}

void measureAlternatives(const FrameSource& source, const RunOptions& run, const Common& own) {
  const std::string subject = atRate(source, run);
  Common least{1e9, 1e9};
  for (const ContenderFactory make : alternatives()) {
    const RunResult result = recordInChild(make, source, run);
    const Common other = reportCommon(subject, make()->name(), result, source, run);
    least.nonMediaPercent = std::min(least.nonMediaPercent, other.nonMediaPercent);
    least.megabytesAboveFrames = std::min(least.megabytesAboveFrames, other.megabytesAboveFrames);
  }
  report({"non-media bytes", subject, "recorder / least alternative",
          own.nonMediaPercent / least.nonMediaPercent, "x", Goal::atMost(1)});
  report({"memory", subject, "recorder / least alternative, above the frames",
          own.megabytesAboveFrames / least.megabytesAboveFrames, "x", Goal::atMost(1)});
}

void measure(const FrameSource& source, int framesPerSecond, const Options& options) {
  if (!options.wants(source.name())) {
    return;
  }
  const auto secondsLong = [&](std::size_t seconds) {
    RunOptions run;
    run.frames = static_cast<std::size_t>(framesPerSecond) * seconds;
    run.pace = Pace::byTheClock;
    run.settings = {options.folder + "/live.mp4", speedFor(source), framesPerSecond};
    return run;
  };
  const auto seconds = options.pick<std::size_t>(60, 10, 1);
  const auto secondsOfOthers = options.pick<std::size_t>(10, 4, 1);
  const Common own = measureRecorder(source, secondsLong(seconds));
  // In some ten frames not everybody has reached what he will need.
  measureAlternatives(source, secondsLong(options.count ? seconds : secondsOfOthers), own);
}

void program(const Options& options) {
  constexpr std::array<int, 2> kFramesPerSecond = {60, 30};
  for (std::size_t i = 0; i < kFramesPerSecond.size(); ++i) {
    const auto [width, height] = options.sizes()[i];
    const int rate = options.count ? static_cast<int>(options.count) : kFramesPerSecond[i];
    if (options.clips.empty()) {
      measure(MovingPicture(width, height), rate, options);
    } else {
      const std::string clip = DesktopClip::pathIn(options.clips, width, height);
      measure(DesktopClip(clip, width, height), rate, options);
    }
  }
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
