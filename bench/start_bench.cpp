// The start: from `initWithDelegate` to the first frame accepted, into a folder that is there.
#include "VXVideoRecorder/VXVideoRecorder.h"
#include "bench/contenders/contender.h"
#include "bench/harness/function_timing.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"

#include <benchmark/benchmark.h>

#include <array>
#include <stdexcept>

namespace {

using namespace bench;

struct Case {
  std::uint32_t width;
  std::uint32_t height;
  double goalMilliseconds;  // 0 for none
};
constexpr std::array<Case, 3> kCases = {{{640, 360, 0}, {1920, 1080, 30}, {3840, 2160, 0}}};

void start(benchmark::State& state, const FrameSource& source, const std::string& path) {
  for (auto _ : state) {
    const auto begin = Clock::now();
    const std::unique_ptr<Contender> recorder = makeRecorder();
    recorder->open(source, {path, {}});
    const bool taken = recorder->append(0, 0);
    state.SetIterationTime(secondsSince(begin));
    if (!taken) {
      throw std::runtime_error("the first frame was refused");
    }
    recorder->stop();
    recorder->waitUntilDone();
  }
}

void program(const Options& options) {
  std::vector<std::unique_ptr<MovingPicture>> pictures;
  for (const Case& size : kCases) {
    pictures.push_back(std::make_unique<MovingPicture>(size.width, size.height));
    benchmark::RegisterBenchmark(pictures.back()->name().c_str(), start,
                                 std::cref(*pictures.back()), options.folder + "/start.mp4")
        ->UseManualTime();
  }
  const Timings timings = runFunctionBenchmarks(options);
  constexpr double kMilliseconds = 1e3;
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    const double goal = kCases[i].goalMilliseconds;
    report({"start", pictures[i]->name(), "initWithDelegate to first frame accepted",
            median(timings.at(pictures[i]->name())) * kMilliseconds, "ms",
            goal > 0 ? Goal::atMost(goal) : Goal{}});
  }
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
