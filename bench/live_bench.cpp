// Live: the real desktop by the clock, a minute long, on the cores of this machine. Frames refused,
// the quality that was kept, and how soon the file is complete after `stop`.
#include "bench/contenders/recording_run.h"
#include "bench/harness/file_reading.h"
#include "bench/harness/options.h"
#include "bench/harness/plain_copy.h"
#include "bench/harness/report.h"

#include <array>
#include <memory>

namespace {

using namespace bench;

constexpr double kMilliseconds = 1e3;
constexpr double kMegabyte = 1e6;

std::string atRate(const FrameSource& source, const RunOptions& run) {
  return source.name() + " at " + std::to_string(run.framesPerSecond) + "/s";
}

/// Frames that were refused are missing from the file, and the file's frames no longer match the
/// source's in order: quality is told only when all are there.
void reportQuality(const std::string& subject, const std::string& who, const RunResult& result,
                   const FrameSource& source, const RunOptions& run) {
  constexpr std::size_t kSsimStep = 7;
  const FileFacts file = factsOf(run.settings.path);
  report({"live",
          subject,
          who + ", bit rate",
          static_cast<double>(file.mediaBytes) * 8 / file.seconds / kMegabyte,
          "Mbit/s",
          {}});
  if (result.refused == 0 && file.frames == run.frames) {
    report(
        {"live", subject, who + ", SSIM", meanSsim(run.settings.path, source, kSsimStep), "", {}});
  }
  report({"non-media bytes", subject, who, file.nonMediaShare() * 100, "%",
          who == "recorder" ? Goal::atMost(0.5) : Goal{}});
}

void measureRecorder(const FrameSource& source, const RunOptions& run) {
  const std::string subject = atRate(source, run);
  const RunResult result = recordInChild(makeRecorder, source, run);
  const double milliseconds = kMilliseconds;
  report({"live", subject, "frames refused", static_cast<double>(result.refused), "",
          Goal::atMost(0)});
  report({"live",
          subject,
          "recorder, CPU of all cores' time",
          result.cpuSeconds / result.wallSeconds / encoderThreads(source) * 100,
          "%",
          {}});
  reportQuality(subject, "recorder", result, source, run);
  report({"live", subject, "append, median", result.hostMedian * milliseconds, "ms", {}});
  report({"live", subject, "append, p99", result.hostP99 * milliseconds, "ms", {}});
  report({"stop to done", subject, "stop itself", result.stopSeconds * milliseconds, "ms",
          Goal::atMost(medianCopySeconds(source) * milliseconds)});
  report({"stop to done", subject, "1 min, live", result.completeSeconds * milliseconds, "ms",
          Goal::atMost(50)});
  report(
      {"memory", subject, "recorder", static_cast<double>(result.peakBytes) / kMegabyte, "MB", {}});
}

void measureAlternatives(const FrameSource& source, RunOptions run, const Options& options) {
  run.withPlainCopy = false;
  run.frames = static_cast<std::size_t>(run.framesPerSecond) * options.pick<std::size_t>(10, 4, 1);
  const std::string subject = atRate(source, run);
  for (const ContenderFactory make : alternatives()) {
    const RunResult result = recordInChild(make, source, run);
    const std::string name = make()->name();
    report({"live",
            subject,
            name + ", host's thread, median",
            result.hostMedian * kMilliseconds,
            "ms",
            {}});
    reportQuality(subject, name, result, source, run);
    report({"memory", subject, name, static_cast<double>(result.peakBytes) / kMegabyte, "MB", {}});
  }
}

void measure(const FrameSource& source, int framesPerSecond, const Options& options) {
  if (!options.wants(source.name())) {
    return;
  }
  RunOptions run;
  run.framesPerSecond = framesPerSecond;
  run.frames = static_cast<std::size_t>(framesPerSecond) * options.pick<std::size_t>(60, 10, 1);
  run.pace = Pace::byTheClock;
  run.settings = {options.folder + "/live.mp4", presetFor(source)};
  measureRecorder(source, run);
  measureAlternatives(source, run, options);
}

void program(const Options& options) {
  constexpr std::array<int, 2> kFramesPerSecond = {60, 30};
  for (std::size_t i = 0; i < kFramesPerSecond.size(); ++i) {
    const auto [width, height] = options.sizes()[i];
    if (options.clips.empty()) {
      measure(MovingPicture(width, height), kFramesPerSecond[i], options);
    } else {
      const std::string clip = DesktopClip::pathIn(options.clips, width, height);
      measure(DesktopClip(clip, width, height), kFramesPerSecond[i], options);
    }
  }
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
