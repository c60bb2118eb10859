// Several recorders in one program, each with a host's thread of its own: all of them together
// against one recorder with as many pixels; and live, 30 pictures a second each.
#include "bench/contenders/recording_run.h"
#include "bench/harness/child.h"
#include "bench/harness/options.h"
#include "bench/harness/report.h"
#include "bench/harness/timing.h"

#include <map>
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
  // Pictures with as many pixels as so many of 640x360 have.
  static const std::map<std::size_t, Size> kSizeOf = {
      {1, {640, 360}}, {2, {640, 720}}, {4, {1280, 720}}, {8, {1280, 1440}}};
  const auto count = static_cast<std::size_t>(recorders);
  const std::string subject = std::to_string(recorders) + " x 640x360";
  const Size size = kSizeOf.at(count);
  const MovingPicture large(size.width, size.height);
  RunOptions run;
  run.settings.path = options.folder + "/together";
  const std::size_t frames = options.pick<std::size_t>(1200, 480, 16);  // in all
  std::vector<double> together, alone, asLarge;
  for (int round = 0; round < options.pick(3, 1, 1); ++round) {
    run.frames = frames;
    alone.push_back(static_cast<double>(frames) / recordTogether(1, source, run).wallSeconds);
    run.frames = frames / count;
    // In pictures of 640x360, like the others.
    asLarge.push_back(static_cast<double>(frames) / recordTogether(1, large, run).wallSeconds);
    together.push_back(static_cast<double>(frames) /
                       recordTogether(recorders, source, run).wallSeconds);
  }
  report({"several at once", subject, "frames a second, in all", median(together), "1/s", {}});
  report({"several at once",
          subject,
          "in all / one recorder with as many frames",
          median(together) / median(alone),
          "x",
          {}});
  report({"several at once", subject, "in all / one recorder of " + large.name(),
          median(together) / median(asLarge), "x", Goal::atLeast(0.95)});
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
