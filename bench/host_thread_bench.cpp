// The host's thread: what appendVideoSample costs while the encoder works, against a row-by-row
// memcpy of the same frame, in turn, and against the time that the alternatives keep the host's
// thread. Where there is a queue in front of the encoder, waiting for room in it is not counted.
#include "bench/contenders/recording_run.h"
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"

namespace {

using namespace bench;

constexpr const char* kRow = "host's thread";
constexpr double kMilliseconds = 1e3;

struct Medians {
  std::vector<double> median, p99, copyMedian, copyP99;
  void add(const RunResult& run) {
    median.push_back(run.hostMedian);
    p99.push_back(run.hostP99);
    copyMedian.push_back(run.copyMedian);
    copyP99.push_back(run.copyP99);
  }
};

void reportRecorder(const std::string& subject, const Medians& own) {
  const double copy = median(own.copyMedian);
  const double copyP99 = median(own.copyP99);
  report({kRow, subject, "memcpy, median", copy * kMilliseconds, "ms", {}});
  report({kRow, subject, "memcpy, p99", copyP99 * kMilliseconds, "ms", {}});
  report({kRow, subject, "append, median", median(own.median) * kMilliseconds, "ms", {}});
  report({kRow, subject, "append, p99", median(own.p99) * kMilliseconds, "ms", {}});
  report({kRow, subject, "append / memcpy, median", median(own.median) / copy, "x",
          Goal::atMost(1.05)});
  report({kRow, subject, "append / memcpy, p99", median(own.p99) / copyP99, "x", Goal::atMost(2)});
}

void measure(const FrameSource& source, const Options& options) {
  RunOptions run;
  run.frames = options.pick<std::size_t>(source.height() > 1080 ? 120 : 300, 60, 5);
  run.pace = Pace::whenThereIsRoom;
  run.settings = {options.folder + "/host.mp4", speedFor(source)};
  Medians own;
  std::vector<Medians> others(alternatives().size());
  for (int round = 0; round < options.pick(3, 1, 1); ++round) {
    run.withPlainCopy = true;
    own.add(recordInChild(makeRecorder, source, run));
    run.withPlainCopy = false;
    for (std::size_t i = 0; i < others.size(); ++i) {
      others[i].add(recordInChild(alternatives()[i], source, run));
    }
  }
  reportRecorder(source.name(), own);
  for (std::size_t i = 0; i < others.size(); ++i) {
    const std::string other = alternatives()[i]()->name();
    report({kRow,
            source.name(),
            other + ", median",
            median(others[i].median) * kMilliseconds,
            "ms",
            {}});
    report({kRow, source.name(), "append / " + other + ", median",
            median(own.median) / median(others[i].median), "x", Goal::atMost(0.1)});
  }
}

void program(const Options& options) {
  for (const Size& size : options.sizes()) {
    for (const vx::OSType format :
         {vx::kCVPixelFormatType_420YpCbCr8Planar, vx::kCVPixelFormatType_32BGRA}) {
      const MovingPicture picture(size.width, size.height, format);
      if (options.wants(picture.name())) {
        measure(picture, options);
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
