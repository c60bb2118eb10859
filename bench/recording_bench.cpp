// Whole recordings, pushed as fast as they are taken, by the recorder and by what one would use
// instead: frames a second, processor seconds, quality, memory, bytes that are no pictures.
#include "bench/contenders/recording_run.h"
#include "bench/harness/file_reading.h"
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"

#include <algorithm>
#include <string>

namespace {

using namespace bench;

constexpr double kMegabyte = 1e6;

/// What was measured of one contender.
struct Record {
  explicit Record(std::string ofName) : name(std::move(ofName)) {}

  std::string name;
  std::vector<double> framesPerSecond, cpuSeconds, peakBytes, ssim, bitsPerSecond;
  FileFacts file;

  void add(const RunResult& run, const FrameSource& source, const RunOptions& options,
           std::size_t ssimStep) {
    framesPerSecond.push_back(run.framesPerSecond);
    cpuSeconds.push_back(run.cpuSeconds);
    peakBytes.push_back(static_cast<double>(run.peakBytes));
    if (ssim.empty()) {  // the same pictures give the same file
      ssim.push_back(meanSsim(options.settings.path, source, ssimStep));
    }
    file = factsOf(options.settings.path);
    bitsPerSecond.push_back(static_cast<double>(file.mediaBytes) * 8 *
                            options.settings.framesPerSecond / static_cast<double>(file.frames));
  }
};

/// The best of the alternatives by one figure.
template <typename Better>
double best(const std::vector<Record>& others, std::vector<double> Record::*figure, Better better) {
  double value = median(others.front().*figure);
  for (const Record& other : others) {
    const double candidate = median(other.*figure);
    value = better(candidate, value) ? candidate : value;
  }
  return value;
}

void reportEach(const std::string& subject, const Record& record) {
  const auto figure = [&](const char* row, const char* what, double value, const char* unit) {
    report({row, subject, record.name + what, value, unit, {}});
  };
  figure("frames a second", "", median(record.framesPerSecond), "1/s");
  figure("CPU", "", median(record.cpuSeconds), "s");
  figure("quality", ", SSIM", median(record.ssim), "");
  figure("quality", ", bit rate", median(record.bitsPerSecond) / kMegabyte, "Mbit/s");
  figure("memory, queue full", "", median(record.peakBytes) / kMegabyte, "MB");
  figure("non-media bytes, queue full", "", record.file.nonMediaShare() * 100, "%");
}

void compare(const std::string& subject, const Record& own, const std::vector<Record>& others) {
  const double fastest = best(others, &Record::framesPerSecond, std::greater<>());
  report({"frames a second", subject, "recorder / best alternative",
          median(own.framesPerSecond) / fastest, "x", Goal::atLeast(1.00)});
  const auto pipe = std::find_if(others.begin(), others.end(), [](const Record& other) {
    return other.name == makeFfmpegPipe()->name();
  });
  report({"frames a second", subject, "recorder / ffmpeg pipe",
          median(own.framesPerSecond) / median(pipe->framesPerSecond), "x", Goal::atLeast(1.15)});
  report({"CPU", subject, "recorder / best alternative",
          median(own.cpuSeconds) / best(others, &Record::cpuSeconds, std::less<>()), "x",
          Goal::atMost(1.00)});
}

/// Over a few seconds nobody meets the bit rate exactly, and each misses it in a way of its own. So
/// the alternative (the same x264 in all of them) is told another one until it spends as much as
/// the recorder did.
void compareQuality(const FrameSource& source, const Record& own, RunOptions run,
                    std::size_t ssimStep) {
  constexpr int kApproaches = 3;
  Record other("libav");
  for (int i = 0; i < kApproaches; ++i) {
    const double spent = i == 0 ? kBitRate : other.bitsPerSecond.back();
    const double wanted = i == 0 ? kBitRate : median(own.bitsPerSecond);
    run.settings.bitRate = static_cast<int>(run.settings.bitRate * wanted / spent);
    other.ssim.clear();
    other.add(recordInChild(makeLibav, source, run), source, run, ssimStep);
  }
  report({"quality",
          source.name(),
          "bit rate for comparison, recorder / libav",
          median(own.bitsPerSecond) / other.bitsPerSecond.back(),
          "x",
          {}});
  // Differences below the third digit say nothing.
  constexpr double kTooSmallToTell = 0.0005;
  report({"quality", source.name(), "recorder - alternative at the same bit rate, SSIM",
          median(own.ssim) - other.ssim.back(), "", Goal::atLeast(-kTooSmallToTell)});
}

Record& recordOf(std::vector<Record>& records, const std::string& name) {
  const auto found = std::find_if(records.begin(), records.end(),
                                  [&](const Record& record) { return record.name == name; });
  return found != records.end() ? *found : records.emplace_back(name);
}

void measure(const FrameSource& source, const Options& options) {
  const bool isLarge = source.height() > 1080;
  RunOptions run;
  run.frames = options.count ? options.count
                             : options.pick<std::size_t>(isLarge ? 120 : 300, isLarge ? 30 : 60, 5);
  run.settings = {options.folder + "/recording.mp4", speedFor(source)};
  const std::size_t ssimStep = 5;
  Record own("recorder");
  std::vector<Record> others;
  for (int round = 0; round < options.pick(3, 1, 1); ++round) {
    own.add(recordInChild(makeRecorder, source, run), source, run, ssimStep);
    for (const ContenderFactory make : alternatives()) {
      recordOf(others, make()->name()).add(recordInChild(make, source, run), source, run, ssimStep);
    }
  }
  reportEach(source.name(), own);
  for (const Record& other : others) {
    reportEach(source.name(), other);
  }
  compare(source.name(), own, others);
  compareQuality(source, own, run, ssimStep);
}

void program(const Options& options) {
  for (const auto& [width, height] : options.sizes()) {
    const MovingPicture moving(width, height);
    if (options.wants(moving.name())) {
      measure(moving, options);
    }
    if (!options.clips.empty()) {
      const DesktopClip desktop(DesktopClip::pathIn(options.clips, width, height), width, height);
      if (options.wants(desktop.name())) {
        measure(desktop, options);
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
