// A minute, an hour and a day of recording in a few seconds: how long the file takes to be
// completed, and how memory grows. The encoder codes nothing, and the samples of a day are not
// stored; the index, the fragments' places and what completes the file are the real ones.
#include "bench/contenders/recording_run.h"
#include "bench/harness/child.h"
#include "bench/harness/memory_use.h"
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"
#include "bench/stand_in/sparse_file.h"
#include "bench/stand_in/stand_in_encoder.h"
#include "platform/avfoundation/mp4/movie_file.h"

#include <array>
#include <filesystem>
#include <iterator>
#include <stdexcept>

namespace {

using namespace bench;

constexpr std::size_t kFramesPerSecond = 30;
constexpr std::size_t kFramesPerFragment = kFramesPerSecond / 2;
constexpr std::size_t kSecondsThatShowGrowth = 24 * 3600;
constexpr double kMilliseconds = 1e3;
constexpr double kMegabyte = 1e6;

struct Span {
  const char* name;
  std::size_t seconds;
  double goalMilliseconds;
};

void require(const vx::Status& status) {
  if (!status) {
    throw std::runtime_error(status.error().localizedDescription());
  }
}

struct FinishCost {
  double finishSeconds = 0;
  std::uint64_t grownBytes = 0;      // of memory, while the file grew
  std::uint64_t finishingBytes = 0;  // and on top of it, while it was completed
};

/// A file of this many pictures at 10 Mbit/s, committed every half second of its own time.
FinishCost growAndFinish(std::size_t frames, const std::string& path) {
  std::filesystem::remove(path);
  std::unique_ptr<vx::mp4::OutputFile> onDisk;
  require(vx::mp4::createPosixFile(path, onDisk));
  auto made = std::make_unique<SparseFile>(std::move(onDisk));
  SparseFile& sparse = *made;
  vx::mp4::MovieFile file(std::move(made));
  vx::mp4::VideoTrackDescription track;
  track.width = 1920;
  track.height = 1080;
  track.parameterSets = {{std::begin(kStandInSps), std::end(kStandInSps)},
                         {std::begin(kStandInPps), std::end(kStandInPps)}};
  require(file.begin(track, false));
  const std::vector<std::uint8_t> picture(2 * kBitRate / 8 / kFramesPerSecond);
  const std::uint64_t before = residentBytes();
  for (std::size_t i = 0; i < frames; ++i) {
    // Sizes vary as they do from picture to picture, between half and one and a half of the mean.
    const std::size_t bytes = picture.size() / 4 + i * 7919 % (picture.size() / 2);
    require(file.appendVideo({std::span(picture).first(bytes),
                              static_cast<std::int64_t>(i * 1000 / kFramesPerSecond),
                              1000 / kFramesPerSecond, i % kKeyFrameInterval == 0}));
    if ((i + 1) % kFramesPerFragment == 0) {
      require(file.commit());
    }
  }
  FinishCost cost;
  cost.grownBytes = residentBytes() - before;
  require(sparse.storeFromNowOn());
  require(sparse.sync());
  forgetPeak();
  const std::uint64_t beforeFinish = residentBytes();
  const auto start = Clock::now();
  require(file.finish(static_cast<std::int64_t>(frames * 1000 / kFramesPerSecond)));
  cost.finishSeconds = secondsSince(start);
  cost.finishingBytes = peakResidentBytes() - beforeFinish;
  return cost;
}

void measureFile(const Span& span, const Options& options) {
  const std::string path = options.folder + "/long.mp4";
  const std::size_t frames = span.seconds * kFramesPerSecond;
  std::vector<double> seconds;
  FinishCost cost;
  for (int round = 0; round < options.pick(3, 1, 1); ++round) {
    cost = inChild([&] { return growAndFinish(frames, path); });
    seconds.push_back(cost.finishSeconds);
  }
  std::filesystem::remove(path);
  report({"stop to done", span.name, "completing the file (index and disk)",
          median(seconds) * kMilliseconds, "ms", Goal::atMost(span.goalMilliseconds)});
  const auto perPicture = [&](std::uint64_t bytes) {
    return static_cast<double>(bytes) / static_cast<double>(frames);
  };
  if (span.seconds >= kSecondsThatShowGrowth) {
    report({"memory growth",
            span.name,
            "the index alone",
            static_cast<double>(cost.grownBytes) / kMegabyte,
            "MB",
            {}});
    report(
        {"memory growth", span.name, "the index, a picture", perPicture(cost.grownBytes), "B", {}});
    report({"memory growth",
            span.name,
            "while the file is completed",
            static_cast<double>(cost.finishingBytes) / kMegabyte,
            "MB",
            {}});
  }
}

struct Growth {
  std::uint64_t grownBytes = 0;
  double stopSeconds = 0;
  double completeSeconds = 0;
};

/// A whole recorder with an encoder that codes nothing, so many small pictures long.
Growth recordLong(const FrameSource& picture, std::size_t frames, const std::string& path) {
  setStandInPictureBytes(96);
  const std::unique_ptr<Contender> recorder = makeRecorder();
  recorder->open(picture, {path, {}});
  constexpr std::size_t kSettled = 20;  // after this share of the frames all pools are filled
  std::uint64_t before = 0;
  for (std::size_t i = 0; i < frames; ++i) {
    recorder->waitForRoom(Pace::asFastAsTaken);
    if (!recorder->append(i, static_cast<std::uint32_t>(i * 1000 / kFramesPerSecond))) {
      throw std::runtime_error("a frame was refused");
    }
    if (i == frames / kSettled) {
      before = residentBytes();
    }
  }
  Growth growth;
  growth.grownBytes = (residentBytes() - before) * kSettled / (kSettled - 1);
  const auto start = Clock::now();
  recorder->stop();
  growth.stopSeconds = secondsSince(start);
  recorder->waitUntilDone();
  growth.completeSeconds = secondsSince(start);
  return growth;
}

void measureRecorder(const Span& span, const Options& options) {
  const MovingPicture picture(32, 32);
  const std::string path = options.folder + "/recorder.mp4";
  const std::size_t frames = span.seconds * kFramesPerSecond;
  const Growth growth = inChild([&] { return recordLong(picture, frames, path); });
  std::filesystem::remove(path);
  if (span.seconds >= kSecondsThatShowGrowth) {
    report({"memory growth",
            span.name,
            "the whole recorder",
            static_cast<double>(growth.grownBytes) / kMegabyte,
            "MB",
            {}});
    report({"memory growth", span.name, "the whole recorder, a picture",
            static_cast<double>(growth.grownBytes) / static_cast<double>(frames), "B",
            Goal::atMost(6)});  // the index's 4 to 5, and what the allocator rounds up
  }
  report({"stop to done", span.name, "the whole recorder, no encoder",
          growth.completeSeconds * kMilliseconds, "ms", Goal::atMost(span.goalMilliseconds)});
}

void program(const Options& options) {
  constexpr std::array<Span, 3> kSpans = {
      {{"1 min", 60, 50}, {"1 h", 3600, 100}, {"24 h", 24 * 3600, 2000}}};
  for (const Span& span : kSpans) {
    if (options.wants(span.name) && (!options.smoke || span.seconds <= 60)) {
      measureFile(span, options);
      measureRecorder(span, options);
    }
  }
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
