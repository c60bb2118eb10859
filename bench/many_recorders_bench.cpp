// Several recorders in one program, each with a host's thread of its own: all of them together
// against one recorder that records as many pictures; and live, 30 pictures a second each.
#include "bench/contenders/recording_run.h"
#include "bench/harness/child.h"
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"

#include <thread>

namespace {

using namespace bench;

struct Together {
  double wallSeconds = 0;
  std::uint64_t refused = 0;
};

Together recordTogether(int recorders, const FrameSource& source, const RunOptions& options) {
  return inChild([&] {
    std::vector<RunResult> results(static_cast<std::size_t>(recorders));
    const auto start = Clock::now();
    {
      std::vector<std::jthread> hosts;
      for (std::size_t i = 0; i < results.size(); ++i) {
        hosts.emplace_back([&, i] {
          RunOptions own = options;
          own.settings.path += std::to_string(i) + ".mp4";
          const std::unique_ptr<Contender> recorder = makeRecorder();
          results[i] = recordOnce(*recorder, source, own);
        });
      }
    }
    Together together{secondsSince(start), 0};
    for (const RunResult& result : results) {
      together.refused += result.refused;
    }
    return together;
  });
}

void measure(int recorders, const FrameSource& source, const Options& options) {
  const std::string subject = std::to_string(recorders) + " x 640x360";
  const auto count = static_cast<std::size_t>(recorders);
  RunOptions run;
  run.settings.path = options.folder + "/together";
  const std::size_t frames = options.pick<std::size_t>(2400, 480, 16);  // in all
  std::vector<double> together, alone;
  for (int round = 0; round < options.pick(3, 1, 1); ++round) {
    run.frames = frames;
    alone.push_back(static_cast<double>(frames) / recordTogether(1, source, run).wallSeconds);
    run.frames = frames / count;
    together.push_back(static_cast<double>(frames) /
                       recordTogether(recorders, source, run).wallSeconds);
  }
  report({"several at once", subject, "frames a second, in all", median(together), "1/s", {}});
  report({"several at once", subject, "in all / one recorder with as many pixels",
          median(together) / median(alone), "x", Goal::atLeast(0.95)});
  run.pace = Pace::byTheClock;
  run.frames = options.pick<std::size_t>(150, 60, 5);
  report({"several at once", subject, "refused, live at 30/s",
          static_cast<double>(recordTogether(recorders, source, run).refused), "",
          Goal::atMost(0)});
}

void program(const Options& options) {
  const MovingPicture picture(640, 360);
  for (const int recorders : {1, 2, 4, 8}) {
    measure(recorders, picture, options);
  }
}

}  // namespace

int main(int argc, char** argv) { return runProgram(argc, argv, program); }
